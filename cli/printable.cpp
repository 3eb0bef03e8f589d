#include "cli/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <iterator>

namespace cli {
namespace {

// A character at the front of a text; `length` is 0 when there is none in UTF-8.
struct Character {
    uint32_t number = 0;
    size_t length = 0;
};

Character FirstOf(std::string_view text) {
    constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80) {
        return {first, 1};
    }
    const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || length > text.size()) {
        return {};
    }
    uint32_t number = first & (0xFFU >> (length + 1));
    for (size_t i = 1; i < length; ++i) {
        const auto next = static_cast<unsigned char>(text[i]);
        if ((next & 0xC0U) != 0x80) {
            return {};
        }
        number = (number << 6U) | (next & 0x3FU);
    }
    const bool surrogate = number >= 0xD800 && number <= 0xDFFF;
    const bool outside = number < kSmallest[length] || number > 0x10FFFF || surrogate;
    return outside ? Character{} : Character{number, length};
}

bool IsControl(uint32_t character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
}

// Ranges of characters that take no column, and of those that take two (UAX #11).
struct Range {
    uint32_t first;
    uint32_t last;
};
constexpr Range kNarrowest[] = {{0x300, 0x36F}, {0x200B, 0x200F}, {0xFE00, 0xFE0F}};
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},  {0x3041, 0xA4CF},
                           {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},  {0xFE30, 0xFE6F},
                           {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},  {0x1F300, 0x1F64F},
                           {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};

template <size_t kCount>
bool IsIn(const Range (&ranges)[kCount], uint32_t character) {
    return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

size_t ColumnsOf(uint32_t character) {
    return IsIn(kNarrowest, character) ? 0 : IsIn(kWide, character) ? 2 : 1;
}

std::string Hex(char byte) {
    char text[sizeof "\\xNN"];
    std::snprintf(text, sizeof text, "\\x%02X", static_cast<unsigned>(byte) & 0xFFU);
    return text;
}

// What a text becomes when every character that is not fit for a terminal is put differently.
// Escape: gives the other form of a character, or of a byte that is none.
template <typename Escape>
std::string Put(std::string_view text, const Escape& escape) {
    std::string result;
    while (!text.empty()) {
        const Character character = FirstOf(text);
        const size_t length = std::max<size_t>(character.length, 1);
        const bool fit = character.length != 0 && !IsControl(character.number);
        const std::string_view bytes = text.substr(0, length);
        result += fit ? std::string(bytes) : escape(character, bytes);
        text.remove_prefix(length);
    }
    return result;
}

std::string HexOfEach(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        text += Hex(byte);
    }
    return text;
}

}  // namespace

bool IsUtf8(std::string_view text) {
    while (!text.empty()) {
        const size_t length = FirstOf(text).length;
        if (length == 0) {
            return false;
        }
        text.remove_prefix(length);
    }
    return true;
}

bool IsPrintable(std::string_view text) {
    return Printable(text) == text;
}

std::string Printable(std::string_view text) {
    return Put(text, [](const Character& /*character*/, std::string_view bytes) {
        return HexOfEach(bytes);
    });
}

std::string PrintableLines(std::string_view text) {
    return Put(text, [](const Character& /*character*/, std::string_view bytes) {
        return bytes == "\n" || bytes == "\t" ? std::string(bytes) : HexOfEach(bytes);
    });
}

std::string PrintableJson(std::string_view json) {
    return Put(json, [](const Character& character, std::string_view bytes) {
        char text[sizeof "\\u0000"];
        std::snprintf(text, sizeof text, "\\u%04x", character.number & 0xFFFFU);
        return character.number < 0x20 ? std::string(bytes) : std::string(text);
    });
}

size_t CharacterLength(std::string_view text) {
    return text.empty() ? 0 : FirstOf(text).length;
}

size_t Columns(std::string_view text) {
    size_t columns = 0;
    while (!text.empty()) {
        const Character character = FirstOf(text);
        columns += character.length == 0 ? 1 : ColumnsOf(character.number);
        text.remove_prefix(std::max<size_t>(character.length, 1));
    }
    return columns;
}

}  // namespace cli
