#ifndef SOFTKEY_ENTRY_FAULTS_H
#define SOFTKEY_ENTRY_FAULTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace softkey {

// A failure that someone ordered on purpose: after `after` calls that go well, `times` calls of
// `entry` answer `code`, each `delay_milliseconds` late. Code 0 delays and lets the call go on.
struct Fault {
    std::string entry;
    int32_t code;
    int64_t times;  // negative: until it is cleared
    int64_t after;
    int64_t delay_milliseconds;
};

// Counts one call of `entry` and tells which ordered failure it meets, if any; waits the ordered
// time first. Calls of several processes are counted together. Orders that cannot be read or
// counted are none.
std::optional<int32_t> OrderedFailure(std::string_view entry);

// Takes the place of an order for the same entry, and of orders that cannot be read.
void OrderFault(const Fault& fault);

// In the order of their entries. Throws kStoreDamaged when they cannot be read.
std::vector<Fault> OrderedFaults();

// Empty: all of them. Orders that cannot be read go in any case.
void ClearFaults(std::string_view entry);

}  // namespace softkey

#endif
