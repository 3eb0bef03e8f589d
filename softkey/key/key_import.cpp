#include "key/key_import.h"

#include <algorithm>

#include "base/error.h"
#include "crypto/certificate_texts.h"
#include "key/certificates.h"

namespace softkey {
namespace {

struct Certificate {
    Bytes der;
    Bytes public_key;
    AllowedUse allowed;
    bool served = false;
};

std::vector<Certificate> Read(const std::vector<Bytes>& ders) {
    std::vector<Certificate> certificates;
    for (const Bytes& der : ders) {
        const ssl::Certificate parsed = ParseCertificate(der);
        EVP_PKEY* const key = ssl::KeyOf(parsed.get());
        if (key != nullptr) {
            certificates.push_back(
                {der, ssl::ToDer(key, i2d_PUBKEY, "public key"), AllowedUseOf(parsed.get())});
        }
    }
    return certificates;
}

// The certificate's word before the user's, where it has one.
Usage UsageOf(const Certificate* certificate, std::optional<Usage> usage) {
    if (certificate != nullptr && certificate->allowed.signing != certificate->allowed.encryption) {
        return certificate->allowed.signing ? Usage::kSigning : Usage::kEncryption;
    }
    return usage.value_or(Usage::kSigning);
}

Certificate* Find(std::vector<Certificate>& certificates, const Bytes& public_key) {
    const auto found = std::find_if(
        certificates.begin(), certificates.end(),
        [&](const Certificate& certificate) { return certificate.public_key == public_key; });
    return found == certificates.end() ? nullptr : &*found;
}

// For the pairs that the key has.
std::vector<KeyStore::PairCertificate> ForPairsOf(const KeyStore& store,
                                                  std::vector<Certificate>& certificates) {
    std::vector<KeyStore::PairCertificate> fitting;
    for (const StoredPair& stored : store.Pairs()) {
        if (Certificate* const certificate = Find(certificates, stored.public_key)) {
            Require(FitsUse(stored.usage, certificate->allowed), Code::kCertificateUsage,
                    "a certificate is for the other use than its key pair");
            certificate->served = true;
            fitting.push_back({stored.id, certificate->der});
        }
    }
    return fitting;
}

}  // namespace

ImportedKeys ImportKeys(KeyStore& store, const Unlocked& unlocked, const KeyMaterial& material) {
    std::vector<Certificate> certificates = Read(material.certificates);
    const std::vector<KeyStore::PairCertificate> fitting = ForPairsOf(store, certificates);
    std::vector<ReadyPair> ready;
    for (const KeyPair& pair : material.pairs) {
        Certificate* const certificate = Find(certificates, pair.Public());
        ready.push_back({UsageOf(certificate, material.usage), false, &pair, {}});
        if (certificate != nullptr) {
            ready.back().certificate = certificate->der;
            certificate->served = true;
        }
    }
    Require(!ready.empty() || !fitting.empty(), Code::kCertificateNotOurs,
            "no private key, and no certificate that belongs to a key pair on the key");
    store.AddPairs(unlocked, ready, fitting);
    ImportedKeys imported;
    imported.pairs = ready.size();
    for (const Certificate& certificate : certificates) {
        certificate.served ? ++imported.certificates : ++imported.passed_over;
    }
    return imported;
}

}  // namespace softkey
