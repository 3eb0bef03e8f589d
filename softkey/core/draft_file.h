#ifndef SOFTKEY_CORE_DRAFT_FILE_H
#define SOFTKEY_CORE_DRAFT_FILE_H

#include <string>

#include "core/error.h"

namespace softkey {

// The code for a failed system call on one of our files.
Code CodeOfFileError(int number);
[[noreturn]] void FailWithFile(int number, const std::string& path);

// Makes what happened in a folder durable.
void SyncFolder(const std::string& path);

// An empty file beside its later place that only its owner can read; removed again unless it was
// published. What is written to it must be on the disk before that.
class DraftFile {
 public:
    explicit DraftFile(const std::string& final_path);
    ~DraftFile();
    DraftFile(const DraftFile&) = delete;
    DraftFile& operator=(const DraftFile&) = delete;

    const std::string& Path() const { return path_; }

    // Gives the file its name in one step. Throws kSerialTaken when something has that name.
    void Publish();

 private:
    std::string final_path_;
    std::string path_;
};

}  // namespace softkey

#endif
