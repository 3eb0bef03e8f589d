#ifndef RECORDER_PROGRESS_H
#define RECORDER_PROGRESS_H

#include <cstdint>
#include <optional>
#include <set>
#include <string>

namespace recorder {

// What the processes of a replayed client tell each other and the command: which recorded process
// was taken over, which calls were answered, and the first that differed.
struct Progress {
    // Both sides as people read them.
    struct Difference {
        std::string recorded;
        std::string made;
    };

    std::set<int64_t> processes;
    std::set<size_t> answered;  // places in the recording
    std::optional<Difference> difference;
};

void NoteProcess(const std::string& folder, int64_t process);
void NoteAnswered(const std::string& folder, size_t place);
void TakeBackAnswered(const std::string& folder, size_t place);
void NoteDifference(const std::string& folder, const Progress::Difference& difference);

Progress ReadProgress(const std::string& folder);

}  // namespace recorder

#endif
