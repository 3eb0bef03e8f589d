#include "store/last_look.h"

#include <sys/stat.h>

#include <cerrno>

#include "base/draft_file.h"

namespace softkey {
namespace {

constexpr int64_t kUnknown = -1;

bool Same(const timespec& a, const timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

}  // namespace

FileStamp FileStamp::Of(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        FailWithFile(errno, path);
    }
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
}

bool FileStamp::operator==(const FileStamp& other) const {
    return device == other.device && number == other.number && size == other.size &&
           Same(written, other.written) && Same(changed, other.changed);
}

Witness::Witness(Database database, const FileStamp& stamp) : stamp_(stamp) {
    sqlite3_stmt* question = nullptr;
    if (sqlite3_prepare_v2(database.Handle(), "PRAGMA data_version", -1, &question, nullptr) !=
        SQLITE_OK) {
        database.Fail();
    }
    question_.reset(question);
    // Still within the transaction in which the file was read.
    version_ = Version();
    database.Execute("COMMIT");
    // While somebody writes, the file has changed: there is nothing to wait for.
    sqlite3_busy_timeout(database.Handle(), 0);
    connection_ = std::move(database).Release();
}

bool Witness::Vouches(const FileStamp& stamp) const {
    return stamp == stamp_ && version_ != kUnknown && Version() == version_;
}

int64_t Witness::Version() const {
    const bool told = sqlite3_step(question_.get()) == SQLITE_ROW;
    const int64_t version = told ? sqlite3_column_int64(question_.get(), 0) : kUnknown;
    sqlite3_reset(question_.get());
    return version;
}

}  // namespace softkey
