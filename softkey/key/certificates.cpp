#include "key/certificates.h"

#include <algorithm>
#include <set>

#include "base/encoding.h"
#include "base/error.h"
#include "crypto/certificate_texts.h"
#include "crypto/enveloped_key.h"
#include "crypto/pkcs7.h"

namespace softkey {
namespace {

Bytes PublicKeyOf(X509* certificate) {
    EVP_PKEY* const key = ssl::KeyOf(certificate);
    Require(key != nullptr, Code::kPkcs7Malformed, "a certificate's public key cannot be read");
    return ssl::ToDer(key, i2d_PUBKEY, "public key");
}

ssl::Certificate SelectedCertificate(Device& device, const CertificateSelector& selector) {
    return ParseCertificate(FindCertified(device, selector).certificate);
}

bool InScope(const StoredPair& pair, DeleteScope scope) {
    if (scope == DeleteScope::kEverything) {
        return true;
    }
    return pair.IsTemporary() == (scope == DeleteScope::kTemporary);
}

}  // namespace

bool FitsUse(Usage usage, const AllowedUse& allowed) {
    return usage == Usage::kSigning ? allowed.signing || !allowed.encryption
                                    : allowed.encryption || !allowed.signing;
}

StoredPair FindCertified(Device& device, const CertificateSelector& selector) {
    std::optional<StoredPair> found;
    for (const StoredPair& pair : device.Look().pairs) {
        if (pair.IsTemporary() || !selector.Fits(pair)) {
            continue;
        }
        if (!found || pair.type == KeyType::kSm2) {
            found = pair;
        }
    }
    Require(found.has_value(), Code::kCertificateNotFound, "the key holds no such certificate");
    return std::move(*found);
}

void WriteCertificates(Device& device, std::string_view pkcs7) {
    const std::vector<StoredPair> pairs = device.Store().Pairs();
    std::vector<KeyStore::PairCertificate> ours;
    std::set<int64_t> served;
    std::set<int64_t> misfits;
    for (const ssl::Certificate& certificate : CertificatesOf(pkcs7)) {
        const Bytes public_key = PublicKeyOf(certificate.get());
        const auto pair = std::find_if(pairs.begin(), pairs.end(), [&](const StoredPair& stored) {
            return stored.public_key == public_key;
        });
        if (pair == pairs.end()) {
            continue;
        }
        if (!FitsUse(pair->usage, AllowedUseOf(certificate.get()))) {
            misfits.insert(pair->id);
            continue;
        }
        served.insert(pair->id);
        ours.push_back({pair->id, ssl::ToDer(certificate.get(), i2d_X509, "certificate")});
    }
    Require(std::includes(served.begin(), served.end(), misfits.begin(), misfits.end()),
            Code::kCertificateUsage, "a certificate is for the other use than its key pair");
    Require(!ours.empty(), Code::kCertificateNotOurs,
            "no certificate belongs to a key pair on the key");
    device.Store().SetCertificates(ours);
}

void ImportEncryptionKey(Device& device, std::string_view envelope) {
    const EnvelopedKey enveloped = EnvelopedKey::Parse(envelope);
    const Unlocked& unlocked = device.Authorize(Device::Use::kOther);
    std::vector<StoredPair> pairs = device.Store().Pairs();
    // The newest first: an answer most likely belongs to the last request.
    std::reverse(pairs.begin(), pairs.end());
    for (const StoredPair& stored : pairs) {
        if (stored.usage != Usage::kSigning || stored.type != KeyType::kSm2) {
            continue;
        }
        const std::optional<KeyPair> pair = enveloped.Open(device.Store().Open(unlocked, stored));
        if (!pair) {
            continue;
        }
        device.Store().AddPair(unlocked, Usage::kEncryption, false, *pair);
        return;
    }
    throw Error(Code::kEnvelopeNotOurs, "no signing key on the key opens the enveloped key");
}

std::string CertificateText(Device& device, const CertificateSelector& selector,
                            CertificateFormat format) {
    const Bytes der = FindCertified(device, selector).certificate;
    return format == CertificateFormat::kPem ? ToPem(der, "CERTIFICATE") : ToBase64(der);
}

std::string CertificateName(Device& device, const CertificateSelector& selector, NameOf which,
                            size_t name_limit) {
    const ssl::Certificate certificate = SelectedCertificate(device, selector);
    const std::string name =
        which == NameOf::kSubject ? SubjectText(certificate.get()) : IssuerText(certificate.get());
    return Shortened(name, name_limit);
}

std::string CertificateInformation(Device& device, const CertificateSelector& selector,
                                   size_t name_limit) {
    return CertificateInfoText(SelectedCertificate(device, selector).get(), name_limit);
}

void DeleteCertificate(Device& device, const CertificateSelector& selector, DeleteScope scope) {
    std::vector<int64_t> doomed;
    for (const StoredPair& pair : device.Store().Pairs()) {
        if (selector.Fits(pair) && InScope(pair, scope)) {
            doomed.push_back(pair.id);
        }
    }
    Require(!doomed.empty(), Code::kCertificateNotFound, "there is nothing of that kind to delete");
    device.Authorize(Device::Use::kOther);
    device.Store().DeletePairs(doomed);
}

}  // namespace softkey
