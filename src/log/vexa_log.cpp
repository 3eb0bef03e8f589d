#include "log/vexa_log.h"

#include <pthread.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "log/local_time.h"
#include "qrv/wipe.h"

namespace orval {
namespace {

constexpr const char* kPath = "/tmp/VexaPinpad_ORVAL.log";
// A larger file is deleted, not kept beside the new one.
constexpr off_t kSizeLimit = 104857600;

// Small texts and numbers. Printf's parsing would cost a record as much as one more system call.
class Line final {
 public:
    Line& Text(const char* text) {
        const size_t length = std::strlen(text);
        std::memcpy(characters_ + length_, text, length);
        length_ += length;
        return *this;
    }

    // In decimal, with zeros in front up to that many digits.
    Line& Number(int64_t number, int digits = 1) {
        if (number < 0) {
            characters_[length_++] = '-';
        }
        char reversed[20];
        int count = 0;
        auto rest = static_cast<uint64_t>(number < 0 ? -number : number);
        for (; rest != 0 || count < digits; rest /= 10) {
            reversed[count++] = static_cast<char>('0' + rest % 10);
        }
        std::reverse_copy(reversed, reversed + count, characters_ + length_);
        length_ += static_cast<size_t>(count);
        return *this;
    }

    std::string_view AsView() const { return {characters_, length_}; }

 private:
    // Five numbers and seven characters, or two and 31.
    char characters_[160];
    size_t length_ = 0;
};

// One record: the file is opened with it, and ended and closed with it. A file that cannot be
// opened has no record, and neither has a pipe. What passed through the record's buffer, which may
// be an enveloped key, is wiped: the log has it, a client's memory need not.
class Record final {
 public:
    Record() {
        struct stat status = {};
        if (stat(kPath, &status) == 0) {
            if (S_ISFIFO(status.st_mode)) {
                // Opening it would wait for a reader, and one that goes would end the process.
                return;
            }
            if (status.st_size > kSizeLimit) {
                std::remove(kPath);
            }
        }
        file_ = std::fopen(kPath, "a");
        if (file_ != nullptr) {
            // A buffer of the stream's own would be allocated, after a look at the file's state.
            std::setvbuf(file_, buffer_, _IOFBF, sizeof(buffer_));
        }
    }
    ~Record() {
        if (file_ != nullptr) {
            Write("]\r\n");
            std::fclose(file_);
            QRV::Wipe(buffer_, std::min(written_, sizeof(buffer_)));
        }
    }
    Record(const Record&) = delete;
    Record& operator=(const Record&) = delete;

    bool IsOpen() const { return file_ != nullptr; }

    void Write(std::string_view text) {
        written_ += std::fwrite(text.data(), 1, text.size(), file_);
    }

    void WriteFormatted(const char* format, va_list arguments) {
        // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the caller started it
        const int count = std::vfprintf(file_, format, arguments);
        // Nobody knows how far one came that failed.
        written_ += count < 0 ? sizeof(buffer_) : static_cast<size_t>(count);
    }

    // The fraction has at least three digits: a hex record passes microseconds and shows up to six.
    void WriteHeader(const char* name, const tm& local, long fraction) {
        Line time;
        time.Text("[").Number(local.tm_mday, 2).Text(",").Number(local.tm_hour, 2).Text(":");
        time.Number(local.tm_min, 2).Text(":").Number(local.tm_sec, 2).Text(".");
        Write(time.Number(fraction, 3).Text("] ").AsView());
        Write(name);
        // The low 32 bits of the thread's identifier, shown as a signed number.
        const auto thread = static_cast<int32_t>(static_cast<uint32_t>(pthread_self()));
        Line ids;
        ids.Text(": (Process is ").Number(getpid()).Text(", thread is ").Number(thread);
        Write(ids.Text(")\r\n\t[").AsView());
    }

 private:
    // What fits is one write, between those of other processes.
    char buffer_[16384];
    FILE* file_ = nullptr;
    size_t written_ = 0;
};

using Pair = std::array<char, 2>;

// The two digits of each byte.
constexpr std::array<Pair, 256> kHexDigits = [] {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::array<Pair, 256> pairs = {};
    for (size_t byte = 0; byte < pairs.size(); ++byte) {
        pairs[byte] = {kDigits[byte / 16], kDigits[byte % 16]};
    }
    return pairs;
}();

void WriteHex(Record& record, const unsigned char* bytes, size_t count) {
    std::array<Pair, 512> digits;
    while (count > 0) {
        const size_t some = std::min(count, digits.size());
        std::transform(bytes, bytes + some, digits.begin(),
                       [](unsigned char byte) { return kHexDigits[byte]; });
        record.Write({reinterpret_cast<const char*>(digits.data()), some * sizeof(Pair)});
        bytes += some;
        count -= some;
    }
}

}  // namespace

void LogEntry(const char* pszName, const char* pszFormat, ...) {
    Record record;
    if (!record.IsOpen()) {
        return;
    }
    const LocalTime now = LocalTimeNow();
    record.WriteHeader(pszName, now.parts, now.microseconds / 1000);
    va_list arguments;
    va_start(arguments, pszFormat);
    record.WriteFormatted(pszFormat, arguments);
    va_end(arguments);
}

void LogHex(const char* pszName, const void* pData, int32_t nLen) {
    Record record;
    if (!record.IsOpen()) {
        return;
    }
    const LocalTime now = LocalTimeNow();
    // Raw microseconds, where a text record shows milliseconds: tools that read the log tell the
    // two kinds apart by it.
    record.WriteHeader(pszName, now.parts, now.microseconds);
    if (nLen > 0) {
        WriteHex(record, static_cast<const unsigned char*>(pData), static_cast<size_t>(nLen));
    }
}

}  // namespace orval
