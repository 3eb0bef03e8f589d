#include "log/local_time.h"

#include <sys/time.h>

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

// The second that this thread was told last. Breaking one down looks at the zone's file, which
// costs a system call, and most records share their second with the one before.
struct BrokenDown {
    bool is_kept;
    time_t second;
    Zone zone;
    tm parts;
};

thread_local BrokenDown last = {};

const tm& BreakDown(time_t second) {
    const char* const zone = std::getenv("TZ");
    if (!last.is_kept || last.second != second || !last.zone.Is(zone)) {
        // localtime_r alone would go on with the zone that the process began with.
        tzset();
        localtime_r(&second, &last.parts);
        last.second = second;
        last.is_kept = last.zone.Keep(zone);
    }
    return last.parts;
}

}  // namespace

LocalTime LocalTimeNow() {
    timeval time = {};
    gettimeofday(&time, nullptr);
    return {BreakDown(time.tv_sec), static_cast<long>(time.tv_usec)};
}

}  // namespace orval
