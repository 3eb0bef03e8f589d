#ifndef SOFTKEY_CRYPTO_PKCS10_H
#define SOFTKEY_CRYPTO_PKCS10_H

#include <string>
#include <vector>

#include "crypto/key_pair.h"
#include "crypto/ssl.h"

namespace softkey {

// What a certificate request asks for, told by its key-usage extension request: a request with the
// usages of both kinds asks for a signing and an encryption certificate.
enum class RequestKind : int { kSigning = 1, kEncryption = 2, kDual = 3 };

// The values of the keyUsage extension.
constexpr char kSigningUsage[] = "critical,digitalSignature,nonRepudiation";
constexpr char kEncryptionUsage[] = "critical,keyEncipherment,dataEncipherment,keyAgreement";
constexpr char kDualUsage[] =
    "critical,digitalSignature,nonRepudiation,keyEncipherment,dataEncipherment,keyAgreement";

struct NamePart {
    std::string field;  // "CN", or a dotted object identifier
    std::string value;
    bool joins_previous = false;  // one part of the name together with the field before
};
ssl::Name MakeName(const std::vector<NamePart>& parts);

// A PKCS#10 request in DER, signed with `pair`. The subject is C=CN, O=Software Key,
// CN=`common_name`.
Bytes MakeRequest(const KeyPair& pair, const std::string& common_name, RequestKind kind);

}  // namespace softkey

#endif
