#ifndef BUNDLE_TIMELINE_H
#define BUNDLE_TIMELINE_H

#include <deque>
#include <string>

#include "logs/calls.h"

namespace bundle {

// The calls as a drawing (SVG) with a bar for each, the earliest on top. Time runs to the right;
// where for long nothing happened it is cut, and the cut says how long.
std::string DrawnTimeline(const std::deque<logs::Call>& calls);

// "12 ms", "8.2 s", "3 min", "1 h 59 min"
std::string ShowDuration(int64_t microseconds);

// "failed 0x0A000024"
std::string OutcomeOf(const logs::Call& call);

}  // namespace bundle

#endif
