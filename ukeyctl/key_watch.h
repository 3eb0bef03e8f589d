#ifndef UKEYCTL_KEY_WATCH_H
#define UKEYCTL_KEY_WATCH_H

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>

#include "ukey.hpp"

// Keys coming and going, waited for in a process of its own: the library serves one thread at a
// time, and meanwhile this process may ask it for labels without missing what happens.
class KeyWatch final {
 public:
    struct Event {
        ukey::KeyEvent what;
        std::chrono::system_clock::time_point time;  // when the library told
    };

    // The library is loaded in the new process only. To be made before this one loads it: a library
    // may have threads, which a copy of the process would not have.
    explicit KeyWatch(const std::string& library_path);
    ~KeyWatch();
    KeyWatch(const KeyWatch&) = delete;
    KeyWatch& operator=(const KeyWatch&) = delete;

    // The next event; nothing after a stop signal. Throws ukey::Error when the wait has failed, and
    // cli::CommandFailure when the other process has ended.
    std::optional<Event> Next();

 private:
    pid_t process_ = -1;
    int pipe_ = -1;
};

#endif
