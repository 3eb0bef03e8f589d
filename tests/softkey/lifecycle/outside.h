#ifndef ORVAL_TESTS_SOFTKEY_LIFECYCLE_OUTSIDE_H
#define ORVAL_TESTS_SOFTKEY_LIFECYCLE_OUTSIDE_H

// The world that trusts the key's certificates: it verifies and encrypts and knows nothing of keys.
// Everything throws when it cannot be done at all.

#include <openssl/x509.h>

#include <memory>
#include <string>

namespace lifecycle {

template <auto Free>
struct Freeing {
    template <typename Object>
    void operator()(Object* object) const {
        Free(object);
    }
};
template <typename Object, auto Free>
using Owned = std::unique_ptr<Object, Freeing<Free>>;

std::string FromBase64(const std::string& text);
std::string ToBase64(const std::string& bytes);
std::string FromHex(const std::string& text);

class Certificate final {
 public:
    // A PEM text.
    explicit Certificate(const std::string& pem);

    std::string Subject() const;
    std::string Der() const;
    bool IsIssuedBy(const Certificate& issuer) const;
    bool Has(uint32_t key_usage) const;

    // SM2 with SM3 and the default signer's id, or RSA with SHA-256.
    bool Verifies(const std::string& message, const std::string& signature) const;
    // PKCS#7 signed data with its content, signed by this certificate.
    bool VerifiesPkcs7(const std::string& der, const std::string& content) const;

    std::string Encrypt(const std::string& message) const;

 private:
    EVP_PKEY* PublicKey() const;
    bool IsSm2() const;

    Owned<X509, X509_free> x509_;
};

// Whether a PKCS#10 request (Base64) is signed by the key that it names.
bool RequestHolds(const std::string& request);

#ifdef ORVAL_BOTAN_VERDICT
// Botan's opinion of an SM2 signature.
bool BotanVerifies(const std::string& certificate_pem, const std::string& message,
                   const std::string& signature);
#endif

}  // namespace lifecycle

#endif
