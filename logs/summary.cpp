#include "logs/summary.h"

#include <algorithm>

namespace logs {
namespace {

constexpr size_t kSlowest = 10;
constexpr std::string_view kWait = "WaitForKeyEvent";

}  // namespace

void Summary::Take(const Call& call) {
    ++calls;
    first = first == kNoMoment ? call.first : std::min(first, call.first);
    last = std::max(last, call.last);
    processes.insert(call.process);
    Function& function = functions[call.function];
    ++function.calls;
    if (call.HasFailed()) {
        ++failures;
        ++function.failures;
        ++failed[{call.function, call.code}];
    }
    if (const std::optional<int64_t> duration = call.Duration()) {
        ++function.timed;
        function.duration += *duration;
        function.slowest = std::max(function.slowest, *duration);
        RankByDuration(call);
    }
}

void Summary::RankByDuration(const Call& call) {
    if (call.function == kWait ||
        (slowest.size() == kSlowest && *call.Duration() <= *slowest.back().Duration())) {
        return;
    }
    const auto place = std::find_if(slowest.begin(), slowest.end(), [&call](const Call& other) {
        return *other.Duration() < *call.Duration();
    });
    slowest.insert(place, call);
    slowest.resize(std::min(slowest.size(), kSlowest));
}

}  // namespace logs
