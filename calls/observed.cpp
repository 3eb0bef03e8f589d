#include "observed.h"

namespace calls {

Observed::Observed(size_t function, const Passed* arguments, Masker& masker)
    : before_(kFunctions[function], arguments) {
    call.function = function;
    call.has_code = false;
    call.finished = false;
    call.given = Given(kFunctions[function], arguments, &masker);
}

void Observed::Finish(End end, int64_t answer, int64_t now_us, Masker& masker) {
    call.duration_us = now_us - call.start_us;
    call.finished = true;
    call.threw = end == End::kThrew;
    call.taken = Json::object();
    if (call.function == kTextOfCode && !call.threw) {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): answers are handed on as numbers
        call.taken["text"] = KeptText(reinterpret_cast<const char*>(answer), masker);
    } else if (!call.threw) {
        call.has_code = true;
        call.code = answer;
        call.taken = before_.Taken(answer, masker);
    }
}

}  // namespace calls
