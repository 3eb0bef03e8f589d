#include "cli/encoding.h"

#include <algorithm>
#include <cctype>
#include <cstdint>

#include "cli/failure.h"

namespace cli {
namespace {

constexpr std::string_view kPemBegin = "-----BEGIN ";
constexpr std::string_view kPemDashes = "-----";
constexpr size_t kPemColumns = 64;
constexpr std::string_view kBase64Digits =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsBase64(std::string_view text) {
    const size_t digits = std::min(text.find_last_not_of('=') + 1, text.size());
    return !text.empty() && text.size() % 4 == 0 && text.size() - digits <= 2 &&
           text.substr(0, digits).find_first_not_of(kBase64Digits) == std::string_view::npos;
}

uint32_t ByteAt(std::string_view bytes, size_t index) {
    return index < bytes.size() ? static_cast<unsigned char>(bytes[index]) : 0U;
}

std::string Base64(std::string_view bytes) {
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        const uint32_t group =
            ByteAt(bytes, at) << 16 | ByteAt(bytes, at + 1) << 8 | ByteAt(bytes, at + 2);
        for (unsigned shift : {18U, 12U, 6U, 0U}) {
            text += kBase64Digits[group >> shift & 63U];
        }
    }
    const size_t missing = (3 - bytes.size() % 3) % 3;
    return text.replace(text.size() - missing, missing, missing, '=');
}

// What stands between the BEGIN line and the END line of the first block.
std::string_view PemBody(std::string_view text) {
    const size_t label = text.find(kPemBegin) + kPemBegin.size();
    const size_t body = std::min(text.find('\n', label), text.size());
    const size_t end = std::min(text.find(kPemDashes, body), text.size());
    return text.substr(body, end - body);
}

// A DER sequence whose length takes more than one byte: no text starts like this.
bool IsDer(std::string_view bytes) {
    return ByteAt(bytes, 0) == 0x30 && ByteAt(bytes, 1) >= 0x80;
}

}  // namespace

std::vector<std::string> SplitJoined(std::string_view text) {
    constexpr std::string_view kSeparator = "||";
    std::vector<std::string> parts;
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find(kSeparator, at), text.size());
        if (end > at) {
            parts.emplace_back(text.substr(at, end - at));
        }
        at = end + kSeparator.size();
    }
    return parts;
}

std::string ToPem(const std::string& label, const std::string& base64) {
    if (base64.find(kPemBegin) != std::string::npos) {
        return base64.back() == '\n' ? base64 : base64 + "\n";
    }
    const std::string text = WithoutBlanks(base64);
    if (!IsBase64(text)) {
        Throw(ExitStatus::kFailed, "the key's answer cannot be shown as PEM",
              "it is not Base64 text", "use --format text to get it as the key gives it");
    }
    std::string pem = "-----BEGIN " + label + "-----\n";
    for (size_t at = 0; at < text.size(); at += kPemColumns) {
        pem += text.substr(at, kPemColumns) + "\n";
    }
    return pem + "-----END " + label + "-----\n";
}

std::string WithoutBlanks(std::string_view text) {
    std::string result;
    std::copy_if(text.begin(), text.end(), std::back_inserter(result),
                 [](unsigned char character) { return std::isspace(character) == 0; });
    return result;
}

std::string CertificateText(const std::string& contents) {
    if (contents.find(kPemBegin) != std::string::npos) {
        return WithoutBlanks(PemBody(contents));
    }
    return IsDer(contents) ? Base64(contents) : contents;
}

std::string Hex(std::string_view bytes) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text;
    for (const char byte : bytes) {
        text += kDigits[static_cast<unsigned char>(byte) >> 4U];
        text += kDigits[static_cast<unsigned char>(byte) & 15U];
    }
    return text;
}

}  // namespace cli
