#ifndef ORVAL_CALL_LENGTHS_H
#define ORVAL_CALL_LENGTHS_H

#include <cstdint>
#include <cstring>
#include <string_view>

#include "common/last_error.h"

// The rules by which texts and their lengths reach the caller. They differ between the families of
// calls, and clients rely on each difference; docs/length-rules.md sets them side by side.

// What a caller with a too small buffer is told.
enum class WhenShort { kTextLength, kTextLengthAndTerminator };

// A text's length with its terminator. In 32 bits, and the back-end may report the largest number
// there is: the sum wraps.
constexpr int32_t WithTerminator(int32_t text_length) {
    return static_cast<int32_t>(static_cast<uint32_t>(text_length) + 1U);
}

// A text buffer for the back-end: zeroed, with one byte behind it that the back-end is not told of,
// so that a text filling the whole buffer still ends.
template <size_t kSize>
struct TextBuffer {
    char text[kSize + 1] = {};
    int32_t Length() const { return static_cast<int32_t>(std::strlen(text)); }
};

// A text into the caller's buffer of *length bytes. A capacity equal to the text's length is
// enough, and the terminator is then written one byte beyond it: clients pass exactly the length
// that a call reported.
inline int32_t DeliverText(const char* text, int32_t text_length, char* out, int32_t* length,
                           WhenShort when_short) {
    if (*length < text_length) {
        *length = when_short == WhenShort::kTextLength ? text_length : WithTerminator(text_length);
        return Finish(ORVAL_BUFFER_TOO_SMALL);
    }
    *length = text_length;
    std::memcpy(out, text, std::strlen(text) + 1);
    return G_LastError;
}

// The same, and a null buffer asks for the length with the terminator.
inline int32_t CopyOutText(const char* text, int32_t text_length, char* out, int32_t* length,
                           WhenShort when_short) {
    if (out == nullptr) {
        *length = WithTerminator(text_length);
        return G_LastError;
    }
    return DeliverText(text, text_length, out, length, when_short);
}

// A length query answered with a bound, without asking the key.
inline int32_t AnswerBound(int32_t bound, int32_t* length) {
    *length = bound;
    return Finish(ORVAL_OK);
}

// A constant text: exactly its characters, no terminator and no test of the capacity, because
// callers hand in buffers of exactly the length reported. A null buffer only asks for it.
inline void WriteConstantText(std::string_view text, char* out, int32_t* length) {
    if (out != nullptr) {
        std::memcpy(out, text.data(), text.size());
    }
    *length = static_cast<int32_t>(text.size());
}

#endif
