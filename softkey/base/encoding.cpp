#include "base/encoding.h"

#include <openssl/asn1.h>
#include <openssl/evp.h>

#include <memory>

#include "base/error.h"

namespace softkey {
namespace {

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

struct DecoderFree {
    void operator()(EVP_ENCODE_CTX* decoder) const { EVP_ENCODE_CTX_free(decoder); }
};

bool IsControl(unsigned long character) {
    return character < 0x20 || (character >= 0x7F && character < 0xA0);
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
    const std::unique_ptr<EVP_ENCODE_CTX, DecoderFree> decoder(EVP_ENCODE_CTX_new());
    Require(decoder != nullptr, Code::kFail, "Base64");
    Bytes bytes(text.size() / 4 * 3 + 3);
    int length = 0;
    int rest = 0;
    EVP_DecodeInit(decoder.get());
    // To the decoder a dash is the end of the text.
    if (text.find('-') != std::string_view::npos ||
        EVP_DecodeUpdate(decoder.get(), bytes.data(), &length, AsBytes(text),
                         static_cast<int>(text.size())) < 0 ||
        EVP_DecodeFinal(decoder.get(), bytes.data() + length, &rest) != 1) {
        return std::nullopt;
    }
    bytes.resize(static_cast<size_t>(length) + static_cast<size_t>(rest));
    return bytes;
}

std::string ToPem(const Bytes& der, const std::string& label) {
    constexpr size_t kLineLength = 64;
    const std::string body = ToBase64(der);
    std::string pem = "-----BEGIN " + label + "-----\n";
    for (size_t i = 0; i < body.size(); i += kLineLength) {
        pem += body.substr(i, kLineLength) + "\n";
    }
    return pem + "-----END " + label + "-----\n";
}

std::optional<Bytes> FromBase64OrPem(std::string_view text) {
    const size_t begin = text.find("-----BEGIN ");
    if (begin == std::string_view::npos) {
        return FromBase64(text);
    }
    // PEM_read_bio wants lines, and the product takes the line breaks out of a text.
    const std::vector<std::string> parts = Split(text.substr(begin), "-----");
    constexpr size_t kBody = 2;
    constexpr size_t kEnd = 3;
    if (parts.size() <= kEnd || parts[kEnd].rfind("END ", 0) != 0) {
        return std::nullopt;
    }
    return FromBase64(parts[kBody]);
}

bool IsPlainText(std::string_view text) {
    while (!text.empty()) {
        unsigned long character = 0;
        const int length = UTF8_getc(AsBytes(text), static_cast<int>(text.size()), &character);
        if (length <= 0 || IsControl(character)) {
            return false;
        }
        text.remove_prefix(static_cast<size_t>(length));
    }
    return true;
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
