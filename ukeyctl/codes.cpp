#include "codes.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "cli/failure.h"
#include "ukey.hpp"

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

std::string FormatCode(int32_t code) {
    return ukey::detail::Hexadecimal(code) + " (" + std::to_string(code) + ")";
}

int32_t ParseCode(const std::string& text) {
    const bool prefixed = text.rfind("0x", 0) == 0 || text.rfind("0X", 0) == 0;
    const int base = prefixed || IsLogForm(text) ? 16 : 10;
    char* end = nullptr;
    errno = 0;
    const long long value = std::strtoll(text.c_str(), &end, base);
    if (text.empty() || *end != '\0' || errno != 0 || value < INT32_MIN || value > UINT32_MAX) {
        cli::ThrowUsage(
            "\"" + text + "\" is not a 32-bit code",
            "give it in decimal (-401), in hexadecimal (0x0A000001), or as the log shows it "
            "(FFFFFE6F)");
    }
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}
