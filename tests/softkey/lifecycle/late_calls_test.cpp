// Calls from an exit handler that was registered before the key's libraries were loaded: it runs
// after everything that they could have registered for the end of the process.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>

#include "key_wait.h"
#include "software_key.h"

namespace lifecycle {
namespace {

// Emulated and with other work on the machine, a key derivation alone takes seconds.
constexpr unsigned kPatienceSeconds = 120;

const std::function<void()>* late_work = nullptr;

[[noreturn]] void WorkLate() {
    (*late_work)();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

// A client that does one thing in its main part and the other while it ends.
void EarlyAndLate(const std::function<void()>& early, const std::function<void()>& late) {
    late_work = &late;
    std::fflush(nullptr);
    const pid_t client = fork();
    ASSERT_GE(client, 0);
    if (client == 0) {
        alarm(kPatienceSeconds);
        std::atexit(WorkLate);
        early();
        std::exit(1);
    }
    int status = 0;
    ASSERT_EQ(client, waitpid(client, &status, 0));
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
    EXPECT_EQ(0, WEXITSTATUS(status));
}

// The libraries must not be loaded in the test's own process, of which its clients are copies.
using LateCalls = SoftwareKeyTest;

TEST_F(LateCalls, VerifyAPin) {
    const std::string key = NewPluggedKey();
    const auto verify = [&] { EXPECT_EQ(kOk, Checked(VerifyPIN(key.c_str()))); };
    EarlyAndLate(verify, verify);
}

TEST_F(LateCalls, FindThePinThatWasCached) {
    const std::string key = NewPluggedKey();
    EarlyAndLate(
        [&] {
            // The flag does not load the libraries.
            EXPECT_EQ(kOk, LabelOf(key).code);
            EXPECT_EQ(kOk, Checked(SetCachePinFlag(key.c_str(), 1)));
            EXPECT_EQ(kOk, Checked(VerifyPIN(key.c_str())));
            AnswerNoPin();
        },
        [&] { EXPECT_EQ(kOk, Checked(VerifyPIN(key.c_str()))); });
}

TEST_F(LateCalls, SignWithAWarningThatWasSetEarly) {
    InOtherProcess([] { WriteFile("/tmp/key", NewSigningKey()); });
    const std::string key = ReadFile("/tmp/key");
    EarlyAndLate(
        [&] {
            Given(ConfirmedSignature(key, "order", "early"));
            WriteFile("/tmp/certificate", Given(CertificateOf(key, kSigning)));
        },
        [&] {
            const std::string signature = Given(ConfirmedSignature(key, "order", "late"));
            const Certificate certificate(ReadFile("/tmp/certificate"));
            EXPECT_TRUE(certificate.Verifies("order", FromBase64(signature)));
        });
}

TEST_F(LateCalls, AskForTheTextOfACode) {
    std::string early;
    EarlyAndLate(
        [&] {
            early = ErrorText(Code::kDeviceRemoved);
            EXPECT_THAT(early, testing::HasSubstr("not plugged in"));
        },
        [&] { EXPECT_EQ(early, ErrorText(Code::kDeviceRemoved)); });
}

TEST_F(LateCalls, WaitForAKey) {
    const std::string key = NewPluggedKey();
    const auto see_it_go = [&](const std::function<void()>& change, const KeyEvent& expected) {
        const int before = WaitsBegun();
        OtherProcess other([&] {
            EXPECT_TRUE(Eventually([&] { return WaitsBegun() > before; }));
            change();
        });
        EXPECT_EQ(expected, WaitForKey());
    };
    EarlyAndLate([&] { see_it_go([&] { Unplug(key); }, Removed(key)); },
                 [&] { see_it_go([&] { Plug(key); }, Inserted(key)); });
}

}  // namespace
}  // namespace lifecycle
