#include "bundle/log_tail.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "logs/reader.h"
#include "logs/scrub.h"

namespace bundle {
namespace {

constexpr uint64_t kTail = 1U << 20U;
constexpr size_t kLastCalls = 40;

class File {
 public:
    // Neither waits for a writer of a pipe nor follows a link that somebody else may have laid.
    explicit File(const std::string& path)
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW)) {}
    ~File() {
        if (descriptor_ >= 0) {
            close(descriptor_);
        }
    }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int Descriptor() const { return descriptor_; }

 private:
    int descriptor_;
};

// Everything from the offset on; what cannot be read is left out.
std::string ReadFrom(int descriptor, uint64_t offset) {
    std::string bytes(kTail, '\0');
    size_t size = 0;
    while (size < bytes.size()) {
        const ssize_t count = pread(descriptor, bytes.data() + size, bytes.size() - size,
                                    static_cast<off_t>(offset + size));
        if (count == 0 || (count < 0 && errno != EINTR)) {
            break;
        }
        size += count > 0 ? static_cast<size_t>(count) : 0;
    }
    bytes.resize(size);
    return bytes;
}

// Behind the first line end that a header may follow; what is in front is the rest of a record.
std::string FromARecordOn(const std::string& bytes) {
    const size_t at = bytes.find("\r\n[");
    return at == std::string::npos ? bytes : bytes.substr(at + 2);
}

class Learner final : public logs::Receiver {
 public:
    explicit Learner(logs::Dates& dates) : dates_(dates) {}
    void Take(const logs::Record& record) override { dates_.Learn(record); }
    void TakeDamage(uint64_t /*offset*/, std::string_view /*bytes*/) override {}

 private:
    logs::Dates& dates_;
};

class Teller final : public logs::Receiver {
 public:
    Teller(LogTail& tail, logs::Dates& dates)
        : tail_(tail),
          dates_(dates),
          joiner_(masks_, [this](const logs::Call& call) { Keep(call); }) {}
    void Take(const logs::Record& record) override { joiner_.Take(record, dates_.Of(record)); }
    void TakeDamage(uint64_t /*offset*/, std::string_view bytes) override {
        tail_.summary.TakeDamage(bytes.size());
    }
    void Finish() { joiner_.Finish(); }

 private:
    void Keep(const logs::Call& call) {
        tail_.summary.Take(call);
        if (call.HasFailed()) {
            logs::Moment& last = tail_.failed_last[{call.function, call.code}];
            last = std::max(last, call.last);
        }
        tail_.last.push_back(call);
        if (tail_.last.size() > kLastCalls) {
            tail_.last.pop_front();
        }
    }

    LogTail& tail_;
    logs::Dates& dates_;
    logs::Masks masks_{logs::Secrets::kMasked};
    logs::Joiner joiner_;
};

void Read(const std::string& text, logs::Receiver& receiver) {
    logs::Reader reader(receiver);
    reader.Feed(text);
    reader.Finish();
}

void Tell(LogTail& tail, std::time_t written) {
    logs::Dates dates;
    Learner learner(dates);
    Read(tail.text, learner);
    dates.Settle(written);
    Teller teller(tail, dates);
    Read(tail.text, teller);
    teller.Finish();
}

}  // namespace

LogTail ReadLogTail(const std::string& path, logs::Masks& masks) {
    LogTail tail;
    const File file(path);
    struct stat status {};
    if (file.Descriptor() < 0 || fstat(file.Descriptor(), &status) != 0) {
        tail.problem = errno == ELOOP ? "it is a symbolic link" : std::strerror(errno);
        return tail;
    }
    if (!S_ISREG(status.st_mode)) {
        tail.problem = "it is no regular file";
        return tail;
    }
    tail.size = static_cast<uint64_t>(status.st_size);
    const uint64_t skipped = tail.size > kTail ? tail.size - kTail : 0;
    const std::string bytes = ReadFrom(file.Descriptor(), skipped);
    tail.text = logs::Scrubbed(skipped > 0 ? FromARecordOn(bytes) : bytes, masks);
    Tell(tail, status.st_mtime);
    return tail;
}

}  // namespace bundle
