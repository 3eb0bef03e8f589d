// Random sequences of calls, each in a process of its own that starts from nothing, against the
// model. Seeds are fixed in the suite; scripts/walk tries any number of others.
//
//     ORVAL_WALK_SEED   the first sequence's seed
//     ORVAL_WALK_COUNT  how many sequences, with seeds that follow one another
//     ORVAL_WALK_STEPS  calls in each
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <set>
#include <string>

#include "functions.h"
#include "generator.h"
#include "model.h"
#include "runner.h"

namespace {

constexpr const char* kHistoryPath = "/tmp/walk_history";
// A sequence takes milliseconds; one that hangs must not outlast the suite's patience.
constexpr unsigned kSecondsPerSequence = 120;

// A sequence's setting, or what the suite runs.
uint32_t Setting(const char* name, uint32_t otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
}

// The exit status of the child's process.
int WalkAlong(uint32_t seed, uint32_t steps) {
    alarm(kSecondsPerSequence);
    // Each step is written down before it is taken, so that a crash leaves its history behind.
    std::ofstream history(kHistoryPath);
    history << std::unitbuf;
    walk::Model model;
    walk::Chance chance(seed);
    for (uint32_t i = 1; i <= steps; ++i) {
        chance.remembered_length = model.RememberedLength();
        const walk::Step step = walk::AnyStep(chance);
        history << i << ". " << walk::Describe(step);
        const walk::Outcome seen = walk::Run(step);
        const std::string differences = walk::Differences(model.Expect(step), seen);
        if (!differences.empty()) {
            history << "the product and the model differ:\n" << differences;
            return EXIT_FAILURE;
        }
    }
    return EXIT_SUCCESS;
}

testing::AssertionResult SequenceFollowsTheContract(uint32_t seed, uint32_t steps) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        // Not _exit: sanitizers and coverage do their work on the way out.
        std::exit(WalkAlong(seed, steps));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child) {
        return testing::AssertionFailure() << "no process for the sequence";
    }
    if (status == 0) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure()
           << "the sequence ended with "
           << (WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                                   : "status " + std::to_string(WEXITSTATUS(status)))
           << "; run it again with ORVAL_WALK_SEED=" << seed << " ORVAL_WALK_COUNT=1"
           << " ORVAL_WALK_STEPS=" << steps << "\n"
           << std::ifstream(kHistoryPath).rdbuf();
}

TEST(WalkModel, HasEveryExportedFunction) {
    std::ifstream symbols(ORVAL_SYMBOL_LIST);
    std::set<std::string> exported;
    for (std::string line; std::getline(symbols, line);) {
        if (line.rfind("func ", 0) == 0 && line.find("_Z") == std::string::npos) {
            exported.insert(line.substr(line.find_last_of(' ') + 1));
        }
    }
    std::set<std::string> rows;
    for (const walk::Function& function : walk::Functions()) {
        rows.insert(function.name);
    }
    EXPECT_THAT(rows, testing::ContainerEq(exported));
}

class Walk : public testing::TestWithParam<uint32_t> {};

TEST_P(Walk, RandomSequencesOfCallsFollowTheContract) {
    const uint32_t count = Setting("ORVAL_WALK_COUNT", ORVAL_WALK_SEQUENCES);
    const uint32_t steps = Setting("ORVAL_WALK_STEPS", ORVAL_WALK_STEPS);
    const uint32_t first = Setting("ORVAL_WALK_SEED", GetParam() * 1000000 + 1);
    for (uint32_t seed = first; seed != first + count; ++seed) {
        ASSERT_TRUE(SequenceFollowsTheContract(seed, steps));
    }
}

INSTANTIATE_TEST_SUITE_P(Batch, Walk, testing::Range(uint32_t{0}, uint32_t{4}));

}  // namespace
