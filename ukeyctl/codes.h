#ifndef UKEYCTL_CODES_H
#define UKEYCTL_CODES_H

#include <cstdint>
#include <string>

// A code of the library itself: every other one is the key's, and only the key has a text for it.
struct KnownCode {
    int32_t code;
    const char* name;
    const char* meaning;
    const char* next;
};

// Null for a code that is the key's own.
const KnownCode* FindKnownCode(int32_t code);

extern const char* const kNextForForeignCode;

// "0x8007000E (-2147024882)"
std::string FormatCode(int32_t code);

// A code as people have it at hand: decimal with or without a sign, 0x and hexadecimal digits, or
// the eight digits of the library's log. Throws a usage failure for anything else.
int32_t ParseCode(const std::string& text);

#endif
