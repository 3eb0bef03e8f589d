#include "replay.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <thread>

#include "calls/own_time.h"
#include "progress.h"

namespace recorder {

namespace {

// How long a call waits for those of other threads that came before it in the recording: a client
// may make them in another order, and must not hang then.
constexpr std::chrono::seconds kPatience{1};

// What a wait answers that finds no event, where no recorded one tells.
constexpr int64_t kNoEvent = 1;

// Which lane this thread takes over, and in which process: a fork keeps the thread's memory.
thread_local size_t lane_of_thread = SIZE_MAX;
thread_local int64_t process_of_thread = 0;

// Of the file in which all processes of a client note what they have answered.
class ProgressLock {
 public:
    explicit ProgressLock(const std::string& folder)
        : file_(open((folder + "/" + kProgressFile).c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600)) {
        while (file_ >= 0 && flock(file_, LOCK_EX) != 0 && errno == EINTR) {
        }
    }
    ProgressLock(const ProgressLock&) = delete;
    ProgressLock& operator=(const ProgressLock&) = delete;
    ~ProgressLock() {
        if (file_ >= 0) {
            // Said, not left to close: a child forked meanwhile has the file open too.
            flock(file_, LOCK_UN);
            close(file_);
        }
    }

 private:
    const int file_;
};

}  // namespace

Replay::Replay(Settings settings)
    : settings_(std::move(settings)),
      recording_(Read(ContentsOf(settings_.recording))),
      masker_(recording_.header.salt, recording_.header.serial_numbers) {
    for (size_t i = 0; i < recording_.calls.size(); ++i) {
        const Call& call = recording_.calls[i];
        const Call* const last = i == 0 ? nullptr : &recording_.calls[i - 1];
        if (last == nullptr || last->process != call.process || last->thread != call.thread) {
            lanes_.emplace_back().process = call.process;
        }
        if (call.finished) {
            lanes_.back().calls.push_back(i);
        }
    }
}

// The next call of the lane, by and by without those waits that brought nothing.
const Call* Replay::NextOf(const Lane& lane, bool with_idle_waits) const {
    for (size_t i = lane.next; i < lane.calls.size(); ++i) {
        const Call& call = recording_.calls[lane.calls[i]];
        if (with_idle_waits || !call.IsIdleWait()) {
            return &call;
        }
    }
    return nullptr;
}

bool Replay::Matches(const Call& call, const Made& made) const {
    return call.function == made.function && IsGiven(call.given, made.plain, made.masked);
}

// Which recorded process is this one is agreed upon with the other processes of the client, through
// the file in which all note what they have answered.
bool Replay::TakeProcess(const Made& made) {
    const ProgressLock lock(settings_.folder);
    const Progress progress = ReadProgress(settings_.folder);
    const Call* first = nullptr;
    for (const Lane& lane : lanes_) {
        const Call* const call = NextOf(lane, true);
        const bool is_free = progress.processes.count(lane.process) == 0;
        if (call != nullptr && is_free && Matches(*call, made) &&
            (first == nullptr || call->start_us < first->start_us)) {
            first = call;
        }
    }
    if (first != nullptr) {
        process_ = first->process;
        NoteProcess(settings_.folder, process_);
    }
    return first != nullptr;
}

Replay::Lane* Replay::LaneOfThisThread(const Made& made) {
    if (owner_ != getpid()) {
        owner_ = getpid();
        for (Lane& lane : lanes_) {
            lane.is_taken = false;
            lane.next = 0;
        }
        process_ = 0;
    }
    if (process_of_thread == owner_ && lane_of_thread != SIZE_MAX) {
        return &lanes_[lane_of_thread];
    }
    if (process_ == 0 && !TakeProcess(made)) {
        return nullptr;
    }
    Lane* chosen = nullptr;
    for (Lane& lane : lanes_) {
        const Call* const call = NextOf(lane, true);
        if (lane.process == process_ && !lane.is_taken && call != nullptr && Matches(*call, made) &&
            (chosen == nullptr || call->start_us < NextOf(*chosen, true)->start_us)) {
            chosen = &lane;
        }
    }
    if (chosen != nullptr) {
        chosen->is_taken = true;
        process_of_thread = owner_;
        lane_of_thread = static_cast<size_t>(chosen - lanes_.data());
    }
    return chosen;
}

bool Replay::AgreeBefore(const Lane& one, const Lane& other, size_t count) const {
    const auto are_alike = [this](size_t left, size_t right) {
        const Call& call = recording_.calls[left];
        const Call& with = recording_.calls[right];
        return call.function == with.function && call.given == with.given &&
               call.taken == with.taken && call.code == with.code && call.threw == with.threw;
    };
    return one.calls.size() >= count && other.calls.size() >= count &&
           std::equal(one.calls.begin(), one.calls.begin() + static_cast<ptrdiff_t>(count),
                      other.calls.begin(), are_alike);
}

// Threads that began alike may have taken over each other's calls: what was answered was right for
// both. A thread that has gone further keeps its own.
bool Replay::Swap(Lane*& lane, const Made& made) {
    for (Lane& other : lanes_) {
        const bool is_other = &other != lane && other.process == lane->process;
        if (!is_other || other.is_taken || lane->next >= other.calls.size() ||
            !Matches(recording_.calls[other.calls[lane->next]], made) ||
            !AgreeBefore(*lane, other, lane->next)) {
            continue;
        }
        for (; other.next < lane->next; ++other.next) {
            TakeBackAnswered(settings_.folder, lane->calls[other.next]);
            NoteAnswered(settings_.folder, other.calls[other.next]);
        }
        other.is_taken = true;
        lane->next = 0;
        lane->is_taken = false;
        lane = &other;
        lane_of_thread = static_cast<size_t>(lane - lanes_.data());
        return true;
    }
    return false;
}

// Whether all calls of other threads that ended before are answered.
bool Replay::IsDue(const Lane& lane, int64_t before_us) const {
    return std::none_of(lanes_.begin(), lanes_.end(), [&](const Lane& other) {
        const bool concerns = &other != &lane && other.process == lane.process && !other.is_late;
        const Call* const next = concerns ? NextOf(other, false) : nullptr;
        return next != nullptr && next->EndUs() < before_us;
    });
}

void Replay::AwaitTurn(Lock& lock, Lane& lane, int64_t before_us) {
    // The desktop's C library cannot wait by a steady clock, of which wait_for would ask it.
    const auto patient_until = std::chrono::system_clock::now() + kPatience;
    if (advanced_.wait_until(lock, patient_until, [&] { return IsDue(lane, before_us); })) {
        return;
    }
    for (Lane& other : lanes_) {
        const Call* const next = NextOf(other, false);
        if (&other != &lane && next != nullptr && next->EndUs() < before_us) {
            other.is_late = true;
        }
    }
}

// What the client passed: what it has from the recording is masked already.
Json Replay::Shown(const Made& made, const Call* expected) {
    Json shown = made.masked;
    for (const auto& [name, value] : made.plain.items()) {
        if (expected != nullptr && expected->given.value(name, Json()) == value) {
            shown[name] = value;
        }
    }
    return shown;
}

Course Replay::Differ(const Made& made, const Call* expected) {
    differs_ = true;
    Call call;
    call.function = made.function;
    call.given = Shown(made, expected);
    call.taken = Json::object();
    call.has_code = false;
    NoteDifference(settings_.folder,
                   {expected == nullptr
                        ? "no call"
                        : "call " + std::to_string(expected->number) + ": " + Describe(*expected),
                    Describe(call)});
    return Refusal(made);
}

// What a thread that fits nowhere might have been meant to begin with.
const Call* Replay::FirstFree() const {
    const Call* first = nullptr;
    for (const Lane& lane : lanes_) {
        const bool concerns = !lane.is_taken && (process_ == 0 || lane.process == process_);
        const Call* const call = concerns ? NextOf(lane, true) : nullptr;
        if (call != nullptr && (first == nullptr || call->start_us < first->start_us)) {
            first = call;
        }
    }
    return first;
}

// Behind a difference nothing is known any more. A wait ends: the product asks again for as long as
// it is refused.
Course Replay::Refusal(const Made& made) {
    const bool is_silent = made.function == kTextOfCode || made.function == kWait;
    return {nullptr, nullptr, is_silent ? 0 : kNoAnswer, false};
}

Course Replay::Give(const Call& call, const Made& made) {
    if (call.threw) {
        return {nullptr, nullptr, 0, true};
    }
    if (made.function == kTextOfCode) {
        const Json& text = call.taken.at("text");
        const auto address =
            text.is_string() ? text.get_ref<const std::string&>().c_str() : nullptr;
        return {nullptr, nullptr, reinterpret_cast<int64_t>(address), false};
    }
    if (!Before(kFunctions[made.function], made.arguments).Put(call.taken)) {
        return Differ(made, &call);
    }
    return {nullptr, nullptr, call.code, false};
}

// A client asks for an event until there is one, or until it is told to stop. How often is a matter
// of time, so that the waits of a recording that brought nothing answer any number of them.
const Call* Replay::AwaitEvent(Lock& lock, Lane& lane) {
    const Call* const idle = NextOf(lane, true);
    const Call* const event = NextOf(lane, false);
    if (event == nullptr || event->function != kWait) {
        return nullptr;
    }
    const int64_t now = NowUs();
    if (lane.first_poll_us == 0) {
        lane.first_poll_us = now;
    }
    const int64_t polled = now - lane.first_poll_us;
    const bool is_early =
        settings_.mode == Settings::Mode::kReplayPaced && polled < event->EndUs() - idle->start_us;
    const bool is_patient = polled < std::chrono::microseconds(kPatience).count();
    if (idle != event && (is_early || (is_patient && !IsDue(lane, event->EndUs())))) {
        return nullptr;
    }
    AwaitTurn(lock, lane, event->EndUs());
    return event;
}

// What a wait answers when nothing has happened yet; the recording may have none where the client
// was faster.
Course Replay::GiveNoEvent(const Lane& lane, const Made& made) {
    const Call* const next = NextOf(lane, true);
    if (next != nullptr && next->IsIdleWait()) {
        return Give(*next, made);
    }
    const size_t last =
        lane.next == 0 ? kFunctionCount : recording_.calls[lane.calls[lane.next - 1]].function;
    return last == kBeginOfWaits ? Course{nullptr, nullptr, kNoEvent, false} : Differ(made, next);
}

const Call* Replay::AwaitCall(Lock& lock, Lane*& lane, const Made& made) {
    lane->first_poll_us = 0;
    const Call* call = NextOf(*lane, false);
    if ((call == nullptr || !Matches(*call, made)) && Swap(lane, made)) {
        call = NextOf(*lane, false);
    }
    if (call != nullptr && Matches(*call, made)) {
        AwaitTurn(lock, *lane, call->start_us);
    }
    return call;
}

void Replay::Advance(Lane& lane, const Call& call) {
    while (&recording_.calls[lane.calls[lane.next]] != &call) {
        ++lane.next;
    }
    NoteAnswered(settings_.folder, lane.calls[lane.next]);
    ++lane.next;
    lane.is_late = false;
    lane.first_poll_us = 0;
    advanced_.notify_all();
}

Course Replay::AnswerLocked(Lock& lock, size_t function, const Passed* arguments) {
    const Function& described = kFunctions[function];
    const Made made{function, arguments, Given(described, arguments, nullptr),
                    Given(described, arguments, &masker_)};
    if (differs_) {
        return Refusal(made);
    }
    Lane* lane = LaneOfThisThread(made);
    if (lane == nullptr) {
        return Differ(made, FirstFree());
    }
    const bool waits = function == kWait;
    const Call* const call = waits ? AwaitEvent(lock, *lane) : AwaitCall(lock, lane, made);
    if (waits && call == nullptr) {
        return GiveNoEvent(*lane, made);
    }
    if (call == nullptr || !Matches(*call, made)) {
        return Differ(made, call);
    }
    const Course course = Give(*call, made);
    Advance(*lane, *call);
    if (settings_.mode == Settings::Mode::kReplayPaced && !waits) {
        lock.unlock();
        std::this_thread::sleep_for(std::chrono::microseconds(call->duration_us));
    }
    return course;
}

Course Replay::Answer(size_t function, const Passed* arguments) noexcept {
    const calls::OwnTime own;
    try {
        Lock lock(mutex_);
        return AnswerLocked(lock, function, arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ukeyctl replay: %s\n", error.what());
        return {nullptr, nullptr, function == kTextOfCode ? 0 : kNoAnswer, false};
    }
}

}  // namespace recorder
