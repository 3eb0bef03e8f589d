#include "core/encoding.h"

#include <openssl/evp.h>

#include <cctype>

namespace softkey {
namespace {

constexpr size_t kPemLineLength = 64;

int HexValue(char digit) {
    if (digit >= '0' && digit <= '9') {
        return digit - '0';
    }
    if (digit >= 'a' && digit <= 'f') {
        return digit - 'a' + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return digit - 'A' + 10;
    }
    return -1;
}

std::string WithoutBlanks(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (std::isspace(static_cast<unsigned char>(c)) == 0) {
            result += c;
        }
    }
    return result;
}

// Zero to two "=" at the end and none elsewhere; the decoder itself takes them anywhere.
bool PaddingIsRight(const std::string& text) {
    const size_t first = text.find('=');
    if (first == std::string::npos) {
        return true;
    }
    return text.size() - first <= 2 && text.find_first_not_of('=', first) == std::string::npos;
}

}  // namespace

std::string ToHex(const Bytes& bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 15];
    }
    return text;
}

std::optional<Bytes> FromHex(std::string_view text) {
    if (text.size() % 2 != 0) {
        return std::nullopt;
    }
    Bytes bytes;
    for (size_t i = 0; i < text.size(); i += 2) {
        const int high = HexValue(text[i]);
        const int low = HexValue(text[i + 1]);
        if (high < 0 || low < 0) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<unsigned char>(high * 16 + low));
    }
    return bytes;
}

std::string ToBase64(const Bytes& bytes) {
    Bytes text((bytes.size() + 2) / 3 * 4 + 1);
    const int length = EVP_EncodeBlock(text.data(), bytes.data(), static_cast<int>(bytes.size()));
    return {text.begin(), text.begin() + length};
}

std::optional<Bytes> FromBase64(std::string_view text) {
    const std::string clean = WithoutBlanks(text);
    if (clean.size() % 4 != 0 || !PaddingIsRight(clean)) {
        return std::nullopt;
    }
    Bytes bytes(clean.size() / 4 * 3 + 1);
    const int length =
        EVP_DecodeBlock(bytes.data(), AsBytes(clean), static_cast<int>(clean.size()));
    if (length < 0) {
        return std::nullopt;
    }
    const size_t first_padding = clean.find('=');
    const size_t padding = first_padding == std::string::npos ? 0 : clean.size() - first_padding;
    bytes.resize(static_cast<size_t>(length) - padding);
    return bytes;
}

std::string ToPem(const Bytes& der, std::string_view label) {
    const std::string base64 = ToBase64(der);
    std::string pem = "-----BEGIN " + std::string(label) + "-----\n";
    for (size_t i = 0; i < base64.size(); i += kPemLineLength) {
        pem += base64.substr(i, kPemLineLength) + "\n";
    }
    return pem + "-----END " + std::string(label) + "-----\n";
}

std::optional<Bytes> FromBase64OrPem(std::string_view text) {
    constexpr std::string_view kDashes = "-----";
    const size_t begin = text.find("-----BEGIN ");
    if (begin == std::string_view::npos) {
        return FromBase64(text);
    }
    const size_t label = begin + kDashes.size();
    const size_t body = text.find(kDashes, label);
    const size_t end = text.find("-----END ", label);
    if (body == std::string_view::npos || end == std::string_view::npos || end < body) {
        return std::nullopt;
    }
    return FromBase64(text.substr(body + kDashes.size(), end - body - kDashes.size()));
}

std::vector<std::string> Split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    size_t begin = 0;
    for (size_t end = text.find(separator); end != std::string_view::npos;
         end = text.find(separator, begin)) {
        parts.emplace_back(text.substr(begin, end - begin));
        begin = end + separator.size();
    }
    parts.emplace_back(text.substr(begin));
    return parts;
}

}  // namespace softkey
