#ifndef SOFTKEY_ENTRY_FAULTS_H
#define SOFTKEY_ENTRY_FAULTS_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "entry/outputs.h"

namespace softkey {

constexpr int64_t kUntilCleared = -1;

// What someone ordered on purpose: after `after` calls that go well, `times` calls of `entry` meet
// the effect, each `delay_milliseconds` late. Code 0 delays and lets the call go on.
struct Fault {
    std::string entry;  // or kEveryEntry: those in which the effect is possible
    int32_t code = 0;
    int64_t times = 1;  // negative: until it is cleared
    int64_t after = 0;
    int64_t delay_milliseconds = 0;
    Effect effect = Effect::kCode;
    std::string key = {};  // empty: whichever key the call is about
    int64_t by = 1;        // by how many bytes a text or a length is wrong
    // In a scenario the number of the step, from 1. Such an order stays when it is used up, so that
    // it can be told what became of it.
    int64_t step = 0;
    int64_t met = 0;  // how many calls have met the order of a step
};

// The serial number of the key that a call is about; empty where it is about none. Asked for only
// when an order is for one key.
using KeyOfCall = std::function<std::string()>;

// Counts one call of `entry` and tells which orders it meets; at most one of them is more than a
// delay or a plug. Calls of several processes are counted together. Orders that cannot be read or
// counted are none.
std::vector<Fault> MetFaults(std::string_view entry, const KeyOfCall& key);

// Orders for the same entry and key are met one after the other. kInstead takes the place of those
// that there are, and of orders that cannot be read.
enum class Place { kInstead, kBehind };
void OrderFault(const Fault& fault, Place place = Place::kInstead);

// In the order of their entries, those of one in the order in which they are met. Throws
// kStoreDamaged when they cannot be read.
std::vector<Fault> OrderedFaults();

// Empty: all of them. Orders that cannot be read go in any case.
void ClearFaults(std::string_view entry);

}  // namespace softkey

#endif
