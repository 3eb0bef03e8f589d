// A process that forks while its other threads are in the middle of calls.
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "forks.h"
#include "softkey_test.h"
#include "trace/ring.h"

namespace softkey::testing {
namespace {

class ForkTest : public EntriesTest {
 protected:
    // Calls without a pause until it is told to end.
    std::thread Busy(const std::function<void()>& call) {
        return std::thread([this, call] {
            while (!ended_) call();
        });
    }

    void ExpectThatChildrenWork();

    TokenLibrary token_;
    std::atomic<bool> ended_{false};
};

void ForkTest::ExpectThatChildrenWork() {
    constexpr int kForks = 48;
    constexpr unsigned kPatienceSeconds = 60;
    char serial[] = "OR00000000000001";
    uint32_t context = 0;
    ASSERT_EQ(0U, token_.ContextInit(&context));
    const auto list = [&] {
        uint32_t count = 0;
        token_.GetSlotList(1, nullptr, &count);
        VEXA_EVENT_INFO event{};
        token_.WaitForEvent(1, 0, &event, &context);
    };
    std::vector<std::thread> threads;
    threads.push_back(Busy(list));
    threads.push_back(Busy([&] {
        char label[512];
        key_.GetLabel(serial, label);
    }));
    threads.push_back(Busy([&] { key_.SetWarningMsg(kSerial, "warning"); }));
    int failures = 0;
    for (int number = 0; number < kForks; ++number) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            alarm(kPatienceSeconds);
            uint32_t count = 0;
            const bool good = key_.SetData(kSerial, 0, std::to_string(number).c_str()) == 0 &&
                              key_.SetWarningMsg(kSerial, "warning") == 0 &&
                              token_.GetSlotList(1, nullptr, &count) == 0 && count == 1;
            _exit(good ? 0 : 1);
        }
        int status = -1;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        failures += status == 0 ? 0 : 1;
    }
    ended_ = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(0, failures);
    char text[260] = {};
    ASSERT_EQ(kSuccess, key_.GetData(kSerial, 0, text));
    EXPECT_EQ(std::to_string(kForks - 1), text);
}

TEST_F(ForkTest, TheChildWorksWhateverTheOtherThreadsWereDoing) {
    SKIP_WHERE_FORKS_HANG();
    ExpectThatChildrenWork();
}

TEST_F(ForkTest, TheChildWorksAlsoWhileCallsAreTraced) {
    SKIP_WHERE_FORKS_HANG();
    Ring::MakeAnew();
    ExpectThatChildrenWork();
    EXPECT_TRUE(Ring::Open(Ring::For::kReading)->Count() > 0);
}

}  // namespace
}  // namespace softkey::testing
