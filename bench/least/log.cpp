// The diagnostic log: what a record cannot do without is the file's size, the opened file, the
// written bytes and the closed file.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <memory>

#include "least/calls.h"

namespace least {
namespace {

constexpr const char* kFile = "/tmp/limit.log";
constexpr off_t kSizeLimit = 104857600;

// Both digits of each byte at once: twice as fast as a table of single digits.
struct DigitPairs {
    char of[256][2];
};
constexpr DigitPairs MakeDigitPairs() {
    constexpr char kDigits[] = "0123456789ABCDEF";
    DigitPairs pairs = {};
    for (size_t byte = 0; byte < 256; ++byte) {
        pairs.of[byte][0] = kDigits[byte >> 4];
        pairs.of[byte][1] = kDigits[byte & 15];
    }
    return pairs;
}
constexpr DigitPairs kDigitPairs = MakeDigitPairs();

constexpr char kTail[] = "]\r\n";

}  // namespace

bool WriteRecord(const char* record, size_t size) {
    struct stat status = {};
    if (stat(kFile, &status) == 0 && status.st_size > kSizeLimit) {
        unlink(kFile);
    }
    const int file = open(kFile, O_WRONLY | O_CREAT | O_APPEND, 0666);
    const bool written = write(file, record, size) == static_cast<ssize_t>(size);
    close(file);
    return written;
}

bool WriteHexRecord(const char* head, const void* data, size_t size) {
    const size_t head_size = std::strlen(head);
    const std::unique_ptr<char[]> record(new char[head_size + 2 * size + sizeof(kTail)]);
    char* end = record.get();
    std::memcpy(end, head, head_size);
    end += head_size;
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (size_t i = 0; i < size; ++i) {
        std::memcpy(end, kDigitPairs.of[bytes[i]], 2);
        end += 2;
    }
    std::memcpy(end, kTail, sizeof(kTail));
    return WriteRecord(record.get(), static_cast<size_t>(end - record.get()) + sizeof(kTail) - 1);
}

}  // namespace least
