#include "pin/pin_source.h"

#include <fcntl.h>
#include <openssl/crypto.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "base/error.h"
#include "cli/words.h"

namespace softkey {
namespace {

constexpr size_t kLongestLine = 256;

class File {
 public:
    explicit File(const std::string& path)
        : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)) {
        if (descriptor_ >= 0) {
            return;
        }
        throw Error(Code::kPinSourceUnreadable, cli::Say("{1}: {2}", path, cli::SayError(errno)));
    }
    ~File() { close(descriptor_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    int Descriptor() const { return descriptor_; }

 private:
    int descriptor_;
};

struct stat StatusOf(int descriptor) {
    struct stat status;
    if (fstat(descriptor, &status) == 0) {
        return status;
    }
    throw Error(Code::kPinSourceUnreadable,
                cli::Say("descriptor {1}: {2}", descriptor, cli::SayError(errno)));
}

// Looked at through the open descriptor: what is checked is what is read.
void CheckAccess(const struct stat& status, const std::string& name) {
    const bool ours = status.st_uid == geteuid();
    const bool shared = (status.st_mode & (S_IRWXG | S_IRWXO)) != 0;
    if (ours && !shared) {
        return;
    }
    throw Error(Code::kPinSourceRefused, ours ? cli::Say("{1} is accessible to others", name)
                                              : cli::Say("{1} belongs to another user", name));
}

void CheckOpened(const File& file, const std::string& path) {
    const struct stat status = StatusOf(file.Descriptor());
    CheckAccess(status, path);
    Require(S_ISREG(status.st_mode), Code::kPinSourceRefused, "a PIN file is a regular file");
}

// Byte by byte: what follows the line belongs to the next reader of a pipe. The file offset, which
// other processes may share, is left alone.
SecretBytes ReadLine(int descriptor, bool is_file, off_t* offset) {
    SecretBytes line;
    unsigned char byte = 0;
    while (line.size() <= kLongestLine) {
        const ssize_t count =
            is_file ? pread(descriptor, &byte, 1, *offset) : read(descriptor, &byte, 1);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            throw Error(Code::kPinSourceUnreadable, cli::SayError(errno));
        }
        ++*offset;
        if (count == 0 || byte == '\n') {
            break;
        }
        line.push_back(byte);
    }
    OPENSSL_cleanse(&byte, sizeof byte);
    if (!line.empty() && line.back() == '\r') {
        line.pop_back();
    }
    return line;
}

SecretBytes ReadNumberedLine(int descriptor, const std::string& name, int number) {
    const struct stat status = StatusOf(descriptor);
    CheckAccess(status, name);
    const bool is_file = S_ISREG(status.st_mode);
    off_t offset = 0;
    SecretBytes line;
    for (int i = 0; i <= (is_file ? number : 0); ++i) {
        line = ReadLine(descriptor, is_file, &offset);
    }
    Require(!line.empty(), number == 0 ? Code::kPinSourceUnreadable : Code::kNewPinMissing,
            "the unattended PIN source has no such line");
    return line;
}

}  // namespace

void CheckPinFile(const std::string& path) {
    CheckOpened(File(path), path);
}

SecretBytes ReadPinFile(const std::string& path) {
    const File file(path);
    CheckOpened(file, path);
    return ReadNumberedLine(file.Descriptor(), path, 0);
}

SecretBytes ReadPinLine(const PinSource& source, int line) {
    if (source.descriptor) {
        return ReadNumberedLine(*source.descriptor, cli::Say("descriptor {1}", *source.descriptor),
                                line);
    }
    Require(source.file.has_value(), Code::kFail, "no unattended PIN source");
    const File file(*source.file);
    Require(S_ISREG(StatusOf(file.Descriptor()).st_mode), Code::kPinSourceRefused,
            "a PIN file is a regular file");
    return ReadNumberedLine(file.Descriptor(), *source.file, line);
}

}  // namespace softkey
