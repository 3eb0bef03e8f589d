// From the stop's call until the wait on another thread has returned. Each stop is a repetition of
// its own, so that the judge has them all.
#include <dlfcn.h>

#include <atomic>
#include <chrono>
#include <random>
#include <thread>

#include "families.h"
#include "maker/token.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// The pause between two attempts.
constexpr double kPauseMs = 20.0;
constexpr int kManyStops = 1000;
constexpr int kSlowStops = 60;
// The software key is asked anew at least this often.
constexpr double kKeyCycleMs = 40.0;

std::atomic<uint32_t> attempts{0};
std::atomic<uint32_t> added_ms{0};

}  // namespace

// Stands in front of the token library's, which it asks: counts the attempts at an event, and makes
// each longer where a row says so.
extern "C" __attribute__((visibility("default"))) uint32_t VexaT_WaitForEvent(
    uint32_t kind, uint32_t flags, VEXA_EVENT_INFO* event, uint32_t* context) {
    static const auto next =
        reinterpret_cast<decltype(&VexaT_WaitForEvent)>(dlsym(RTLD_NEXT, __func__));
    ++attempts;
    if (added_ms != 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(added_ms));
    }
    return next(kind, flags, event, context);
}

namespace {

class Wait final {
 public:
    Wait() : thread_([this] { Run(); }) {}

    void AwaitFirstAttempt() const {
        while (attempts == attempts_before_) {
            std::this_thread::yield();
        }
    }

    // When the wait had returned; meaningless if it did not answer that it was stopped.
    Clock::time_point Join(bool& stopped) {
        thread_.join();
        stopped = event_ == ORVAL_WAIT_STOPPED;
        return returned_;
    }

 private:
    void Run() {
        char serial_number[17] = {};
        uint32_t length = sizeof(serial_number);
        WaitForKeyEvent(&event_, serial_number, &length);
        returned_ = Clock::now();
    }

    uint32_t event_ = 0;
    Clock::time_point returned_;
    uint32_t attempts_before_ = attempts;
    std::thread thread_;
};

// By how much the machine wakes this thread too late.
double SleepAndTellLateness(Milliseconds asked) {
    const auto start = Clock::now();
    std::this_thread::sleep_for(asked);
    const Milliseconds slept = Clock::now() - start;
    return (slept - asked).count();
}

// The stops are spread evenly over the wait's cycle.
void StopWait(benchmark::State& state, uint32_t attempt_ms, double cycle_ms) {
    static std::mt19937 random(1);
    added_ms = attempt_ms;
    std::uniform_real_distribution<double> moment(0, cycle_ms);
    for ([[maybe_unused]] auto unused : state) {
        Wait wait;
        wait.AwaitFirstAttempt();
        const double lateness = SleepAndTellLateness(Milliseconds(moment(random)));
        const auto start = Clock::now();
        StopDetectUKey();
        const uint32_t calls = attempts;
        bool stopped = false;
        const Milliseconds latency = wait.Join(stopped) - start;
        if (!stopped) {
            state.SkipWithError("the wait ended without being stopped");
            break;
        }
        state.SetIterationTime(latency.count() / 1000);
        state.counters["machine_late_ms"] = lateness;
        state.counters["calls_after_stop"] = attempts - calls;
    }
}

void AddStop(const char* row, uint32_t attempt_ms, double cycle_ms, int stops) {
    bench::Add(row, bench::kOurs, StopWait, attempt_ms, cycle_ms)
        ->Iterations(1)
        ->Repetitions(stops)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

void bench::AddInstantStopRows() {
    AddStop("stop of a wait, token library answers at once", 0, kPauseMs, kManyStops);
    AddStop("stop of a wait, token library takes 30 ms", 30, kPauseMs + 30, kSlowStops);
}

void bench::AddKeyStopRows() {
    AddStop("stop of a wait, software key", 0, kKeyCycleMs, kManyStops);
}
