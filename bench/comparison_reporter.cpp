#include "comparison_reporter.h"

#include <cstdio>
#include <optional>

#include "benchmarks.h"

namespace {

// Of the time for a byte, from the smallest input to the one 256 times as large. Caches end in
// between, which alone makes a factor of several where a call does little but copy. Quadratic work
// would make one of 256.
constexpr double kLargestGrowth = 40.0;
// For starting and ending the measurement of a stop.
constexpr double kMeasuringMs = 1.0;

// The name without that start and end, if it has them.
std::optional<std::string> Without(const std::string& name, const std::string& start,
                                   const std::string& end) {
    const size_t rest = start.size() + end.size();
    if (name.size() < rest || name.compare(0, start.size(), start) != 0 ||
        name.compare(name.size() - end.size(), end.size(), end) != 0) {
        return std::nullopt;
    }
    return name.substr(start.size(), name.size() - rest);
}

double NanosecondsOf(const benchmark::BenchmarkReporter::Run& run) {
    return run.GetAdjustedRealTime() / benchmark::GetTimeUnitMultiplier(run.time_unit) * 1e9;
}

}  // namespace

void ComparisonReporter::ReportRuns(const std::vector<Run>& runs) {
    std::vector<Run> shown;
    for (const Run& run : runs) {
        all_well_ = all_well_ && !run.error_occurred;
        const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
        if (run.error_occurred || single || run.aggregate_name == "median") {
            shown.push_back(run);
        }
    }
    for (const Run& run : shown) {
        if (!run.error_occurred) {
            Keep(run);
        }
    }
    ConsoleReporter::ReportRuns(shown);
}

void ComparisonReporter::Keep(const Run& run) {
    const std::string& name = run.run_name.function_name;
    const double nanoseconds = NanosecondsOf(run);
    if (const auto subject = Without(name, "", "/ours")) {
        pairs_[*subject].ours = nanoseconds;
    } else if (const auto plain = Without(name, "", "/plain")) {
        pairs_[*plain].plain = nanoseconds;
    } else if (const auto large = Without(name, kLargePrefix, "")) {
        large_[*large][std::stod(run.run_name.args)] = nanoseconds;
    } else if (const auto stop = Without(name, kStopPrefix, "")) {
        const auto counter = [&](const char* key) { return run.counters.at(key).value; };
        stops_[*stop] = {counter(kLongestCounter), counter(kMostCounter), counter(kBoundCounter),
                         counter(kLatenessCounter), counter(kCallsCounter)};
    }
}

void ComparisonReporter::Finalize() {
    ConsoleReporter::Finalize();
    PrintRatios();
    PrintGrowth();
    PrintStops();
    std::fflush(stdout);
}

void ComparisonReporter::PrintRatios() const {
    std::printf("\n%-40s %12s %12s %8s\n", "ours against the plain way", "ours [ns]", "plain [ns]",
                "ratio");
    for (const auto& [subject, pair] : pairs_) {
        // A filter may have left one of the two out.
        if (pair.ours > 0 && pair.plain > 0) {
            std::printf("%-40s %12.1f %12.1f %8.2f\n", subject.c_str(), pair.ours, pair.plain,
                        pair.ours / pair.plain);
        }
    }
}

void ComparisonReporter::PrintGrowth() {
    if (large_.empty()) {
        return;
    }
    std::printf("\n%-40s %12s %12s %12s\n", "large inputs", "bytes", "time [us]", "ns/byte");
    for (const auto& [subject, times] : large_) {
        for (const auto& [size, nanoseconds] : times) {
            std::printf("%-40s %12.0f %12.1f %12.3f\n", subject.c_str(), size, nanoseconds / 1000,
                        nanoseconds / size);
        }
        const auto [small, small_time] = *times.begin();
        const auto [large, large_time] = *times.rbegin();
        const double growth = (large_time / large) / (small_time / small);
        std::printf("    a byte of the largest takes %.2f times that of the smallest, at most %.0f",
                    growth, kLargestGrowth);
        Judge(growth <= kLargestGrowth);
    }
}

void ComparisonReporter::PrintStops() {
    if (stops_.empty()) {
        return;
    }
    std::printf("\n%-32s %9s %9s %9s %9s %9s\n", "stop of a wait [ms]", "longest", "95 %", "bound",
                "late", "calls");
    for (const auto& [subject, stop] : stops_) {
        std::printf("%-32s %9.2f %9.2f %9.2f %9.2f %9.0f", subject.c_str(), stop.longest_ms,
                    stop.most_ms, stop.bound_ms, stop.machine_late_ms, stop.calls_after);
        // Two wake-ups lie in a stop: that of the wait, and that of the thread that sees its end.
        const double allowed = stop.bound_ms + 2 * stop.machine_late_ms + kMeasuringMs;
        Judge(stop.most_ms <= allowed && stop.calls_after <= 1);
    }
    std::printf(
        "    bound: one call of the token library and a pause of 20 ms\n"
        "    late: by how much 95 %% of plain sleeps overran at most, in the same minute\n"
        "    calls: of the token library after a stop; kept when there is at most one and 95 %% "
        "of\n"
        "    the stops are within the bound, twice the lateness and %.0f ms\n",
        kMeasuringMs);
}

void ComparisonReporter::Judge(bool kept) {
    std::printf("  %s\n", kept ? "kept" : "NOT KEPT");
    all_well_ = all_well_ && kept;
}
