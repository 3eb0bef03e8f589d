#ifndef LOGS_SUMMARY_H
#define LOGS_SUMMARY_H

#include <map>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "logs/calls.h"

namespace logs {

// What a log comes to: calls and failures by function, failures by code, the slowest calls.
class Summary final {
 public:
    struct Function {
        uint64_t calls = 0;
        uint64_t failures = 0;
        uint64_t timed = 0;  // calls with a duration, and the sum of those
        int64_t duration = 0;
        int64_t slowest = 0;
    };
    struct Failure {
        std::string function;
        std::optional<int32_t> code;  // none: the end is missing
        bool operator<(const Failure& other) const {
            return std::tie(function, code) < std::tie(other.function, other.code);
        }
    };

    void Take(const Call& call);
    void TakeDamage(uint64_t bytes) {
        ++damaged_places;
        damaged_bytes += bytes;
    }

    uint64_t calls = 0;
    uint64_t failures = 0;
    uint64_t damaged_places = 0;
    uint64_t damaged_bytes = 0;
    Moment first = kNoMoment;
    Moment last = kNoMoment;
    std::set<int64_t> processes;
    std::map<std::string, Function> functions;
    std::map<Failure, uint64_t> failed;
    // At most ten, slowest first. Waits take as long as nothing happens, and are left out.
    std::vector<Call> slowest;

 private:
    void RankByDuration(const Call& call);
};

}  // namespace logs

#endif
