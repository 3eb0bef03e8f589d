#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>

namespace {

// The product's state is the process's, so two cases in one process would test each other.
class OneCaseOnly final : public testing::EmptyTestEventListener {
    void OnTestProgramStart(const testing::UnitTest& tests) override {
        if (tests.test_to_run_count() > 1) {
            std::fputs(
                "each case needs a process of its own: run ctest, or choose one case with "
                "--gtest_filter\n",
                stderr);
            std::exit(2);
        }
    }
};

}  // namespace

int main(int argc, char** argv) {
    if (std::getenv("ORVAL_TEST_SANDBOX") == nullptr) {
        std::fputs(
            "this program writes to fixed paths: run it through ctest, which gives it a "
            "private view of the file system (tests/support/sandbox)\n",
            stderr);
        return 2;
    }
    // Nowhere near UTC, and not by whole hours; written so that no time zone files are needed.
    setenv("TZ", "<+0845>-8:45", 1);
    tzset();
    testing::InitGoogleMock(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new OneCaseOnly);
    return RUN_ALL_TESTS();
}
