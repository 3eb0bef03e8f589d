#ifndef CALLS_PASSED_H
#define CALLS_PASSED_H

#include <cstdint>
#include <type_traits>

namespace calls {

// Each argument as it was passed: a number, widened as its sign says, or an address.
using Passed = uint64_t;

template <typename Parameter>
Passed Pack(Parameter& parameter) {
    if constexpr (std::is_pointer_v<Parameter>) {
        return reinterpret_cast<Passed>(parameter);
    } else if constexpr (std::is_integral_v<Parameter>) {
        return static_cast<Passed>(static_cast<int64_t>(parameter));
    } else {
        return reinterpret_cast<Passed>(&parameter);
    }
}

// How a call ended: also an exception or the thread's cancellation may leave it.
enum class End { kReturned, kThrew };

}  // namespace calls

#endif
