#ifndef SOFTKEY_CRYPTO_KEY_PAIR_H
#define SOFTKEY_CRYPTO_KEY_PAIR_H

#include <string_view>

#include "base/secret.h"
#include "crypto/key_parts.h"
#include "crypto/ssl.h"

namespace softkey {

enum class KeyType : int { kRsa2048 = 1, kSm2 = 2 };

// The user id that enters every SM2 signature unless two parties agree on another (GB/T 35276).
constexpr std::string_view kDefaultUserId = "1234567812345678";

// The same as a new string, for a set0 function of OpenSSL's to own.
ASN1_OCTET_STRING* NewDefaultUserId();

// An SM2 or RSA-2048 key: a pair, or the public half alone. Once it is gone, nothing of a private
// key is left in memory. Signatures are SM2 with SM3 (DER form of GB/T 35276) and RSA PKCS#1 v1.5
// with SHA-256.
class KeyPair {
 public:
    static KeyPair Generate(KeyType type);
    static KeyPair FromPrivate(const SecretBytes& pkcs8);
    static KeyPair FromPublic(const Bytes& public_key_info);
    static KeyPair Sm2FromScalar(const SecretBytes& scalar);
    static KeyPair Sm2FromPoint(const Bytes& uncompressed_point);
    explicit KeyPair(ssl::Key key);

    KeyType Type() const { return type_; }
    EVP_PKEY* Get() const { return key_.get(); }

    SecretBytes Private() const;
    Bytes Public() const;

    // SM2 only: the private scalar and the uncompressed public point (04 || X || Y).
    SecretBytes Sm2Scalar() const;
    Bytes Sm2Point() const;

    Bytes SignMessage(const Bytes& message) const;
    bool VerifyMessage(const Bytes& message, const Bytes& signature) const;

    // `digest` is what is signed: for SM2 the value e = SM3(Z || M), for RSA the SHA-256 of M.
    Bytes SignDigest(const Bytes& digest) const;

    // The SM3 (SM2 keys) or SHA-256 (RSA keys) of `message` alone, as sm3sum or sha256sum show it.
    Bytes DigestOf(const Bytes& message) const;

    // SM2 to and from the structure of GB/T 35276 (C1, C3, C2).
    Bytes Sm2Encrypt(const SecretBytes& plain) const;
    SecretBytes Sm2Decrypt(const Bytes& cipher) const;

    enum class RsaPadding { kPkcs1, kOaepSha256 };
    SecretBytes RsaDecrypt(const Bytes& cipher, RsaPadding padding) const;

    const EVP_MD* Digest() const { return type_ == KeyType::kSm2 ? EVP_sm3() : EVP_sha256(); }

    // A digest context ready to sign or verify with this key; `key_context` gets what must live as
    // long as it does.
    ssl::DigestContext MessageContext(ssl::KeyContext* key_context) const;

 private:
    ssl::Key key_;
    KeyType type_;
    SecretTraces traces_;
};

}  // namespace softkey

#endif
