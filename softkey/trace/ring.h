#ifndef SOFTKEY_TRACE_RING_H
#define SOFTKEY_TRACE_RING_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "base/process_lock.h"

// What clients called: a file in the home that is there while calls are traced. It has places of
// one size, which are used in turn, so that it keeps the latest calls of all processes.
namespace softkey {

// A call in the ring.
struct TracedLine {
    enum class State : uint32_t {
        kBegun = 1,  // nobody knows yet how it ends
        kRun = 2,    // ended, and more of the same may be joined to it
        kEnded = 3
    };
    uint64_t number = 0;  // from 1
    pid_t process = 0;
    pid_t thread = 0;
    State state = State::kBegun;
    std::string text;
};

// Open for no longer than one step takes: a client may close descriptors that are not its own.
class Ring {
 public:
    static constexpr uint32_t kPlaces = 2048;
    // With the largest text, what a place has besides it included.
    static constexpr uint32_t kPlaceSize = 16384;
    static constexpr size_t kSaltRoom = 32;

    // What stands in front of the places.
    struct Head {
        char magic[16];
        uint32_t places;
        uint32_t place_size;
        int64_t started_us;    // by the clock since the machine was started
        int64_t started;       // by the calendar
        char salt[kSaltRoom];  // of the masks; no two rings have the same
        uint64_t next;         // calls so far
        uint64_t lasts;        // a Lasts
    };

    // That there is none is believed for so long: looking for it would be all that most calls of a
    // client pay.
    static constexpr std::chrono::milliseconds kBelieved{10};

    // An empty one in the place of another, which every client knows when this returns. Makes the
    // home where there is none.
    enum class Lasts : uint64_t { kUntilRemoved = 0, kWithItsListener = 1 };
    static void MakeAnew(Lasts lasts = Lasts::kUntilRemoved);
    static void Remove();

    // Nothing where there is none, or one whose listener was killed. Throws kStoreDamaged for a
    // file that is no ring, and what else keeps one from using the home's files.
    enum class For { kReading, kWriting };
    static std::optional<Ring> Open(For use);

    ~Ring();
    Ring(Ring&& other) noexcept;
    Ring& operator=(Ring&&) = delete;

    const Head& Begin() const { return head_; }
    std::string Salt() const { return {head_.salt, kSaltRoom}; }
    // How many calls it has had by now.
    uint64_t Count() const;
    // Nothing for a call that has lost its place to a later one, or cannot be read.
    std::optional<TracedLine> At(uint64_t number) const;

 private:
    friend class RingTurn;
    explicit Ring(int file) : file_(file) {}

    int file_;
    Head head_{};
};

// For whom rings are there that last with their listener: one process at a time. However it ends,
// the system lets the next be it.
class RingListener {
 public:
    // Nothing while another listens.
    static std::optional<RingListener> Become();

    ~RingListener();
    RingListener(RingListener&& other) noexcept;
    RingListener& operator=(RingListener&&) = delete;

 private:
    explicit RingListener(int file) : file_(file) {}

    int file_;
};

// The time since the machine was started.
int64_t NowUs();

// While it lives, no other thread or process writes, nor is this process forked. Throws kStoreBusy
// where another keeps the ring for longer than a client may be kept from its work.
class RingTurn {
 public:
    explicit RingTurn(const Ring& ring);
    ~RingTurn();
    RingTurn(const RingTurn&) = delete;
    RingTurn& operator=(const RingTurn&) = delete;

    // The new call's number.
    uint64_t Append(TracedLine line);
    // Where the call still has its place.
    void Replace(const TracedLine& line);
    // Whether the line's thread has written nothing since that number, a few calls ago at most.
    bool IsLatest(const TracedLine& line) const;

 private:
    ProcessLock process_;
    const Ring& ring_;
};

}  // namespace softkey

#endif
