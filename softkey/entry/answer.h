#ifndef SOFTKEY_ENTRY_ANSWER_H
#define SOFTKEY_ENTRY_ANSWER_H

#include <cstdint>
#include <new>
#include <optional>

#include "base/error.h"
#include "crypto/ssl.h"
#include "entry/faults.h"

namespace softkey {

// How every entry of both libraries runs: an ordered fault first, then the work; whatever is
// thrown becomes a code, since nothing may leave a C interface.
template <typename Work>
int32_t Answer(const char* entry, Work work) noexcept {
    try {
        const ssl::ErrorMark mark;
        if (const std::optional<int32_t> ordered = OrderedFailure(entry)) {
            return *ordered;
        }
        work();
        return static_cast<int32_t>(Code::kOk);
    } catch (const Error& error) {
        return static_cast<int32_t>(error.code());
    } catch (const std::bad_alloc&) {
        return static_cast<int32_t>(Code::kMemory);
    } catch (...) {
        return static_cast<int32_t>(Code::kFail);
    }
}

}  // namespace softkey

#endif
