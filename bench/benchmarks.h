#ifndef ORVAL_BENCH_BENCHMARKS_H
#define ORVAL_BENCH_BENCHMARKS_H

#include <cstdint>

// Each adds its benchmarks to the run. What is measured is named "subject/ours"; beside it stands
// "subject/plain", the plain way of doing the same, and the table at the end gives the ratio.

void RegisterCallBenchmarks();
void RegisterLogBenchmarks();
void RegisterStringBenchmarks();

// Named "large: subject"; the argument is the size of the input, and the table at the end compares
// the time for a byte of the largest and of the smallest.
void RegisterLargeInputBenchmarks();

// Named "stop: subject". The counters below are shown at the end and held to the bound.
void RegisterStopBenchmarks();

constexpr const char* kLargePrefix = "large: ";
constexpr const char* kStopPrefix = "stop: ";
constexpr const char* kLongestCounter = "longest_ms";
constexpr const char* kMostCounter = "95_percent_ms";
constexpr const char* kLatenessCounter = "machine_late_ms";
constexpr const char* kCallsCounter = "calls_after_stop";
constexpr const char* kBoundCounter = "bound_ms";

// The back-end's entry of that name, as the library itself finds it; null when there is no key.
void* BackendEntry(const char* name);

#endif
