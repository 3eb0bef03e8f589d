#ifndef UKEYCTL_CODES_H
#define UKEYCTL_CODES_H

#include <cstdint>
#include <string>

// A code of which something is known without asking the key: the library's own, or one of GM/T
// 0016.
struct KnownCode {
    int32_t code;
    const char* name;
    const char* meaning;
    const char* next;
};

// Null for a code of which only the key knows more.
const KnownCode* FindKnownCode(int32_t code);

// Whose code it is, for people.
const char* DefinedBy(int32_t code);

// What to do about a code, known or not.
const char* NextFor(int32_t code);

// "0x8007000E (-2147024882)"
std::string FormatCode(int32_t code);

// A code as people have it at hand: decimal with or without a sign, 0x and hexadecimal digits, or
// the eight digits of the library's log. Throws a usage failure for anything else.
int32_t ParseCode(const std::string& text);

#endif
