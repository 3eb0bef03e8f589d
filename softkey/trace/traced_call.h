#ifndef SOFTKEY_TRACE_TRACED_CALL_H
#define SOFTKEY_TRACE_TRACED_CALL_H

#include <cstddef>
#include <cstdint>
#include <memory>

#include "calls/functions.h"
#include "calls/passed.h"

namespace softkey {

// A call of an entry by a client, from its beginning to its end; written into the ring while there
// is one. Without one it costs a look at a clock, and at times for the file; whatever is wrong with
// the ring must not keep a client from its work.
class TracedCall {
 public:
    // The arguments must stay until the end.
    TracedCall(size_t function, const calls::Passed* arguments) noexcept;
    ~TracedCall();
    TracedCall(const TracedCall&) = delete;
    TracedCall& operator=(const TracedCall&) = delete;

    template <typename Result>
    Result Returned(Result result) {
        end_ = calls::End::kReturned;
        answer_ = static_cast<int64_t>(calls::Pack(result));
        return result;
    }

 private:
    struct Progress;
    std::unique_ptr<Progress> progress_;  // null: nobody listens
    calls::End end_ = calls::End::kThrew;
    int64_t answer_ = 0;
};

// An ordered fault decides how this thread's call goes.
void NoteFault() noexcept;

// An entry as it is exported: around the function that does its work.
template <size_t index, auto work>
struct Traced;

template <size_t index, typename Result, typename... Parameters, Result (*work)(Parameters...)>
struct Traced<index, work> {
    static Result Call(Parameters... parameters) {
        const calls::Passed arguments[sizeof...(Parameters) + 1] = {calls::Pack(parameters)...};
        TracedCall call(index, arguments);
        return call.Returned(work(parameters...));
    }
};

}  // namespace softkey

#endif
