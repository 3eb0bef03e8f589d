#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "benchmarks.h"
#include "instant_token.h"
#include "orval_unified_kpxukey.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// The pause between two attempts. A stop takes effect after one attempt and one pause at most.
constexpr double kPauseMs = 20.0;
constexpr int kStops = 60;

TokenControl* Token() {
    return static_cast<TokenControl*>(dlsym(RTLD_DEFAULT, kTokenControlName));
}

class Wait final {
 public:
    Wait() : attempts_(Token()->attempts), thread_([this] { Run(); }) {}

    void AwaitFirstAttempt() const {
        while (Token()->attempts == attempts_) {
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
    uint32_t attempts_;
    std::thread thread_;
};

// By how much the machine wakes this thread too late.
double SleepAndTellLateness(Milliseconds asked) {
    const auto start = Clock::now();
    std::this_thread::sleep_for(asked);
    const Milliseconds slept = Clock::now() - start;
    return (slept - asked).count();
}

double NotExceededByMost(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[(values.size() - 1) * 95 / 100];
}

// From the stop's call until the wait has returned, with stops spread evenly over the wait's cycle.
void StopWait(benchmark::State& state, uint32_t attempt_ms) {
    Token()->attempt_duration_us = attempt_ms * 1000;
    const double cycle_ms = kPauseMs + attempt_ms;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> moment(0, cycle_ms);
    std::vector<double> latencies;
    std::vector<double> lateness;
    uint32_t calls_after_stop = 0;
    for ([[maybe_unused]] auto unused : state) {
        Wait wait;
        wait.AwaitFirstAttempt();
        lateness.push_back(SleepAndTellLateness(Milliseconds(moment(random))));
        const auto start = Clock::now();
        StopDetectUKey();
        const uint32_t calls = Token()->attempts;
        bool stopped = false;
        const Milliseconds latency = wait.Join(stopped) - start;
        if (!stopped) {
            state.SkipWithError("the wait ended without being stopped");
            break;
        }
        state.SetIterationTime(latency.count() / 1000);
        latencies.push_back(latency.count());
        calls_after_stop = std::max(calls_after_stop, Token()->attempts - calls);
    }
    if (latencies.empty()) {
        return;
    }
    state.counters[kLongestCounter] = *std::max_element(latencies.begin(), latencies.end());
    state.counters[kMostCounter] = NotExceededByMost(latencies);
    state.counters[kLatenessCounter] = NotExceededByMost(lateness);
    state.counters[kCallsCounter] = calls_after_stop;
    state.counters[kBoundCounter] = cycle_ms;
}

void Register(const char* subject, uint32_t attempt_ms) {
    const std::string name = std::string(kStopPrefix) + subject;
    benchmark::RegisterBenchmark(name.c_str(), StopWait, attempt_ms)
        ->Iterations(kStops)
        ->Repetitions(1)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

void RegisterStopBenchmarks() {
    Register("token library answers at once", 0);
    Register("token library takes 30 ms", 30);
}
