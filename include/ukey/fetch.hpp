// Part of ukey.hpp: one call, with texts in and a text out, whatever its length is. Nothing here
// throws for a code.
#ifndef ORVAL_UKEY_FETCH_HPP
#define ORVAL_UKEY_FETCH_HPP

#include <string.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "load.hpp"

// The product's own sources have it already.
#ifndef ORVAL_QRV_EXCEPTION_H
namespace QRV {

// What the product's text handling throws: one code and nothing else. It is declared here so that
// it can be caught; nothing here makes one.
class __attribute__((visibility("default"))) CQrvException final {
 public:
    CQrvException() = delete;
    int32_t Code() const noexcept { return code_; }

 private:
    int32_t code_;
};

static_assert(sizeof(CQrvException) == sizeof(int32_t), "the code is read at offset 0");

}  // namespace QRV
#endif

namespace ukey {
namespace detail {

// Memory that is zeroed before it is given back, so that no caller has to know which texts are
// secret.
template <typename T>
struct WipingAllocator {
    using value_type = T;
    WipingAllocator() = default;
    template <typename U>
    explicit WipingAllocator(const WipingAllocator<U>& /*other*/) noexcept {}
    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* memory, std::size_t count) noexcept {
        explicit_bzero(memory, count * sizeof(T));
        std::allocator<T>().deallocate(memory, count);
    }
    template <typename U>
    bool operator==(const WipingAllocator<U>& /*other*/) const noexcept {
        return true;
    }
    template <typename U>
    bool operator!=(const WipingAllocator<U>& /*other*/) const noexcept {
        return false;
    }
};

using Bytes = std::vector<char, WipingAllocator<char>>;

template <typename T>
T Pass(T value) {
    return value;
}

inline const char* Pass(const std::string& text) {
    return text.c_str();
}

// A text that may be left out is a null pointer then.
inline const char* Pass(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

// Whether a text can be passed whole: it would end at a zero byte inside.
inline bool IsPassable(std::string_view text) {
    return text.find('\0') == std::string_view::npos;
}

inline bool IsPassable(const std::string& text) {
    return IsPassable(std::string_view(text));
}

inline bool IsPassable(const std::optional<std::string>& text) {
    return !text || IsPassable(*text);
}

template <typename T>
bool IsPassable(const T& /*value*/) {
    return true;
}

// Calls the entry and gives its code, or the code of the exception that left it.
template <typename Function, typename... Arguments>
int32_t TryCall(const Entry<Function>& entry, const Arguments&... arguments) {
    try {
        return entry.function(Pass(arguments)...);
    } catch (const QRV::CQrvException& thrown) {
        return thrown.Code();
    }
}

// What a fetch brought: `length` bytes of `buffer`.
struct Fetched {
    Bytes buffer;
    std::size_t length = 0;
};

// One fetch into a buffer of `capacity` bytes. Many calls accept a capacity equal to the text's
// length and then write the terminator behind it, so there is one byte more than they are told of.
// On -404 `capacity` becomes one that holds the length just reported, counted either way.
template <typename Function, typename... Arguments>
int32_t TryFetchOnce(const Entry<Function>& entry, int32_t& capacity, Fetched& fetched,
                     const Arguments&... arguments) {
    fetched.buffer = Bytes(static_cast<std::size_t>(capacity) + 1);
    int32_t length = capacity;
    const int32_t code = TryCall(entry, arguments..., fetched.buffer.data(), &length);
    if (code == ORVAL_BUFFER_TOO_SMALL && length < std::numeric_limits<int32_t>::max()) {
        capacity = std::max(capacity, length + 1);
    }
    fetched.length = static_cast<std::size_t>(std::clamp(length, 0, capacity));
    return code;
}

// How often a text may outgrow the size just asked for before the call is given up.
constexpr int kFetchAttempts = 8;

// The whole exchange: ask for the size, fetch, and ask again when the text has grown in between.
// Asking again, and not only enlarging the buffer, lets a certificate request be made once and
// then served. `least` is room to give whatever the size query says.
template <typename Function, typename... Arguments>
int32_t TryFetch(const Entry<Function>& entry, int32_t least, Fetched& fetched,
                 const Arguments&... arguments) {
    int32_t code = ORVAL_BUFFER_TOO_SMALL;
    char* const no_buffer = nullptr;
    for (int attempt = 0; attempt < kFetchAttempts && code == ORVAL_BUFFER_TOO_SMALL; ++attempt) {
        int32_t asked = 0;
        code = TryCall(entry, arguments..., no_buffer, &asked);
        if (code != ORVAL_OK) {
            return code;
        }
        if (asked < 0) {  // an estimate beyond 32 bits: the input is too long for this interface
            return ORVAL_INVALID_ARGUMENT;
        }
        least = std::max(asked, least);
        code = TryFetchOnce(entry, least, fetched, arguments...);
    }
    return code;
}

// The text fetched. Some calls count the terminator, some do not, some report the room that there
// was: the buffer was zeroed, so what is not text at its end are zero bytes.
inline std::string_view TextOf(const Fetched& fetched) {
    std::string_view text(fetched.buffer.data(), fetched.length);
    const std::size_t last = text.find_last_not_of('\0');
    return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
}

}  // namespace detail

// Wipe: overwrites a text in a way that the compiler does not leave out, and empties it.
inline void Wipe(std::string& text) noexcept {
    explicit_bzero(text.data(), text.size());
    text.clear();
}

// A text that is wiped when its owner goes. Moves, but does not copy.
class Secret {
 public:
    explicit Secret(detail::Fetched fetched)
        : bytes_(std::move(fetched.buffer)), length_(fetched.length) {}
    Secret(Secret&&) = default;
    Secret& operator=(Secret&&) = default;
    Secret(const Secret&) = delete;
    Secret& operator=(const Secret&) = delete;
    ~Secret() = default;

    // View: the text, as long as this object lives.
    std::string_view View() const { return {bytes_.data(), std::min(length_, bytes_.size())}; }

    // Text: a copy, which is the caller's to wipe.
    std::string Text() const { return std::string(View()); }

 private:
    detail::Bytes bytes_;
    std::size_t length_;
};

}  // namespace ukey

#endif
