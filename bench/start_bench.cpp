// The processor time that a command takes from its start to its end, its loading included.
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

#include "families.h"
#include "rows.h"

namespace {

using Command = std::vector<const char*>;

double Seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// What the command took, or less than 0 when it failed. What it prints is thrown away.
double ProcessorSeconds(const Command& command) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", 1, 0);
    auto* const arguments = const_cast<char* const*>(command.data());
    pid_t process = 0;
    const bool started =
        posix_spawnp(&process, command[0], &actions, nullptr, arguments, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage = {};
    if (!started || wait4(process, &status, 0, &usage) != process || status != 0) {
        return -1;
    }
    return Seconds(usage.ru_utime) + Seconds(usage.ru_stime);
}

void Start(benchmark::State& state, const Command& command) {
    for ([[maybe_unused]] auto unused : state) {
        const double seconds = ProcessorSeconds(command);
        if (seconds < 0) {
            state.SkipWithError("the command failed");
            break;
        }
        state.SetIterationTime(seconds);
    }
}

void AddWay(const char* row, const char* way, const Command& command) {
    bench::Add(row, way, Start, command)
        ->Iterations(5)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond);
}

}  // namespace

void bench::AddStartRows() {
    AddWay("start of ukeyctl --version", kOurs, {"ukeyctl", "--version", nullptr});
    AddWay("start of ukeyctl --version", kLimit, {ORVAL_BENCH_EMPTY_PROGRAM, nullptr});
    AddWay("start of ukeyctl info", kOurs, {"ukeyctl", "info", nullptr});
    AddWay("start of ukeyctl info", kLimit, {ORVAL_BENCH_EMPTY_CLIENT, nullptr});
}
