#ifndef ORVAL_BENCH_ROWS_H
#define ORVAL_BENCH_ROWS_H

#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <utility>

// The programs of this folder measure and judge nothing. Each measurement is named "ROW/WAY": what
// is done, and who does it. bench/aims.json holds what is expected of a row, and bench/judge
// compares.
namespace bench {

constexpr const char* kOurs = "ours";
// The least work that the contract leaves, written by hand.
constexpr const char* kLimit = "limit";
// A row that names this one is about what a call adds to it.
constexpr const char* kDirect = "direct";

// Adds a row's measurement in one of its ways.
template <typename Function, typename... Arguments>
benchmark::internal::Benchmark* Add(const std::string& row, const char* way, Function function,
                                    Arguments... arguments) {
    return benchmark::RegisterBenchmark((row + '/' + way).c_str(), function, arguments...);
}

// "64 KiB", for a row's name: the judge reads sizes and numbers behind the last comma.
inline std::string SizeText(int64_t bytes) {
    constexpr int64_t kKib = int64_t{1} << 10;
    constexpr int64_t kMib = int64_t{1} << 20;
    if (bytes >= kMib) {
        return std::to_string(bytes / kMib) + " MiB";
    }
    return bytes >= kKib ? std::to_string(bytes / kKib) + " KiB" : std::to_string(bytes) + " bytes";
}

inline std::string Sized(const std::string& subject, int64_t bytes) {
    return subject + ", " + SizeText(bytes);
}

// A family of rows: what the command line calls it, and what adds its rows.
struct Family {
    const char* name;
    void (*add_rows)();
};

// Runs the families that the arguments name, or all of them, with the options of Google Benchmark.
// Returns the program's exit status.
template <size_t kCount>
int RunFamilies(const Family (&families)[kCount], int argc, char** argv);
int RunFamilies(const Family* begin, const Family* end, int argc, char** argv);

template <size_t kCount>
int RunFamilies(const Family (&families)[kCount], int argc, char** argv) {
    return RunFamilies(families, families + kCount, argc, argv);
}

// Runs work over and over. What it returns counts as used.
template <typename Work>
void Repeat(benchmark::State& state, Work work) {
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(work());
    }
}

}  // namespace bench

#endif
