// The diagnostic log, and /tmp, where it lies.

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "cli/words.h"
#include "doctor/checks.h"

namespace doctor {
namespace {

// A larger file is deleted by the product's next record.
constexpr off_t kSizeLimit = 104857600;
constexpr off_t kNearLimit = kSizeLimit / 10 * 9;

// What stands in front of an enveloped private key, and how many of its characters make one: what
// has been masked is shorter or is written otherwise.
constexpr std::string_view kMarks[] = {"[strPriKeyTemp:", "EncPriKey("};
constexpr size_t kLeastKeyText = 32;
static_assert(kMarks[0].size() > kMarks[1].size());

constexpr const char* kNoFile = "no file to look at";

constexpr uint64_t kLittleSpace = uint64_t{1024} * 1024;

bool IsKeyCharacter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/' || c == '=';
}

// Those that end behind the first `seen` characters.
int64_t CountKeyTexts(std::string_view text, size_t seen) {
    int64_t count = 0;
    for (const std::string_view mark : kMarks) {
        for (size_t at = text.find(mark); at != std::string_view::npos;
             at = text.find(mark, at + mark.size())) {
            const std::string_view key = text.substr(at + mark.size(), kLeastKeyText);
            const bool whole =
                key.size() == kLeastKeyText && std::all_of(key.begin(), key.end(), IsKeyCharacter);
            count += whole && at + mark.size() + kLeastKeyText > seen ? 1 : 0;
        }
    }
    return count;
}

class Descriptor {
 public:
    explicit Descriptor(int number) : number_(number) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number_ >= 0) {
            close(number_);
        }
    }
    int Number() const { return number_; }

 private:
    int number_;
};

// A piece at a time; what a piece cuts is looked at with the next one.
void ReadKeyTexts(LogFacts& log) {
    constexpr size_t kPiece = size_t{1024} * 1024;
    constexpr size_t kMostCut = kMarks[0].size() + kLeastKeyText - 1;
    const Descriptor file(
        open(log.path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW));
    if (file.Number() < 0) {
        log.unread = cli::SayError(errno);
        return;
    }
    std::string piece;
    std::string fresh(kPiece, '\0');
    ssize_t count = 0;
    while ((count = read(file.Number(), fresh.data(), fresh.size())) > 0) {
        const std::string cut = piece.substr(piece.size() - std::min(piece.size(), kMostCut));
        piece = cut + fresh.substr(0, static_cast<size_t>(count));
        log.key_texts += CountKeyTexts(piece, cut.size());
    }
}

// As the product opens it. The kernel may refuse another user's file in a shared folder only to who
// would make it if it were not there (fs.protected_regular). A file that goes at this moment is
// made anew, and empty.
int RefusalOf(const std::string& path) {
    const Descriptor file(open(path.c_str(),
                               O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY,
                               S_IRUSR | S_IWUSR));
    return file.Number() < 0 ? errno : 0;
}

std::string Megabytes(off_t size) {
    return std::to_string(size / 1000000) + " MB";
}

// Deleting it is the owner's or root's, in a folder that all share.
std::string RemovalOf(const LogFacts& log) {
    return (log.status.st_uid == geteuid() ? "rm " : "sudo rm ") + log.path;
}

}  // namespace

LogFacts::LogFacts(std::string log_path) : path(std::move(log_path)) {
    exists = lstat(path.c_str(), &status) == 0;
    stat(path.c_str(), &target);
    if (!exists) {
        return;
    }
    std::error_code error;
    if (S_ISLNK(status.st_mode)) {
        link = std::filesystem::read_symlink(path, error).string();
    } else if (S_ISREG(status.st_mode)) {
        refusal = RefusalOf(path);
        ReadKeyTexts(*this);
    }
}

Finding LookAtLogFile(const LogFacts& log) {
    if (!log.exists) {
        return Well("none yet; the library's next call makes it");
    }
    if (S_ISLNK(log.status.st_mode) && log.TakesNoRecord()) {
        return Doubtful(
            cli::Say("{1} leads to {2}: there are no records", log.path, KindOf(log.target)),
            RemovalOf(log));
    }
    if (S_ISLNK(log.status.st_mode)) {
        return Doubtful(cli::Say("{1} is a link: the records land in {2}", log.path, log.link),
                        RemovalOf(log));
    }
    if (!S_ISREG(log.status.st_mode)) {
        return Doubtful(cli::Say("{1} is {2}: there are no records", log.path, KindOf(log.status)),
                        (S_ISDIR(log.status.st_mode) ? "sudo rm -r " : "sudo rm ") + log.path);
    }
    return Well(log.path);
}

Finding LookAtLogOwner(const LogFacts& log) {
    if (!log.IsFile()) {
        return Well(kNoFile);
    }
    const std::string owner = cli::Say("user {1}", log.status.st_uid);
    if (log.refusal != 0) {
        const bool ours = log.status.st_uid == geteuid();
        return Doubtful(cli::Say("calls of this user leave no record: the file belongs to {1}: {2}",
                                 owner, cli::SayError(log.refusal)),
                        ours ? "chmod u+w " + log.path : RemovalOf(log));
    }
    if ((log.status.st_mode & S_IWOTH) != 0) {
        return Doubtful("everybody may write into it: its records prove nothing",
                        "chmod go-w " + log.path);
    }
    return Well(cli::Say("belongs to {1}", owner));
}

Finding LookAtLogSize(const LogFacts& log) {
    if (!log.IsFile()) {
        return Well(kNoFile);
    }
    const off_t size = log.status.st_size;
    if (size > kNearLimit) {
        return Doubtful(size > kSizeLimit
                            ? cli::Say("{1}: the next record deletes it", Megabytes(size))
                            : cli::Say("{1}: past {2} the library deletes it", Megabytes(size),
                                       Megabytes(kSizeLimit)),
                        cli::Say("copy it away if it is still needed: cp {1} ~", log.path));
    }
    return Well(cli::Say("{1} bytes of {2}", size, kSizeLimit));
}

Finding LookAtLogSecrets(const LogFacts& log) {
    if (!log.IsFile()) {
        return Well(kNoFile);
    }
    if (!log.unread.empty()) {
        return Unknown(cli::Say("cannot be read: {1}", log.unread), "run this as the log's owner");
    }
    const bool open = (log.status.st_mode & (S_IRGRP | S_IROTH)) != 0;
    if (log.key_texts > 0 && !open) {
        return Well(
            cli::Say("its owner alone reads the {1} enveloped private keys in it", log.key_texts));
    }
    if (log.key_texts > 0) {
        return Doubtful(
            cli::Say("{1} enveloped private keys stand in it, and every user can read it",
                     log.key_texts),
            cli::Say("chmod go-r {1}; whoever gets a copy gets them with it", log.path));
    }
    return Well("no private key's text in it");
}

Finding LookAtTmp() {
    std::string name = "/tmp/ukeyctl-doctor-XXXXXX";
    const Descriptor file(mkostemp(name.data(), O_CLOEXEC));
    if (file.Number() < 0) {
        return errno == ENOSPC
                   ? Broken("/tmp is full: no file can be made",
                            "delete what is not needed in /tmp")
                   : Broken(cli::Say("/tmp cannot be written: {1}", cli::SayError(errno)),
                            "sudo chmod 1777 /tmp; if it is mounted read-only: "
                            "sudo mount -o remount,rw /tmp");
    }
    const std::string block(4096, ' ');
    const bool written =
        write(file.Number(), block.data(), block.size()) == static_cast<ssize_t>(block.size());
    unlink(name.c_str());
    struct statvfs space {};
    fstatvfs(file.Number(), &space);
    const uint64_t free = static_cast<uint64_t>(space.f_bavail) * space.f_frsize;
    if (!written) {
        return Broken("/tmp is full: the log loses records", "delete what is not needed in /tmp");
    }
    if (free < kLittleSpace) {
        return Doubtful(cli::Say("/tmp is nearly full: {1} KiB are free", free / 1024),
                        "delete what is not needed in /tmp");
    }
    return Well(cli::Say("can be written, {1} free", Megabytes(static_cast<off_t>(free))));
}

}  // namespace doctor
