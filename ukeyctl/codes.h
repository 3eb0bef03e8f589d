#ifndef UKEYCTL_CODES_H
#define UKEYCTL_CODES_H

#include <cstdint>
#include <optional>
#include <string>

// A code of which something is known without asking the key: the library's own, one of GM/T 0016,
// or one of the software key's.
struct KnownCode {
    int32_t code;
    const char* name;  // null where it has none
    const char* meaning;
    const char* next;
};

// Nothing for a code of which only the key knows more. key_text: what the key says of the code,
// empty where it has not been asked; a maker may use a number of the software key's for something
// else.
std::optional<KnownCode> FindKnownCode(int32_t code, const std::string& key_text = {});

// Whose code it is, for people.
const char* DefinedBy(int32_t code, const std::string& key_text);

// What to do about a code, known or not, that the function gave; no function for the code in
// general. The text may have a place for the verb's help.
std::string NextFor(int32_t code, const std::string& function, const std::string& key_text);

// The text with its place for the verb's help filled: the verb's, or none in particular.
std::string NamingHelp(std::string next, const std::string& verb);

// "0x8007000E (-2147024882)"
std::string FormatCode(int32_t code);

// A code as people have it at hand: decimal with or without a sign, 0x and hexadecimal digits, or
// the eight digits of the library's log. Throws a usage failure for anything else.
int32_t ParseCode(const std::string& text);

#endif
