// What both stand-ins share in a client's process.
#include "engine.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

#include "record.h"
#include "replay.h"

namespace {

using recorder::Course;
using recorder::End;
using recorder::Passed;
using recorder::Recorder;
using recorder::Replay;
using recorder::Settings;

// One of them. Calls may come while the process ends, so that neither is ever destroyed.
struct Roles {
    Recorder* recorder = nullptr;
    Replay* replay = nullptr;
};

Roles Begin() {
    Roles roles;
    try {
        const char* const folder = std::getenv(recorder::kFolderVariable);
        const Settings settings = recorder::LoadSettings(folder == nullptr ? "" : folder);
        if (settings.mode == Settings::Mode::kRecord) {
            roles.recorder = new Recorder(settings);
        } else {
            roles.replay = new Replay(settings);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ukeyctl: nothing is recorded or replayed: %s\n", error.what());
    }
    return roles;
}

const Roles& OfThisProcess() {
    static const Roles roles = Begin();
    return roles;
}

Course BeginCall(size_t function, const Passed* arguments) {
    const Roles& roles = OfThisProcess();
    if (roles.recorder != nullptr) {
        return roles.recorder->Begin(function, arguments);
    }
    if (roles.replay != nullptr) {
        return roles.replay->Answer(function, arguments);
    }
    return {nullptr, nullptr, function == calls::kTextOfCode ? 0 : recorder::kNoAnswer, false};
}

void FinishCall(void* record, End end, int64_t answer) {
    OfThisProcess().recorder->Finish(record, end, answer);
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) extern const recorder::Engine orval_recorder_engine;
const recorder::Engine orval_recorder_engine = {BeginCall, FinishCall};
}
