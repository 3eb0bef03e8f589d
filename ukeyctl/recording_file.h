#ifndef UKEYCTL_RECORDING_FILE_H
#define UKEYCTL_RECORDING_FILE_H

#include <string>

#include "recorder/recording.h"

// "-" is standard input. Throws a failure with status kFile.
recorder::Recording ReadRecording(const std::string& path);

#endif
