#ifndef SOFTKEY_CRYPTO_PKCS7_H
#define SOFTKEY_CRYPTO_PKCS7_H

#include <optional>
#include <string_view>
#include <vector>

#include "crypto/key_pair.h"
#include "crypto/ssl.h"

namespace softkey {

// Whose object identifiers a PKCS#7 structure bears.
enum class Pkcs7Names : int { kRfc2315 = 0, kGm = 1 };

// The certificates of a PKCS#7 signed-data structure (RFC 2315 or GB/T 35275) in DER or BER, given
// as Base64 with or without PEM armour. Throws kPkcs7Malformed, also when there are none.
std::vector<ssl::Certificate> CertificatesOf(std::string_view text);

// Certificates and nothing signed, in DER.
Bytes CertificatesOnly(const std::vector<Bytes>& certificates,
                       Pkcs7Names names = Pkcs7Names::kRfc2315);

// Signed data with one signer, in DER. Nothing but the content is signed, so that its signature is
// the raw one; without `content` it is detached.
Bytes SignedData(const KeyPair& signer, const Bytes& certificate, const Bytes& signature,
                 const std::optional<Bytes>& content, Pkcs7Names names);

}  // namespace softkey

#endif
