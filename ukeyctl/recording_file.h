#ifndef UKEYCTL_RECORDING_FILE_H
#define UKEYCTL_RECORDING_FILE_H

#include <string>

#include "calls/recording.h"

// "-" is standard input. Throws a failure with status kFile.
calls::Recording ReadRecording(const std::string& path);

#endif
