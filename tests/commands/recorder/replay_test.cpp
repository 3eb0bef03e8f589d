// A client in this process, between it and the key what records and replays: the stand-ins lie in
// the application directory, and the key that is recorded beside the test.
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "client.h"
#include "orval_unified_kpxukey.h"
#include "recorded_client.h"
#include "recorded_key.h"
#include "recorder/pending.h"

namespace {

namespace fs = std::filesystem;

using calls::Recording;
using recorder::Settings;
using testing::HasSubstr;
using testing::Not;

class ReplayTest : public recorded::RecordedClient, public testing::Test {
 protected:
    ReplayTest() : RecordedClient(RECORDED_KEY) {}
};

TEST_F(ReplayTest, AThousandMixedCallsOfTwoThreadsReplayWithoutADifference) {
    constexpr int kCalls = 1000;
    const unsigned seed = 20261122;
    std::string kept;
    ASSERT_EQ(Record([&] { KeepInFile(client::MixedCalls(seed, kCalls)); }), 0);
    EXPECT_GE(Recorded().calls.size(), size_t{kCalls});
    Replay();
    EXPECT_EQ(client::MixedCalls(seed, kCalls), recorder::ContentsOf(made_for_.Folder() + "/kept"));
    ExpectAllReplayed();
}

TEST_F(ReplayTest, ThreadsThatBeginAlikeTakeEachOthersCallsOver) {
    const auto work = [](int first_more, int second_more) {
        const auto verify = [](int more) {
            for (int i = 0; i < 3; ++i) {
                VerifyPIN(recorded::kSerialNumber);
            }
            SetLabel(recorded::kSerialNumber, more == 1 ? "one" : "two");
        };
        std::thread first(verify, first_more);
        first.join();
        std::thread second(verify, second_more);
        second.join();
    };
    ASSERT_EQ(Record([&] { work(1, 2); }), 0);
    Replay();
    work(2, 1);
    ExpectAllReplayed();
}

TEST_F(ReplayTest, SecretsAreNotInTheRecording) {
    ASSERT_EQ(Record([] { client::MixedCalls(1, 300); }), 0);
    const std::string text = Text();
    for (const char* const secret : client::kSecrets) {
        EXPECT_THAT(text, Not(HasSubstr(secret)));
    }
    EXPECT_THAT(text, Not(HasSubstr(recorded::kPlain)));
    EXPECT_THAT(text, Not(HasSubstr(recorded::kSerialNumber)));
    // What is no secret is there to be read.
    EXPECT_THAT(text, HasSubstr("signature "));
    EXPECT_THAT(text, HasSubstr("CN="));
}

TEST_F(ReplayTest, SerialNumbersAreShownWhenAsked) {
    settings_.serial_numbers = calls::Masker::SerialNumbers::kShown;
    ASSERT_EQ(Record([] { VerifyPIN(recorded::kSerialNumber); }), 0);
    EXPECT_THAT(Text(), HasSubstr(recorded::kSerialNumber));
}

TEST_F(ReplayTest, TheFirstCallThatDiffersIsToldWithBothSides) {
    ASSERT_EQ(Record([] {
                  VerifyPIN(recorded::kSerialNumber);
                  SetData(recorded::kSerialNumber, 1, "first");
                  RemovePinCache();
              }),
              0);
    Replay();
    EXPECT_EQ(VerifyPIN(recorded::kSerialNumber), 0);
    EXPECT_EQ(SetData(recorded::kSerialNumber, 2, "first"), -101);
    EXPECT_EQ(RemovePinCache(), -101);
    const recorder::Progress progress = ReplayProgress();
    ASSERT_TRUE(progress.difference);
    EXPECT_THAT(progress.difference->recorded, HasSubstr("call 2: SetData("));
    EXPECT_THAT(progress.difference->recorded, HasSubstr("index=1"));
    EXPECT_THAT(progress.difference->made, HasSubstr("index=2"));
    EXPECT_EQ(progress.answered.size(), 1U);
}

TEST_F(ReplayTest, ASecretThatDiffersIsADifferenceToo) {
    ASSERT_EQ(Record([] { SetData(recorded::kSerialNumber, 1, "first"); }), 0);
    Replay();
    EXPECT_EQ(SetData(recorded::kSerialNumber, 1, "other"), -101);
    EXPECT_TRUE(ReplayProgress().difference);
}

TEST_F(ReplayTest, AnsweredSerialNumbersMayBeHandedBack) {
    const auto work = [] {
        char serial[64] = {};
        int32_t length = sizeof serial;
        EXPECT_EQ(GetPrintNumber(serial, &length), 0);
        EXPECT_EQ(VerifyPIN(serial), 0);
        return std::string(serial);
    };
    ASSERT_EQ(Record([&] { EXPECT_EQ(work(), recorded::kSerialNumber); }), 0);
    Replay();
    const std::string replayed = work();
    EXPECT_NE(replayed, recorded::kSerialNumber);
    EXPECT_EQ(replayed.size(), std::size(recorded::kSerialNumber) - 1);
    ExpectAllReplayed();
}

TEST_F(ReplayTest, AnEventIsReplayed) {
    const auto wait = [] {
        uint32_t event = 0;
        char serial[17] = {};
        uint32_t length = 0;
        EXPECT_EQ(WaitForKeyEvent(&event, serial, &length), 0);
        EXPECT_EQ(event, 1U);
        EXPECT_EQ(length, 16U);
    };
    ASSERT_EQ(Record(wait), 0);
    Replay();
    wait();
    ExpectAllReplayed();
}

TEST_F(ReplayTest, AWaitThatWasStoppedWaitsUntilItIsStoppedAgain) {
    const auto wait_and_stop = [] {
        std::thread waiting([] {
            for (uint32_t event = 0; event != 3;) {
                char serial[17] = {};
                uint32_t length = 0;
                EXPECT_EQ(WaitForKeyEvent(&event, serial, &length), 0);
            }
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(400));
        StopDetectUKey();
        waiting.join();
        EXPECT_EQ(VerifyPIN(recorded::kSerialNumber), 0);
    };
    ASSERT_EQ(Record(wait_and_stop), 0);
    Replay();
    wait_and_stop();
    ExpectAllReplayed();
}

TEST_F(ReplayTest, PacedAsSlowlyAsRecorded) {
    ASSERT_EQ(Record([] { VerifyPIN(recorded::kSerialNumber); }), 0);
    // As if the key had taken its time.
    Recording recording = Recorded();
    recording.calls[0].duration_us = 300000;
    fs::remove(settings_.recording);
    recorder::Append(settings_.recording, calls::LineOf(recording.header));
    recorder::Append(settings_.recording, calls::LineOf(recording.calls[0]));
    Replay(Settings::Mode::kReplayPaced);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(VerifyPIN(recorded::kSerialNumber), 0);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
}

TEST_F(ReplayTest, AnExceptionPassesAndIsReplayed) {
    ASSERT_EQ(Record([] {
                  EXPECT_THROW(VerifyPIN(recorded::kThrow), std::runtime_error);
                  EXPECT_EQ(VerifyPIN(recorded::kSerialNumber), 0);
              }),
              0);
    EXPECT_TRUE(Recorded().calls.at(0).threw);
    Replay();
    EXPECT_THROW(VerifyPIN(recorded::kThrow), std::runtime_error);
    EXPECT_EQ(VerifyPIN(recorded::kSerialNumber), 0);
    ExpectAllReplayed();
}

TEST_F(ReplayTest, CallsThatCannotBeWrittenDownAreCounted) {
    settings_.recording = "/dev/full";
    Record([] { client::MixedCalls(1, 1); });
    EXPECT_GT(recorder::Lost(made_for_.Folder()), 0);
    EXPECT_THAT(recorder::LeftPending(made_for_.Folder()), testing::IsEmpty());
}

TEST(Recorder, CallsForWhichThereIsNoLibraryAreCounted) {
    struct Client : recorded::RecordedClient {
        Client() : RecordedClient("/nowhere") {}
        int64_t CountLost() const { return recorder::Lost(made_for_.Folder()); }
    };
    Client client;
    client.Record([] { client::MixedCalls(1, 1); });
    EXPECT_GT(client.CountLost(), 0);
}

// It holds the lock that the next one asks for.
TEST_F(ReplayTest, ACallThatCannotReadWhatWasAnsweredDoesNotHoldUpTheNext) {
    Record([] { client::MixedCalls(1, 1); });
    recorder::Append(replayed_for_.Folder() + "/" + recorder::kProgressFile, "differs nonsense\n");
    Replay();
    char label[100];
    for (int i = 0; i < 2; ++i) {
        int32_t length = sizeof label;
        EXPECT_NE(GetLabel(recorded::kSerialNumber, label, &length), 0);
    }
}

TEST_F(ReplayTest, ACrashLeavesWholeLinesAndTheCallItWasIn) {
    const int status = Record([] {
        client::MixedCalls(1, 20);
        char signature[9000];
        int32_t length = sizeof signature;
        SignHash(recorded::kSerialNumber, 1, 0, recorded::kCrash, 0, signature, &length);
    });
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) != 0);
    EXPECT_FALSE(Recorded().is_cut);
    const auto pending = recorder::LeftPending(made_for_.Folder());
    ASSERT_EQ(pending.size(), 1U);
    EXPECT_THAT(pending[0], HasSubstr("GMUsbKeyCommonSign"));
    EXPECT_THAT(pending[0], Not(HasSubstr(recorded::kCrash)));
    recorder::Append(settings_.recording, pending[0]);
    const Recording recording = Recorded();
    EXPECT_EQ(std::count_if(recording.calls.begin(), recording.calls.end(),
                            [](const calls::Call& call) { return !call.finished; }),
              1);
}

}  // namespace
