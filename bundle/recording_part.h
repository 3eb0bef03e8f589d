#ifndef BUNDLE_RECORDING_PART_H
#define BUNDLE_RECORDING_PART_H

#include <string>

#include "bundle/privacy.h"
#include "calls/recording.h"

namespace bundle {

// A masked recording as it goes into the bundle. A recording leaves certificates, requests and
// signatures as they are, and those name the key inside, encoded: here they are masked, too.
std::string WithoutNames(const calls::Recording& recording, const Privacy& privacy);

}  // namespace bundle

#endif
