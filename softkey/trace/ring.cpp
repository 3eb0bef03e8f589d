#include "trace/ring.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <ctime>
#include <string_view>
#include <thread>
#include <utility>

#include "base/draft_file.h"
#include "calls/masking.h"
#include "store/home.h"

// A place is written under the file's lock and has a check of its own: what a killed process wrote
// in part is no call, and everybody else goes on. A call is counted only when it stands in its
// place. Nothing is mapped: a file that somebody cuts must not kill a client. Whether somebody
// listens is a lock on a file of its own, since a network's file system may make one kind of lock
// of this and of the writers'.
namespace softkey {
namespace {

constexpr char kMagic[16] = "orval trace 1\n";  // no message
constexpr off_t kFirstPlace = 4096;
constexpr std::chrono::milliseconds kLongestWait{250};
constexpr std::chrono::microseconds kPause{50};
// So far back a run of the same is looked for.
constexpr uint64_t kFewCalls = 64;

// In front of a place's text.
struct PlaceHead {
    uint64_t number;
    int32_t process;
    int32_t thread;
    TracedLine::State state;
    uint32_t length;
    uint64_t check;
};

constexpr size_t kLargestText = Ring::kPlaceSize - sizeof(PlaceHead);

off_t OffsetOf(uint64_t number) {
    return kFirstPlace + static_cast<off_t>((number - 1) % Ring::kPlaces * Ring::kPlaceSize);
}

// FNV-1a, of a place whose check is zero.
uint64_t Checksum(std::string_view place) {
    uint64_t sum = 0xCBF29CE484222325;
    for (const char byte : place) {
        sum = (sum ^ static_cast<unsigned char>(byte)) * 0x100000001B3;
    }
    return sum;
}

void SetCheck(std::string& place, uint64_t check) {
    std::memcpy(place.data() + offsetof(PlaceHead, check), &check, sizeof check);
}

bool ReadAt(int file, off_t offset, void* bytes, size_t count) {
    return pread(file, bytes, count, offset) == static_cast<ssize_t>(count);
}

void WriteAt(int file, off_t offset, const void* bytes, size_t count) {
    const ssize_t written = pwrite(file, bytes, count, offset);
    if (written != static_cast<ssize_t>(count)) {
        FailWithFile(written < 0 ? errno : ENOSPC, TracePath());
    }
}

bool IsSound(const Ring::Head& head) {
    return std::memcmp(head.magic, kMagic, sizeof kMagic) == 0 && head.places == Ring::kPlaces &&
           head.place_size == Ring::kPlaceSize;
}

void Write(int file, const TracedLine& line) {
    Require(line.text.size() <= kLargestText, Code::kDataLength);
    const PlaceHead head{line.number,
                         line.process,
                         line.thread,
                         line.state,
                         static_cast<uint32_t>(line.text.size()),
                         0};
    std::string bytes(reinterpret_cast<const char*>(&head), sizeof head);
    bytes += line.text;
    SetCheck(bytes, Checksum(bytes));
    WriteAt(file, OffsetOf(line.number), bytes.data(), bytes.size());
}

// Of the open file, not of the process: nothing else that this process does with the file loses it.
struct flock ListenersLock() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

// Who only asks takes no lock, and is in nobody's way. What cannot be asked is believed to be so.
bool SomebodyListens() {
    const int file = open(TraceListenerPath().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW);
    if (file < 0) {
        return errno != ENOENT;
    }
    struct flock lock = ListenersLock();
    const bool is_known = fcntl(file, F_OFD_GETLK, &lock) == 0;
    close(file);
    return !is_known || lock.l_type != F_UNLCK;
}

}  // namespace

int64_t NowUs() {
    constexpr int64_t kMicrosecondsInASecond = 1000000;
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kMicrosecondsInASecond + now.tv_nsec / 1000;
}

void Ring::MakeAnew(Lasts lasts) {
    EnsureHome();
    Head head{};
    std::memcpy(head.magic, kMagic, sizeof kMagic);
    head.places = kPlaces;
    head.place_size = kPlaceSize;
    head.started_us = NowUs();
    head.started = std::time(nullptr);
    head.lasts = static_cast<uint64_t>(lasts);
    const std::string salt = calls::NewSalt();
    std::memcpy(head.salt, salt.data(), kSaltRoom);
    Bytes bytes(static_cast<size_t>(kFirstPlace));
    std::memcpy(bytes.data(), &head, sizeof head);
    DraftFile draft(TracePath());
    draft.Write(bytes);
    draft.Replace();
    // The clock by which clients believe is late by a tick, of ten milliseconds at most.
    std::this_thread::sleep_for(3 * kBelieved);
}

void Ring::Remove() {
    if (HomeExists() && unlink(TracePath().c_str()) != 0 && errno != ENOENT) {
        FailWithFile(errno, TracePath());
    }
}

std::optional<Ring> Ring::Open(For use) {
    const std::string path = TracePath();
    // Not waiting: something else than a file may have the name.
    const int file = open(path.c_str(), (use == For::kWriting ? O_RDWR : O_RDONLY) | O_CLOEXEC |
                                            O_NOFOLLOW | O_NONBLOCK);
    if (file < 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        const int reason = errno;
        if (Exists(path)) {
            Private(path);
        }
        FailWithFile(reason, path);
    }
    Ring ring(file);
    Private(path);
    Require(ReadAt(file, 0, &ring.head_, sizeof ring.head_) && IsSound(ring.head_),
            Code::kStoreDamaged, "it is no trace");
    if (static_cast<Lasts>(ring.head_.lasts) == Lasts::kWithItsListener && !SomebodyListens()) {
        return std::nullopt;
    }
    return ring;
}

Ring::~Ring() {
    if (file_ >= 0) {
        close(file_);
    }
}

Ring::Ring(Ring&& other) noexcept : file_(std::exchange(other.file_, -1)), head_(other.head_) {}

uint64_t Ring::Count() const {
    Head head{};
    Require(ReadAt(file_, 0, &head, sizeof head) && IsSound(head), Code::kStoreDamaged,
            "it is no trace");
    return head.next;
}

std::optional<TracedLine> Ring::At(uint64_t number) const {
    // A place may be read while it is written; one that stays so was left by a killed client.
    constexpr int kAttempts = 5;
    std::string bytes(kPlaceSize, '\0');
    for (int i = 0; i < kAttempts; ++i) {
        const ssize_t length = pread(file_, bytes.data(), bytes.size(), OffsetOf(number));
        PlaceHead head{};
        if (length < static_cast<ssize_t>(sizeof head)) {
            return std::nullopt;
        }
        std::memcpy(&head, bytes.data(), sizeof head);
        if (head.number != number) {
            return std::nullopt;
        }
        SetCheck(bytes, 0);
        const bool fits = head.length <= static_cast<size_t>(length) - sizeof head;
        const std::string_view place(bytes.data(), fits ? sizeof head + head.length : 0);
        if (fits && head.check == Checksum(place)) {
            return TracedLine{head.number, head.process, head.thread, head.state,
                              std::string(place.substr(sizeof head))};
        }
        std::this_thread::sleep_for(kPause);
    }
    return std::nullopt;
}

std::optional<RingListener> RingListener::Become() {
    EnsureHome();
    const std::string path = TraceListenerPath();
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (file < 0) {
        FailWithFile(errno, path);
    }
    RingListener listener(file);
    struct flock lock = ListenersLock();
    if (fcntl(file, F_OFD_SETLK, &lock) != 0) {
        return std::nullopt;
    }
    return listener;
}

RingListener::~RingListener() {
    if (file_ >= 0) {
        close(file_);
    }
}

RingListener::RingListener(RingListener&& other) noexcept : file_(std::exchange(other.file_, -1)) {}

RingTurn::RingTurn(const Ring& ring) : ring_(ring) {
    const auto end = std::chrono::steady_clock::now() + kLongestWait;
    while (flock(ring.file_, LOCK_EX | LOCK_NB) != 0) {
        if (std::chrono::steady_clock::now() >= end) {
            throw Error(Code::kStoreBusy, "another program keeps the trace");
        }
        std::this_thread::sleep_for(kPause);
    }
}

RingTurn::~RingTurn() {
    // Said, not left to close: a child forked meanwhile has the file open too.
    flock(ring_.file_, LOCK_UN);
}

uint64_t RingTurn::Append(TracedLine line) {
    const uint64_t next = ring_.Count() + 1;
    line.number = next;
    Write(ring_.file_, line);
    WriteAt(ring_.file_, offsetof(Ring::Head, next), &next, sizeof next);
    return next;
}

void RingTurn::Replace(const TracedLine& line) {
    uint64_t there = 0;
    if (ReadAt(ring_.file_, OffsetOf(line.number), &there, sizeof there) && there == line.number) {
        Write(ring_.file_, line);
    }
}

bool RingTurn::IsLatest(const TracedLine& line) const {
    const uint64_t count = ring_.Count();
    if (line.number == 0 || line.number > count || count - line.number > kFewCalls) {
        return false;
    }
    for (uint64_t number = line.number; number <= count; ++number) {
        PlaceHead head{};
        const bool is_there = ReadAt(ring_.file_, OffsetOf(number), &head, sizeof head);
        const bool is_ours = is_there && head.process == line.process && head.thread == line.thread;
        if (is_ours != (number == line.number)) {
            return false;
        }
    }
    return true;
}

}  // namespace softkey
