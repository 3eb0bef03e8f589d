#ifndef SOFTKEY_BASE_DRAFT_FILE_H
#define SOFTKEY_BASE_DRAFT_FILE_H

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "base/secret.h"

namespace softkey {

// The code for a failed system call on one of our files.
Code CodeOfFileError(int number);
[[noreturn]] void FailWithFile(int number, const std::string& path);

// Makes what happened in a folder durable.
void SyncFolder(const std::string& path);

// A file beside its later place that only its owner can read. It gets its name when it is complete,
// so that nobody ever sees a part of it. Gone again unless it was given its name; one whose maker
// was killed is cleared by RemoveAbandonedDrafts.
class DraftFile {
 public:
    explicit DraftFile(const std::string& final_path);
    ~DraftFile();
    DraftFile(const DraftFile&) = delete;
    DraftFile& operator=(const DraftFile&) = delete;

    // Once. The bytes are on the disk when it returns; with Sync::kLater when they are published
    // with others.
    enum class Sync { kNow, kLater };
    void Write(const Bytes& bytes, Sync sync = Sync::kNow);

    // Each gives the file its name in one step. Publish throws kSerialTaken when something has that
    // name; Replace takes its place.
    void Publish();
    void Replace();

    // Publishes files of one folder, all of them or, where one fails, none, which costs little more
    // than publishing one. Until it returns a sudden end of the machine may leave any of them out.
    static void PublishAll(const std::vector<std::unique_ptr<DraftFile>>& drafts);

 private:
    void Make();
    void SyncBytes() const;
    void Link() const;

    std::string final_path_;
    std::string path_;
    int file_ = -1;  // locked while the maker lives
};

// Removes from a folder the drafts of files whose names begin with `name` and whose makers are
// gone.
void RemoveAbandonedDrafts(const std::string& folder, std::string_view name);

}  // namespace softkey

#endif
