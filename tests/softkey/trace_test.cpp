// What clients called, as `softkey trace` tells it.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <thread>

#include "base/encoding.h"
#include "calls/recording.h"
#include "crypto/certificate_texts.h"
#include "crypto/key_pair.h"
#include "entry/faults.h"
#include "softkey_test.h"
#include "store/home.h"
#include "trace/trace_reader.h"

namespace softkey::testing {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char kWarning[] = "planted warning";
constexpr char kItem[] = "planted item";
constexpr char kText[] = "planted text to sign";
constexpr char kMessage[] = "planted message";

CommandResult Trace(const std::string& options = "") {
    return RunShell(Program("softkey") + " trace " + options);
}

// What a trace that was saved by --json holds, read as a recording.
calls::Recording Traced() {
    const CommandResult result = Trace(" --json");
    EXPECT_EQ(result.status, 0) << result.output;
    return calls::Read(result.output);
}

std::vector<std::string> Names(const std::vector<calls::Call>& calls) {
    std::vector<std::string> names;
    for (const calls::Call& call : calls) {
        names.emplace_back(calls::kFunctions[call.function].name);
    }
    return names;
}

// A process of its own that does this and ends.
class Child {
 public:
    explicit Child(const std::function<void()>& work) : id_(fork()) {
        if (id_ == 0) {
            work();
            _exit(0);
        }
    }
    ~Child() { Kill(); }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    pid_t Id() const { return id_; }
    // How it ended, as waitpid tells it.
    int Await() {
        if (!status_) {
            status_ = -1;
            waitpid(id_, &*status_, 0);
        }
        return *status_;
    }
    void Kill() {
        if (!status_) kill(id_, SIGKILL);
        Await();
    }

 private:
    pid_t id_;
    std::optional<int> status_;
};

bool Comes(const std::function<bool()>& what) {
    constexpr int kAttempts = 3000;
    for (int i = 0; i < kAttempts; ++i) {
        if (what()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

std::string CipherFor(const Bytes& certificate) {
    unsigned char room[1024];
    unsigned char* end = room;
    const ssl::Certificate parsed = ParseCertificate(certificate);
    const int length = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(parsed.get()), &end);
    const KeyPair pair = KeyPair::FromPublic(Bytes(room, room + length));
    return ToBase64(pair.Sm2Encrypt(ToSecret(kMessage)));
}

class TraceTest : public EntriesTest {
 protected:
    std::string Label() {
        char serial[] = "OR00000000000001";
        char label[maker::kLabelRoom] = {};
        EXPECT_EQ(kSuccess, key_.GetLabel(serial, label));
        return label;
    }

    TokenLibrary token_;
};

TEST_F(TraceTest, NothingIsTracedUnlessItIsAskedFor) {
    Label();
    EXPECT_FALSE(std::filesystem::exists(TracePath()));
    const CommandResult result = Trace();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.output, HasSubstr("softkey trace --on"));
}

TEST_F(TraceTest, TellsWhoCalledWhatWithWhichOutcome) {
    EXPECT_EQ(Trace("--on").status, 0);
    EXPECT_EQ(kSuccess, key_.SetLabel(kSerial, "Alice"));
    EXPECT_EQ("Alice", Label());
    char data[maker::kDataRoom] = {};
    const int32_t missing = key_.GetData(kSerial, 5, data);
    const calls::Recording traced = Traced();
    ASSERT_THAT(Names(traced.calls), ElementsAre("SetLabel", "GetLabel", "GetData"));
    EXPECT_EQ(traced.missed, 0);
    EXPECT_TRUE(traced.header.is_trace);
    for (const calls::Call& call : traced.calls) {
        EXPECT_EQ(call.process, getpid());
        EXPECT_EQ(call.thread, 1);
        EXPECT_EQ(call.program, program_invocation_short_name);
        EXPECT_GE(call.duration_us, 0);
    }
    EXPECT_EQ(traced.calls[0].given, calls::Json({{"first", kSerial}, {"second", "Alice"}}));
    EXPECT_EQ(traced.calls[1].taken, calls::Json({{"label", "Alice"}}));
    EXPECT_EQ(traced.calls[1].code, 0);
    EXPECT_EQ(traced.calls[2].code, missing);
    EXPECT_EQ(traced.calls[2].taken, calls::Json::object());
}

// Every argument null or zero; a string of the product is one that nobody may touch.
template <typename T>
struct Nothing {
    operator T() const { return T(); }  // NOLINT(google-explicit-constructor)
};
template <typename T>
struct Nothing<T&> {
    operator T&() const {  // NOLINT(google-explicit-constructor)
        alignas(16) static unsigned char foreign[64];
        return reinterpret_cast<T&>(foreign);
    }
};
template <typename Result, typename... Parameters>
void CallWithNothing(Result (*entry)(Parameters...)) {
    entry(Nothing<Parameters>()...);
}

TEST_F(TraceTest, TellsOfEveryEntryOfBothLibraries) {
    Ring::MakeAnew();
#define SOFTKEY_CALL(slot, name, result, arguments) CallWithNothing(key_.name);
    ORVAL_BACKEND_ENTRIES(SOFTKEY_CALL)
#undef SOFTKEY_CALL
#define SOFTKEY_CALL(name, arguments) CallWithNothing(token_.name);
    ORVAL_TOKEN_FUNCTIONS(SOFTKEY_CALL)
#undef SOFTKEY_CALL
    std::vector<std::string> all;
    for (const calls::Function& function : calls::kFunctions) {
        all.emplace_back(function.name);
    }
    EXPECT_EQ(Names(Traced().calls), all);
}

TEST_F(TraceTest, NoPinNoPrivateKeyAndNoPlainTextIsInAnyOutput) {
    const std::string answer = Answer(DualRequest());
    const std::string envelope = ItemsOf(answer, "EncPriKey").at(0);
    Ring::MakeAnew();
    ASSERT_EQ(kSuccess, Import(answer));
    ASSERT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    ASSERT_EQ(kSuccess, key_.SetWarningMsg(kSerial, kWarning));
    SignatureOf(kText);
    ASSERT_EQ(kSuccess, key_.SetData(kSerial, 1, kItem));
    char data[maker::kDataRoom] = {};
    ASSERT_EQ(kSuccess, key_.GetData(kSerial, 1, data));
    const std::string cipher = CipherFor(CertificateDer(CertificatePem(2)));
    char plain[1024];
    int32_t length = sizeof plain;
    ASSERT_EQ(kSuccess, key_.GMUSBKeyAsymDec2(kSerial, 2, 0, cipher.c_str(), plain, &length));
    ASSERT_STREQ(kMessage, plain);
    for (const std::string& output :
         {ReadFile(TracePath()), Trace().output, Trace("--json").output}) {
        EXPECT_THAT(output, HasSubstr("GMUSBKeyAsymDec2"));
        for (const std::string& secret :
             {std::string(kPin), std::string(kWarning), std::string(kItem), std::string(kText),
              std::string(kMessage), envelope.substr(envelope.size() / 2, 40)}) {
            EXPECT_THAT(output, Not(HasSubstr(secret)));
        }
    }
}

TEST_F(TraceTest, AFaultShowsAsSuch) {
    Ring::MakeAnew();
    OrderFault({"VerifyPIN", 0x0BADC0DE, 1, 0, 0});
    EXPECT_EQ(0x0BADC0DE, key_.VerifyPIN(kSerial));
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
    const std::vector<calls::Call> calls = Traced().calls;
    ASSERT_EQ(calls.size(), 2U);
    EXPECT_TRUE(calls[0].fault);
    EXPECT_EQ(calls[0].code, 0x0BADC0DE);
    EXPECT_FALSE(calls[1].fault);
}

TEST_F(TraceTest, WaitsInWhichNothingHappensAreOneLine) {
    Ring::MakeAnew();
    uint32_t context = 0;
    token_.ContextInit(&context);
    VEXA_EVENT_INFO event{};
    const auto wait = [&](int times) {
        for (int i = 0; i < times; ++i) token_.WaitForEvent(1, 0, &event, &context);
    };
    wait(20);
    Label();
    wait(3);
    Unplug();
    wait(1);
    const std::vector<calls::Call> calls = Traced().calls;
    ASSERT_THAT(Names(calls), ElementsAre("VexaT_ContextInit", "VexaT_WaitForEvent", "GetLabel",
                                          "VexaT_WaitForEvent", "VexaT_WaitForEvent"));
    EXPECT_EQ(calls[1].times, 20);
    EXPECT_GE(calls[1].duration_us, 20 * 1000);
    EXPECT_EQ(calls[3].times, 3);
    EXPECT_EQ(calls[4].times, 1);
    EXPECT_EQ(calls[4].taken["event"]["slot"], 1);
    EXPECT_THAT(Trace().output, HasSubstr(", 20 times\n"));
}

TEST_F(TraceTest, SeveralProcessesAndThreadsWriteAtOnce) {
    constexpr int kCalls = 150;
    Ring::MakeAnew();
    const auto call = [this] {
        for (int i = 0; i < kCalls; ++i) key_.X_ErrorConvert_UOS(i);
    };
    const auto call_twice = [&call] {
        std::thread other(call);
        call();
        other.join();
    };
    Child first(call_twice);
    Child second(call_twice);
    first.Await();
    second.Await();
    const calls::Recording traced = Traced();
    EXPECT_EQ(traced.missed, 0);
    std::map<std::pair<int64_t, int64_t>, std::vector<int64_t>> codes;
    std::set<int64_t> numbers;
    for (const calls::Call& one : traced.calls) {
        codes[{one.process, one.thread}].push_back(one.given["code"].get<int64_t>());
        numbers.insert(one.number);
        EXPECT_TRUE(one.finished);
    }
    EXPECT_EQ(numbers.size(), 4U * kCalls);
    ASSERT_EQ(codes.size(), 4U);
    for (const auto& [thread, made] : codes) {
        EXPECT_EQ(made.size(), static_cast<size_t>(kCalls));
        EXPECT_TRUE(std::is_sorted(made.begin(), made.end())) << thread.first;
    }
}

TEST_F(TraceTest, AKilledClientLeavesTheTraceReadable) {
    constexpr int kKills = 20;
    Ring::MakeAnew();
    for (int i = 0; i < kKills; ++i) {
        const uint64_t before = Ring::Open(Ring::For::kReading)->Count();
        Child client([this] {
            while (true) key_.X_ErrorConvert_UOS(0);
        });
        ASSERT_TRUE(Comes([before, i] {
            return Ring::Open(Ring::For::kReading)->Count() > before + static_cast<uint64_t>(i);
        }));
        client.Kill();
    }
    EXPECT_EQ("", Label());
    TraceReader reader(*Ring::Open(Ring::For::kReading));
    std::map<int64_t, int> unfinished;
    std::string last;
    for (const TraceReader::Item& item : reader.Read(TraceReader::Unended::kCome)) {
        if (const auto* const call = std::get_if<calls::Call>(&item)) {
            unfinished[call->process] += call->finished ? 0 : 1;
            last = calls::kFunctions[call->function].name;
        }
    }
    EXPECT_EQ(last, "GetLabel");
    for (const auto& [process, count] : unfinished) {
        EXPECT_LE(count, 1) << process;
    }
}

TEST_F(TraceTest, ACallThatNeverCameBackIsTold) {
    constexpr int64_t kForever = 3600000;
    Ring::MakeAnew();
    OrderFault({"ChangePin", 0, 1, 0, kForever});
    Child client([this] { key_.ChangePin(kSerial); });
    ASSERT_TRUE(Comes([] { return Ring::Open(Ring::For::kReading)->Count() == 1; }));
    TraceReader reader(*Ring::Open(Ring::For::kReading));
    EXPECT_TRUE(reader.Read(TraceReader::Unended::kStay).empty());
    client.Kill();
    EXPECT_EQ(reader.Read(TraceReader::Unended::kStay).size(), 1U);
    const std::vector<calls::Call> calls = Traced().calls;
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_FALSE(calls[0].finished);
    EXPECT_THAT(Trace().output, HasSubstr("did not return"));
}

TEST_F(TraceTest, AReaderThatIsOvertakenSaysHowManyCallsItMissed) {
    constexpr int kMore = 100;
    Ring::MakeAnew();
    Label();
    TraceReader reader(*Ring::Open(Ring::For::kReading));
    EXPECT_EQ(reader.Read(TraceReader::Unended::kStay).size(), 1U);
    for (uint32_t i = 0; i < Ring::kPlaces + kMore; ++i) key_.X_ErrorConvert_UOS(i);
    const TraceReader::Items items = reader.Read(TraceReader::Unended::kStay);
    ASSERT_EQ(items.size(), Ring::kPlaces + 1U);
    EXPECT_EQ(std::get<int64_t>(items[0]), kMore);
    EXPECT_EQ(std::get<calls::Call>(items[1]).given["code"], kMore);
    const calls::Recording traced = Traced();
    EXPECT_EQ(traced.missed, kMore + 1);
    EXPECT_EQ(traced.calls.size(), Ring::kPlaces);
    EXPECT_THAT(Trace().output, HasSubstr("(101 calls missed)"));
    EXPECT_THAT(Trace("--last 1").output, Not(HasSubstr("missed")));
}

TEST_F(TraceTest, ADamagedTraceIsNoFaultOfAClient) {
    for (const std::string& damage : {std::string(8192, '\xA5'), std::string("text\n"),
                                      std::string(), std::string(1 << 20, '\0')}) {
        Ring::MakeAnew();
        Label();
        WriteFile(TracePath(), damage);
        EXPECT_EQ("", Label());
        const CommandResult result = Trace();
        EXPECT_EQ(result.status, 4) << result.output;
        EXPECT_THAT(result.output, HasSubstr("Make another with: softkey trace --on"));
    }
    EXPECT_EQ(Trace("--on").status, 0);
    Label();
    EXPECT_EQ(Traced().calls.size(), 1U);
}

TEST_F(TraceTest, ADamagedPlaceIsAMissedCall) {
    Ring::MakeAnew();
    for (int i = 0; i < 3; ++i) Label();
    std::string bytes = ReadFile(TracePath());
    const size_t second = bytes.find("GetLabel", bytes.find("GetLabel") + 1);
    bytes[second] = 'g';
    const std::string path = TracePath();
    WriteFile(path, bytes);
    EXPECT_EQ(Traced().missed, 1);
    EXPECT_EQ(Traced().calls.size(), 2U);
    std::filesystem::resize_file(path, 4096);
    EXPECT_EQ("", Label());
    EXPECT_EQ(Traced().calls.size(), 1U);
}

TEST_F(TraceTest, IsTheOwnersAloneAndRefusedOtherwise) {
    Ring::MakeAnew();
    struct stat status {};
    ASSERT_EQ(stat(TracePath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
    chmod(TracePath().c_str(), 0644);
    EXPECT_EQ("", Label());
    CommandResult result = Trace();
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.output, HasSubstr("chmod 600"));
    chmod(TracePath().c_str(), 0600);
    EXPECT_TRUE(Traced().calls.empty());
    const std::string elsewhere = Folder() + "/elsewhere";
    std::filesystem::rename(TracePath(), elsewhere);
    std::filesystem::create_symlink(elsewhere, TracePath());
    EXPECT_EQ("", Label());
    result = Trace();
    EXPECT_EQ(result.status, 4);
    EXPECT_THAT(result.output, HasSubstr("is a symbolic link"));
}

TEST_F(TraceTest, ALongTextIsThereByItsBeginningAndItsLength) {
    constexpr int64_t kLength = 1000000;
    Ring::MakeAnew();
    int32_t length = 0;
    const std::string data(kLength, 'x');
    key_.GMUsbKeyCommonSign(kSerial, 1, 0, data.c_str(), 0, nullptr, &length);
    const calls::Json given = Traced().calls.at(0).given["data"];
    EXPECT_EQ(given["length"], kLength);
    EXPECT_EQ(given["text"].get<std::string>().size(), calls::kLongestInTrace);
}

TEST_F(TraceTest, APointerThatAFailedCallLeftIsNotFollowed) {
    Ring::MakeAnew();
    // NOLINTNEXTLINE(performance-no-int-to-ptr): it leads nowhere
    auto* nowhere = reinterpret_cast<char*>(1);
    EXPECT_NE(kSuccess, key_.GMCreatePKCS10(kSerial, 99, 2, 0, &nowhere, nullptr, 0));
    EXPECT_EQ(Traced().calls.at(0).taken, calls::Json::object());
}

TEST_F(TraceTest, BegunAnewItIsEmptyAndMasksOtherwise) {
    const auto trace = [this] {
        EXPECT_EQ(Trace("--on").status, 0);
        key_.SetData(kSerial, 1, kItem);
        return Traced().calls.at(0).given["data"];
    };
    const calls::Json once = trace();
    EXPECT_NE(once, trace());
    EXPECT_EQ(Traced().calls.size(), 1U);
    EXPECT_EQ(Trace("--off").status, 0);
    EXPECT_FALSE(std::filesystem::exists(TracePath()));
    EXPECT_EQ(Trace("--off --json").output,
              "{\"schema\":1,\"ok\":true,\"verb\":\"trace\",\"traced\":false}\n");
}

// A listener of its own, whose output goes into a file.
class Listening {
 public:
    Listening(std::string output, const std::string& options) : output_(std::move(output)) {
        child_ = std::make_unique<Child>([&] {
            const std::string line =
                "exec " + Program("softkey") + " trace --follow " + options + " >" + output_;
            execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        });
    }
    std::string Output() const { return ReadFile(output_); }
    void Kill() { child_->Kill(); }
    int Stop() {
        kill(child_->Id(), SIGINT);
        return Status();
    }
    int Status() {
        const int status = child_->Await();
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

 private:
    std::string output_;
    std::unique_ptr<Child> child_;
};

TEST_F(TraceTest, WhoFollowsSeesCallsComeAndTracesNoLongerThanThat) {
    Listening listening(Folder() + "/listening", "--json");
    ASSERT_TRUE(Comes([&] { return !listening.Output().empty(); }));
    for (int64_t made = 1; made <= 3; ++made) {
        Label();
        ASSERT_TRUE(Comes([&] {
            const std::string output = listening.Output();
            return std::count(output.begin(), output.end(), '\n') == made + 1;
        }));
    }
    EXPECT_EQ(listening.Stop(), 0);
    EXPECT_THAT(Names(calls::Read(listening.Output()).calls),
                ElementsAre("GetLabel", "GetLabel", "GetLabel"));
    EXPECT_FALSE(std::filesystem::exists(TracePath()));
}

TEST_F(TraceTest, WhatAKilledListenerBeganEndsWithIt) {
    Listening killed(Folder() + "/killed", "--json");
    ASSERT_TRUE(Comes([&] { return !killed.Output().empty(); }));
    Label();
    EXPECT_EQ(Traced().calls.size(), 1U);
    Listening second(Folder() + "/second", "--json");
    ASSERT_TRUE(Comes([&] { return !second.Output().empty(); }));
    killed.Kill();
    const std::string left = ReadFile(TracePath());
    Label();
    EXPECT_TRUE(left == ReadFile(TracePath())) << "a call was traced";
    EXPECT_EQ(Trace().status, 1);
    EXPECT_EQ(second.Status(), 0);
    // Nor does it keep the next from beginning and ending, or anybody from what lasts.
    Listening next(Folder() + "/next", "--json");
    ASSERT_TRUE(Comes([&] { return !next.Output().empty(); }));
    Label();
    EXPECT_EQ(Traced().calls.size(), 1U);
    EXPECT_EQ(next.Stop(), 0);
    EXPECT_FALSE(std::filesystem::exists(TracePath()));
    EXPECT_EQ(Trace("--on").status, 0);
    Label();
    EXPECT_EQ(Traced().calls.size(), 1U);
}

TEST_F(TraceTest, WhoFollowsWhatOthersBeganLeavesItAndEndsWithIt) {
    Ring::MakeAnew();
    Label();
    Listening one(Folder() + "/one", "");
    ASSERT_TRUE(Comes([&] { return one.Output().find("GetLabel") != std::string::npos; }));
    EXPECT_EQ(one.Stop(), 0);
    EXPECT_TRUE(std::filesystem::exists(TracePath()));
    Listening other(Folder() + "/other", "--last 0 --json");
    ASSERT_TRUE(Comes([&] { return !other.Output().empty(); }));
    EXPECT_EQ(Trace("--off").status, 0);
    EXPECT_EQ(other.Status(), 0);
    EXPECT_TRUE(calls::Read(other.Output()).calls.empty());
}

}  // namespace
}  // namespace softkey::testing
