// Runs the benchmarks and prints what they come to. Takes the options of Google Benchmark.

#include <benchmark/benchmark.h>
#include <malloc.h>

#include <cstdio>
#include <vector>

#include "benchmarks.h"
#include "comparison_reporter.h"
#include "orval_unified_kpxukey.h"

namespace {

// Defaults in front of the caller's own options, which then win.
std::vector<char*> WithDefaults(int argc, char** argv) {
    static char repetitions[] = "--benchmark_repetitions=5";
    static char min_time[] = "--benchmark_min_time=0.1";
    static char interleaving[] = "--benchmark_enable_random_interleaving=true";
    std::vector<char*> arguments = {argv[0], repetitions, min_time, interleaving};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    return arguments;
}

// Blocks of megabytes stay with the process instead of going back to the system each time: fetching
// their pages again would hide how the library's own work grows with its input.
void KeepLargeBlocks() {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<char*> arguments = WithDefaults(argc, argv);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
        return 2;
    }
    if (Initialize() != ORVAL_OK || BackendEntry("VerifyPIN") == nullptr) {
        std::fputs("orval_bench: no key library to call; run it with scripts/bench\n", stderr);
        return 2;
    }
    KeepLargeBlocks();
    RegisterCallBenchmarks();
    RegisterLogBenchmarks();
    RegisterStringBenchmarks();
    RegisterLargeInputBenchmarks();
    RegisterStopBenchmarks();

    ComparisonReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return reporter.AllWell() ? 0 : 1;
}
