#ifndef UKEYCTL_LOG_FILE_H
#define UKEYCTL_LOG_FILE_H

#include <sys/stat.h>

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>

// A log that is read from its beginning, more than once. What comes through a pipe is kept in
// memory for that.
class LogFile final {
 public:
    enum class Use { kReading, kMasking };

    // "-" is standard input. Throws a failure with status kFile, as all of it does.
    LogFile(const std::string& path, Use use);
    ~LogFile();
    LogFile(const LogFile&) = delete;
    LogFile& operator=(const LogFile&) = delete;

    uint64_t Size() const { return size_; }      // when it was opened
    time_t Written() const { return written_; }  // the same

    using Sink = std::function<void(std::string_view)>;
    // From where the last reading ended, up to `end` or to the end that there is now.
    void ReadTo(uint64_t end, const Sink& sink);
    void ReadAll(const Sink& sink) { ReadTo(UINT64_MAX, sink); }
    void Rewind() { at_ = 0; }

    // Puts other bytes in the place of those at the offset.
    void Replace(uint64_t offset, std::string_view bytes) const;

    // What was replaced is on the disk.
    void Sync() const;

    // What has become of it since: gone on, cut to less than was read, or replaced by another file.
    enum class Fate { kSame, kTruncated, kReplaced };
    Fate Look() const;

 private:
    void Spool();

    std::string path_;
    int descriptor_;
    uint64_t size_ = 0;
    time_t written_ = 0;
    uint64_t at_ = 0;
    std::string chunk_;
};

#endif
