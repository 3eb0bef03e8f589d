#ifndef RECORDER_COMPARISON_H
#define RECORDER_COMPARISON_H

#include <string>
#include <vector>

#include "vocabulary.h"

namespace recorder {

struct Change {
    enum class Side { kOnlyFirst, kOnlySecond };
    Side side;
    Call call;
};

// What must be taken out of the first recording and put in to have the second, each of its calls in
// order. Numbers, processes' ids and times do not count; neither do masked texts where the
// recordings were masked with different salts, but for their lengths.
std::vector<Change> Compare(const Recording& first, const Recording& second);

// The calls for programs that draw them on a time line: the trace-event format, "X" events.
std::string ChromeTrace(const Recording& recording);

}  // namespace recorder

#endif
