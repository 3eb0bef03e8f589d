#ifndef SOFTKEY_CRYPTO_CERTIFICATE_TEXTS_H
#define SOFTKEY_CRYPTO_CERTIFICATE_TEXTS_H

#include <string>

#include "base/secret.h"
#include "crypto/ssl.h"

namespace softkey {

ssl::Certificate ParseCertificate(const Bytes& der);

// Distinguished names as RFC 2253 writes them, in UTF-8: "CN=...,O=...,C=CN".
std::string SubjectText(const X509* certificate);
std::string IssuerText(const X509* certificate);

// In hexadecimal.
std::string SerialNumberText(const X509* certificate);

// When its validity ends: "2026-01-31 12:00:00", in UTC.
std::string EndText(const X509* certificate);

// Lines "Name: value" with subject, issuer, serial number, validity (UTC) and usage.
// A name is shortened to `name_limit` bytes.
std::string CertificateInfoText(const X509* certificate, size_t name_limit);

// What a certificate's keyUsage allows; everything when it has none.
struct AllowedUse {
    bool signing;
    bool encryption;
};
AllowedUse AllowedUseOf(const X509* certificate);

// At most `limit` bytes of UTF-8: a longer text is cut between two characters and ends with "…".
std::string Shortened(const std::string& text, size_t limit);

}  // namespace softkey

#endif
