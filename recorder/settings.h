#ifndef RECORDER_SETTINGS_H
#define RECORDER_SETTINGS_H

#include <string>
#include <string_view>

#include "vocabulary.h"

namespace recorder {

// What a command tells the engines of its clients.
struct Settings {
    enum class Mode { kRecord, kReplay, kReplayPaced };

    Mode mode = Mode::kRecord;
    std::string folder;     // what the command has made for them
    std::string recording;  // the file
    std::string salt;
    Masker::SerialNumbers serial_numbers = Masker::SerialNumbers::kMasked;
    int64_t started_us = 0;  // by the clock below
};

void Save(const Settings& settings);
Settings LoadSettings(const std::string& folder);

// The time since the machine was started.
int64_t NowUs();

// All of the text by one write, so that the lines of several processes do not mix. The file is open
// for no longer: a client may close descriptors that are not its own.
void Append(const std::string& path, std::string_view text);

std::string ContentsOf(const std::string& path);

}  // namespace recorder

#endif
