// The commands as a person or a script uses them.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "base/encoding.h"
#include "slots/slots.h"
#include "softkey_test.h"
#include "store/home.h"
#include "store/key_store.h"
#include "tools/program.h"

namespace softkey::testing {
namespace {

using Json = nlohmann::json;

class CommandsTest : public SoftKeyTest {
 protected:
    CommandsTest()
        : pin_file_(WriteSecretFile("pin", std::string(kPin) + "\n" + kOtherPin + "\n")) {}

    static CommandResult SoftKey(const std::string& arguments) {
        return RunShell(Program("softkey") + " " + arguments + " </dev/null");
    }

    // Runs a command that must go well; its output.
    static std::string Good(const std::string& arguments) {
        const CommandResult result = SoftKey(arguments);
        EXPECT_EQ(0, result.status) << arguments << '\n' << result.output;
        return result.output;
    }

    // Runs a command that must fail like this and with these words, and say what to do next.
    static void ExpectFailure(const std::string& arguments, const std::string& words,
                              cli::ExitStatus status = cli::ExitStatus::kFailed) {
        ExpectEnd(static_cast<int>(status), SoftKey(arguments), words);
    }
    static void ExpectUsageError(const std::string& arguments, const std::string& words) {
        ExpectEnd(2, SoftKey(arguments), words);
    }
    static void ExpectEnd(int status, const CommandResult& result, const std::string& words) {
        EXPECT_EQ(status, result.status) << result.output;
        EXPECT_NE(std::string::npos, result.output.find(words)) << result.output;
        EXPECT_NE(std::string::npos, result.output.find("\n  next: ")) << result.output;
    }

    std::string NewKey(const std::string& options = "") {
        return NewRealKey("--fixture " + options);
    }
    std::string NewRealKey(const std::string& options = "") {
        std::string serial = Good("new --pin-file " + pin_file_ + " " + options);
        serial.pop_back();
        return serial;
    }

    std::string pin_file_;
};

void FailToBegin(cli::Command& /*program*/) {
    throw std::runtime_error("no room");
}

TEST(RunProgramTest, WhatFailsForNoKnownReasonIsAFaultOfTheCommandItself) {
    char name[] = "softkey";
    char* arguments[] = {name, nullptr};
    ::testing::internal::CaptureStderr();
    const int status = tools::RunProgram(cli::kSoftkey, "softkey", FailToBegin, 1, arguments);
    EXPECT_EQ(
        "softkey: the command itself failed\n  why: no room\n"
        "  next: report this with the command line that led to it\n",
        ::testing::internal::GetCapturedStderr());
    EXPECT_EQ(70, status);
}

// Else a key's store could be what is printed into.
TEST(RunProgramTest, NoFileTakesThePlaceOfAClosedStream) {
    const pid_t child = fork();
    if (child == 0) {
        close(STDIN_FILENO);
        close(STDOUT_FILENO);
        close(STDERR_FILENO);
        char name[] = "softkey";
        char* arguments[] = {name, nullptr};
        tools::RunProgram(cli::kSoftkey, name, FailToBegin, 1, arguments);
        char byte = 0;
        const bool stay_useless =
            read(STDIN_FILENO, &byte, 1) < 0 && write(STDOUT_FILENO, &byte, 1) < 0;
        _exit(stay_useless && open("/dev/null", O_RDONLY) > STDERR_FILENO ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
}

TEST_F(CommandsTest, NewPrintsTheSerialNumberOfAKeyWithThatPin) {
    const std::string serial = NewRealKey("--label Alice");
    ASSERT_EQ(16U, serial.size());
    EXPECT_EQ(Kind::kReal, KeyStore(serial).WhatKind());
    EXPECT_EQ("Alice", KeyStore(serial).Label());
    EXPECT_NO_THROW(KeyStore(serial).Unlock(ToSecret(kPin)));
    EXPECT_EQ(kSerial, NewKey(std::string("--serial ") + kSerial));
    ExpectFailure(std::string("new --serial ") + kSerial + " --pin-file " + pin_file_, "exists");
    ExpectFailure("new --serial short --pin-file " + pin_file_, "16 capital letters");
}

TEST_F(CommandsTest, NewTightensAHomeThatIsOpenToOthers) {
    std::filesystem::create_directories(HomePath());
    chmod(HomePath().c_str(), 0755);
    EXPECT_EQ(16U, NewRealKey().size());
    EXPECT_EQ(std::filesystem::perms::owner_all, std::filesystem::status(HomePath()).permissions());
}

TEST_F(CommandsTest, WithoutATerminalAPinFileIsNeeded) {
    const CommandResult result = RunShell("setsid " + Program("softkey") + " new </dev/null");
    EXPECT_EQ(13, result.status);
    EXPECT_NE(std::string::npos, result.output.find("--pin-file")) << result.output;
}

TEST_F(CommandsTest, PlugAndUnplugChangeWhatListShows) {
    const std::string serial = NewKey();
    Good("plug " + serial);
    Json list = Json::parse(Good("list --json"));
    EXPECT_EQ(serial, list["keys"][0]["serial_number"]);
    EXPECT_EQ(1, list["keys"][0]["slot"]);
    ExpectFailure("plug " + serial, "softkey unplug");
    Good("unplug " + serial);
    list = Json::parse(Good("list --json"));
    EXPECT_TRUE(list["keys"][0]["slot"].is_null());
    ExpectFailure("unplug " + serial, "not plugged in", cli::ExitStatus::kNoKey);
    ExpectFailure("plug OR99999999999999", "softkey list", cli::ExitStatus::kNoKey);
}

TEST_F(CommandsTest, ListHasAlignedColumns) {
    EXPECT_NE(std::string::npos, Good("list").find("softkey new"));
    NewKey("--label 测试");
    NewKey();
    const std::vector<std::string> lines = Split(Good("list"), "\n");
    ASSERT_EQ(4U, lines.size());
    EXPECT_EQ(lines[0].find("PIN"), lines[1].find("6 of 6"));
    EXPECT_EQ(lines[0].find("PIN"), lines[2].find("6 of 6"));
}

TEST_F(CommandsTest, ALabelThatIsNoTextIsRefusedAndAnOldOneTearsNothing) {
    for (const char* const label :
         {"$(printf '\\377')", "$(printf 'a\\033b')", "$(printf 'a\\tb')"}) {
        ExpectFailure("new --pin-file " + pin_file_ + " --label \"" + label + "\"",
                      "without control characters");
    }
    const std::string serial = NewKey("--label Alice");
    // As a store from before that rule has it.
    Database(KeyPath(serial), Database::Mode::kExisting)
        .Execute("UPDATE key SET label = CAST(x'41FF0A42' AS TEXT)");
    EXPECT_EQ("A\uFFFD\nB", Json::parse(Good("list --json"))["keys"][0]["label"]);
    EXPECT_EQ("A\uFFFD\nB", Json::parse(Good("show --json " + serial))["label"]);
    EXPECT_NE(std::string::npos, Good("list").find("A\\xFF\\x0AB\n"));
    EXPECT_NE(std::string::npos, Good("show " + serial).find("A\\xFF\\x0AB\n"));
    Database(KeyPath(serial), Database::Mode::kExisting)
        .Execute("UPDATE key SET label = CAST(x'417FC29B' AS TEXT)");
    EXPECT_NE(std::string::npos, Good("list --json").find("\"A\\u007f\\u009b\""));
}

TEST_F(CommandsTest, OutputThatCannotBeWrittenIsAFailure) {
    for (const std::string& arguments :
         {std::string("list"), "new --pin-file " + pin_file_, std::string("--help")}) {
        const CommandResult result =
            RunShell(Program("softkey") + " " + arguments + " 2>&1 >/dev/full");
        EXPECT_EQ(4, result.status) << arguments;
        EXPECT_NE(std::string::npos, result.output.find("cannot write to standard output"))
            << result.output;
    }
}

TEST_F(CommandsTest, APinFileThatOthersCanReadIsRefusedAtPlugTime) {
    const std::string serial = NewKey();
    chmod(pin_file_.c_str(), 0644);
    ExpectFailure("plug " + serial + " --pin-file " + pin_file_, "chmod 600",
                  cli::ExitStatus::kFile);
    EXPECT_TRUE(Slots::OpenOrCreate().Plugged().empty());
}

TEST_F(CommandsTest, AnUnattendedSourceConfirmsUnlessToldOtherwise) {
    const std::string serial = NewKey();
    const auto plugged = [&](const std::string& options) {
        Good("plug " + serial + " " + options);
        const Confirmation confirmation = Slots::OpenOrCreate().Find(serial)->source.confirmation;
        Good("unplug " + serial);
        return confirmation;
    };
    EXPECT_EQ(Confirmation::kDialog, plugged(""));
    EXPECT_EQ(Confirmation::kAlways, plugged("--pin-file " + pin_file_));
    EXPECT_EQ(Confirmation::kNever, plugged("--confirm never --pin-file " + pin_file_));
    EXPECT_EQ(Confirmation::kDialog, plugged("--confirm dialog --pin-fd 9"));
}

TEST_F(CommandsTest, AFixtureIsMarkedWhereverItShowsAndStaysOne) {
    const std::string real = NewRealKey();
    const std::string fixture = NewKey();
    const auto expect_marked = [&] {
        EXPECT_EQ(true, Json::parse(Good("show --json " + fixture))["fixture"]);
        EXPECT_EQ(false, Json::parse(Good("show --json " + fixture))["seeded"]);
        EXPECT_EQ(false, Json::parse(Good("show --json " + real))["fixture"]);
        const Json keys = Json::parse(Good("list --json"))["keys"];
        for (const Json& key : keys) {
            EXPECT_EQ(key["serial_number"] == fixture, key["fixture"]);
        }
        for (const std::string& line : Split(Good("list"), "\n")) {
            EXPECT_EQ(line.find(fixture) == 0,
                      line.find("6 of 6 tries left (fixture)") != std::string::npos)
                << line;
        }
    };
    expect_marked();
    EXPECT_NE(std::string::npos, Good("show " + fixture).find("fixture, protects nothing\n"));
    EXPECT_EQ(std::string::npos, Good("show " + real).find("fixture"));
    Good("pin " + fixture + " --pin-file " + pin_file_);
    Good("pin " + real + " --pin-file " + pin_file_);
    expect_marked();
    Good("reset --yes " + fixture + " --pin-file " + pin_file_);
    Good("reset --yes " + real + " --pin-file " + pin_file_);
    expect_marked();
    EXPECT_EQ(true, Json::parse(Good("new --fixture --json --pin-file " + pin_file_))["fixture"]);
    EXPECT_EQ(false, Json::parse(Good("new --json --pin-file " + pin_file_))["fixture"]);
}

TEST_F(CommandsTest, NewMakesAsManyKeysAsAreAskedFor) {
    // More than are made at once.
    const Json made = Json::parse(
        Good("new --seed many --label Teller --count 300 --json --pin-file " + pin_file_));
    ASSERT_EQ(300U, made["keys"].size());
    EXPECT_EQ(300U, AllSerials().size());
    for (const size_t number : {size_t{1}, size_t{300}}) {
        const std::string serial = made["keys"][number - 1]["serial_number"];
        EXPECT_EQ("Teller " + std::to_string(number), KeyStore(serial).Label());
        EXPECT_EQ(true, Json::parse(Good("show --json " + serial))["seeded"]);
        EXPECT_NO_THROW(KeyStore(serial).Unlock(ToSecret(kPin)));
    }
    // So many are read by several processes.
    const std::vector<std::string> serials = AllSerials();
    for (const size_t damaged : {size_t{7}, size_t{290}}) WriteFile(KeyPath(serials[damaged]), "x");
    const CommandResult listed = SoftKey("list --json 2>/dev/null");
    EXPECT_EQ(4, listed.status);
    const Json keys = Json::parse(listed.output)["keys"];
    ASSERT_EQ(serials.size(), keys.size());
    for (size_t i = 0; i < serials.size(); ++i) {
        EXPECT_EQ(serials[i], keys[i]["serial_number"]);
        EXPECT_EQ(i == 7 || i == 290, keys[i]["label"].is_null()) << keys[i];
        EXPECT_EQ(i == 7 || i == 290, keys[i]["next"].is_string()) << keys[i];
    }
    EXPECT_EQ(2U, Split(Good("new --fixture --count 1 --pin-file " + pin_file_), "\n").size());
    ExpectUsageError("new --count 0", "--count takes a whole number");
    ExpectUsageError(std::string("new --count 2 --serial ") + kSerial, "exclude each other");
    ExpectUsageError("new --seed ''", "");
}

TEST_F(CommandsTest, PinChangesAndChecksThePin) {
    const std::string serial = NewKey();
    Good("pin " + serial + " --pin-file " + pin_file_);
    ExpectFailure("pin " + serial + " --check --pin-file " + pin_file_, "tries left: 5",
                  cli::ExitStatus::kPinWrong);
    EXPECT_NO_THROW(KeyStore(serial).Unlock(ToSecret(kOtherPin)));
}

TEST_F(CommandsTest, ALockedKeyIsResetAndTheErrorSaysHow) {
    const std::string serial = NewKey();
    const std::string wrong = WriteSecretFile("wrong", kOtherPin);
    for (int i = 0; i < kMaximumTries; ++i) {
        SoftKey("pin " + serial + " --check --pin-file " + wrong);
    }
    ExpectFailure("pin " + serial + " --check --pin-file " + pin_file_, "softkey reset",
                  cli::ExitStatus::kPinLocked);
    EXPECT_NE(std::string::npos, Good("list").find("locked"));
    Good("reset " + serial + " --yes --label new --pin-file " + wrong);
    EXPECT_NO_THROW(KeyStore(serial).Unlock(ToSecret(kOtherPin)));
    EXPECT_EQ("new", KeyStore(serial).Label());
}

TEST_F(CommandsTest, DeleteBackupAndRestoreGoRoundInACircle) {
    const std::string serial = NewKey();
    const std::string copy = Folder() + "/copy";
    Good("backup " + serial + " " + copy);
    ExpectFailure("restore " + copy, "exists");
    Good("delete " + serial + " --yes");
    ExpectFailure("show " + serial, "no key", cli::ExitStatus::kNoKey);
    EXPECT_EQ(serial + "\n", Good("restore " + copy));
    Good("pin " + serial + " --check --pin-file " + pin_file_);
    ExpectFailure("restore " + pin_file_, "not a key's store", cli::ExitStatus::kFile);
}

TEST_F(CommandsTest, FaultsHelpNamesTheEntriesBehindFunctions) {
    EXPECT_NE(std::string::npos,
              Good("fault --help").find("SignHash                          GMUsbKeyCommonSign"));
}

TEST_F(CommandsTest, WordsThatMakeNoSenseAreNamed) {
    for (const auto& [arguments, words] :
         {std::pair("frobnicate", "softkey: there is no command \"frobnicate\"\n"),
          {"plug", "softkey plug: serial is missing\n"},
          {"list --colour", "softkey list: there is no option \"--colour\"\n"},
          {"list all", "softkey list: \"all\" is one word too many\n"},
          {"plug A --pin-fd -1",
           "softkey plug: --pin-fd takes a whole number from 0 to 2147483647, not \"-1\"\n"},
          {"plug A --pin-fd 3 --pin-file x",
           "softkey plug: --pin-file and --pin-fd exclude each other\n"},
          {"fault VerifyPIN 1 --times 0",
           "softkey fault: --times takes a whole number from 1 on, not \"0\"\n"},
          {"fault VerifyPIN 1 --after -1",
           "softkey fault: --after takes a whole number from 0 on, not \"-1\"\n"},
          {"fault VerifyPIN 1 --delay nan",
           "softkey fault: --delay takes a whole number from 0 to 600000, not \"nan\"\n"}}) {
        ExpectUsageError(arguments, words);
    }
}

TEST_F(CommandsTest, WhatAPathBringsDoesNotReachTheTerminal) {
    const std::string hostile = "\"$(printf 'no\\033[2J\\302\\233\\377')\"";
    ExpectFailure("restore " + hostile, "there is no file no\\x1B[2J\\xC2\\x9B\\xFF\n",
                  cli::ExitStatus::kFile);
    ExpectUsageError(hostile, "no command \"no\\x1B[2J\\xC2\\x9B\\xFF\"\n");
    ExpectFailure("new --pin-file " + hostile, "no\\x1B[2J\\xC2\\x9B\\xFF", cli::ExitStatus::kFile);
}

TEST_F(CommandsTest, HelpFitsTheTerminal) {
    for (const auto& [columns, width] : {std::pair("", 80U), {"60", 60U}}) {
        setenv("COLUMNS", columns, 1);
        for (const char* const command :
             {"softkey", "softkey new", "softkey list", "softkey plug", "softkey unplug",
              "softkey show", "softkey pin", "softkey fault", "softkey reset", "softkey delete",
              "softkey unlock", "softkey import", "softkey clone", "softkey backup",
              "softkey restore", "softca", "softca init", "softca issue"}) {
            const std::vector<std::string> words = Split(command, " ");
            const CommandResult help =
                RunShell("cd /; unset ORVAL_SOFTCA_HOME XDG_DATA_HOME; HOME=/ " +
                         Program(words[0]) + " " + (words.size() > 1 ? words[1] : "") + " --help");
            EXPECT_EQ(0, help.status);
            for (const std::string& line : Split(help.output, "\n")) {
                EXPECT_LE(line.size(), width) << command << ": " << line;
            }
        }
    }
}

// What an unset shell variable leaves of "$SN".
TEST_F(CommandsTest, AnEmptySerialNumberIsWrongUsage) {
    const std::string words = "a shell variable may be unset";
    for (const char* command :
         {"plug ''", "unplug ''", "show ''", "pin ''", "reset --yes ''", "delete --yes ''",
          "backup '' copy", "unlock ''", "import '' key.pem", "clone ''", "new --serial ''",
          "new --serial= --json", "new --serial --json"}) {
        ExpectUsageError(command, words);
    }
    EXPECT_TRUE(Json::parse(Good("list --json"))["keys"].empty());
}

TEST_F(CommandsTest, AClosedStandardInputIsNoEmptyOne) {
    const std::string authority = Program("softca") + " --dir " + Folder() + "/authority ";
    ASSERT_EQ(0, RunShell(authority + "init").status);
    const CommandResult result = RunShell(authority + "issue <&-");
    EXPECT_EQ(4, result.status);
    EXPECT_NE(std::string::npos,
              result.output.find("cannot read standard input\n  why: it is closed"))
        << result.output;
}

TEST_F(CommandsTest, FilesThatAreInTheWayOrMissingAreNamed) {
    const std::string serial = NewKey();
    ExpectFailure("backup " + serial + " " + pin_file_, pin_file_ + " exists already",
                  cli::ExitStatus::kFile);
    ExpectFailure("backup " + serial + " nowhere/copy", "there is no folder ",
                  cli::ExitStatus::kFile);
    ExpectFailure("restore nowhere", "there is no file nowhere", cli::ExitStatus::kFile);
}

TEST_F(CommandsTest, FaultOrdersListAndClear) {
    const std::string text = Good("fault VerifyPIN 0x0A000024 --times 2 --after 1 --delay 5");
    EXPECT_NE(std::string::npos, text.find("The PIN is not correct."));
    EXPECT_NE(std::string::npos, Good("fault --list").find("VerifyPIN"));
    Good("fault GetData -401 --always");
    EXPECT_NE(std::string::npos, Good("fault --list").find("0xFFFFFE6F"));
    Good("fault VexaT_GetSlotList 0xFFFFFFFF");
    Good("fault --clear VerifyPIN");
    EXPECT_EQ(std::string::npos, Good("fault --list").find("VerifyPIN"));
    Good("fault --clear");
    EXPECT_EQ("No faults are ordered.\n", Good("fault --list"));
    EXPECT_NE(std::string::npos, Good("fault SignHash 1").find("GMUsbKeyCommonSign"));
    EXPECT_NE(std::string::npos, Good("fault GetCertInfo empty").find("GetCertInfo "));
    EXPECT_NE(std::string::npos,
              Good("fault --function GetCertInfo empty").find("GetCertInfo_UOS"));
    // What is possible in a later entry of the function alone.
    EXPECT_NE(std::string::npos, Good("fault WaitForKeyEvent empty").find("VexaT_GetDeviceInfo"));
    EXPECT_NE(std::string::npos, Good("fault --all crash").find("*  "));
    EXPECT_EQ(std::string::npos, Good("fault --all --clear").find("*  "));
    Good("fault --clear");
    ExpectUsageError("fault GetVendorInfo 1", "softkey fault --help");
    ExpectUsageError("fault GetPinInfo empty", "nothing that \"empty\" could be done to");
    ExpectUsageError("fault GetErrorMsg 1 --key OR00000000000001", "not about one key");
    ExpectUsageError("fault VerifyPIN", "an entry and a code are needed");
    ExpectFailure("fault VerifyPIN x", "0x0A000024");
    ExpectFailure("fault VerifyPIN 0x100000000", "0x0A000024");
}

TEST_F(CommandsTest, WrongUsageHasStatusTwoAndEveryCommandHasHelp) {
    for (const char* const arguments : {"", "frobnicate", "plug", "plug a b", "plug A --pin-fd -1",
                                        "plug A --pin-fd 3 --pin-file x", "plug A --confirm yes",
                                        "fault VerifyPIN 1 --times 0"}) {
        EXPECT_EQ(2, SoftKey(arguments).status) << arguments;
    }
    for (const char* const command :
         {"", "new", "list", "plug", "unplug", "show", "pin", "fault", "reset", "delete", "unlock",
          "import", "clone", "backup", "restore"}) {
        EXPECT_FALSE(Good(std::string(command) + " --help").empty());
    }
}

TEST_F(CommandsTest, WithSoftkeyMakesPrivateFoldersAndKeepsWhatLiesUnderTmp) {
    std::filesystem::create_directories(Folder() + "/user");
    for (const auto& [name, folder] : {std::pair("HOME", "/user"),
                                       {"XDG_DATA_HOME", "/user"},
                                       {"ORVAL_SOFTKEY_HOME", "/keys"},
                                       {"ORVAL_SOFTCA_HOME", "/authority"}}) {
        setenv(name, (Folder() + folder).c_str(), 1);
    }
    const CommandResult result = RunShell(
        "umask 022; cd / && " SOFTKEY_RUNNER " --tmp " + Folder() + "/seen sh -c 'echo 1 > " +
        "/tmp/log; for place in $HOME $ORVAL_SOFTKEY_HOME $ORVAL_SOFTCA_HOME; do " +
        "echo 2 > $place/file || exit 1; done'");
    ASSERT_EQ(0, result.status) << result.output;
    EXPECT_EQ("1\n", ReadFile(Folder() + "/seen/log"));
    for (const char* const folder : {"/keys", "/authority", "/seen"}) {
        struct stat status {};
        ASSERT_EQ(0, stat((Folder() + folder).c_str(), &status)) << folder;
        EXPECT_EQ(0700U, status.st_mode & 0777U) << folder;
    }
    for (const char* const folder : {"/keys", "/authority", "/user"}) {
        EXPECT_EQ("2\n", ReadFile(Folder() + folder + "/file")) << folder;
    }
}

TEST_F(CommandsTest, WithSoftkeysHelpFitsTheTerminal) {
    for (const auto& [columns, width] : {std::pair("", 80U), {"50", 50U}}) {
        setenv("COLUMNS", columns, 1);
        const CommandResult help = RunShell(SOFTKEY_RUNNER " --help");
        EXPECT_EQ(0, help.status) << help.output;
        for (const std::string& line : Split(help.output, "\n")) {
            EXPECT_LE(line.size(), width) << line;
        }
    }
}

}  // namespace
}  // namespace softkey::testing
