#ifndef CODES_NOTATION_H
#define CODES_NOTATION_H

#include <cstdint>
#include <optional>
#include <string>

namespace codes {

// "0x8007000E"
std::string Hexadecimal(int32_t code);

// "0x8007000E (-2147024882)"
std::string InBothForms(int32_t code);

// A code as people have it at hand: decimal with or without a sign, 0x and hexadecimal digits, or
// the eight digits of the library's log. Nothing for anything else.
std::optional<int32_t> Parse(const std::string& text);

}  // namespace codes

#endif
