#ifndef SOFTKEY_CORE_CERTIFICATE_TEXTS_H
#define SOFTKEY_CORE_CERTIFICATE_TEXTS_H

#include <string>

#include "core/secret.h"
#include "core/ssl.h"

namespace softkey {

ssl::Certificate ParseCertificate(const Bytes& der);

// Distinguished names as RFC 2253 writes them, in UTF-8: "CN=...,O=...,C=CN".
std::string SubjectText(const X509* certificate);
std::string IssuerText(const X509* certificate);

// Lines "Name: value" with subject, issuer, serial number, validity (UTC) and usage.
std::string CertificateInfoText(X509* certificate);

}  // namespace softkey

#endif
