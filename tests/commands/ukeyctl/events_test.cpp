// Keys that come and go, and keys that are there: wait and watch.

#include <gmock/gmock.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "ukeyctl_fixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::MatchesRegex;

class EventsTest : public UkeyctlTest {
 protected:
    // Until the file holds so many of these, or for long enough.
    static void Await(const std::string& path, const std::string& text, int count = 1) {
        for (int round = 0; round < 3000; ++round) {
            const std::string contents = FileContents(path);
            int found = 0;
            for (size_t at = contents.find(text); at != std::string::npos;
                 at = contents.find(text, at + 1)) {
                ++found;
            }
            if (found >= count) {
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        ADD_FAILURE() << "never saw " << count << " times " << text << " in " << path;
    }

    // The command, stopped as soon as its output has so many lines; what these are.
    std::vector<std::string> LinesUntilStopped(Command command, int lines, int signal = SIGINT) {
        const Outcome outcome = command.WritesTo(Path("out"))
                                    .Meanwhile([this, lines, signal](pid_t process) {
                                        Await(Path("out"), "\n", lines);
                                        kill(process, signal);
                                    })
                                    .Run();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_EQ(outcome.err, "");
        std::istringstream all(FileContents(Path("out")));
        std::vector<std::string> found;
        for (std::string line; std::getline(all, line);) {
            found.push_back(line);
        }
        return found;
    }
};

TEST_F(EventsTest, WaitShowsTheEvent) {
    const Outcome outcome = Ukeyctl({"wait"}).With("FAKE_EVENTS", "1:SN1").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "Event:         inserted\nSerial number: SN1\n");
}

TEST_F(EventsTest, WaitShowsSeveralEventsAsJsonLines) {
    const Outcome outcome =
        Ukeyctl({"wait", "--count", "2", "--json"}).With("FAKE_EVENTS", "1:SN1 2:SN2").Run();
    EXPECT_EQ(outcome.status, 0);
    const size_t end = outcome.out.find('\n');
    EXPECT_EQ(nlohmann::json::parse(outcome.out.substr(0, end))["event"], "inserted");
    EXPECT_EQ(nlohmann::json::parse(outcome.out.substr(end))["serial_number"], "SN2");
}

TEST_F(EventsTest, WaitGivesUpInTime) {
    const Outcome outcome = Ukeyctl({"wait", "--timeout", "0.05"}).Run();
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, HasSubstr("no key came or went"));
}

TEST_F(EventsTest, WaitThatFailsShowsTheCode) {
    const Outcome outcome = Ukeyctl({"wait", "--json"}).With("FAKE_EVENTS", "0:77").Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.Json()["error"]["function"], "WaitForKeyEvent");
    EXPECT_EQ(outcome.Json()["error"]["code"], 77);
}

struct Interruption {
    const char* name;
    std::vector<std::string> words;
    const char* until;  // the call by which it waits
    int signal;
};

class InterruptedWaitTest : public EventsTest, public testing::WithParamInterface<Interruption> {};

INSTANTIATE_TEST_SUITE_P(
    Ukeyctl, InterruptedWaitTest,
    testing::Values(
        Interruption{"ForAnEvent", {"wait"}, "WaitForKeyEvent()", SIGINT},
        Interruption{
            "ForAnEventTerminated", {"wait", "--timeout", "60"}, "WaitForKeyEvent()", SIGTERM},
        Interruption{"ForAKey", {"wait", "--present"}, "VexaT_GetSlotList()", SIGINT},
        Interruption{"ForAKeyTerminated", {"wait", "--present"}, "VexaT_GetSlotList()", SIGTERM}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_P(InterruptedWaitTest, EndsWithAStatusAndAnObjectOfItsOwn) {
    std::vector<std::string> words = GetParam().words;
    words.emplace_back("--json");
    const Outcome outcome = Ukeyctl(words)
                                .With("FAKE_SLOTS", "")
                                .Meanwhile([this](pid_t process) {
                                    Await(Path("calls"), GetParam().until);
                                    kill(process, GetParam().signal);
                                })
                                .Run();
    EXPECT_EQ(outcome.status, 130);
    EXPECT_EQ(outcome.Json()["ok"], false);
    EXPECT_EQ(outcome.Json()["verb"], "wait");
    EXPECT_EQ(outcome.Json()["error"]["status"], 130);
    EXPECT_THAT(outcome.err, HasSubstr("the wait was interrupted"));
}

// As a shell starts what is put behind "&", and nohup.
TEST_F(EventsTest, IgnoredCtrlCStaysIgnored) {
    const Outcome outcome = Ukeyctl({"wait", "--timeout", "0.3"})
                                .Under({"sh", "-c", "trap '' INT; exec \"$@\"", "sh"})
                                .Meanwhile([this](pid_t process) {
                                    Await(Path("calls"), "WaitForKeyEvent()");
                                    kill(process, SIGINT);
                                })
                                .Run();
    EXPECT_EQ(outcome.status, 5);
}

TEST_F(EventsTest, WaitForAKeyReturnsAtOnceWhereOneIs) {
    const Outcome outcome = Ukeyctl({"wait", "--present"}, "GetLabel=my key\n").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "SLOT  SERIAL NUMBER  LABEL\n"
              "1     SN0123456789   my key\n");
    EXPECT_THAT(Calls(), Not(HasSubstr("WaitForKeyEvent")));
}

TEST_F(EventsTest, WaitForAKeyTellsWhichAsJson) {
    const Outcome outcome = Ukeyctl({"wait", "--present", "--json"}, "GetLabel=my key\n").Run();
    const nlohmann::json told = outcome.Json();
    EXPECT_EQ(told["event"], "present");
    EXPECT_EQ(told["serial_number"], "SN0123456789");
    ASSERT_EQ(told["keys"].size(), 1U);
    EXPECT_EQ(told["keys"][0]["label"], "my key");
    EXPECT_EQ(told["keys"][0]["slot"], 1);
}

TEST_F(EventsTest, WaitForAKeyTellsOfSeveralWhatCanBeTold) {
    const Outcome outcome =
        Ukeyctl({"wait", "--present", "--json"}).With("FAKE_SLOTS", "1:SN0000000001 3:?77").Run();
    EXPECT_EQ(outcome.status, 0);
    const nlohmann::json told = outcome.Json();
    EXPECT_TRUE(told["serial_number"].is_null());
    ASSERT_EQ(told["keys"].size(), 2U);
    EXPECT_TRUE(told["keys"][1]["serial_number"].is_null());
    EXPECT_THAT(told["keys"][1]["problem"].get<std::string>(), HasSubstr("VexaT_GetDeviceInfo"));
}

// No event tells of this key: it is plugged right behind the look that finds none, before any wait
// could have begun.
TEST_F(EventsTest, WaitForAKeySeesTheOneThatComesBetweenLookingAndWaiting) {
    const Outcome outcome = Ukeyctl({"wait", "--present", "--timeout", "20", "--json"})
                                .With("FAKE_SLOTS", "")
                                .With("FAKE_SLOTS_THEN", "2:SN0000000002")
                                .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["serial_number"], "SN0000000002");
}

TEST_F(EventsTest, WaitForAKeyGivesUpInTime) {
    const Outcome outcome =
        Ukeyctl({"wait", "--present", "--timeout", "0.25"}).With("FAKE_SLOTS", "").Run();
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, HasSubstr("no key is plugged in"));
}

TEST_F(EventsTest, WaitForAKeyThatCannotBeSeenIsAFailure) {
    const Outcome outcome =
        Ukeyctl({"wait", "--present", "--json"}).With("FAKE_SLOTS", "?77").Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.Json()["error"]["function"], "VexaT_GetSlotList");
}

TEST_F(EventsTest, WaitForAKeyCountsNoEvents) {
    EXPECT_EQ(Ukeyctl({"wait", "--present", "--count", "2"}).Run().status, 2);
}

TEST_F(EventsTest, WatchShowsEachEventUntilCtrlC) {
    const std::vector<std::string> lines = LinesUntilStopped(
        Ukeyctl({"watch"}, "GetLabel=my key\n").With("FAKE_EVENTS", "1:SN1 2:SN1"), 3);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[0], "TIME                     EVENT     SERIAL NUMBER     LABEL");
    const std::string time = "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}[.][0-9]{3}";
    EXPECT_THAT(lines[1], MatchesRegex(time + "  inserted  SN1               my key"));
    EXPECT_THAT(lines[2], MatchesRegex(time + "  removed   SN1               my key"));
}

// Each line is there as soon as it has happened: the test waits for it before it stops the command.
TEST_F(EventsTest, WatchGivesAnObjectForEachEvent) {
    const std::vector<std::string> lines =
        LinesUntilStopped(Ukeyctl({"watch", "--json"}, "GetLabel=my key\n")
                              .With("FAKE_EVENTS", "2:SN0123456789 1:SN1"),
                          2, SIGTERM);
    ASSERT_EQ(lines.size(), 2U);
    const nlohmann::json removed = nlohmann::json::parse(lines[0]);
    EXPECT_EQ(removed["ok"], true);
    EXPECT_EQ(removed["verb"], "watch");
    EXPECT_EQ(removed["event"], "removed");
    EXPECT_EQ(removed["serial_number"], "SN0123456789");
    EXPECT_EQ(removed["label"], "my key");  // as it was when the watch began
    EXPECT_TRUE(removed["problem"].is_null());
    EXPECT_EQ(nlohmann::json::parse(lines[1])["event"], "inserted");
    EXPECT_EQ(removed["time"].get<std::string>().size(), 23U);
}

TEST_F(EventsTest, WatchWithoutAnEventGivesNoObject) {
    const Outcome outcome = Ukeyctl({"watch", "--json"})
                                .Meanwhile([this](pid_t process) {
                                    Await(Path("calls"), "WaitForKeyEvent()");
                                    kill(process, SIGINT);
                                })
                                .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
}

TEST_F(EventsTest, WatchSaysWhatCannotBeTold) {
    const std::vector<std::string> lines =
        LinesUntilStopped(Ukeyctl({"watch", "--json"})
                              .With("FAKE_CODES", "GetLabel=77")
                              .With("FAKE_EVENTS", "1:SN1 2:SN9 1:"),
                          3);
    const char* const problems[] = {"GetLabel gave 0x0000004D", "the label was not read",
                                    "the key tells no serial number"};
    for (size_t i = 0; i < 3; ++i) {
        const nlohmann::json told = nlohmann::json::parse(lines.at(i));
        EXPECT_TRUE(told["label"].is_null());
        EXPECT_THAT(told["problem"].get<std::string>(), HasSubstr(problems[i]));
    }
    EXPECT_TRUE(nlohmann::json::parse(lines.at(2))["serial_number"].is_null());
}

TEST_F(EventsTest, WatchCannotDisturbTheTerminal) {
    const std::vector<std::string> lines = LinesUntilStopped(
        Ukeyctl({"watch"}, "GetLabel=\x1B[2Jme\n").With("FAKE_EVENTS", "1:SN1"), 2);
    EXPECT_THAT(lines.at(1), HasSubstr("\\x1B[2Jme"));
}

TEST_F(EventsTest, WatchThatFailsShowsTheCode) {
    const Outcome outcome = Ukeyctl({"watch", "--json"}).With("FAKE_EVENTS", "0:77").Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.Json()["error"]["function"], "WaitForKeyEvent");
    EXPECT_EQ(outcome.Json()["error"]["code"], 77);
}

TEST_F(EventsTest, WatchWithoutALibraryIsAFailure) {
    EXPECT_EQ(Ukeyctl({"watch", "--library", "/nowhere/library.so"}).Run().status, 3);
}

// The waiting process is a child of the command's.
TEST_F(EventsTest, WatchTellsThatTheWaitWasEnded) {
    const Outcome outcome = Ukeyctl({"watch"})
                                .Meanwhile([this](pid_t process) {
                                    Await(Path("calls"), "WaitForKeyEvent()");
                                    const std::string id = std::to_string(process);
                                    const std::string children =
                                        FileContents("/proc/" + id + "/task/" + id + "/children");
                                    ASSERT_NE(children, "");
                                    kill(std::stoi(children), SIGKILL);
                                })
                                .Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("the wait for keys has ended"), HasSubstr("signal 9")));
}

}  // namespace
