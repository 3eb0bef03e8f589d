#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_UKEYCTL_FIXTURE_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_UKEYCTL_FIXTURE_H

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "command.h"

// The command with the stand-in for the product behind it.
class UkeyctlTest : public testing::Test {
 protected:
    UkeyctlTest() : folder_(testing::TempDir() + "ukeyctl_test." + std::to_string(getpid())) {
        mkdir(folder_.c_str(), 0700);
    }
    ~UkeyctlTest() override {
        for (const char* name : {"calls", "outputs", "in", "out"}) {
            unlink(Path(name).c_str());
        }
        rmdir(folder_.c_str());
    }

    std::string Path(const std::string& name) const { return folder_ + "/" + name; }

    // The command with the stand-in as its library, giving the outputs ("GetLabel=text\n...").
    Command Ukeyctl(std::vector<std::string> words, const std::string& outputs = {}) {
        // A new file: one that is cut and written anew is on the disk before it is closed.
        unlink(Path("outputs").c_str());
        MakeFile(Path("outputs"), outputs);
        Command command(std::move(words));
        command.With("ORVAL_LIBRARY", FAKE_PRODUCT_PATH)
            .With("FAKE_CALLS", Path("calls"))
            .With("FAKE_OUTPUTS", Path("outputs"));
        return command;
    }

    // What the product was asked, a call on each line.
    std::string Calls() const { return FileContents(Path("calls")); }

    const std::string folder_;
};

#endif
