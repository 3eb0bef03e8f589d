#include "progress.h"

#include <filesystem>
#include <sstream>

#include "engine.h"
#include "settings.h"
#include "vocabulary.h"

namespace recorder {

namespace {

std::string PathIn(const std::string& folder) {
    return folder + "/" + kProgressFile;
}

void Note(const std::string& folder, const std::string& word, const std::string& what) {
    Append(PathIn(folder), word + " " + what + "\n");
}

}  // namespace

void NoteProcess(const std::string& folder, int64_t process) {
    Note(folder, "process", std::to_string(process));
}

void NoteAnswered(const std::string& folder, size_t place) {
    Note(folder, "answered", std::to_string(place));
}

void TakeBackAnswered(const std::string& folder, size_t place) {
    Note(folder, "taken-back", std::to_string(place));
}

void NoteDifference(const std::string& folder, const Progress::Difference& difference) {
    Note(folder, "differs",
         Json{{"recorded", difference.recorded}, {"made", difference.made}}.dump());
}

Progress ReadProgress(const std::string& folder) {
    Progress progress;
    if (!std::filesystem::exists(PathIn(folder))) {
        return progress;
    }
    std::istringstream lines(ContentsOf(PathIn(folder)));
    for (std::string word, what; lines >> word && std::getline(lines, what);) {
        if (word == "process") {
            progress.processes.insert(std::stoll(what));
        } else if (word == "answered") {
            progress.answered.insert(std::stoull(what));
        } else if (word == "taken-back") {
            progress.answered.erase(std::stoull(what));
        } else if (!progress.difference) {
            const Json difference = Json::parse(what);
            progress.difference = {difference.at("recorded").get<std::string>(),
                                   difference.at("made").get<std::string>()};
        }
    }
    return progress;
}

}  // namespace recorder
