#include "codes/notation.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace codes {
namespace {

bool IsHexadecimal(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](unsigned char character) {
        return std::isxdigit(character) != 0;
    });
}

// The log writes codes as eight hexadecimal digits; without a letter among them, only a leading
// zero tells such a text from a decimal number.
bool IsLogForm(const std::string& text) {
    const bool has_letter = text.find_first_of("abcdefABCDEF") != std::string::npos;
    return IsHexadecimal(text) && (has_letter || (text.size() == 8 && text[0] == '0'));
}

}  // namespace

std::string Hexadecimal(int32_t code) {
    char text[sizeof "0x00000000"];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

std::string InBothForms(int32_t code) {
    return Hexadecimal(code) + " (" + std::to_string(code) + ")";
}

std::optional<int32_t> Parse(const std::string& text) {
    const bool prefixed = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const int base = prefixed || IsLogForm(text) ? 16 : 10;
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, base);
    if (text.empty() || *end != '\0' || errno != 0 || value < INT32_MIN || value > UINT32_MAX) {
        return std::nullopt;
    }
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}

}  // namespace codes
