#include "base/file_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

#include "base/draft_file.h"

namespace softkey {
namespace {

constexpr std::chrono::seconds kLongestWait{60};
constexpr std::chrono::milliseconds kPause{5};

}  // namespace

FileLock::FileLock(const std::string& path)
    : file_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600)) {
    if (file_ < 0) {
        FailWithFile(errno, path);
    }
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (flock(file_, LOCK_EX | LOCK_NB) != 0) {
        // A file system that cannot lock will not be able to in a minute either.
        if (errno != EWOULDBLOCK && errno != EINTR) {
            const int reason = errno;
            close(file_);
            FailWithFile(reason, path);
        }
        if (std::chrono::steady_clock::now() >= end) {
            close(file_);
            throw Error(Code::kStoreBusy, "another program keeps the key");
        }
        std::this_thread::sleep_for(kPause);
    }
}

FileLock::~FileLock() {
    // Said, not left to close: a child forked meanwhile has the file open too.
    flock(file_, LOCK_UN);
    close(file_);
}

}  // namespace softkey
