#include "trace/traced_call.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <functional>

#include "calls/observed.h"
#include "calls/own_time.h"
#include "cli/printable.h"
#include "trace/ring.h"

namespace softkey {
namespace {

thread_local bool met_fault = false;

// What this thread last wrote of waits in which nothing happened: a client waits by asking again
// and again, and the same answer is the same line with a count.
struct Run {
    char salt[Ring::kSaltRoom];
    uint64_t number;
    size_t content;
    int64_t times;
    int64_t start_us;
};
thread_local Run run{};

// When this process last found nobody listening, by a clock that costs next to nothing.
std::atomic<int64_t> found_nobody_ms{INT64_MIN / 2};

int64_t RoughNowMs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

// Serial numbers are those of software keys, which are nobody's secret.
calls::Masker MaskerFor(const Ring& ring) {
    return {ring.Salt(), calls::Masker::SerialNumbers::kShown, calls::kLongestInTrace};
}

// Without arguments where they do not fit into a place.
std::string TextOf(calls::Call call) {
    constexpr size_t kLargestText = Ring::kPlaceSize - 1024;
    std::string text = calls::LineOf(call);
    if (text.size() > kLargestText) {
        call.given = calls::Json::object();
        call.taken = calls::Json::object();
        text = calls::LineOf(call);
    }
    return text;
}

TracedLine LineFor(const calls::Call& call, TracedLine::State state, uint64_t number = 0) {
    return {number, static_cast<pid_t>(call.process), static_cast<pid_t>(call.thread), state,
            TextOf(call)};
}

size_t ContentOf(const calls::Call& call) {
    return std::hash<std::string>{}(call.given.dump() + call.taken.dump() +
                                    std::to_string(call.code));
}

bool IsMoreOfRun(const Ring& ring, const calls::Call& call) {
    return run.times > 0 && std::memcmp(run.salt, ring.Begin().salt, sizeof run.salt) == 0 &&
           run.content == ContentOf(call);
}

void BeginRun(const Ring& ring, const calls::Call& call, uint64_t number) {
    std::memcpy(run.salt, ring.Begin().salt, sizeof run.salt);
    run.number = number;
    run.content = ContentOf(call);
    run.times = 1;
    run.start_us = call.start_us;
}

// A wait is written when it is over: it takes no time.
void WriteWait(const Ring& ring, calls::Call& call) {
    const bool nothing_happened = call.IsIdleWait() && !call.threw && !call.fault;
    RingTurn turn(ring);
    if (nothing_happened && IsMoreOfRun(ring, call) &&
        turn.IsLatest(LineFor(call, TracedLine::State::kRun, run.number))) {
        call.times = ++run.times;
        call.duration_us = call.EndUs() - run.start_us;
        call.start_us = run.start_us;
        turn.Replace(LineFor(call, TracedLine::State::kRun, run.number));
        return;
    }
    const auto state = nothing_happened ? TracedLine::State::kRun : TracedLine::State::kEnded;
    const uint64_t number = turn.Append(LineFor(call, state));
    run.times = 0;
    if (nothing_happened) {
        BeginRun(ring, call, number);
    }
}

}  // namespace

struct TracedCall::Progress {
    Progress(const Ring& ring, size_t function, const calls::Passed* arguments)
        : salt(ring.Salt()),
          started_us(ring.Begin().started_us),
          masker(MaskerFor(ring)),
          observed(function, arguments, masker) {
        calls::Call& call = observed.call;
        const std::string name = program_invocation_short_name;
        call.program = cli::IsUtf8(name) ? name : "?";
        call.process = getpid();
        call.thread = syscall(SYS_gettid);
        call.start_us = NowUs() - started_us;
        if (function != calls::kWait) {
            number = RingTurn(ring).Append(LineFor(call, TracedLine::State::kBegun));
        }
        call.start_us = NowUs() - started_us;
    }

    void Finish(calls::End end, int64_t answer) {
        const int64_t now = NowUs() - started_us;
        calls::Call& call = observed.call;
        observed.Finish(end, answer, now, masker);
        call.fault = met_fault;
        const std::optional<Ring> ring = Ring::Open(Ring::For::kWriting);
        // Those who ended the tracing meanwhile, or began another, do not ask for this call.
        if (!ring || ring->Salt() != salt) {
            return;
        }
        if (call.function == calls::kWait) {
            WriteWait(*ring, call);
        } else {
            const TracedLine line = LineFor(call, TracedLine::State::kEnded, number);
            RingTurn(*ring).Replace(line);
        }
    }

    std::string salt;
    int64_t started_us;
    calls::Masker masker;
    calls::Observed observed;
    uint64_t number = 0;
};

TracedCall::TracedCall(size_t function, const calls::Passed* arguments) noexcept {
    const int64_t now = RoughNowMs();
    if (now - found_nobody_ms.load(std::memory_order_relaxed) < Ring::kBelieved.count()) {
        return;
    }
    const calls::OwnTime own;
    met_fault = false;
    try {
        if (const std::optional<Ring> ring = Ring::Open(Ring::For::kWriting)) {
            progress_ = std::make_unique<Progress>(*ring, function, arguments);
        } else {
            found_nobody_ms.store(now, std::memory_order_relaxed);
        }
    } catch (...) {
        // It is not traced.
    }
}

TracedCall::~TracedCall() {
    if (progress_ == nullptr) {
        return;
    }
    const calls::OwnTime own;
    try {
        progress_->Finish(end_, answer_);
    } catch (...) {
        // Nor is its end.
    }
    progress_.reset();
}

void NoteFault() noexcept {
    met_fault = true;
}

}  // namespace softkey
