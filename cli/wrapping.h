#ifndef CLI_WRAPPING_H
#define CLI_WRAPPING_H

#include <cstddef>
#include <string>

// Texts laid out for a width.
namespace cli {

// Deeper than any option of a help stands, so that nobody takes a line's rest for one.
inline constexpr size_t kContinuationIndent = 6;

// As wide as COLUMNS says, else as the terminal is, else 80.
size_t Width();

// Prose, filled up to the width; lines behind the first begin with `indent` blanks. `at` is where
// the first one begins.
std::string Fill(const std::string& text, size_t at, size_t indent, size_t width);

// A name and what is told of it, side by side, or one below the other.
std::string Row(const std::string& name, const std::string& text, size_t indent, size_t column,
                size_t width);

// A whole text. A line that begins with blanks is an example or a row of two columns; any other is
// filled up as prose.
std::string Lay(const std::string& text, size_t width);

}  // namespace cli

#endif
