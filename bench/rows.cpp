#include "rows.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <vector>

namespace bench {
namespace {

// Says nothing of what went well: the judge reads the file that --benchmark_out names.
class FailureReporter final : public benchmark::BenchmarkReporter {
 public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(),
                             run.error_message.c_str());
            }
        }
    }
};

// Defaults in front of the caller's own options, which then win.
std::vector<char*> WithDefaults(int argc, char** argv) {
    static char repetitions[] = "--benchmark_repetitions=21";
    static char min_time[] = "--benchmark_min_time=0.01";
    static char interleaving[] = "--benchmark_enable_random_interleaving=true";
    static char format[] = "--benchmark_out_format=json";
    std::vector<char*> arguments = {argv[0], repetitions, min_time, interleaving, format};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    return arguments;
}

}  // namespace

int RunFamilies(const Family* begin, const Family* end, int argc, char** argv) {
    std::vector<char*> arguments = WithDefaults(argc, argv);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    bool chosen = false;
    for (int i = 1; i < count; ++i) {
        const char* name = arguments[static_cast<size_t>(i)];
        const auto* family = std::find_if(
            begin, end, [name](const Family& known) { return std::strcmp(known.name, name) == 0; });
        if (family == end) {
            std::fprintf(stderr, "%s: no family of benchmarks is called %s\n", argv[0], name);
            return 2;
        }
        family->add_rows();
        chosen = true;
    }
    if (!chosen) {
        std::for_each(begin, end, [](const Family& family) { family.add_rows(); });
    }
    FailureReporter reporter;
    // That a filter leaves nothing of one program is no fault: the judge has the results of all.
    std::ostream nowhere(nullptr);
    reporter.SetErrorStream(&nowhere);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    return 0;
}

}  // namespace bench
