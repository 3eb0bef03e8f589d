#include "codes.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>

#include "failure.h"
#include "ukey.hpp"

namespace {

constexpr KnownCode kKnownCodes[] = {
    {ORVAL_OK, "ORVAL_OK", "success", "nothing needs to be done"},
    {ORVAL_BACKEND_UNAVAILABLE, "ORVAL_BACKEND_UNAVAILABLE",
     "the key maker's library libOrvalKPX.so cannot be loaded or lacks an entry point",
     "install or reinstall the key's software; the library belongs in "
     "/opt/apps/com.kpx.uosorval/files/bin"},
    {ORVAL_NOT_INITIALIZED, "ORVAL_NOT_INITIALIZED",
     "the call does not initialise the library on its own and nothing else has",
     "make any other call first, or call Initialize"},
    {ORVAL_UNSUPPORTED, "ORVAL_UNSUPPORTED",
     "the function or the selector is not supported, or the installation folder cannot be read",
     "some functions refuse every call; otherwise look at the selector given, and let 'ukeyctl "
     "check' tell whether the key's software is installed"},
    {ORVAL_INVALID_ARGUMENT, "ORVAL_INVALID_ARGUMENT",
     "an argument is missing, malformed, or its length is out of bounds",
     "look at the arguments given; 'ukeyctl VERB --help' states their form and bounds"},
    {ORVAL_BUFFER_TOO_SMALL, "ORVAL_BUFFER_TOO_SMALL",
     "the caller's buffer is shorter than the output",
     "a client has to ask for the length first; from this command it means that the output grew "
     "each time it was fetched: try again"},
    {static_cast<int32_t>(ukey::Errc::kTextOutOfMemory), "out of memory",
     "the library's text handling ran out of memory (an exception, to a client in C++)",
     "close other programs, or give a shorter input"},
    {static_cast<int32_t>(ukey::Errc::kTextMalformed), "malformed text",
     "the library's text handling met a malformed text (an exception, to a client in C++)",
     "look at the text given: in a request description every field needs its \"(\" and a digit"},
};

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

const char* const kNextForForeignCode =
    "the code is the key's own: check that the key is plugged in, and see what the key maker's "
    "documents say about it";

const KnownCode* FindKnownCode(int32_t code) {
    const auto* found = std::find_if(std::begin(kKnownCodes), std::end(kKnownCodes),
                                     [code](const KnownCode& known) { return known.code == code; });
    return found == std::end(kKnownCodes) ? nullptr : found;
}

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
        ThrowUsage("\"" + text + "\" is not a 32-bit code",
                   "give it in decimal (-401), in hexadecimal (0x0A000001), or as the log shows it "
                   "(FFFFFE6F)");
    }
    return static_cast<int32_t>(static_cast<uint32_t>(value));
}
