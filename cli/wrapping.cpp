#include "cli/wrapping.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "cli/printable.h"

namespace cli {
namespace {

constexpr size_t kUsualWidth = 80;
constexpr size_t kNarrowest = 40;
constexpr size_t kRightColumnAtLeast = 24;
constexpr std::string_view kColumnGap = "  ";

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream rest(text);
    for (std::string part; std::getline(rest, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

// What may not begin a line of Chinese, and what may not end one.
constexpr std::string_view kClosing = "，。、；：？！）》」』”’";
constexpr std::string_view kOpening = "（《「『“‘";

bool IsOneOf(std::string_view characters, std::string_view character) {
    return characters.find(character) != std::string_view::npos;
}

bool IsWide(std::string_view character) {
    return character.size() > 1 && Columns(character) == 2;
}

// Whether a line may end between two characters of a word.
bool MayPart(std::string_view character, std::string_view next, bool too_long) {
    if (IsWide(character) || IsWide(next)) {
        return !IsOneOf(kOpening, character) && !(next.size() > 1 && IsOneOf(kClosing, next));
    }
    return too_long && (character == "," || character == "|");
}

// Where a word may be broken: between the characters of Chinese, and where it is too long for a
// line behind the commas and bars of a list.
std::vector<std::string> PiecesOf(const std::string& word, size_t room) {
    const bool too_long = Columns(word) > room;
    std::vector<std::string> pieces{std::string()};
    for (std::string_view rest = word; !rest.empty();) {
        const std::string_view character =
            rest.substr(0, std::max<size_t>(CharacterLength(rest), 1));
        rest.remove_prefix(character.size());
        const std::string_view next = rest.substr(0, CharacterLength(rest));
        pieces.back() += character;
        if (MayPart(character, next, too_long)) {
            pieces.emplace_back();
        }
    }
    return pieces;
}

// Options and the words behind them, joined where there is room for both.
std::vector<std::string> WithValues(const std::vector<std::string>& words, size_t room) {
    std::vector<std::string> units;
    for (const std::string& word : words) {
        const bool behind_option = !units.empty() && units.back().rfind("--", 0) == 0 &&
                                   units.back().find(' ') == std::string::npos;
        const bool fits = !units.empty() && Columns(units.back()) + 1 + Columns(word) <= room;
        if (behind_option && fits && word.rfind('-', 0) != 0) {
            units.back() += " " + word;
        } else {
            units.push_back(word);
        }
    }
    return units;
}

// The words of a command: blanks inside quotes part nothing, and an option keeps its value.
std::vector<std::string> ShellWordsOf(const std::string& line, size_t room) {
    std::vector<std::string> words{std::string()};
    char quote = '\0';
    for (const char character : line) {
        const bool is_quote = character == '"' || character == '\'';
        if (is_quote && (quote == '\0' || quote == character)) {
            quote = quote == '\0' ? character : '\0';
        }
        if (character == ' ' && quote == '\0') {
            words.emplace_back();
        } else {
            words.back() += character;
        }
    }
    return WithValues(words, room);
}

std::string Blanks(size_t count) {
    return std::string(count, ' ');
}

// A command that is too long goes on in the next line as a shell reads it.
std::string FillCommand(const std::string& command, size_t indent, size_t width) {
    constexpr std::string_view kContinued = " \\";
    std::string result;
    size_t column = indent;
    const size_t below = indent + kContinuationIndent;
    for (const std::string& word : ShellWordsOf(command, width - below - kContinued.size())) {
        const bool first = result.empty();
        if (!first && column + 1 + Columns(word) + kContinued.size() > width) {
            result += std::string(kContinued) + "\n" + Blanks(below);
            column = below;
        } else if (!first) {
            result += " ";
            ++column;
        }
        result += word;
        column += Columns(word);
    }
    return Blanks(indent) + result;
}

// A line that begins with blanks: a command, or two columns with a gap between them.
std::string Arrange(const std::string& line, size_t width) {
    const size_t indent = line.find_first_not_of(' ');
    if (Columns(line) <= width || indent == std::string::npos) {
        return line + "\n";
    }
    const size_t gap = line.find(kColumnGap, indent);
    if (gap == std::string::npos) {
        return FillCommand(line.substr(indent), indent, width) + "\n";
    }
    const size_t text = line.find_first_not_of(' ', gap);
    const std::string name = line.substr(indent, gap - indent);
    if (text + kRightColumnAtLeast <= width) {
        return Row(name, line.substr(text), indent, text, width);
    }
    const size_t below = indent + kContinuationIndent;
    return FillCommand(name, indent, width) + "\n" + Blanks(below) +
           Fill(line.substr(text), below, below, width) + "\n";
}

}  // namespace

size_t Width() {
    const char* variable = std::getenv("COLUMNS");
    long width = variable != nullptr ? std::strtol(variable, nullptr, 10) : 0;
    winsize size{};
    if (width <= 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0) {
        width = size.ws_col;
    }
    return width <= 0 ? kUsualWidth : std::max(static_cast<size_t>(width), kNarrowest);
}

std::string Fill(const std::string& text, size_t at, size_t indent, size_t width) {
    std::string result;
    size_t column = at;
    bool first_in_line = true;
    for (const std::string& word : Split(text, ' ')) {
        bool whole = true;  // a blank stands in front of a word, not inside it
        for (const std::string& piece : PiecesOf(word, width - indent)) {
            const size_t blank = whole && !first_in_line ? 1 : 0;
            if (!first_in_line && column + blank + Columns(piece) > width) {
                result += "\n" + Blanks(indent);
                column = indent;
            } else {
                result += Blanks(blank);
                column += blank;
            }
            result += piece;
            column += Columns(piece);
            first_in_line = false;
            whole = false;
        }
    }
    return result;
}

std::string Row(const std::string& name, const std::string& text, size_t indent, size_t column,
                size_t width) {
    const size_t end = indent + Columns(name);
    std::string result = Blanks(indent) + Fill(name, indent, indent + kContinuationIndent, width);
    if (text.empty()) {
        return result + "\n";
    }
    result += end + kColumnGap.size() <= column ? Blanks(column - end) : "\n" + Blanks(column);
    return result + Fill(text, column, column, width) + "\n";
}

std::string Lay(const std::string& text, size_t width) {
    std::vector<std::string> lines = Split(text, '\n');
    if (!lines.empty() && lines.back().empty()) {
        lines.pop_back();
    }
    std::string result;
    for (const std::string& line : lines) {
        const bool prose = !line.empty() && line[0] != ' ';
        result += prose ? Fill(line, 0, 0, width) + "\n" : Arrange(line, width);
    }
    return result;
}

}  // namespace cli
