#ifndef RECORDER_ENGINE_H
#define RECORDER_ENGINE_H

#include <cstddef>
#include <cstdint>

#include "calls/passed.h"

// Between the two libraries that stand in for the maker's in a client's process, which are thin,
// and what they share: one library with everything that a recording or a replay knows.
namespace recorder {

using calls::End;
using calls::Passed;

// What becomes of a call.
struct Course {
    void* real;      // the function to call; null: the call is answered
    void* record;    // of a call that is recorded, for Finish
    int64_t answer;  // a number, or an address
    bool throws;     // instead of an answer
};

struct Engine {
    Course (*begin)(size_t function, const Passed* arguments);
    // Once for each Begin that gave a record. `answer` is meaningless where it threw.
    void (*finish)(void* record, End end, int64_t answer);
};

// What a call answers when nothing can be recorded or replayed, or a replay has come to a
// difference: as the product without the maker's library.
inline constexpr int32_t kNoAnswer = -101;

inline constexpr char kEngineSymbol[] = "orval_recorder_engine";

// Names the folder that a recording or replaying command has made for its clients.
inline constexpr char kFolderVariable[] = "ORVAL_RECORDER";

// What is in that folder.
inline constexpr char kEngineFile[] = "engine.so";
inline constexpr char kSettingsFile[] = "settings.json";
inline constexpr char kProgressFile[] = "progress";
inline constexpr char kOutcomeFile[] = "outcome";
inline constexpr char kRealFolder[] = "real";

}  // namespace recorder

#endif
