#ifndef SOFTKEY_KEY_CERTIFICATES_H
#define SOFTKEY_KEY_CERTIFICATES_H

#include <string>
#include <string_view>

#include "crypto/certificate_texts.h"
#include "key/device.h"
#include "key/selectors.h"

namespace softkey {

// A certificate for the other use alone must not take the place of the one that is in use.
bool FitsUse(Usage usage, const AllowedUse& allowed);

// The pair whose certificate is selected. Throws kCertificateNotFound.
StoredPair FindCertified(Device& device, const CertificateSelector& selector);

// Writes each certificate of a PKCS#7 that belongs to a key pair on the key; others, such as the
// issuer's, are passed over. Throws kCertificateNotOurs when none belongs, and kCertificateUsage
// when the keyUsage of all that belong to a pair is for the other use.
void WriteCertificates(Device& device, std::string_view pkcs7);

// Opens the enveloped key with a signing key on the key and keeps the encryption pair until its
// certificate is written. Importing it twice changes nothing.
void ImportEncryptionKey(Device& device, std::string_view envelope);

std::string CertificateText(Device& device, const CertificateSelector& selector,
                            CertificateFormat format);

// Both in UTF-8. A name that is longer than `name_limit` bytes is shortened.
std::string CertificateName(Device& device, const CertificateSelector& selector, NameOf which,
                            size_t name_limit);
std::string CertificateInformation(Device& device, const CertificateSelector& selector,
                                   size_t name_limit);

// Throws kCertificateNotFound when the scope holds nothing.
void DeleteCertificate(Device& device, const CertificateSelector& selector, DeleteScope scope);

}  // namespace softkey

#endif
