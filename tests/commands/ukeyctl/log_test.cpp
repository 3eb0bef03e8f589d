// The verb log, on logs made by hand.

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <thread>

#include "command.h"
#include "made_log.h"

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

constexpr const char* kSerialNumber = "OR6F1C31D1B4C0A2";

// A record's time, so long ago.
std::string Ago(int seconds) {
    const time_t then = time(nullptr) - seconds;
    tm parts = {};
    localtime_r(&then, &parts);
    char text[32];
    strftime(text, sizeof text, "%d,%H:%M:%S.000", &parts);
    return text;
}

std::string SerialNumberCall(const std::string& time, const std::string& code, Writer by = {}) {
    return MadeRecord(time, "GetPrintNumber", "Begin pnSNLen = 00000020", by) +
           MadeRecord(time, "GetPrintNumber", std::string("m_SN: ") + kSerialNumber, by) +
           MadeRecord(time, "GetPrintNumber", "End G_LastError: " + code, by);
}

class UkeyctlLogTest : public testing::Test {
 protected:
    ~UkeyctlLogTest() override {
        for (const std::string& path : {log_, out_, log_ + ".link"}) {
            unlink(path.c_str());
        }
    }

    void Write(const std::string& text) const { std::ofstream(log_, std::ios::binary) << text; }
    void Append(const std::string& text) const {
        std::ofstream(log_, std::ios::binary | std::ios::app) << text;
    }

    // The functions of the calls that are shown for the words, in order.
    std::vector<std::string> Functions(std::vector<std::string> words) const {
        words.insert(words.begin(), {"log", log_, "--json"});
        return FunctionsIn(Command(words).Run().out);
    }

    static std::vector<std::string> FunctionsIn(const std::string& out) {
        std::vector<std::string> functions;
        std::istringstream lines(out);
        for (std::string line; std::getline(lines, line);) {
            const auto object = nlohmann::json::parse(line);
            EXPECT_EQ(object["schema"], 1);
            EXPECT_EQ(object["verb"], "log");
            functions.push_back(object.value("function", std::string(object["kind"])));
        }
        return functions;
    }

    // Waits until so many lines have been shown.
    bool Shows(size_t lines) const {
        for (int i = 0; i < 1000; ++i) {
            const std::string out = FileContents(out_);
            if (static_cast<size_t>(std::count(out.begin(), out.end(), '\n')) >= lines) {
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    const std::string log_ = testing::TempDir() + "ukeyctl_log." + std::to_string(getpid());
    const std::string out_ = log_ + ".out";
};

TEST_F(UkeyctlLogTest, ShowsACallOnALineWithItsOutcomeInWords) {
    Write(MadeRecord("21,09:05:07.042", "ChangePin", "Begin") +
          MadeRecord("21,09:05:07.042100", "szSN:", "4F52") +
          MadeRecord("21,09:05:08.292", "ChangePin", "End G_LastError: FFFFFE6F"));
    const Outcome outcome = Command({"log", log_}).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out,
                HasSubstr("09:05:07.042     4242  -1215752192  ChangePin                         "
                          "1250.000 ms  failed 0xFFFFFE6F (-401) ORVAL_INVALID_ARGUMENT; serial "
                          "number SN#1\n"));
    EXPECT_EQ(outcome.err, "");
}

TEST_F(UkeyctlLogTest, ShowsACallAsAnObjectForScripts) {
    Write(SerialNumberCall("21,09:05:07.042", "0A000001"));
    const nlohmann::json call = Command({"log", log_, "--json"}).Run().Json();
    EXPECT_EQ(call["schema"], 1);
    EXPECT_EQ(call["ok"], true);
    EXPECT_EQ(call["kind"], "call");
    EXPECT_EQ(call["function"], "GetPrintNumber");
    EXPECT_EQ(call["process"], 4242);
    EXPECT_EQ(call["thread"], -1215752192);
    EXPECT_EQ(call["duration_ms"], 0);
    EXPECT_EQ(call["failed"], true);
    EXPECT_EQ(call["ending"], "told");
    EXPECT_EQ(call["code"], 0x0A000001);
    EXPECT_EQ(call["name"], "SAR_FAIL");
    EXPECT_EQ(call["serial_number"], "SN#1");
    EXPECT_EQ(call["details"], nlohmann::json::parse(R"([{"what":"capacity","text":"32"}])"));
    EXPECT_EQ(call["records"], 3);
}

TEST_F(UkeyctlLogTest, MasksUnlessItIsToldNotTo) {
    Write(SerialNumberCall("21,09:05:07.042", "00000000"));
    EXPECT_THAT(Command({"log", log_}).Run().out, Not(HasSubstr(kSerialNumber)));
    EXPECT_THAT(Command({"log", log_, "--json"}).Run().out, Not(HasSubstr(kSerialNumber)));
    EXPECT_THAT(Command({"log", log_, "--unmasked"}).Run().out, HasSubstr(kSerialNumber));
}

TEST_F(UkeyctlLogTest, ShowsWhatIsAskedForAlone) {
    Write(At9("TestInitUKey", "Begin", {7, 1}) +
          At9("TestInitUKey", "End G_LastError: 00000000", {7, 1}) +
          SerialNumberCall("21,09:00:00.000", "00000000", {8, 1}) +
          At9("InitUKey", "Begin", {8, 1}) + At9("InitUKey", "End G_LastError: 0A000001", {8, 1}));
    EXPECT_THAT(Functions({}), ElementsAre("TestInitUKey", "GetPrintNumber", "InitUKey"));
    EXPECT_THAT(Functions({"--process", "8"}), ElementsAre("GetPrintNumber", "InitUKey"));
    EXPECT_THAT(Functions({"--failures"}), ElementsAre("InitUKey"));
    EXPECT_THAT(Functions({"--function", "GetPrintNumber"}), ElementsAre("GetPrintNumber"));
    EXPECT_THAT(Functions({"--failures", "--process", "7"}), SizeIs(0));
}

TEST_F(UkeyctlLogTest, SinceCountsBackFromNow) {
    Write(At9("TestInitUKey", "Begin", {7, 1}).replace(1, 15, Ago(4000)) +
          SerialNumberCall(Ago(60), "00000000", {8, 1}));
    EXPECT_THAT(Functions({"--since", "10m"}), ElementsAre("GetPrintNumber"));
    EXPECT_THAT(Functions({"--since", "2h"}), SizeIs(2));
    EXPECT_THAT(Functions({"--since", "2001-02-03 04:05"}), SizeIs(2));
}

TEST_F(UkeyctlLogTest, TheSummaryCountsAndAdvises) {
    Write(SerialNumberCall("21,09:00:00.000", "00000000") +
          SerialNumberCall("21,09:00:01.000", "0A000001"));
    const Outcome people = Command({"log", log_, "--summary"}).Run();
    EXPECT_THAT(people.out,
                AllOf(HasSubstr("2 calls of 1 process, 1 failed"),
                      HasSubstr("GetPrintNumber, 1 time: 0x0A000001"), HasSubstr("next: ")));
    const nlohmann::json summary = Command({"log", log_, "--summary", "--json"}).Run().Json();
    EXPECT_EQ(summary["kind"], "summary");
    EXPECT_EQ(summary["call_count"], 2);
    EXPECT_EQ(summary["functions"][0]["failed"], 1);
    EXPECT_EQ(summary["failures"][0]["code"], 0x0A000001);
    EXPECT_THAT(summary["slowest"], SizeIs(2));
}

TEST_F(UkeyctlLogTest, DamageIsToldAndTheRestIsShown) {
    Write("garbage\r\n" + SerialNumberCall("21,09:00:00.000", "00000000"));
    EXPECT_THAT(Command({"log", log_}).Run().out,
                AllOf(HasSubstr("(9 bytes at 0 of no record)"), HasSubstr("GetPrintNumber")));
    EXPECT_THAT(Functions({}), ElementsAre("damage", "GetPrintNumber"));
}

TEST_F(UkeyctlLogTest, ReadsAPipe) {
    Command command({"log", "-", "--json"});
    EXPECT_THAT(
        FunctionsIn(command.Reads(SerialNumberCall("21,09:00:00.000", "00000000")).Run().out),
        ElementsAre("GetPrintNumber"));
}

TEST_F(UkeyctlLogTest, ALogThatIsNotThereIsAFileFailure) {
    const Outcome outcome = Command({"log", log_}).Run();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("cannot read " + log_));
}

TEST_F(UkeyctlLogTest, AFunctionThatWritesNoRecordsIsWrongUsage) {
    const Outcome outcome = Command({"log", log_, "--function", "VerifyPIN"}).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("writes no records"), HasSubstr("ChangePin")));
    EXPECT_EQ(Command({"log", log_, "--since", "yesterday"}).Run().status, 2);
    EXPECT_EQ(Command({"log", "-", "--follow"}).Run().status, 2);
}

TEST_F(UkeyctlLogTest, ALogWithoutSuchCallsSaysSo) {
    Write("");
    EXPECT_EQ(Command({"log", log_}).Run().out, "No call in the log is what was asked for.\n");
    EXPECT_EQ(Command({"log", log_, "--json"}).Run().out, "");
}

TEST_F(UkeyctlLogTest, FollowsThroughANewFileAndACutOneUntilItIsInterrupted) {
    Write(SerialNumberCall(Ago(1), "00000000"));
    Command command({"log", log_, "--follow", "--json"});
    const Outcome outcome = command.WritesTo(out_)
                                .Meanwhile([this](pid_t process) {
                                    EXPECT_TRUE(Shows(1));
                                    Append(SerialNumberCall(Ago(0), "00000001"));
                                    EXPECT_TRUE(Shows(2));
                                    unlink(log_.c_str());
                                    Append(SerialNumberCall(Ago(0), "00000002"));
                                    EXPECT_TRUE(Shows(3));
                                    Append(SerialNumberCall(Ago(0), "00000003"));
                                    EXPECT_TRUE(Shows(4));
                                    EXPECT_EQ(truncate(log_.c_str(), 0), 0);
                                    std::this_thread::sleep_for(std::chrono::milliseconds(600));
                                    Append(SerialNumberCall(Ago(0), "00000004"));
                                    EXPECT_TRUE(Shows(5));
                                    Append(At9("InitUKey", "Begin"));  // a call that does not end
                                    std::this_thread::sleep_for(std::chrono::milliseconds(600));
                                    kill(process, SIGINT);
                                })
                                .Run();
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(FileContents(out_));
    std::vector<std::string> codes;
    for (std::string line; std::getline(lines, line);) {
        codes.push_back(nlohmann::json::parse(line)["code"].dump());
    }
    EXPECT_THAT(codes, ElementsAre("0", "1", "2", "3", "4", "null"));
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("in another file"), HasSubstr("was cut")));
}

TEST_F(UkeyctlLogTest, FollowingAwaitsALogThatIsNotThere) {
    Command command({"log", log_, "--follow", "--json"});
    const Outcome outcome = command.WritesTo(out_)
                                .Meanwhile([this](pid_t process) {
                                    std::this_thread::sleep_for(std::chrono::milliseconds(300));
                                    Append(SerialNumberCall(Ago(0), "00000000"));
                                    EXPECT_TRUE(Shows(1));
                                    kill(process, SIGTERM);
                                })
                                .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("waiting for " + log_));
}

TEST_F(UkeyctlLogTest, ALongReadingShowsOnATerminalHowFarItIs) {
    const std::string call = SerialNumberCall("21,09:00:00.000", "00000000");
    std::string log;
    while (log.size() < (2U << 20U)) {
        log += call;
    }
    Write(log);
    ASSERT_EQ(mkfifo(out_.c_str(), 0600), 0);
    const auto read_slowly = [this](pid_t /*process*/) {
        std::ifstream calls(out_);
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
        calls.ignore(std::numeric_limits<std::streamsize>::max());
    };
    const auto complaints_of = [&](const std::vector<std::string>& words) {
        return Command(words).WritesTo(out_).ComplainsToTerminal().Meanwhile(read_slowly).Run().err;
    };
    EXPECT_THAT(complaints_of({"log", log_}),
                AllOf(testing::ContainsRegex("\rreading the log: [5-9][0-9]? %, 1 s"),
                      testing::EndsWith("\r\x1B[K")));
    EXPECT_EQ(complaints_of({"log", log_, "--json"}), "");
    EXPECT_EQ(Command({"log", log_, "--summary"}).Run().err, "");
}

TEST_F(UkeyctlLogTest, ScrubWritesAMaskedCopy) {
    Write(SerialNumberCall("21,09:00:00.000", "00000000"));
    const Outcome shown = Command({"log", "scrub", log_}).Run();
    EXPECT_EQ(shown.status, 0);
    EXPECT_THAT(shown.out, HasSubstr("\r\n\t[m_SN: SN#1************]\r\n"));
    const Outcome written = Command({"log", "scrub", log_, "--out", out_}).Run();
    EXPECT_EQ(FileContents(out_), shown.out);
    EXPECT_THAT(FileContents(log_), HasSubstr(kSerialNumber));
}

TEST_F(UkeyctlLogTest, ScrubInPlaceKeepsTheFileItsModeAndItsSize) {
    Write(SerialNumberCall("21,09:00:00.000", "00000000"));
    chmod(log_.c_str(), 0640);
    struct stat before = {};
    struct stat after = {};
    stat(log_.c_str(), &before);
    const Outcome outcome = Command({"log", "scrub", log_, "--in-place", "--json"}).Run();
    stat(log_.c_str(), &after);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["masked"], 1);
    EXPECT_THAT(FileContents(log_), Not(HasSubstr(kSerialNumber)));
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_mode, after.st_mode);
    EXPECT_EQ(before.st_size, after.st_size);
}

TEST_F(UkeyctlLogTest, ScrubInPlaceLeavesWhatIsNoLogAsItIs) {
    Write("my diary\n");
    EXPECT_EQ(Command({"log", "scrub", log_, "--in-place"}).Run().status, 2);
    EXPECT_EQ(FileContents(log_), "my diary\n");
    ASSERT_EQ(symlink(log_.c_str(), (log_ + ".link").c_str()), 0);
    Write(SerialNumberCall("21,09:00:00.000", "00000000"));
    EXPECT_EQ(Command({"log", "scrub", log_ + ".link", "--in-place"}).Run().status, 4);
    EXPECT_THAT(FileContents(log_), HasSubstr(kSerialNumber));
}

}  // namespace
