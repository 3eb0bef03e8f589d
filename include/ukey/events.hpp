// Part of ukey.hpp: keys coming and going, waited for on a thread of its own.
#ifndef ORVAL_UKEY_EVENTS_HPP
#define ORVAL_UKEY_EVENTS_HPP

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <exception>
#include <iterator>
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "exception.hpp"
#include "library.hpp"
#include "waiting.hpp"

namespace ukey {
namespace detail {

// The right to wait: the product supports one wait at a time, and no other call beside it.
class WaitPermit {
 public:
    WaitPermit() {
        Waiting& waiting = Waiting::Instance();
        const pid_t own = getpid();
        pid_t holder = waiting.process;
        if (holder == own || !waiting.process.compare_exchange_strong(holder, own)) {
            throw BusyError("another event source is waiting");
        }
        waiting.thread = std::thread::id();
    }
    WaitPermit(WaitPermit&& other) noexcept : held_(std::exchange(other.held_, false)) {}
    WaitPermit(const WaitPermit&) = delete;
    WaitPermit& operator=(const WaitPermit&) = delete;
    WaitPermit& operator=(WaitPermit&&) = delete;
    ~WaitPermit() { Release(); }

    // The calling thread is the one that waits.
    void Use() const noexcept { Waiting::Instance().thread = std::this_thread::get_id(); }

    void Release() noexcept {
        if (std::exchange(held_, false)) {
            Waiting::Instance().process = 0;
        }
    }

 private:
    bool held_ = true;
};

// A descriptor that is readable while something is to be had.
class Signal {
 public:
    Signal() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
        if (descriptor_ < 0) {
            throw Exception(errno, std::generic_category(), "eventfd");
        }
    }
    Signal(const Signal&) = delete;
    Signal& operator=(const Signal&) = delete;
    ~Signal() { close(descriptor_); }

    int Descriptor() const noexcept { return descriptor_; }
    void Raise() noexcept { eventfd_write(descriptor_, 1); }
    void Lower() noexcept {
        eventfd_t one = 0;
        eventfd_read(descriptor_, &one);
    }

 private:
    int descriptor_;
};

// What the waiting thread and the event source share. The thread may outlast neither the library
// nor this, so both are held here.
class EventQueue {
 public:
    EventQueue(Library library, WaitPermit permit)
        : library_(std::move(library)), permit_(std::move(permit)) {}

    int Descriptor() const noexcept { return available_.Descriptor(); }
    bool IsFinished() const noexcept { return finished_; }
    void RequestStop() noexcept { stopping_ = true; }
    const Library& Product() const noexcept { return library_; }

    // The waiting thread: events into the queue until a stop or a failure.
    void Run() noexcept {
        permit_.Use();
        try {
            while (!stopping_) {
                Deliver(library_.WaitForKeyEvent());
            }
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex_);
            failure_ = std::current_exception();
        }
        permit_.Release();  // before the end is told: whoever learns of it may call the product
        finished_ = true;
        available_.Raise();  // and it stays raised: whoever comes later need not wait
    }

    // The next event if there is one. Throws what ended the wait, once no event is left.
    std::optional<KeyEvent> Take() {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!events_.empty()) {
            KeyEvent event = std::move(events_.front());
            events_.pop_front();
            available_.Lower();
            return event;
        }
        if (failure_ && !stopping_) {
            std::rethrow_exception(failure_);
        }
        return std::nullopt;
    }

 private:
    // A stop that somebody else asked for, or an event that concerns no key, is no event.
    void Deliver(KeyEvent event) {
        if (event.kind == KeyEvent::Kind::kInserted || event.kind == KeyEvent::Kind::kRemoved) {
            const std::lock_guard<std::mutex> lock(mutex_);
            events_.push_back(std::move(event));
            available_.Raise();
        }
    }

    Library library_;
    WaitPermit permit_;
    Signal available_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> finished_{false};
    std::mutex mutex_;
    std::deque<KeyEvent> events_;
    std::exception_ptr failure_;
};

// When a wait gives up.
class Deadline {
 public:
    explicit Deadline(std::chrono::milliseconds timeout)
        : end_(Clock::now() + std::min<std::chrono::milliseconds>(timeout, kLongest)) {}

    bool HasPassed() const { return Clock::now() >= end_; }

    // What is left, as poll takes it: a longer time is waited for in several.
    int PollTimeout() const {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - Clock::now());
        return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(
            left.count(), 0, std::numeric_limits<int>::max()));
    }

 private:
    using Clock = std::chrono::steady_clock;
    // A hundred years: the longest duration there is would be over before it began.
    static constexpr std::chrono::hours kLongest{24 * 365 * 100};

    Clock::time_point end_;
};

}  // namespace detail

// Keys coming and going. A thread of its own waits from construction on and queues what happens,
// so that nothing is missed between two calls of Next.
//
// WARNING: while it waits, this is the one thread that uses the product. Stop or destroy it before
// anything else is asked of the product or of a key, and start another one afterwards. Until then
// every call of an object here, but for StopDetectUKey, throws BusyError and does nothing, and so
// does a second source.
//
// Any thread may call any member, and Stop brings those back that are inside Next, with no event.
// Destroying is for the owner, at any moment of the wait, but as with any object only when no other
// thread is inside a member: stop it and let them come back first.
//
// A key that comes or goes before the thread has brought the product to its first look at the keys,
// some milliseconds after construction, is no event, and the product does not tell when that was.
// Whoever must not miss it stops the source at times and looks again, as WaitForKey does.
//
// In a child of a fork the source has no thread: it is finished and has no event, and destroying it
// leaves the parent's as it is.
class EventSource {
 public:
    explicit EventSource(Library library)
        : queue_(std::make_shared<detail::EventQueue>(std::move(library), detail::WaitPermit())),
          waiter_(std::make_unique<std::thread>([queue = queue_] { queue->Run(); })) {}
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    ~EventSource() {
        Stop();
        if (!IsOfThisProcess()) {
            // A thread that is not there can be neither joined nor detached.
            static_cast<void>(waiter_.release());
        }
    }

    // Next: the next event, waiting for it. Nothing after a stop. Throws ukey::Error when the
    // wait itself has failed; the source is then at its end.
    std::optional<KeyEvent> Next() { return Await(std::nullopt); }

    // NextFor: the same, waiting no longer than `timeout`, and then nothing.
    std::optional<KeyEvent> NextFor(std::chrono::milliseconds timeout) {
        return Await(detail::Deadline(timeout));
    }

    // IsFinished: no further event will come.
    bool IsFinished() const noexcept { return !IsOfThisProcess() || queue_->IsFinished(); }

    // Descriptor: readable while Next has something to say, for a poll loop. Not to be read.
    int Descriptor() const noexcept { return queue_->Descriptor(); }

    // Stop: ends the wait for good and returns when it has ended, which takes as long as one wait
    // of the token library and 20 ms more. Events already queued can still be taken.
    void Stop() noexcept {
        if (!IsOfThisProcess()) {
            return;
        }
        // The product forgets a stop that comes before its wait has begun, and the waiting thread
        // may be anywhere, so the stop is repeated until the thread says that it is through.
        queue_->RequestStop();
        while (!queue_->IsFinished()) {
            StopOnce();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::lock_guard<std::mutex> lock(join_);
        if (waiter_->joinable()) {
            waiter_->join();
        }
    }

 private:
    bool IsOfThisProcess() const noexcept { return process_ == getpid(); }

    void StopOnce() noexcept {
        try {
            queue_->Product().StopDetectUKey();
        } catch (const std::exception&) {
            // The next repetition may succeed; there is nobody to tell.
        }
    }

    std::optional<KeyEvent> Await(const std::optional<detail::Deadline>& deadline) {
        if (!IsOfThisProcess()) {
            return std::nullopt;  // the thread may have had the queue's lock when it was left
                                  // behind
        }
        const std::shared_ptr<detail::EventQueue> queue = queue_;
        for (;;) {
            // Read before the queue is looked at: an end seen first means that the queue was full.
            const bool finished = queue->IsFinished();
            std::optional<KeyEvent> event = queue->Take();
            const int timeout = deadline ? deadline->PollTimeout() : -1;
            if (event || finished || timeout == 0) {
                return event;
            }
            pollfd available{queue->Descriptor(), POLLIN, 0};
            poll(&available, 1, timeout);
        }
    }

    const pid_t process_ = getpid();
    std::shared_ptr<detail::EventQueue> queue_;
    std::mutex join_;
    std::unique_ptr<std::thread> waiter_;
};

// Ends a WaitForKey before its time.
class StopFlag {
 public:
    // Raise: for good. May be called from any thread, and from a signal handler.
    void Raise() noexcept { signal_.Raise(); }
    bool IsRaised() const noexcept {
        pollfd raised{Descriptor(), POLLIN, 0};
        return poll(&raised, 1, 0) == 1;
    }

    // Descriptor: readable once it is raised, for a poll loop. Not to be read.
    int Descriptor() const noexcept { return signal_.Descriptor(); }

 private:
    detail::Signal signal_;
};

namespace detail {

// Until a key comes or goes, the flag is raised, or it is time to look again: a key that comes
// between a look and the beginning of the wait is no event.
inline void AwaitChange(const Library& library, const StopFlag& stop, const Deadline& deadline) {
    constexpr int kBetweenLooks = 1000;
    EventSource events(library);
    pollfd awaited[] = {{events.Descriptor(), POLLIN, 0}, {stop.Descriptor(), POLLIN, 0}};
    poll(awaited, std::size(awaited), std::min(kBetweenLooks, deadline.PollTimeout()));
    events.NextFor(std::chrono::milliseconds(0));  // throws if the wait has failed
}

// The key that is plugged; without one, the code that says why. A maker may have a number of its
// own for that, so any code of the key's is one.
inline std::optional<Key> LookForKey(const Library& library, std::optional<Error>& why) {
    try {
        return library.PluggedKey();
    } catch (const Error& error) {
        if (OwnText(error.Code()) != nullptr) {
            throw;
        }
        why = error;
    }
    return std::nullopt;
}

}  // namespace detail

inline std::optional<Key> Library::WaitForKey(std::chrono::milliseconds timeout,
                                              const StopFlag& stop) const {
    const detail::Deadline deadline(timeout);
    for (;;) {
        std::optional<Error> why;
        std::optional<Key> key = detail::LookForKey(*this, why);
        if (key || stop.IsRaised()) {
            return key;
        }
        if (deadline.HasPassed()) {
            if (why->code() == Condition::kNoKey) {
                return std::nullopt;
            }
            throw Error(*why);
        }
        detail::AwaitChange(*this, stop, deadline);
    }
}

inline std::optional<Key> Library::WaitForKey(std::chrono::milliseconds timeout) const {
    return WaitForKey(timeout, StopFlag());
}

}  // namespace ukey

#endif
