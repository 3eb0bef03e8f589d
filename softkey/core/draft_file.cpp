#include "core/draft_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace softkey {

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
    throw Error(CodeOfFileError(number), path + ": " + std::strerror(number));
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

DraftFile::DraftFile(const std::string& final_path)
    : final_path_(final_path), path_(final_path + ".new-" + std::to_string(getpid())) {
    unlink(path_.c_str());
    const int file = open(path_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (file < 0) {
        FailWithFile(errno, path_);
    }
    close(file);
}

DraftFile::~DraftFile() {
    unlink(path_.c_str());
}

void DraftFile::Publish() {
    // A hard link, unlike a rename, never replaces what is there already.
    if (link(path_.c_str(), final_path_.c_str()) != 0) {
        const int reason = errno;
        if (reason == EEXIST) {
            throw Error(Code::kSerialTaken, final_path_ + " exists");
        }
        FailWithFile(reason, final_path_);
    }
    const std::string folder = std::filesystem::path(final_path_).parent_path().string();
    SyncFolder(folder.empty() ? "." : folder);
}

}  // namespace softkey
