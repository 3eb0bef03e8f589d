#include "crypto/certificate_texts.h"

#include <openssl/x509v3.h>

#include <algorithm>
#include <ctime>
#include <string_view>

#include "base/encoding.h"
#include "base/process_lock.h"
#include "crypto/key_pair.h"

namespace softkey {
namespace {

using ssl::Check;
using Integer = ssl::Owner<BIGNUM, BN_free>;

// RFC 2253, but with UTF-8 left readable in place of escaped bytes.
constexpr unsigned long kNameFlags =
    XN_FLAG_RFC2253 & ~static_cast<unsigned long>(ASN1_STRFLGS_ESC_MSB);

std::string NameText(const X509_NAME* name) {
    return ssl::Printed(
        [&](BIO* output) { return X509_NAME_print_ex(output, name, 0, kNameFlags) >= 0; },
        "distinguished name");
}

std::string TimeText(const ASN1_TIME* time) {
    std::tm parts{};
    Check(ASN1_TIME_to_tm(time, &parts) == 1, "validity");
    char text[32];
    const ProcessLock lock;
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts);
    return {text, length};
}

// As the bits of KU_DIGITAL_SIGNATURE and so on; all of them without the extension. OpenSSL's own
// answer to this is the same of a certificate that allows nothing and of one that it had no memory
// to look through.
uint32_t UsageOf(const X509* certificate) {
    constexpr int kAbsent = -1;
    int critical = 0;
    const ssl::BitString bits(static_cast<ASN1_BIT_STRING*>(
        X509_get_ext_d2i(certificate, NID_key_usage, &critical, nullptr)));
    if (critical == kAbsent) {
        return UINT32_MAX;
    }
    uint32_t usage = 0;
    if (ssl::IsYes(bits != nullptr)) {
        for (int i = 0; i < std::min(bits->length, 2); ++i) {
            usage |= static_cast<uint32_t>(bits->data[i]) << (8 * i);
        }
    }
    return usage;
}

std::string UsageText(const X509* certificate) {
    struct Bit {
        uint32_t mask;
        const char* name;
    };
    constexpr Bit kBits[] = {
        {KU_DIGITAL_SIGNATURE, "digitalSignature"},
        {KU_NON_REPUDIATION, "nonRepudiation"},
        {KU_KEY_ENCIPHERMENT, "keyEncipherment"},
        {KU_DATA_ENCIPHERMENT, "dataEncipherment"},
        {KU_KEY_AGREEMENT, "keyAgreement"},
        {KU_KEY_CERT_SIGN, "keyCertSign"},
        {KU_CRL_SIGN, "cRLSign"},
    };
    const uint32_t usage = UsageOf(certificate);
    if (usage == UINT32_MAX) {
        return "any";
    }
    std::string text;
    for (const Bit& bit : kBits) {
        if ((usage & bit.mask) != 0) {
            text += (text.empty() ? "" : ",") + std::string(bit.name);
        }
    }
    return text;
}

}  // namespace

std::string SerialNumberText(const X509* certificate) {
    const Integer number(ASN1_INTEGER_to_BN(X509_get0_serialNumber(certificate), nullptr));
    Check(number != nullptr, "serial number");
    Bytes bytes(static_cast<size_t>(BN_num_bytes(number.get())));
    BN_bn2bin(number.get(), bytes.data());
    return bytes.empty() ? "00" : ToHex(bytes);
}

std::string EndText(const X509* certificate) {
    return TimeText(X509_get0_notAfter(certificate));
}

ssl::Certificate ParseCertificate(const Bytes& der) {
    auto certificate = ssl::FromDer<ssl::Certificate>(der, d2i_X509);
    Check(certificate != nullptr, "certificate", Code::kStoreDamaged);
    return certificate;
}

std::string SubjectText(const X509* certificate) {
    return NameText(X509_get_subject_name(certificate));
}

std::string IssuerText(const X509* certificate) {
    return NameText(X509_get_issuer_name(certificate));
}

AllowedUse AllowedUseOf(const X509* certificate) {
    const uint32_t usage = UsageOf(certificate);
    return {(usage & (KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION)) != 0,
            (usage & (KU_KEY_ENCIPHERMENT | KU_DATA_ENCIPHERMENT | KU_KEY_AGREEMENT)) != 0};
}

std::string Shortened(const std::string& text, size_t limit) {
    constexpr std::string_view kMark = "…";
    if (text.size() <= limit) {
        return text;
    }
    size_t end = limit - std::min(limit, kMark.size());
    const auto continues = [&](size_t i) {
        return (static_cast<unsigned char>(text[i]) & 0xC0) == 0x80;
    };
    while (end > 0 && continues(end)) {
        --end;
    }
    return text.substr(0, end) + std::string(kMark);
}

std::string CertificateInfoText(const X509* certificate, size_t name_limit) {
    return "Subject: " + Shortened(SubjectText(certificate), name_limit) +
           "\nIssuer: " + Shortened(IssuerText(certificate), name_limit) +
           "\nSerialNumber: " + SerialNumberText(certificate) +
           "\nNotBefore: " + TimeText(X509_get0_notBefore(certificate)) +
           "\nNotAfter: " + TimeText(X509_get0_notAfter(certificate)) +
           "\nUsage: " + UsageText(certificate);
}

}  // namespace softkey
