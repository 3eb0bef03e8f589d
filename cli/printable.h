#ifndef CLI_PRINTABLE_H
#define CLI_PRINTABLE_H

#include <string>
#include <string_view>

// Texts that come from a key or a file may hold what a terminal obeys instead of showing it: escape
// sequences and other control characters (C0, DEL, C1), and bytes that are no UTF-8.
namespace cli {

bool IsUtf8(std::string_view text);

// Whether a text is UTF-8 without control characters.
bool IsPrintable(std::string_view text);

// The text on one line, with "\xNN" for every byte that is not printable.
std::string Printable(std::string_view text);

// The same, but line ends and tabs stay.
std::string PrintableLines(std::string_view text);

// A JSON text that means the same and is printable. JSON has its own escapes for these characters,
// and writers use them for C0 only.
std::string PrintableJson(std::string_view json);

// How many bytes the first character of a text has; 0 where there is none in UTF-8.
size_t CharacterLength(std::string_view text);

// How many columns of a terminal the text takes: a Chinese character takes two, a mark that stands
// on the one before takes none, and a byte that is no UTF-8 takes one.
size_t Columns(std::string_view text);

}  // namespace cli

#endif
