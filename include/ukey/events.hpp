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
#include <limits>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "library.hpp"

namespace ukey {
namespace detail {

// The right to wait: the product supports one wait at a time.
class WaitPermit {
 public:
    WaitPermit() {
        if (Taken().exchange(true)) {
            throw std::system_error(std::make_error_code(std::errc::device_or_resource_busy),
                                    "another event source is waiting");
        }
    }
    WaitPermit(WaitPermit&& other) noexcept : held_(std::exchange(other.held_, false)) {}
    WaitPermit(const WaitPermit&) = delete;
    WaitPermit& operator=(const WaitPermit&) = delete;
    WaitPermit& operator=(WaitPermit&&) = delete;
    ~WaitPermit() {
        if (held_) {
            Taken() = false;
        }
    }

 private:
    static std::atomic<bool>& Taken() {
        static std::atomic<bool> taken{false};
        return taken;
    }
    bool held_ = true;
};

// A descriptor that is readable while something is to be had.
class Signal {
 public:
    Signal() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK | EFD_SEMAPHORE)) {
        if (descriptor_ < 0) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
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
    explicit EventQueue(Library library) : library_(std::move(library)) {}

    int Descriptor() const noexcept { return available_.Descriptor(); }
    bool IsFinished() const noexcept { return finished_; }
    void RequestStop() noexcept { stopping_ = true; }
    const Library& Product() const noexcept { return library_; }

    // The waiting thread: events into the queue until a stop or a failure.
    void Run() noexcept {
        try {
            while (!stopping_) {
                Deliver(library_.WaitForKeyEvent());
            }
        } catch (...) {
            const std::lock_guard<std::mutex> lock(mutex_);
            failure_ = std::current_exception();
        }
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
    Signal available_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> finished_{false};
    std::mutex mutex_;
    std::deque<KeyEvent> events_;
    std::exception_ptr failure_;
};

}  // namespace detail

// Keys coming and going. A thread of its own waits from construction on and queues what happens,
// so that nothing is missed between two calls of Next. One source can wait at a time; a second one
// fails with std::errc::device_or_resource_busy.
//
// WARNING: while it waits, this is the one thread that uses the product. Stop or destroy it before
// anything else is asked of the product or of a key, and start another one afterwards.
//
// Any thread may call any member, and Stop brings those back that are inside Next, with no event.
// Destroying is for the owner, at any moment of the wait, but as with any object only when no other
// thread is inside a member: stop it and let them come back first.
class EventSource {
 public:
    explicit EventSource(Library library)
        : queue_(std::make_shared<detail::EventQueue>(std::move(library))),
          waiter_([queue = queue_, permit = detail::WaitPermit()] { queue->Run(); }) {}
    EventSource(const EventSource&) = delete;
    EventSource& operator=(const EventSource&) = delete;
    ~EventSource() { Stop(); }

    // Next: the next event, waiting for it. Nothing after a stop. Throws ukey::Error when the
    // wait itself has failed; the source is then at its end.
    std::optional<KeyEvent> Next() { return Await(std::nullopt); }

    // NextFor: the same, waiting no longer than `timeout`, and then nothing.
    std::optional<KeyEvent> NextFor(std::chrono::milliseconds timeout) {
        return Await(std::chrono::steady_clock::now() + timeout);
    }

    // IsFinished: no further event will come.
    bool IsFinished() const noexcept { return queue_->IsFinished(); }

    // Descriptor: readable while Next has something to say, for a poll loop. Not to be read.
    int Descriptor() const noexcept { return queue_->Descriptor(); }

    // Stop: ends the wait for good and returns when it has ended, which takes as long as one wait
    // of the token library and 20 ms more. Events already queued can still be taken.
    void Stop() noexcept {
        // The product forgets a stop that comes before its wait has begun, and the waiting thread
        // may be anywhere, so the stop is repeated until the thread says that it is through.
        queue_->RequestStop();
        while (!queue_->IsFinished()) {
            StopOnce();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        const std::lock_guard<std::mutex> lock(join_);
        if (waiter_.joinable()) {
            waiter_.join();
        }
    }

 private:
    using Deadline = std::optional<std::chrono::steady_clock::time_point>;

    void StopOnce() noexcept {
        try {
            queue_->Product().StopDetectUKey();
        } catch (const std::exception&) {
            // The next repetition may succeed; there is nobody to tell.
        }
    }

    static int PollTimeout(const Deadline& deadline) {
        if (!deadline) {
            return -1;
        }
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(
            *deadline - std::chrono::steady_clock::now());
        return static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(
            left.count(), 0, std::numeric_limits<int>::max()));
    }

    std::optional<KeyEvent> Await(const Deadline& deadline) {
        const std::shared_ptr<detail::EventQueue> queue = queue_;
        for (;;) {
            // Read before the queue is looked at: an end seen first means that the queue was full.
            const bool finished = queue->IsFinished();
            std::optional<KeyEvent> event = queue->Take();
            const int timeout = PollTimeout(deadline);
            if (event || finished || timeout == 0) {
                return event;
            }
            pollfd available{queue->Descriptor(), POLLIN, 0};
            poll(&available, 1, timeout);
        }
    }

    std::shared_ptr<detail::EventQueue> queue_;
    std::mutex join_;
    std::thread waiter_;
};

}  // namespace ukey

#endif
