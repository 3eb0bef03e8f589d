#ifndef BUNDLE_LOG_TAIL_H
#define BUNDLE_LOG_TAIL_H

#include <deque>
#include <map>
#include <string>

#include "logs/calls.h"
#include "logs/summary.h"

namespace bundle {

// The end of the diagnostic log, masked, and what it tells. All of it is read out of the masked
// text, so that nothing else can come of it.
struct LogTail {
    std::string problem;  // why there is none; empty: there is one
    uint64_t size = 0;    // of the whole log
    std::string text;
    std::deque<logs::Call> last;  // calls, the latest at the end
    logs::Summary summary;
    std::map<logs::Summary::Failure, logs::Moment> failed_last;
};

// Both ends of what is read are where a record begins or ends, as far as there are records.
LogTail ReadLogTail(const std::string& path, logs::Masks& masks);

}  // namespace bundle

#endif
