#ifndef SOFTKEY_BASE_FILE_LOCK_H
#define SOFTKEY_BASE_FILE_LOCK_H

#include <string>

namespace softkey {

// Held by one process (and one thread) at a time; the system takes it from a process that dies.
// Throws kStoreBusy when another keeps it for too long.
class FileLock {
 public:
    explicit FileLock(const std::string& path);
    ~FileLock();
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;

 private:
    int file_;
};

}  // namespace softkey

#endif
