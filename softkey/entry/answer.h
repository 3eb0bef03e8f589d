#ifndef SOFTKEY_ENTRY_ANSWER_H
#define SOFTKEY_ENTRY_ANSWER_H

#include <cstdint>
#include <new>
#include <optional>

#include "base/error.h"
#include "crypto/ssl.h"
#include "entry/faults.h"

namespace softkey {

// A call that is on its way, with what was ordered for it. Begins with the orders: waits, throws,
// crashes, hangs or unplugs as they say, and nothing but an order makes it throw. What of them is
// about data is found by those that deliver it, in the same thread, until the call ends.
class CallInProgress {
 public:
    CallInProgress(const char* entry, const KeyOfCall& key);
    ~CallInProgress();
    CallInProgress(const CallInProgress&) = delete;
    CallInProgress& operator=(const CallInProgress&) = delete;

    const std::optional<int32_t>& OrderedCode() const { return code_; }

    // What is ordered of the data that the present call gives, or null.
    static const Fault* OrderedData();

 private:
    std::optional<int32_t> code_;
    std::optional<Fault> data_;
    const Fault* before_ = nullptr;
};

// What work ends with; whatever is thrown becomes a code, since nothing may leave a C interface.
template <typename Work>
int32_t CodeOf(Work work) noexcept {
    try {
        const ssl::ErrorMark mark;
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

// How every entry of both libraries runs: what was ordered first, then the work.
template <typename Work>
int32_t Answer(const char* entry, const KeyOfCall& key, Work work) {
    const CallInProgress call(entry, key);
    return call.OrderedCode() ? *call.OrderedCode() : CodeOf(work);
}

// The key that an argument names.
template <typename Work>
int32_t Answer(const char* entry, const char* serial, Work work) {
    return Answer(entry, KeyOfCall([serial] {
                      return serial == nullptr ? std::string() : std::string(serial);
                  }),
                  work);
}

// A call that is about no key.
template <typename Work>
int32_t Answer(const char* entry, Work work) {
    return Answer(entry, KeyOfCall([] { return std::string(); }), work);
}

}  // namespace softkey

#endif
