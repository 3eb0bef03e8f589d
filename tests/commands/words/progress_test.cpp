#include "cli/progress.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <thread>

namespace {

using cli::Progress;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr std::chrono::milliseconds kTick{10};
constexpr Progress::Pace kTicking{kTick, kTick};

// Longer than a tick.
void WorkALittle() {
    std::this_thread::sleep_for(5 * kTick);
}

// Each case is a process of its own, whose standard error is a terminal.
class ProgressTest : public testing::Test {
 protected:
    ProgressTest() : terminal_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {
        if (terminal_ < 0 || grantpt(terminal_) != 0 || unlockpt(terminal_) != 0) {
            throw std::runtime_error("no terminal can be had");
        }
        const int near = open(ptsname(terminal_), O_RDWR | O_NOCTTY | O_CLOEXEC);
        dup2(near, STDERR_FILENO);
        close(near);
    }
    ~ProgressTest() override { close(terminal_); }

    std::string Shown() const {
        std::string shown;
        char chunk[4096];
        for (ssize_t count = 0; (count = read(terminal_, chunk, sizeof chunk)) > 0;) {
            shown.append(chunk, static_cast<size_t>(count));
        }
        return shown;
    }

    // What is shown of five things that are advanced by three.
    std::string ShownOfThree(Progress::Measure measure) const {
        {
            Progress progress("working", 5, measure, kTicking);
            progress.Advance(3);
            WorkALittle();
        }
        return Shown();
    }

    const int terminal_;
};

TEST_F(ProgressTest, AClockMovesWhileTheWorkGoesOn) {
    std::string meanwhile;
    {
        const Progress clock("working", 0, Progress::Measure::kCount, kTicking);
        for (int tries = 0; tries < 100 && meanwhile.find("s\x1B[K\rw") == std::string::npos;
             ++tries) {
            WorkALittle();
            meanwhile += Shown();
        }
    }
    EXPECT_THAT(meanwhile, StartsWith("\rworking: 0 s\x1B[K\rworking: 0 s\x1B[K"));
    EXPECT_THAT(Shown(), EndsWith("\r\x1B[K"));
}

TEST_F(ProgressTest, WhatIsCountedIsShownAsItIsCounted) {
    EXPECT_THAT(ShownOfThree(Progress::Measure::kCount),
                AllOf(HasSubstr("\rworking: 3 of 5, 0 s\x1B[K"), EndsWith("\r\x1B[K")));
    EXPECT_THAT(ShownOfThree(Progress::Measure::kPerCent),
                AllOf(HasSubstr("\rworking: 60 %, 0 s\x1B[K"), EndsWith("\r\x1B[K")));
}

TEST_F(ProgressTest, ShortWorkShowsNothing) {
    EXPECT_EQ(cli::Meanwhile("working", [] { return 7; }), 7);
    EXPECT_THAT(Shown(), IsEmpty());
}

TEST_F(ProgressTest, NothingIsShownWithoutATerminal) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_NONBLOCK | O_CLOEXEC), 0);
    dup2(ends[1], STDERR_FILENO);
    EXPECT_THAT(ShownOfThree(Progress::Measure::kCount), IsEmpty());
    char byte = 0;
    EXPECT_EQ(read(ends[0], &byte, 1), -1);
}

TEST_F(ProgressTest, NothingIsShownWithJson) {
    const char* words[] = {"ukeyctl", "log", "--json"};
    cli::Speak("ukeyctl", 3, const_cast<char**>(words));
    EXPECT_THAT(ShownOfThree(Progress::Measure::kCount), IsEmpty());
}

TEST_F(ProgressTest, ADialogOnTheTerminalIsNotDisturbed) {
    termios settings{};
    ASSERT_EQ(tcgetattr(STDERR_FILENO, &settings), 0);
    settings.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    ASSERT_EQ(tcsetattr(STDERR_FILENO, TCSANOW, &settings), 0);
    EXPECT_THAT(ShownOfThree(Progress::Measure::kCount), IsEmpty());
}

TEST_F(ProgressTest, WhatIsShownAsideHasTheLineToItself) {
    {
        Progress progress("working", 5, Progress::Measure::kCount, kTicking);
        WorkALittle();
        progress.Aside([] { EXPECT_EQ(write(STDERR_FILENO, "found\n", 6), 6); });
    }
    EXPECT_THAT(Shown(), HasSubstr("\r\x1B[Kfound"));
}

TEST_F(ProgressTest, SpeaksTheUsersLanguageInItsCharacterSet) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LC_ALL", "zh_CN.GB18030", 1);
    const char* words[] = {"ukeyctl"};
    cli::Speak("ukeyctl", 1, const_cast<char**>(words));
    {
        Progress progress(cli::Mark("making keys"), 5, Progress::Measure::kCount, kTicking);
        progress.Advance(3);
        WorkALittle();
    }
    EXPECT_THAT(Shown(), HasSubstr(cli::Encoded("正在新建钥匙：3/5，0 秒")));
}

}  // namespace
