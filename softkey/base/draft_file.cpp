#include "base/draft_file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "cli/words.h"

namespace softkey {
namespace {

constexpr std::string_view kDraftMark = ".new-";
constexpr size_t kRandomCharacters = 6;

std::string FolderOf(const std::string& path) {
    const std::string folder = std::filesystem::path(path).parent_path().string();
    return folder.empty() ? "." : folder;
}

bool IsDraftName(std::string_view name) {
    const size_t tail = kDraftMark.size() + kRandomCharacters;
    return name.size() > tail && name.substr(name.size() - tail, kDraftMark.size()) == kDraftMark;
}

bool IsOwnFile(const struct stat& status) {
    return S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

// The system takes the lock from a maker that dies.
void RemoveIfAbandoned(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || !IsOwnFile(status)) {
        return;
    }
    // It has its final name already, under which SQLite may have it open in this process: closing
    // it here would take SQLite's locks away.
    if (status.st_nlink > 1) {
        unlink(path.c_str());
        return;
    }
    const int file = open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) {
        return;
    }
    if (flock(file, LOCK_EX | LOCK_NB) == 0) {
        unlink(path.c_str());
    }
    close(file);
}

}  // namespace

Code CodeOfFileError(int number) {
    if (number == ENOSPC || number == EDQUOT) {
        return Code::kStoreFull;
    }
    if (number == EROFS || number == EACCES || number == EPERM) {
        return Code::kStoreReadOnly;
    }
    return Code::kStoreUnreachable;
}

void FailWithFile(int number, const std::string& path) {
    throw Error(CodeOfFileError(number), cli::Say("{1}: {2}", path, cli::SayError(number)));
}

void SyncFolder(const std::string& path) {
    const int folder = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) {
        FailWithFile(errno, path);
    }
    const bool synced = fsync(folder) == 0;
    const int reason = errno;
    close(folder);
    if (!synced) {
        FailWithFile(reason, path);
    }
}

DraftFile::DraftFile(const std::string& final_path) : final_path_(final_path) {
    // Whoever clears drafts may have taken a new one for abandoned before it was locked.
    struct stat status {};
    do {
        Make();
        if (fstat(file_, &status) != 0) {
            const int reason = errno;
            unlink(path_.c_str());
            close(file_);
            FailWithFile(reason, path_);
        }
    } while (status.st_nlink == 0);
}

void DraftFile::Make() {
    if (file_ >= 0) {
        close(file_);
    }
    path_ = final_path_ + std::string(kDraftMark) + "XXXXXX";
    file_ = mkostemp(path_.data(), O_CLOEXEC);
    if (file_ < 0) {
        FailWithFile(errno, path_);
    }
    // Nobody waits here for long: who clears drafts tries the lock and lets it go.
    while (flock(file_, LOCK_EX) != 0 && errno == EINTR) {
    }
}

DraftFile::~DraftFile() {
    unlink(path_.c_str());
    close(file_);
}

void DraftFile::Write(const Bytes& bytes, Sync sync) {
    const unsigned char* next = bytes.data();
    const unsigned char* const end = next + bytes.size();
    while (next != end) {
        const ssize_t written = write(file_, next, static_cast<size_t>(end - next));
        if (written < 0 && errno != EINTR) {
            FailWithFile(errno, path_);
        }
        next += written > 0 ? written : 0;
    }
    if (sync == Sync::kNow) {
        SyncBytes();
    }
}

void DraftFile::SyncBytes() const {
    if (fsync(file_) != 0) {
        FailWithFile(errno, path_);
    }
}

void DraftFile::Link() const {
    // A hard link, unlike a rename, never replaces what is there already.
    if (link(path_.c_str(), final_path_.c_str()) != 0) {
        const int reason = errno;
        if (reason == EEXIST) {
            throw Error(Code::kSerialTaken, cli::Say("{1} exists", final_path_));
        }
        FailWithFile(reason, final_path_);
    }
}

void DraftFile::Publish() {
    Link();
    SyncFolder(FolderOf(final_path_));
}

void DraftFile::PublishAll(const std::vector<std::unique_ptr<DraftFile>>& drafts) {
    if (drafts.empty()) {
        return;
    }
    for (const auto& draft : drafts) {
        draft->SyncBytes();
    }
    size_t linked = 0;
    try {
        for (; linked < drafts.size(); ++linked) {
            drafts[linked]->Link();
        }
    } catch (...) {
        while (linked > 0) {
            unlink(drafts[--linked]->final_path_.c_str());
        }
        throw;
    }
    SyncFolder(FolderOf(drafts.front()->final_path_));
}

void DraftFile::Replace() {
    if (rename(path_.c_str(), final_path_.c_str()) != 0) {
        FailWithFile(errno, final_path_);
    }
    SyncFolder(FolderOf(final_path_));
}

void RemoveAbandonedDrafts(const std::string& folder, std::string_view name) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string file = entry.path().filename().string();
        if (file.compare(0, name.size(), name) == 0 && IsDraftName(file)) {
            RemoveIfAbandoned(entry.path().string());
        }
    }
}

}  // namespace softkey
