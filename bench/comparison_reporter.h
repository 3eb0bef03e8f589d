#ifndef ORVAL_BENCH_COMPARISON_REPORTER_H
#define ORVAL_BENCH_COMPARISON_REPORTER_H

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

// Prints one line a benchmark, the median of its repetitions, and after the run the tables that
// are the point of it: ratios, growth with the input's size, and how long a stop takes.
class ComparisonReporter final : public benchmark::ConsoleReporter {
 public:
    ComparisonReporter() : ConsoleReporter(OO_None) {}

    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    // False when a benchmark failed or one of the bounds was not kept.
    bool AllWell() const { return all_well_; }

 private:
    struct Pair {
        double ours = 0;
        double plain = 0;
    };
    struct Stop {
        double longest_ms;
        double most_ms;
        double bound_ms;
        double machine_late_ms;
        double calls_after;
    };

    void Keep(const Run& run);
    void PrintRatios() const;
    void PrintGrowth();
    void PrintStops();
    void Judge(bool kept);

    // By subject; times in nanoseconds, large inputs by their size.
    std::map<std::string, Pair> pairs_;
    std::map<std::string, std::map<double, double>> large_;
    std::map<std::string, Stop> stops_;
    bool all_well_ = true;
};

#endif
