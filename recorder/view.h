#ifndef RECORDER_VIEW_H
#define RECORDER_VIEW_H

#include <stdexcept>
#include <string>
#include <vector>

#include "settings.h"

namespace recorder {

// The folder that a command makes for its clients, gone with this.
class Workplace {
 public:
    Workplace();
    ~Workplace();
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;

    const std::string& Folder() const { return folder_; }

 private:
    std::string folder_;
};

// How a client ended.
struct Outcome {
    enum class Way { kExit, kSignal };
    Way way = Way::kExit;
    int number = 0;

    // As a shell tells it.
    int Status() const;
};

// The maker's libraries, where there is nothing to record.
class NothingInstalled final : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// The view in which the client runs could not be made.
class NoView final : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// Runs a command in a private view of the file system that differs in two files: in the places of
// the maker's two libraries are ours, which lie in `libraries`. For a recording, the real ones must
// be there; for a replay, not even the folder.
Outcome RunInView(const Settings& settings, const std::string& libraries,
                  const std::vector<std::string>& command);

}  // namespace recorder

#endif
