#ifndef SOFTKEY_CRYPTO_KEY_PARTS_H
#define SOFTKEY_CRYPTO_KEY_PARTS_H

#include "base/secret.h"
#include "crypto/ssl.h"

// Keys made of their numbers, and private keys taken apart. OpenSSL's own decoder and encoder of
// private keys leave copies in freed memory; nothing here does.
namespace softkey {

// Ends with the wiping of the vector registers and of the stack below: libcrypto leaves pieces of
// exponents in both.
struct SecretTraces {
    SecretTraces() = default;
    SecretTraces(SecretTraces&&) = default;
    SecretTraces& operator=(SecretTraces&&) = default;
    ~SecretTraces();
};

// Without `scalar` the public half alone. Throws kData when the point is not on the curve.
ssl::Key Sm2FromParts(const BIGNUM* scalar, const Bytes& uncompressed_point);

// With the exponent 65537, for which both primes must do; p is the larger.
ssl::Key RsaFromPrimes(const BIGNUM* p, const BIGNUM* q);

SecretBytes Sm2ScalarOf(const EVP_PKEY* key);
Bytes Sm2PointOf(const EVP_PKEY* key);

// PKCS#8 (RFC 5958) with an RSA key (RFC 8017) or an SM2 key (RFC 5915).
ssl::Key ReadPrivateKey(const SecretBytes& pkcs8);
SecretBytes WritePrivateKey(const EVP_PKEY* key);

}  // namespace softkey

#endif
