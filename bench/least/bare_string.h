#ifndef ORVAL_BENCH_LEAST_BARE_STRING_H
#define ORVAL_BENCH_LEAST_BARE_STRING_H

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "least/state.h"

namespace least {

// Where the blocks of all strings come from; behind the loader's table like the product's.
ORVAL_LEAST_EXPORT extern void* default_manager;

// The product's string with nothing left that its contract does not ask for: the header that the
// key maker's library reads, one reference-counted block, the capacities and growth steps that are
// stated, the C library's heap. No managers to call, no exceptions, and indices are believed.
class BareString final {
 public:
    BareString() : text_(Nil()) { ++Head()->references; }
    BareString(const char* text, size_t length) : text_(Block(length)) {
        std::memcpy(text_, text, length);
        SetLength(length);
    }
    explicit BareString(const char* text) : BareString(text, std::strlen(text)) {}
    BareString(const BareString& other)
        : text_(other.MayBeShared() ? other.text_ : Copied(other.text_, other.Length())) {
        ++Head()->references;
    }
    BareString(BareString&& other) noexcept : text_(other.text_) {
        other.text_ = Nil();
        ++other.Head()->references;
    }
    BareString& operator=(const BareString&) = delete;
    ~BareString() {
        if (--Head()->references <= 0 && Head()->manager == default_manager) {
            std::free(Head());
        }
    }

    const char* Text() const { return text_; }
    char* Writable() { return text_; }
    size_t Length() const { return static_cast<size_t>(Head()->length); }

    BareString Mid(size_t first, size_t count) const {
        return first == 0 && count == Length() ? *this : BareString(text_ + first, count);
    }

    // Of a string that shares its block with no other.
    void Append(const char* text, size_t length) {
        const size_t old = Length();
        if (old + length > static_cast<size_t>(Head()->capacity)) {
            Grow(old + length);
        }
        std::memcpy(text_ + old, text, length);
        SetLength(old + length);
    }

    // In place: what stands between two of them moves once.
    void RemoveAll(char unwanted) {
        char* const end = text_ + Length();
        char* target = static_cast<char*>(std::memchr(text_, unwanted, Length()));
        for (const char* source = target; source != nullptr;) {
            const char* const kept = source + 1;
            source = static_cast<const char*>(
                std::memchr(kept, unwanted, static_cast<size_t>(end - kept)));
            const auto count = static_cast<size_t>((source == nullptr ? end : source) - kept);
            std::memmove(target, kept, count);
            target += count;
        }
        if (target != nullptr) {
            SetLength(static_cast<size_t>(target - text_));
        }
    }

 private:
    struct Header {
        void* manager;
        int32_t length;
        int32_t capacity;
        int64_t references;
    };
    struct NilBlock {
        Header header;
        char text[8];
    };

    static char* Nil() {
        static NilBlock nil = {{default_manager, 0, 0, 1}, {}};
        return nil.text;
    }
    bool MayBeShared() const {
        return Head()->references >= 0 && Head()->manager == default_manager;
    }
    // Without a reference yet.
    static char* Copied(const char* text, size_t length) {
        char* const copy = Block(length);
        std::memcpy(copy, text, length + 1);
        auto* const head = reinterpret_cast<Header*>(copy) - 1;
        head->length = static_cast<int32_t>(length);
        head->references = 0;
        return copy;
    }
    static size_t Rounded(size_t length) { return (length + 8) & ~size_t{7}; }
    static char* Block(size_t length) {
        const size_t size = Rounded(length);
        auto* header = static_cast<Header*>(std::malloc(sizeof(Header) + size));
        *header = {default_manager, 0, static_cast<int32_t>(size - 1), 1};
        return reinterpret_cast<char*>(header + 1);
    }
    Header* Head() const { return reinterpret_cast<Header*>(text_) - 1; }
    void SetLength(size_t length) {
        Head()->length = static_cast<int32_t>(length);
        text_[length] = '\0';
    }
    void Grow(size_t needed) {
        const auto capacity = static_cast<size_t>(Head()->capacity);
        const size_t stepped = capacity <= 1024 ? 2 * capacity : capacity + 1024;
        const size_t grown = stepped < needed ? needed : stepped;
        if (text_ == Nil()) {
            --Head()->references;
            text_ = Block(grown);
            return;
        }
        const size_t size = Rounded(grown);
        auto* header = static_cast<Header*>(std::realloc(Head(), sizeof(Header) + size));
        header->capacity = static_cast<int32_t>(size - 1);
        text_ = reinterpret_cast<char*>(header + 1);
    }

    char* text_;
};

}  // namespace least

#endif
