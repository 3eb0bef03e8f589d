#include "log/local_time.h"

#include <sys/time.h>

#include <atomic>
#include <cstdlib>
#include <cstring>

namespace orval {
namespace {

// What TZ says, kept to be compared. One that is longer than the room is not kept, and is then
// looked at anew for each moment.
class Zone final {
 public:
    bool Is(const char* name) const {
        return name == nullptr ? !is_set_ : is_set_ && std::strcmp(name_, name) == 0;
    }

    bool Keep(const char* name) {
        is_set_ = name != nullptr;
        if (!is_set_) {
            return true;
        }
        const size_t length = std::strlen(name);
        if (length >= sizeof(name_)) {
            return false;
        }
        std::memcpy(name_, name, length + 1);
        return true;
    }

 private:
    bool is_set_;
    char name_[64];
};

// The second that was asked for last. Breaking one down looks at the zone's file, which costs a
// system call, and most records share their second with the one before. One for the process: what
// a thread has of its own would stay in memory when the library is unloaded.
struct LastSecond {
    std::atomic<bool> is_taken;
    bool is_kept;
    time_t second;
    Zone zone;
    tm parts;
};

LastSecond last;

tm BreakDown(time_t second) {
    tm parts = {};
    // localtime_r alone would go on with the zone that the process began with.
    tzset();
    localtime_r(&second, &parts);
    return parts;
}

tm PartsOf(time_t second) {
    if (last.is_taken.exchange(true, std::memory_order_acquire)) {
        // By another thread; nobody waits for it.
        return BreakDown(second);
    }
    const char* const zone = std::getenv("TZ");
    if (!last.is_kept || last.second != second || !last.zone.Is(zone)) {
        last.parts = BreakDown(second);
        last.second = second;
        last.is_kept = last.zone.Keep(zone);
    }
    const tm parts = last.parts;
    last.is_taken.store(false, std::memory_order_release);
    return parts;
}

}  // namespace

LocalTime LocalTimeNow() {
    timeval time = {};
    gettimeofday(&time, nullptr);
    return {PartsOf(time.tv_sec), static_cast<long>(time.tv_usec)};
}

}  // namespace orval
