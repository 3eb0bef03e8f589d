#ifndef TESTS_COMMANDS_RECORDER_RECORDED_CLIENT_H
#define TESTS_COMMANDS_RECORDER_RECORDED_CLIENT_H

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

#include "calls/recording.h"
#include "recorder/engine.h"
#include "recorder/progress.h"
#include "recorder/view.h"

namespace recorded {

// What the commands do around a client, without a view of their own: the test runs in one whose
// application directory holds the stand-ins.
class RecordedClient {
 public:
    // The folder of the libraries that are recorded.
    explicit RecordedClient(std::string key) : key_(std::move(key)) {
        settings_.recording = made_for_.Folder() + "/recording";
        settings_.salt = calls::NewSalt();
        calls::Header header;
        header.salt = settings_.salt;
        recorder::Append(settings_.recording, calls::LineOf(header));
    }

    // In a child, which has a product of its own. The child's wait status.
    int Record(const std::function<void()>& work) {
        settings_.mode = recorder::Settings::Mode::kRecord;
        settings_.started_us = recorder::NowUs();
        const pid_t child = fork();
        if (child == 0) {
            Prepare(made_for_.Folder());
            work();
            std::_Exit(testing::Test::HasFailure() ? 1 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        return status;
    }

    // In this process, from here on.
    void Replay(recorder::Settings::Mode mode = recorder::Settings::Mode::kReplay) {
        settings_.mode = mode;
        Prepare(replayed_for_.Folder());
    }

    calls::Recording Recorded() const { return calls::Read(Text()); }
    std::string Text() const { return recorder::ContentsOf(settings_.recording); }
    recorder::Progress ReplayProgress() const {
        return recorder::ReadProgress(replayed_for_.Folder());
    }

    // Nothing differed, and nothing is left over.
    void ExpectAllReplayed() const {
        const recorder::Progress progress = ReplayProgress();
        EXPECT_FALSE(progress.difference) << progress.difference->recorded << "\n"
                                          << progress.difference->made;
        const calls::Recording recording = Recorded();
        for (size_t i = 0; i < recording.calls.size(); ++i) {
            EXPECT_TRUE(recording.calls[i].IsIdleWait() || progress.answered.count(i) == 1)
                << calls::Describe(recording.calls[i]);
        }
    }

    std::string KeepInFile(const std::string& text) const {
        const std::string path = made_for_.Folder() + "/kept";
        recorder::Append(path, text);
        return path;
    }

 protected:
    const recorder::Workplace made_for_;
    const recorder::Workplace replayed_for_;
    recorder::Settings settings_;

 private:
    void Prepare(const std::string& folder) {
        settings_.folder = folder;
        recorder::Save(settings_);
        std::filesystem::create_symlink(RECORDER_ENGINE, folder + "/" + recorder::kEngineFile);
        if (settings_.mode == recorder::Settings::Mode::kRecord) {
            std::filesystem::create_symlink(key_, folder + "/" + recorder::kRealFolder);
        }
        setenv(recorder::kFolderVariable, folder.c_str(), 1);
    }

    const std::string key_;
};

}  // namespace recorded

#endif
