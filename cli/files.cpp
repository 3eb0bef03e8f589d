#include "cli/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "cli/failure.h"
#include "cli/words.h"

namespace cli {
namespace {

constexpr const char* kStandardInput = "-";
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;
constexpr mode_t kEveryone = kOwnerOnly | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

class File {
 public:
    explicit File(int descriptor) : descriptor_(descriptor) {}
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File() {
        if (descriptor_ > STDERR_FILENO) {
            close(descriptor_);
        }
    }
    int Descriptor() const { return descriptor_; }

 private:
    int descriptor_;
};

// what: with {1} in the file's place.
[[noreturn]] void ThrowFile(const char* what, const std::string& path) {
    const int error = errno;
    const bool is_stream = path == kStandardInput;
    const std::string told = is_stream ? Say(what, "standard input") : Say(what, path);
    if (is_stream && error == EBADF) {
        Throw(ExitStatus::kFile, told, "it is closed", "let it come from a file or a pipe");
    }
    Throw(ExitStatus::kFile, told, SayError(error),
          "check the path, the permissions and the free space");
}

// False where that cannot be done, for the reason in errno.
bool WriteAll(int descriptor, std::string_view contents) {
    while (!contents.empty()) {
        const ssize_t count = write(descriptor, contents.data(), contents.size());
        if (count < 0 && errno != EINTR) {
            return false;
        }
        contents.remove_prefix(count > 0 ? static_cast<size_t>(count) : 0);
    }
    return true;
}

// Some file systems cannot rename without replacing: there another file is looked for beforehand.
bool RenameToNew(const std::string& from, const std::string& to) {
    if (renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0) {
        return true;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return false;
    }
    if (faccessat(AT_FDCWD, to.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return false;
    }
    return rename(from.c_str(), to.c_str()) == 0;
}

}  // namespace

std::string ReadInput(const std::string& path) {
    constexpr const char* kWhat = "cannot read {1}";
    const File file(path == kStandardInput ? STDIN_FILENO
                                           : open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (file.Descriptor() < 0) {
        ThrowFile(kWhat, path);
    }
    std::string contents;
    char chunk[65536];
    for (;;) {
        const ssize_t count = read(file.Descriptor(), chunk, sizeof chunk);
        if (count == 0) {
            return contents;
        }
        if (count < 0 && errno != EINTR) {
            ThrowFile(kWhat, path);
        }
        contents.append(chunk, count > 0 ? static_cast<size_t>(count) : 0);
    }
}

void WriteOutput(const std::string& path, std::string_view contents, Readers readers) {
    constexpr const char* kWhat = "cannot write {1}";
    const mode_t mode = readers == Readers::kOwner ? kOwnerOnly : kEveryone;
    const File file(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
    if (file.Descriptor() < 0) {
        ThrowFile(kWhat, path);
    }
    if (!WriteAll(file.Descriptor(), contents) || !IsKept(file.Descriptor())) {
        ThrowFile(kWhat, path);
    }
}

bool IsKept(int descriptor) {
    for (;;) {
        const int copy = dup(descriptor);
        if (copy < 0 || close(copy) == 0) {
            return copy >= 0;
        }
        if (errno != EINTR) {
            return false;
        }
    }
}

void CreateOutput(const std::string& path, std::string_view contents) {
    constexpr const char* kWhat = "cannot make {1}";
    std::string temporary = path + ".XXXXXX";
    const File file(mkostemp(temporary.data(), O_CLOEXEC));
    if (file.Descriptor() < 0) {
        ThrowFile(kWhat, path);
    }
    if (!WriteAll(file.Descriptor(), contents) || fsync(file.Descriptor()) != 0 ||
        !RenameToNew(temporary, path)) {
        const int reason = errno;
        unlink(temporary.c_str());
        errno = reason;
        ThrowFile(kWhat, path);
    }
}

}  // namespace cli
