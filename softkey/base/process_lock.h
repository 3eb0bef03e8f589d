#ifndef SOFTKEY_BASE_PROCESS_LOCK_H
#define SOFTKEY_BASE_PROCESS_LOCK_H

#include <functional>
#include <utility>

namespace softkey {

// Held while a thread uses SQLite, what this library keeps for its process, or what of the C
// library has locks of its own that a fork leaves as they are (character sets, time zones, users).
// A fork waits for it, so that the child gets all of that whole: no lock of a thread that the child
// does not have, no open connection, which a fork would break: see DropBeforeFork. A thread may
// hold it several times. Never held while somebody is asked or something is waited for.
class ProcessLock {
 public:
    ProcessLock();
    ~ProcessLock();
    ProcessLock(ProcessLock&& other) noexcept : held_(std::exchange(other.held_, false)) {}
    ProcessLock& operator=(ProcessLock&&) = delete;

 private:
    bool held_ = true;
};

// Calls `drop` before each fork of this process, in the thread that forks and under the lock: for
// what is kept between two calls and must not be in a child.
void DropBeforeFork(std::function<void()> drop);

}  // namespace softkey

#endif
