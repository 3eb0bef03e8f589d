#include "store/home.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "base/draft_file.h"
#include "base/error.h"
#include "base/process_lock.h"
#include "cli/words.h"

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
    const ProcessLock lock;
    const passwd* const user = getpwuid(getuid());
    if (user == nullptr) {
        throw Error(Code::kStoreUnreachable, "HOME is not set");
    }
    return user->pw_dir;
}

constexpr mode_t kRightsOfOthers = S_IRWXG | S_IRWXO;

// For a shell.
std::string Quoted(const std::string& path) {
    std::string quoted = "'";
    for (const char c : path) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}

[[noreturn]] void Refuse(const std::string& why, const std::string& advice) {
    throw Error(Code::kStoreUnreachable, why, advice);
}

// A program that runs as somebody else, as root by sudo for one, would leave files that the owner
// can no longer open.
void RequireOwner(const struct stat& status, const std::string& path) {
    if (status.st_uid == geteuid()) {
        return;
    }
    const std::string user = std::to_string(geteuid());
    // Nobody is told to take over a folder that may never have been a home, or that nobody here can
    // look into.
    const bool ours =
        !S_ISDIR(status.st_mode) || path == KeysPath() || access(KeysPath().c_str(), F_OK) == 0;
    Refuse(cli::Say("{1} belongs to user {2}, and this program runs as user {3}", path,
                    status.st_uid, user),
           ours ? cli::Say("Run it as the owner, or make it yours with: sudo chown -R {1} {2}",
                           user, Quoted(path))
                : "Run it as the owner, or set ORVAL_SOFTKEY_HOME to a folder of your own");
}

void RequireNoRightsOfOthers(const struct stat& status, const std::string& path,
                             const char* advice) {
    if ((status.st_mode & kRightsOfOthers) != 0) {
        Refuse(cli::Say("{1} is open to other users", path), cli::Say(advice, Quoted(path)));
    }
}

struct stat StatusOfFolder(const std::string& path) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0) {
        FailWithFile(errno, path);
    }
    if (!S_ISDIR(status.st_mode)) {
        FailWithFile(ENOTDIR, path);
    }
    RequireOwner(status, path);
    if ((status.st_mode & S_ISVTX) != 0) {
        Refuse(cli::Say("{1} is shared by several users", path),
               "Set ORVAL_SOFTKEY_HOME to a folder of its own, which the first key makes");
    }
    return status;
}

void RequirePrivateFolder(const std::string& path) {
    RequireNoRightsOfOthers(StatusOfFolder(path), path, "Make it yours alone with: chmod 700 {1}");
}

// What was made by other means, or for others, becomes the owner's alone.
void TightenFolder(const std::string& path) {
    if ((StatusOfFolder(path).st_mode & kRightsOfOthers) != 0 &&
        chmod(path.c_str(), S_IRWXU) != 0) {
        FailWithFile(errno, path);
    }
}

void RequirePrivateFile(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        FailWithFile(errno, path);
    }
    if (!S_ISREG(status.st_mode)) {
        Refuse(S_ISLNK(status.st_mode) ? cli::Say("{1} is a symbolic link", path)
                                       : cli::Say("{1} is no file", path),
               "Put the file itself there, or remove what is there");
    }
    RequireOwner(status, path);
    RequireNoRightsOfOthers(status, path, "Make it yours alone with: chmod 600 {1}");
    if ((status.st_mode & S_IRUSR) == 0) {
        Refuse(cli::Say("{1} may not be read by anybody", path),
               cli::Say("Make it readable with: chmod 600 {1}", Quoted(path)));
    }
    if (status.st_size == 0) {
        throw Error(Code::kStoreDamaged, cli::Say("{1} is empty", path));
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
    RemoveAbandonedDrafts(HomePath(), "");
    RemoveAbandonedDrafts(KeysPath(), "");
}

bool HomeExists() {
    if (access(HomePath().c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR)) {
        return false;
    }
    RequirePrivateFolder(HomePath());
    return true;
}

const std::string& Private(const std::string& path) {
    RequirePrivateFolder(HomePath());
    const std::string keys = KeysPath();
    if (path.compare(0, keys.size(), keys) == 0) {
        RequirePrivateFolder(keys);
    }
    RequirePrivateFile(path);
    return path;
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
std::string SlotsLockPath() {
    return SlotsPath() + ".lock";
}
std::string FaultsPath() {
    return HomePath() + "/faults.db";
}
std::string FaultsLockPath() {
    return FaultsPath() + ".lock";
}
std::string TracePath() {
    return HomePath() + "/trace.ring";
}
std::string TraceListenerPath() {
    return TracePath() + ".listener";
}

bool Exists(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) == 0) {
        return true;
    }
    if (errno != ENOENT && errno != ENOTDIR) {
        FailWithFile(errno, path);
    }
    return false;
}

std::vector<std::string> AllSerials() {
    std::vector<std::string> serials;
    if (!HomeExists() || !Exists(KeysPath())) {
        return serials;
    }
    RequirePrivateFolder(KeysPath());
    std::error_code error;
    const std::filesystem::directory_iterator files(KeysPath(), error);
    if (error) {
        FailWithFile(error.value(), KeysPath());
    }
    for (const auto& file : files) {
        const std::string stem = file.path().stem().string();
        if (file.path().extension() == kKeySuffix && IsSerialNumber(stem)) {
            serials.push_back(stem);
        }
    }
    std::sort(serials.begin(), serials.end());
    return serials;
}

}  // namespace softkey
