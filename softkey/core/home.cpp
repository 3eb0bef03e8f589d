#include "core/home.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "core/draft_file.h"
#include "core/error.h"

namespace softkey {
namespace {

constexpr std::string_view kKeySuffix = ".key";

std::string NonEmptyVariable(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

std::string UserFolder() {
    std::string home = NonEmptyVariable("HOME");
    if (!home.empty()) {
        return home;
    }
    const passwd* const user = getpwuid(getuid());
    Require(user != nullptr, Code::kStoreUnreachable, "HOME is not set");
    return user->pw_dir;
}

// What was made by other means, or for others, becomes the owner's alone.
void TightenFolder(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        FailWithFile(errno, path);
    }
    if (!S_ISDIR(status.st_mode)) {
        FailWithFile(ENOTDIR, path);
    }
    const bool shared = (status.st_mode & S_ISVTX) != 0;
    if (status.st_uid != geteuid() || shared) {
        throw Error(Code::kStoreUnreachable,
                    path + (shared ? " is shared by several users" : " belongs to another user"));
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0 && chmod(path.c_str(), S_IRWXU) != 0) {
        FailWithFile(errno, path);
    }
}

void MakePrivateFolder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    if (mkdir(path.c_str(), S_IRWXU) == 0) {
        return;
    }
    if (errno != EEXIST) {
        FailWithFile(errno, path);
    }
    TightenFolder(path);
}

}  // namespace

bool IsSerialNumber(std::string_view text) {
    return text.size() == kSerialLength && std::all_of(text.begin(), text.end(), [](char c) {
               return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z');
           });
}

std::string HomePath() {
    std::string chosen = NonEmptyVariable("ORVAL_SOFTKEY_HOME");
    if (!chosen.empty()) {
        return chosen;
    }
    const std::string data = NonEmptyVariable("XDG_DATA_HOME");
    return (data.empty() ? UserFolder() + "/.local/share" : data) + "/orval-softkey";
}

void EnsureHome() {
    MakePrivateFolder(HomePath());
    MakePrivateFolder(KeysPath());
    MakePrivateFolder(SignalPath());
}

std::string KeysPath() {
    return HomePath() + "/keys";
}

std::string KeyPath(std::string_view serial) {
    Require(IsSerialNumber(serial), Code::kInvalidParameter,
            "a serial number has exactly 16 capital letters and digits");
    return KeysPath() + "/" + std::string(serial) + std::string(kKeySuffix);
}

std::string KeyLockPath(std::string_view serial) {
    return KeyPath(serial) + ".lock";
}
std::string SlotsPath() {
    return HomePath() + "/slots.db";
}
std::string FaultsPath() {
    return HomePath() + "/faults.db";
}
std::string SignalPath() {
    return HomePath() + "/plugged";
}

bool Exists(const std::string& path) {
    return access(path.c_str(), F_OK) == 0;
}

std::vector<std::string> AllSerials() {
    std::vector<std::string> serials;
    std::error_code error;
    for (const auto& file : std::filesystem::directory_iterator(KeysPath(), error)) {
        const std::string stem = file.path().stem().string();
        if (file.path().extension() == kKeySuffix && IsSerialNumber(stem)) {
            serials.push_back(stem);
        }
    }
    std::sort(serials.begin(), serials.end());
    return serials;
}

}  // namespace softkey
