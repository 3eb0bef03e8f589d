// Scenarios: each example, and what `softkey run` does beside playing it.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "cli/json.h"
#include "hold_json.h"
#include "scenario/scenario.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr int kTimedOut = 5;
constexpr int kBroken = 11;
constexpr int kDifferent = 12;
constexpr int kCrashed = 128 + 11;
constexpr char kOneKey[] = "[keys.A]\n";

const std::string kClient = Program("../tests/softkey/scenario-client");

struct Played {
    const char* scenario;
    const char* works;  // of the client
    const char* output;
    int status;
};

// What the library and ukey.hpp make of each. "alike": as in C, so with the wrapper.
const Played kExamples[] = {
    {"wrong-pin", "verify verify", "The PIN is not correct. Tries left: 5.\nverified\n", 1},
    {"cancelled", "signature", "The user did not confirm the signature.", 1},
    {"unplugged-while-signing", "signature wait", "The key is not plugged in.\ninserted A\n", 1},
    {"comes-while-waiting", "wait", "inserted A\n", 0},
    {"locked-after-three", "verify verify verify verify",
     "verified\nverified\nverified\nVerifyPIN gave 0x0A000025", 1},
    {"two-keys", "label", "5 Alice alike\n", kDifferent},
    {"text-longer", "label", "6 Alicex alike\n", 0},
    {"text-shorter", "label", "4 Alic alike\n", 0},
    {"text-empty", "label", "0  alike\n", 0},
    {"text-unterminated", "label", "512 Alicexxxxx alike\n", 0},
    {"exception", "label label", "an exception that was ordered\nan exception", 2},
    {"length-longer", "certificate", " -----BEGIN alike\n", 0},
    {"length-shorter", "certificate", " -----BEGIN otherwise -----BEGIN", 0},
    {"foreign-certificate", "certificate signature", " -----BEGIN alike\nbad\n", 0},
    {"foreign-signature", "signature", "bad\n", 0},
    {"crash", "label", "", kCrashed},
    {"hang", "label", "had not ended in time and was killed", kTimedOut},
};

class RunTest : public SoftKeyTest {
 protected:
    CommandResult Run(const std::string& arguments) const {
        return RunShell("cd " + Folder() + " && TMPDIR=" + Folder() + " " + Program("softkey") +
                        " run " + arguments);
    }
    CommandResult RunText(const std::string& scenario, const std::string& arguments) const {
        WriteFile(Folder() + "/scenario.toml", scenario);
        return Run(arguments);
    }
    std::set<std::string> Left() const {
        std::set<std::string> left;
        for (const auto& file : std::filesystem::directory_iterator(Folder())) {
            const std::string name = file.path().filename().string();
            if (name.rfind("softkey-run-", 0) == 0) left.insert(name);
        }
        return left;
    }
    bool IsNothingLeft() const { return Left().empty(); }
};

class ExampleTest : public RunTest, public ::testing::WithParamInterface<Played> {};

TEST_P(ExampleTest, DoesWhatItSays) {
    const Played& played = GetParam();
    const CommandResult result = Run(
        std::string("--timeout ") + (played.status == kTimedOut ? "3" : "120") +
        " " SOFTKEY_SCENARIOS "/" + played.scenario + ".toml -- " + kClient + " " + played.works);
    // A sanitizer turns the crash into a status of its own.
    EXPECT_TRUE(played.status == result.status || (played.status == kCrashed && result.status != 0))
        << result.status << ": " << result.output;
    EXPECT_THAT(result.output, HasSubstr(played.output));
    EXPECT_TRUE(IsNothingLeft());
}

std::string NameOfExample(const ::testing::TestParamInfo<Played>& info) {
    std::string name = info.param.scenario;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Each, ExampleTest, ::testing::ValuesIn(kExamples), NameOfExample);

TEST(ExamplesTest, EachIsPlayed) {
    std::set<std::string> played;
    for (const Played& one : kExamples) played.insert(one.scenario);
    for (const auto& file : std::filesystem::directory_iterator(SOFTKEY_SCENARIOS)) {
        EXPECT_EQ(1U, played.count(file.path().stem().string())) << file.path();
    }
}

TEST_F(RunTest, TheClientsStatusPassesThroughWhereAllHappened) {
    EXPECT_EQ(3, RunText(kOneKey, "scenario.toml -- sh -c 'exit 3'").status);
    EXPECT_EQ(128 + 9, RunText(kOneKey, "scenario.toml -- sh -c 'kill -9 $$'").status);
    EXPECT_EQ(127, RunText(kOneKey, "scenario.toml -- there-is-no-such-command").status);
    EXPECT_EQ(0, RunText(kOneKey, "- -- test -n '$ORVAL_SCENARIO_KEY_A' <scenario.toml").status);
}

TEST_F(RunTest, EachStepThatDidNotHappenIsTold) {
    const std::string scenario =
        "dialogs = [\"right\"]\n"
        "[keys.A]\n"
        "[[steps]]\ncall = \"VerifyPIN\"\nanswer = 1\ntimes = 2\n"
        "[[steps]]\nunplug = \"A\"\nin = \"Sign\"\n"
        "[[steps]]\nplug = \"A\"\nat = \"1000 s\"\n"
        "[[steps]]\nplug = \"A\"\n";
    const CommandResult result =
        RunText(scenario, "--json scenario.toml -- " + kClient + " verify");
    EXPECT_EQ(kDifferent, result.status);
    for (const char* const line :
         {"scenario.toml:3: did not happen: call VerifyPIN answers 0x00000001 (it came 1 times of "
          "2)\n",
          "scenario.toml:7: did not happen: unplug A in Sign (no such call came)\n",
          "scenario.toml:10: did not happen: plug A at 1000000 ms (the client ended before)\n",
          "scenario.toml:13: did not happen: plug A (The key is plugged in.)\n",
          "scenario.toml:1: did not happen: a dialog that is answered \"right\"\n"}) {
        EXPECT_THAT(result.output, HasSubstr(line));
    }
    HoldJson("softkey", result.output);
    EXPECT_THAT(result.output, HasSubstr("\"all_happened\":false"));
    EXPECT_THAT(result.output, HasSubstr("\"exit_status\":1,"));
}

TEST_F(RunTest, ADialogThatIsNotForeseenIsCancelledAndTold) {
    const CommandResult result = RunText("dialogs = [\"wrong\"]\n[keys.A]\n",
                                         "scenario.toml -- " + kClient + " verify verify");
    EXPECT_EQ(kDifferent, result.status);
    EXPECT_THAT(result.output, HasSubstr("Tries left: 5"));
    EXPECT_THAT(result.output, HasSubstr("The user cancelled the dialog."));
    EXPECT_THAT(result.output, HasSubstr("one dialog came that the scenario has no answer for"));
}

TEST_F(RunTest, ADialogMayBreakOffOrGetAnyPinOrNoAnswerAtAll) {
    const CommandResult result =
        RunText("dialogs = [\"hang-up\", { pin = \"11112222\" }, \"never\"]\n[keys.A]\n",
                "--timeout 5 scenario.toml -- " + kClient + " verify verify verify");
    EXPECT_EQ(kTimedOut, result.status);
    EXPECT_THAT(result.output, HasSubstr("The dialog failed: pinentry hung up"));
    EXPECT_THAT(result.output, HasSubstr("The PIN is not correct. Tries left: 5."));
    EXPECT_THAT(result.output, Not(HasSubstr("did not happen")));
    EXPECT_TRUE(IsNothingLeft());
}

TEST_F(RunTest, MistakesAreToldWithTheirPlaceAndWhatWasMeant) {
    const CommandResult result = RunText(
        "dialogs = [\"wrnog\"]\n[keys.A]\nlable = \"Alice\"\n[[steps]]\ncall = \"VerifyPin\"\n"
        "answer = \"longr\"\n[[steps]]\nplug = \"B\"\nat = \"3 sec\"\n",
        "--check --json scenario.toml");
    EXPECT_EQ(kBroken, result.status);
    for (const char* const line :
         {"scenario.toml:1:12: \"wrnog\" is none of the words that may stand here\n"
          "  next: did you mean wrong?\n",
          "scenario.toml:3:1: there is nothing called \"lable\" here\n"
          "  next: did you mean label?\n",
          "scenario.toml:5:8: VerifyPin is no function that calls the key\n"
          "  next: did you mean VerifyPIN?\n",
          "scenario.toml:6:10: \"longr\" is no answer: a code such as 0x0A000024, or a word\n"
          "  next: did you mean longer?\n",
          "scenario.toml:8:8: there is no key B\n  next: there are: A\n",
          "scenario.toml:9:6: \"3 sec\" is no duration\n"}) {
        EXPECT_THAT(result.output, HasSubstr(line));
    }
    HoldJson("softkey", result.output);
    EXPECT_EQ(kBroken, RunText("[keys.A]\nlabel = \n", "scenario.toml -- touch ran").status);
    EXPECT_FALSE(std::filesystem::exists(Folder() + "/ran"));
    EXPECT_EQ(0, RunText(kOneKey, "--check scenario.toml").status);
}

TEST_F(RunTest, NothingOfTheClientOutlivesTheRun) {
    const std::string starts_others =
        "scenario.toml -- sh -c 'setsid sleep 1000 & echo $! >left; sleep 1001 & echo $! >>left;";
    EXPECT_EQ(0, RunText(kOneKey, starts_others + "'").status);
    EXPECT_EQ(kTimedOut, RunText(kOneKey, "--timeout 1 " + starts_others + " sleep 1002'").status);
    const CommandResult left = RunShell("cd " + Folder() + " && kill -0 $(cat left)");
    EXPECT_NE(0, left.status);
    EXPECT_TRUE(IsNothingLeft());
}

TEST_F(RunTest, ASignalEndsTheClientAndClearsTheWorldAway) {
    WriteFile(Folder() + "/scenario.toml", kOneKey);
    const CommandResult result =
        RunShell("cd " + Folder() + " && { TMPDIR=" + Folder() + " " + Program("softkey") +
                 " run scenario.toml -- sh -c 'touch begun; exec sleep 1000' & } && "
                 "while [ ! -e begun ]; do sleep 0.1; done && kill -TERM $! && wait $!");
    EXPECT_EQ(128 + 15, result.status) << result.output;
    EXPECT_TRUE(IsNothingLeft());
}

// The client of each run says that it has begun, and sleeps for longer than any test.
TEST_F(RunTest, WhatAKilledRunLeftGoesWithTheNextAndNothingElse) {
    WriteFile(Folder() + "/scenario.toml", kOneKey);
    const auto begin = [this](const std::string& name) {
        return "{ TMPDIR=" + Folder() + " " + Program("softkey") +
               " run scenario.toml -- sh -c 'touch " + name + "; exec sleep 1000' & } && " + name +
               "=$! && while [ ! -e " + name + " ]; do sleep 0.1; done && ";
    };
    std::filesystem::create_directory(Folder() + "/softkey-run-backup");
    RunShell("cd " + Folder() + " && " + begin("killed") + "kill -KILL $killed; wait $killed");
    ASSERT_EQ(Left().size(), 2U);
    const CommandResult result = RunShell(
        "cd " + Folder() + " && " + begin("alive") +
        "ls -d softkey-run-* >during; TMPDIR=" + Folder() + " " + Program("softkey") +
        " run scenario.toml -- true; ls -d softkey-run-* >behind; kill -TERM $alive; wait $alive");
    EXPECT_EQ(128 + 15, result.status) << result.output;
    // The living one's, and what is none of a run's.
    for (const char* const when : {"/during", "/behind"}) {
        const std::string names = ReadFile(Folder() + when);
        EXPECT_EQ(2, std::count(names.begin(), names.end(), '\n')) << when << "\n" << names;
        EXPECT_THAT(names, HasSubstr("softkey-run-backup\n"));
    }
    EXPECT_THAT(Left(), ::testing::ElementsAre("softkey-run-backup"));
}

// with-softkey leaves such folders in the client's /tmp, and root alone could remove them as they
// are.
TEST_F(RunTest, AnOrdinaryUsersRunLeavesNoFolderThatNobodyMayRead) {
    WriteFile(Folder() + "/scenario.toml", kOneKey);
    const CommandResult result = RunShell(
        "cd " + Folder() + " && TMPDIR=" + Folder() +
        " bwrap --unshare-user --uid 1000 --cap-drop ALL --dev-bind / / " + Program("softkey") +
        " run scenario.toml -- sh -c 'mkdir -p /tmp/closed/inner && chmod 0 /tmp/closed/inner'");
    EXPECT_EQ(0, result.status) << result.output;
    EXPECT_TRUE(IsNothingLeft());
}

TEST_F(RunTest, AWorldMayBeKeptOnceUnderAName) {
    EXPECT_EQ(0, RunText(kOneKey, "--keep world scenario.toml -- touch /tmp/made").status);
    EXPECT_TRUE(std::filesystem::exists(Folder() + "/world/tmp/made"));
    EXPECT_EQ(4, Run("--keep world scenario.toml -- true").status);
}

TEST_F(RunTest, TheHomeOfTheUserIsNotTouched) {
    CreateKey();
    const std::string before = RunShell(Program("softkey") + " list").output;
    EXPECT_THAT(RunText(kOneKey, "scenario.toml -- " + kClient + " label").output,
                HasSubstr("1 A alike"));
    EXPECT_EQ(before, RunShell(Program("softkey") + " list").output);
}

}  // namespace
}  // namespace softkey::testing
