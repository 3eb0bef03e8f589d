#ifndef RECORDER_PENDING_H
#define RECORDER_PENDING_H

#include <cstdint>
#include <string>
#include <vector>

namespace recorder {

inline constexpr char kPendingPrefix[] = "pending.";

// The calls that the threads of a process are in, in a file that stays when the process crashes. A
// thread beyond the first 64 is left out.
class Pending {
 public:
    explicit Pending(const std::string& folder);

    // The line of a call that has begun, of fewer bytes than this, and when it has ended.
    static constexpr size_t kLine = 2048;
    void Begin(size_t thread, const std::string& line);
    void End(size_t thread);

    // One that has ended and could not be written down.
    void Lose(size_t thread);

 private:
    char* slots_;
};

// The lines of the calls that were never ended, of all processes.
std::vector<std::string> LeftPending(const std::string& folder);

// How many of all processes could not be written down.
int64_t Lost(const std::string& folder);

}  // namespace recorder

#endif
