#include "key/selectors.h"

#include "base/encoding.h"
#include "base/error.h"

namespace softkey {
namespace {

template <typename Enumeration, size_t Count>
Enumeration Choose(int64_t number, const Enumeration (&table)[Count], const char* explanation) {
    Require(number >= 0 && number < static_cast<int64_t>(Count), Code::kSelector, explanation);
    return table[number];
}

Bytes Decoded(std::optional<Bytes> bytes) {
    Require(bytes.has_value(), Code::kData, "the data is not in the encoding that was selected");
    return std::move(*bytes);
}

}  // namespace

CertificateSelector ReadCertificateSelector(int64_t number) {
    constexpr int64_t kRsaDigit = 0x10;
    constexpr int64_t kSm2Digit = 0x20;
    const int64_t type = number & ~int64_t{0xF};
    const int64_t usage = number & 0xF;
    Require(usage == static_cast<int64_t>(Usage::kSigning) ||
                usage == static_cast<int64_t>(Usage::kEncryption),
            Code::kSelector, "the certificate's last digit is 1 (signing) or 2 (encryption)");
    Require(type == 0 || type == kRsaDigit || type == kSm2Digit, Code::kSelector,
            "the certificate's algorithm is 0 (any), 0x10 (RSA) or 0x20 (SM2)");
    CertificateSelector selector{static_cast<Usage>(usage), std::nullopt};
    if (type == kRsaDigit) {
        selector.type = KeyType::kRsa2048;
    }
    if (type == kSm2Digit) {
        selector.type = KeyType::kSm2;
    }
    return selector;
}

CertificateFormat ReadCertificateFormat(int64_t number) {
    constexpr CertificateFormat kTable[] = {CertificateFormat::kBase64, CertificateFormat::kPem};
    return Choose(number, kTable, "certificate formats are 0 (Base64) and 1 (PEM)");
}

NameOf ReadNameOf(int64_t number) {
    constexpr NameOf kTable[] = {NameOf::kSubject, NameOf::kIssuer};
    return Choose(number, kTable, "names are 0 (subject) and 1 (issuer)");
}

DeleteScope ReadDeleteScope(int64_t number) {
    constexpr DeleteScope kTable[] = {DeleteScope::kEverything, DeleteScope::kTemporary,
                                      DeleteScope::kCertified};
    return Choose(number, kTable, "scopes are 0, 1 and 2");
}

SignatureFormat ReadSignatureFormat(int64_t number) {
    constexpr SignatureFormat kTable[] = {SignatureFormat::kBase64,    SignatureFormat::kAttached,
                                          SignatureFormat::kDetached,  SignatureFormat::kHex,
                                          SignatureFormat::kPlain,     SignatureFormat::kAttachedGm,
                                          SignatureFormat::kDetachedGm};
    return Choose(number, kTable, "signature formats are 0 to 6");
}

SignedContent ReadSignedContent(int64_t kind, std::string_view text) {
    switch (kind) {
        case 0:
            return {ToBytes(text), false};
        case 1:
            return {Decoded(FromHex(text)), false};
        case 2:
            return {Decoded(FromBase64(text)), false};
        case 3:
            return {Decoded(FromHex(text)), true};
        case 4:
            return {Decoded(FromBase64(text)), true};
        default:
            throw Error(Code::kSelector, "kinds of data are 0 to 4");
    }
}

CipherSelector ReadCipherSelector(uint32_t number) {
    constexpr PlainEncoding kPlain[] = {PlainEncoding::kText, PlainEncoding::kHex,
                                        PlainEncoding::kBase64};
    constexpr bool kHexCipher[] = {false, true};
    constexpr KeyPair::RsaPadding kPadding[] = {KeyPair::RsaPadding::kPkcs1,
                                                KeyPair::RsaPadding::kOaepSha256};
    const uint32_t padding = number >> 8;
    return {Choose(number & 0xF, kHexCipher, "the ciphertext is 0 (Base64) or 1 (hexadecimal)"),
            Choose((number >> 4) & 0xF, kPlain,
                   "the plaintext is 0 (text), 0x10 (hexadecimal) or 0x20 (Base64)"),
            Choose(padding, kPadding, "RSA padding is 0 (PKCS#1 v1.5) or 0x100 (OAEP)"),
            padding != 0};
}

}  // namespace softkey
