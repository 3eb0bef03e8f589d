#ifndef ORVAL_TESTS_PRODUCT_API_OUTCOME_H
#define ORVAL_TESTS_PRODUCT_API_OUTCOME_H

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>

#include "orval_unified_kpxukey.h"

// How a call ended, as its caller sees it.
namespace scripted {

// No code of the library's own, and none that a test scripts.
constexpr int32_t kEarlierCode = 0x0A000123;

// A code as a key gives it.
constexpr int32_t kKeyRefuses = 0x0A000042;

// The state after an initialised library's call failed: whoever resets G_LastError shows it.
inline void LeaveEarlierCode() {
    ASSERT_EQ(Initialize(), ORVAL_OK);
    G_LastError = kEarlierCode;
}

// The code was returned and stored alike.
inline testing::AssertionResult Gives(int32_t result, int32_t code) {
    if (result == code && G_LastError == code) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "returned " << result << " and stored " << G_LastError << " instead of " << code;
}

// Lets an entry note what G_LastError holds while it runs, and succeed.
template <typename Entry>
std::shared_ptr<int32_t> NoteLastError(Entry& entry) {
    auto noted = std::make_shared<int32_t>(-1);
    entry.Does([noted](auto&&...) {
        *noted = G_LastError;
        return 0;
    });
    return noted;
}

}  // namespace scripted

#endif
