// What a program sees and answers under with-softkey.
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "softkey_test.h"

namespace softkey::testing {
namespace {

// A folder or file in the real /tmp that is gone with the test.
class InTmp {
 public:
    InTmp() {
        std::string pattern = "/tmp/softkey-test-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        path_ = pattern;
    }
    ~InTmp() { std::filesystem::remove_all(path_); }
    InTmp(const InTmp&) = delete;
    InTmp& operator=(const InTmp&) = delete;
    const std::string& Path() const { return path_; }
    std::string Name() const { return std::filesystem::path(path_).filename(); }
    void BecomeFile(const std::string& text) const {
        std::filesystem::remove_all(path_);
        WriteFile(path_, text);
        chmod(path_.c_str(), 0600);
    }

 private:
    std::string path_;
};

class WithSoftkeyTest : public SoftKeyTest {
 protected:
    CommandResult Run(const std::string& command_line, const std::string& under = "") const {
        return RunShell("cd " + Folder() + " && " + under + SOFTKEY_RUNNER " --tmp " + Folder() +
                        "/seen " + command_line);
    }
};

TEST_F(WithSoftkeyTest, APinFileAnywhereUnderTmpIsSeen) {
    const InTmp folder;
    WriteFile(folder.Path() + "/pin", "12345678\n");
    chmod((folder.Path() + "/pin").c_str(), 0600);
    const InTmp file;
    file.BecomeFile("12345678\n");
    for (const std::string& pin : {folder.Path() + "/pin", file.Path()}) {
        for (const char* const option : {"--pin-file ", "--pin-file="}) {
            const CommandResult made = Run(Program("softkey") + " new " + option + pin);
            EXPECT_EQ(0, made.status) << option << pin << ": " << made.output;
        }
        // Named by nothing that the runner could look at.
        const CommandResult read = Run("sh -c 'cat $(echo /t)mp/" + pin.substr(5) + "'");
        EXPECT_EQ("12345678\n", read.output);
    }
}

TEST_F(WithSoftkeyTest, WhatTheProgramChangesUnderTmpIsChangedOutside) {
    const InTmp folder;
    EXPECT_EQ(0, Run("sh -c 'echo 1 >" + folder.Path() + "/out; echo 2 >/tmp/orval-own'").status);
    EXPECT_EQ("1\n", ReadFile(folder.Path() + "/out"));
    EXPECT_FALSE(std::filesystem::exists("/tmp/orval-own"));
    EXPECT_EQ("2\n", ReadFile(Folder() + "/seen/orval-own"));
}

TEST_F(WithSoftkeyTest, NothingStaysInThePrivateTmpOfWhatIsGoneOutside) {
    std::string gone;
    std::string file_gone;
    {
        const InTmp folder;
        const InTmp file;
        file.BecomeFile("x");
        gone = folder.Name();
        file_gone = file.Name();
        EXPECT_EQ(0, Run("test -d /tmp/" + gone).status);
        EXPECT_EQ(0, Run("test -s /tmp/" + file_gone).status);
    }
    // The program's own empty files and folders are not taken for such places.
    EXPECT_EQ(0, Run("sh -c 'mkdir /tmp/own-folder && : >/tmp/own-file'").status);
    EXPECT_EQ(0, Run("sh -c 'test -d /tmp/own-folder && test -f /tmp/own-file'").status);
    for (const std::string& name : {gone, file_gone}) {
        EXPECT_FALSE(std::filesystem::exists(Folder() + "/seen/" + name)) << name;
    }
}

// To them, unlike root, such a place is unreadable.
TEST_F(WithSoftkeyTest, NothingStaysOfWhatIsGoneForOrdinaryUsersToo) {
    const std::string place = Folder() + "/seen/softkey-test-gone";
    ASSERT_TRUE(std::filesystem::create_directories(place));
    ASSERT_EQ(0, chmod(place.c_str(), 0));
    const CommandResult run =
        Run("true", "bwrap --unshare-user --uid 1000 --cap-drop ALL --dev-bind / / ");
    EXPECT_EQ(0, run.status) << run.output;
    EXPECT_FALSE(std::filesystem::exists(place));
}

TEST_F(WithSoftkeyTest, ANameOfAnotherKindInThePrivateTmpStaysPrivate) {
    const InTmp folder;
    const InTmp file;
    file.BecomeFile("outside\n");
    std::filesystem::create_directories(Folder() + "/seen/" + file.Name());
    WriteFile(Folder() + "/seen/" + folder.Name(), "private\n");
    const CommandResult result = Run("cat " + folder.Path());
    EXPECT_EQ(0, result.status);
    EXPECT_EQ("private\n", result.output);
    EXPECT_EQ(0, Run("test -d " + file.Path()).status);
}

TEST_F(WithSoftkeyTest, ACommandThatCannotBeRunIsToldAsAShellTellsIt) {
    WriteFile(Folder() + "/plain", "not a program\n");
    const struct {
        const char* command;
        int status;
    } cases[] = {{"nosuchcommand", 127}, {"./nosuchfile", 127}, {"''", 127},
                 {"./plain", 126},       {"/tmp", 126},         {"sh -c 'exit 7'", 7},
                 {"false", 1},           {"true", 0},           {"sh -c 'exit 127'", 127}};
    for (const auto& [command, status] : cases) {
        const CommandResult result = Run(command);
        EXPECT_EQ(status, result.status) << command << ": " << result.output;
        const bool is_ours = std::string(command).find("sh -c") == std::string::npos && status > 1;
        EXPECT_EQ(is_ours, result.output.find("with-softkey: ") == 0) << result.output;
        EXPECT_EQ(std::string::npos, result.output.find("bwrap")) << result.output;
    }
}

}  // namespace
}  // namespace softkey::testing
