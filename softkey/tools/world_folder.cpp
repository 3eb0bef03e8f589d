#include "tools/world_folder.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "cli/words.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

namespace fs = std::filesystem;

constexpr char kName[] = "softkey-run-";
constexpr char kRandom[] = "XXXXXX";
// The file that tells a temporary folder from one which only has such a name. It is there before
// anything else and goes last; its maker has it locked, and the system takes the lock from a maker
// that dies.
constexpr char kMark[] = "softkey-run.lock";

[[noreturn]] void FailToMake(const std::string& path, const char* next) {
    cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot make {1}", path), cli::SayError(errno),
               next);
}

std::string TemporaryParent() {
    const char* const chosen = std::getenv("TMPDIR");
    return chosen == nullptr || *chosen == '\0' ? "/tmp" : chosen;
}

// What with-softkey's mounts stood on nobody may read, nor remove what nobody may read.
void MakeReadable(const fs::path& folder) {
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        if (fs::is_directory(entry.symlink_status(ignored))) {
            fs::permissions(entry.path(), fs::perms::owner_all, fs::perm_options::add, ignored);
            MakeReadable(entry.path());
        }
    }
}

// The mark stays where anything does, so that the next can try again.
void Remove(const fs::path& folder) {
    std::error_code ignored;
    MakeReadable(folder);
    bool is_empty = true;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, ignored)) {
        if (entry.path().filename() != kMark) {
            std::error_code error;
            fs::remove_all(entry.path(), error);
            is_empty = is_empty && !error;
        }
    }
    if (is_empty) {
        fs::remove_all(folder, ignored);
    }
}

bool IsOwnFolder(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode) &&
           status.st_uid == geteuid();
}

void RemoveIfAbandoned(const std::string& folder) {
    if (!IsOwnFolder(folder)) {
        return;
    }
    const int mark = open((folder + "/" + kMark).c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (mark < 0) {
        return;
    }
    if (flock(mark, LOCK_EX | LOCK_NB) == 0) {
        Remove(folder);
    }
    close(mark);
}

void RemoveAbandoned(const std::string& parent) {
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(parent, error)) {
        if (entry.path().filename().string().rfind(kName, 0) == 0) {
            RemoveIfAbandoned(entry.path().string());
        }
    }
}

// A folder that is kept must hold nothing of a former run.
std::string MakeGiven(const std::string& name) {
    std::string path = fs::absolute(name).lexically_normal().string();
    if (mkdir(path.c_str(), S_IRWXU) != 0) {
        FailToMake(path, "Name a folder that is not there yet");
    }
    return path;
}

}  // namespace

WorldFolder::WorldFolder(const std::string& to_keep) {
    if (!to_keep.empty()) {
        path_ = MakeGiven(to_keep);
        return;
    }
    const std::string parent = TemporaryParent();
    RemoveAbandoned(parent);
    // Whoever clears folders may have taken a new one for abandoned before it was locked.
    struct stat mark {};
    do {
        MakeTemporary(parent);
        fstat(lock_, &mark);
    } while (mark.st_nlink == 0);
}

void WorldFolder::MakeTemporary(const std::string& parent) {
    if (lock_ >= 0) {
        close(lock_);
    }
    path_ = parent + "/" + kName + kRandom;
    const char* const next = "Name a folder of your own in TMPDIR, or with --keep";
    if (mkdtemp(path_.data()) == nullptr) {
        FailToMake(path_, next);
    }
    lock_ = open((path_ + "/" + kMark).c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (lock_ < 0) {
        const int reason = errno;
        rmdir(path_.c_str());
        errno = reason;
        FailToMake(path_, next);
    }
    flock(lock_, LOCK_EX);
}

WorldFolder::~WorldFolder() {
    if (lock_ >= 0) {
        Remove(path_);
        close(lock_);
    }
}

}  // namespace softkey::tools
