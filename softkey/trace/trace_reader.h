#ifndef SOFTKEY_TRACE_TRACE_READER_H
#define SOFTKEY_TRACE_TRACE_READER_H

#include <map>
#include <variant>
#include <vector>

#include "base/error.h"
#include "calls/recording.h"
#include "trace/ring.h"

namespace softkey {

// Reads the trace from its oldest call on, also while clients write. Threads are numbered in each
// process from 1, in the order of their first calls that are read.
class TraceReader {
 public:
    // A call, or how many were lost at that place before they were read.
    using Item = std::variant<calls::Call, int64_t>;
    using Items = std::vector<Item>;

    // Throws kStoreDamaged for a file that is no ring.
    explicit TraceReader(Ring ring);

    calls::Header Header() const;

    // What has ended since the last time, in the order in which it began. Calls that go on stay
    // back as long as their processes live, or come as they are.
    enum class Unended { kStay, kCome };
    Items Read(Unended unended);

    // Whether it is still the one that clients write.
    bool IsCurrent() const;

 private:
    using Thread = std::pair<pid_t, pid_t>;
    // NOLINTNEXTLINE(bugprone-exception-escape): a JSON object's move, which asks for no memory
    struct Held {
        TracedLine line;
        calls::Call call;
        bool is_lost = false;  // its place was taken
    };

    void ReadAgain();
    void ReadNew(Items& items);
    bool Take(const TracedLine& line);
    bool HasEnded(const Held& held) const;
    int64_t NumberOf(const Thread& thread);
    calls::Call CallOf(const TracedLine& line);

    Ring ring_;
    uint64_t seen_ = 0;
    std::map<uint64_t, Held> held_;
    std::map<Thread, uint64_t> latest_;
    std::map<Thread, int64_t> numbers_;
    std::map<pid_t, int64_t> threads_;
};

}  // namespace softkey

#endif
