#ifndef CALLS_OBSERVED_H
#define CALLS_OBSERVED_H

#include "recording.h"

namespace calls {

// A call while it is made: described in the client's process by whoever stands before the function.
class Observed {
 public:
    // What it is given. The arguments must stay until its end.
    Observed(size_t function, const Passed* arguments, Masker& masker);

    // What it gave back. `answer` is meaningless where it threw.
    void Finish(End end, int64_t answer, int64_t now_us, Masker& masker);

    Call call;  // who makes it, and when it began, is the observer's to say

 private:
    Before before_;
};

}  // namespace calls

#endif
