#ifndef SOFTKEY_BACKEND_ARGUMENTS_H
#define SOFTKEY_BACKEND_ARGUMENTS_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "base/error.h"
#include "entry/answer.h"

// How arguments cross the interface. None of these writes past what the caller is known to have.
namespace softkey {

// Throws kInvalidParameter for a null pointer.
std::string RequireText(const char* text);

// Some arguments have one value only; another one is not guessed at.
void RequireConstant(bool as_expected);

// A copy allocated with array new, which the caller releases with array delete.
void HandOver(const std::string& text, char** destination);

// `text` and its terminator into a buffer of a fixed size.
void CopyToFixed(const std::string& text, char* buffer, size_t size);

// `text` and its terminator into the caller's buffer, whose size is in `*length`; the text's length
// comes back there. A null buffer asks for the size. Too small a buffer gives kBufferTooSmall and,
// in `*length`, the size that is needed. Never more than `limit` bytes are written.
void Deliver(const std::string& text, char* buffer, int32_t* length, size_t limit);

}  // namespace softkey

#endif
