#include "settings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>

#include "engine.h"

namespace recorder {

namespace {

constexpr int64_t kMicrosecondsInASecond = 1000000;

[[noreturn]] void ThrowFor(const std::string& path) {
    throw std::system_error(errno, std::generic_category(), path);
}

std::string SettingsPath(const std::string& folder) {
    return folder + "/" + kSettingsFile;
}

}  // namespace

void Save(const Settings& settings) {
    const nlohmann::json object = {
        {"mode", static_cast<int>(settings.mode)},
        {"recording", settings.recording},
        {"salt", settings.salt},
        {"shows_serial_numbers", settings.serial_numbers == Masker::SerialNumbers::kShown},
        {"started_us", settings.started_us}};
    std::ofstream file(SettingsPath(settings.folder));
    file << object.dump();
    file.close();
    if (!file) {
        ThrowFor(SettingsPath(settings.folder));
    }
}

Settings LoadSettings(const std::string& folder) {
    const auto object = nlohmann::json::parse(ContentsOf(SettingsPath(folder)));
    Settings settings;
    settings.mode = static_cast<Settings::Mode>(object.at("mode").get<int>());
    settings.folder = folder;
    settings.recording = object.at("recording").get<std::string>();
    settings.salt = object.at("salt").get<std::string>();
    settings.serial_numbers = object.at("shows_serial_numbers").get<bool>()
                                  ? Masker::SerialNumbers::kShown
                                  : Masker::SerialNumbers::kMasked;
    settings.started_us = object.at("started_us").get<int64_t>();
    return settings;
}

int64_t NowUs() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kMicrosecondsInASecond + now.tv_nsec / 1000;
}

void Append(const std::string& path, std::string_view text) {
    const int file = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) {
        ThrowFor(path);
    }
    ssize_t written = 0;
    do {
        written = write(file, text.data(), text.size());
    } while (written < 0 && errno == EINTR);
    int error = written < 0 ? errno : 0;
    if (error == 0 && written != static_cast<ssize_t>(text.size())) {
        error = ENOSPC;
    }
    // A network's file system, or one with quotas, may refuse only now what was written.
    if (close(file) != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        errno = error;
        ThrowFor(path);
    }
}

std::string ContentsOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        ThrowFor(path);
    }
    std::string contents;
    char chunk[4096];
    while (file.read(chunk, sizeof chunk) || file.gcount() > 0) {
        contents.append(chunk, static_cast<size_t>(file.gcount()));
    }
    if (file.bad()) {
        ThrowFor(path);
    }
    return contents;
}

}  // namespace recorder
