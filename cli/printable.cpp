#include "cli/printable.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

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

size_t Columns(std::string_view text) {
    return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80;
    }));
}

}  // namespace cli
