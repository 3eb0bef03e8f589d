#include "log_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "cli/failure.h"
#include "cli/files.h"
#include "cli/words.h"
#include "logs/record.h"

namespace {

// Large enough that the calls of the system cost nothing, small enough to stay near the processor.
constexpr size_t kChunk = 1U << 18U;
constexpr const char* kStandardInput = "-";

[[noreturn]] void ThrowUnreadable(const std::string& path, const std::string& why) {
    cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot read {1}", path), why,
               path == logs::kPath ? "the library writes this file with the first call that it "
                                     "logs; name another file where the log has been moved"
                                   : "check the path and the permissions");
}

// A link or a pipe in the place of the log is not what anybody meant.
int Open(const std::string& path, LogFile::Use use) {
    if (use == LogFile::Use::kMasking) {
        return open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
    }
    const int extra = path == logs::kPath ? O_NONBLOCK : 0;
    return open(path.c_str(), O_RDONLY | O_CLOEXEC | extra);
}

}  // namespace

LogFile::LogFile(const std::string& path, Use use)
    : path_(path), descriptor_(path == kStandardInput ? dup(STDIN_FILENO) : Open(path, use)) {
    struct stat status = {};
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) {
        ThrowUnreadable(path, cli::SayError(errno));
    }
    size_ = static_cast<uint64_t>(status.st_size);
    written_ = status.st_mtime;
    const bool must_be_a_file = use == Use::kMasking || path == logs::kPath;
    if (!S_ISREG(status.st_mode) && (must_be_a_file || S_ISDIR(status.st_mode))) {
        close(descriptor_);
        ThrowUnreadable(path, "it is no regular file");
    }
    chunk_.resize(kChunk);
    if (!S_ISREG(status.st_mode)) {
        Spool();
    }
}

LogFile::~LogFile() {
    close(descriptor_);
}

// A pipe has no time of modification, and cannot be read again.
void LogFile::Spool() {
    const int spool = memfd_create("log", MFD_CLOEXEC);
    size_ = 0;
    written_ = time(nullptr);
    for (ssize_t count = 0; (count = read(descriptor_, chunk_.data(), chunk_.size())) != 0;) {
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0 || write(spool, chunk_.data(), static_cast<size_t>(count)) != count) {
            ThrowUnreadable(path_ == kStandardInput ? cli::Say("standard input") : path_,
                            cli::SayError(errno));
        }
        size_ += static_cast<uint64_t>(count);
    }
    close(descriptor_);
    descriptor_ = spool;
}

void LogFile::ReadTo(uint64_t end, const Sink& sink) {
    while (at_ < end) {
        const size_t some = static_cast<size_t>(std::min<uint64_t>(chunk_.size(), end - at_));
        const ssize_t count = pread(descriptor_, chunk_.data(), some, static_cast<off_t>(at_));
        if (count == 0) {
            return;
        }
        if (count < 0 && errno != EINTR) {
            ThrowUnreadable(path_, cli::SayError(errno));
        }
        if (count > 0) {
            at_ += static_cast<uint64_t>(count);
            sink({chunk_.data(), static_cast<size_t>(count)});
        }
    }
}

void LogFile::Replace(uint64_t offset, std::string_view bytes) const {
    while (!bytes.empty()) {
        const ssize_t count =
            pwrite(descriptor_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno != EINTR) {
            cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot write {1}", path_),
                       cli::SayError(errno),
                       "what stands in front of the failure is masked; do it again once the reason "
                       "is gone");
        }
        const size_t some = count > 0 ? static_cast<size_t>(count) : 0;
        bytes.remove_prefix(some);
        offset += some;
    }
}

void LogFile::Sync() const {
    if (fsync(descriptor_) != 0) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot write {1}", path_),
                   cli::SayError(errno), "check the path, the permissions and the free space");
    }
}

LogFile::Fate LogFile::Look() const {
    struct stat here = {};
    struct stat there = {};
    fstat(descriptor_, &here);
    if (stat(path_.c_str(), &there) == 0 &&
        (there.st_ino != here.st_ino || there.st_dev != here.st_dev)) {
        return Fate::kReplaced;
    }
    return static_cast<uint64_t>(here.st_size) < at_ ? Fate::kTruncated : Fate::kSame;
}
