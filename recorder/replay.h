#ifndef RECORDER_REPLAY_H
#define RECORDER_REPLAY_H

#include <condition_variable>
#include <mutex>
#include <vector>

#include "engine.h"
#include "settings.h"
#include "vocabulary.h"

namespace recorder {

// Answers a client's calls from a recording. Each thread of the client takes over one recorded
// thread, and calls of several threads come in the recorded order. One for a process; any thread.
class Replay {
 public:
    explicit Replay(Settings settings);

    Course Answer(size_t function, const Passed* arguments) noexcept;

 private:
    // The calls of one recorded thread.
    struct Lane {
        int64_t process = 0;
        std::vector<size_t> calls;  // places in the recording, in order
        size_t next = 0;
        bool is_taken = false;
        bool is_late = false;  // others have waited for it long enough
        int64_t first_poll_us = 0;
    };
    // A call as the client makes it.
    struct Made {
        size_t function;
        const Passed* arguments;
        Json plain;
        Json masked;
    };
    using Lock = std::unique_lock<std::mutex>;

    Course AnswerLocked(Lock& lock, size_t function, const Passed* arguments);
    const Call* AwaitEvent(Lock& lock, Lane& lane);
    const Call* AwaitCall(Lock& lock, Lane*& lane, const Made& made);
    Course GiveNoEvent(const Lane& lane, const Made& made);
    void Advance(Lane& lane, const Call& call);
    static Course Refusal(const Made& made);
    Course Give(const Call& call, const Made& made);
    Course Differ(const Made& made, const Call* expected);
    static Json Shown(const Made& made, const Call* expected);
    const Call* FirstFree() const;

    Lane* LaneOfThisThread(const Made& made);
    bool TakeProcess(const Made& made);
    bool Swap(Lane*& lane, const Made& made);
    bool Matches(const Call& call, const Made& made) const;
    const Call* NextOf(const Lane& lane, bool with_idle_waits) const;
    bool AgreeBefore(const Lane& one, const Lane& other, size_t count) const;
    bool IsDue(const Lane& lane, int64_t before_us) const;
    void AwaitTurn(Lock& lock, Lane& lane, int64_t before_us);

    Settings settings_;
    Recording recording_;
    Masker masker_;
    std::mutex mutex_;
    std::condition_variable advanced_;
    std::vector<Lane> lanes_;
    int64_t process_ = 0;  // whose recorded calls this process takes over
    int64_t owner_ = 0;    // this process, to know a forked child
    bool differs_ = false;
};

}  // namespace recorder

#endif
