#ifndef ORVAL_TESTS_SUPPORT_HUGE_TEXT_H
#define ORVAL_TESTS_SUPPORT_HUGE_TEXT_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace scripted {

// Which would record every byte of such a text.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitizer = true;
#elif defined(__has_feature)
inline constexpr bool kThreadSanitizer = __has_feature(thread_sanitizer);
#else
inline constexpr bool kThreadSanitizer = false;
#endif

constexpr size_t kOneGibibyte = size_t{1} << 30;

// Memory of whole mebibytes that takes little: some of its mebibytes are the same one, mapped again
// and again and filled with 'h'. The others are zero.
class FoldedMemory {
 public:
    static constexpr size_t kPiece = size_t{1} << 20;

    // Folds `length` bytes, whole pieces, from `first` on.
    FoldedMemory(size_t size, size_t first, size_t length)
        : size_(size),
          start_(static_cast<char*>(mmap(nullptr, size, PROT_READ | PROT_WRITE,
                                         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))) {
        const int file = memfd_create("folded memory", 0);
        const std::string piece(kPiece, 'h');
        Require(start_ != MAP_FAILED && file >= 0 &&
                write(file, piece.data(), kPiece) == static_cast<ssize_t>(kPiece));
        for (size_t at = first; at < first + length; at += kPiece) {
            Require(mmap(start_ + at, kPiece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file,
                         0) != MAP_FAILED);
        }
        close(file);
    }
    FoldedMemory(const FoldedMemory&) = delete;
    FoldedMemory& operator=(const FoldedMemory&) = delete;
    ~FoldedMemory() { munmap(start_, size_); }

    char* Start() const { return start_; }

 private:
    static void Require(bool met) {
        if (!met) {
            throw std::runtime_error("no memory could be mapped for a huge text");
        }
    }

    size_t size_;
    char* start_;
};

// A text of whole mebibytes; the zeros behind them end it.
class HugeText {
 public:
    explicit HugeText(size_t length) : memory_(length + FoldedMemory::kPiece, 0, length) {}

    const char* Text() const { return memory_.Start(); }

 private:
    FoldedMemory memory_;
};

}  // namespace scripted

#endif
