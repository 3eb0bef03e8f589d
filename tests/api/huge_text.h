#ifndef ORVAL_TESTS_API_HUGE_TEXT_H
#define ORVAL_TESTS_API_HUGE_TEXT_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>
#include <string>

namespace scripted {

constexpr size_t kOneGibibyte = size_t{1} << 30;

// A text of whole mebibytes that takes little memory: one mebibyte, mapped again and again.
class HugeText {
 public:
    explicit HugeText(size_t length) : size_(length + kPiece) {
        // The pages behind the last piece stay zero and end the text.
        text_ = static_cast<char*>(mmap(nullptr, size_, PROT_READ | PROT_WRITE,
                                        MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
        const int file = memfd_create("huge text", 0);
        const std::string piece(kPiece, 'h');
        Require(text_ != MAP_FAILED && file >= 0 &&
                write(file, piece.data(), kPiece) == static_cast<ssize_t>(kPiece));
        for (size_t at = 0; at < length; at += kPiece) {
            Require(mmap(text_ + at, kPiece, PROT_READ, MAP_SHARED | MAP_FIXED, file, 0) !=
                    MAP_FAILED);
        }
        close(file);
    }
    HugeText(const HugeText&) = delete;
    HugeText& operator=(const HugeText&) = delete;
    ~HugeText() { munmap(text_, size_); }

    const char* Text() const { return text_; }

 private:
    static constexpr size_t kPiece = size_t{1} << 20;

    static void Require(bool met) {
        if (!met) {
            throw std::runtime_error("no memory could be mapped for a huge text");
        }
    }

    size_t size_;
    char* text_ = nullptr;
};

}  // namespace scripted

#endif
