#ifndef ORVAL_QRV_SCAN_H
#define ORVAL_QRV_SCAN_H

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace QRV {

// How texts are searched and split, wherever they lie.

// The first `pattern`, which is not empty, or null. The C library's searches look at many
// characters at once, whatever the text repeats.
template <typename T>
const T* FirstIn(const T* begin, const T* end, std::basic_string_view<T> pattern) {
    static_assert(sizeof(T) == 1, "the C library searches bytes");
    const auto size = static_cast<size_t>(end - begin);
    return static_cast<const T*>(pattern.size() == 1
                                     ? std::memchr(begin, pattern.front(), size)
                                     : memmem(begin, size, pattern.data(), pattern.size()));
}

constexpr int32_t kNoToken = -1;

// The next token from `position`: delimiters there are skipped, the token ends before the next one
// and `position` moves behind that (one past the end of the text if there was none, which wraps
// behind the longest text there is). Nothing left: an empty token, and kNoToken.
template <typename T>
std::basic_string_view<T> NextToken(std::basic_string_view<T> text,
                                    std::basic_string_view<T> delimiters, int32_t& position) {
    const auto delimits = [delimiters](T c) {
        return std::find(delimiters.begin(), delimiters.end(), c) != delimiters.end();
    };
    const auto from =
        position < 0 ? text.size() : std::min(static_cast<size_t>(position), text.size());
    const auto start = std::find_if_not(text.begin() + from, text.end(), delimits);
    if (start == text.end()) {
        position = kNoToken;
        return {};
    }
    const auto end = std::find_if(start, text.end(), delimits);
    position = static_cast<int32_t>(end - text.begin() + 1);
    return text.substr(static_cast<size_t>(start - text.begin()), static_cast<size_t>(end - start));
}

}  // namespace QRV

#endif
