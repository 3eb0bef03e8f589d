#include "entry/foreign_certificate.h"

#include <map>

#include "base/encoding.h"
#include "base/process_lock.h"
#include "crypto/certificate_texts.h"
#include "crypto/key_pair.h"

namespace softkey {
namespace {

Bytes SignedByNobody(const Bytes& der) {
    const ssl::Certificate certificate = ParseCertificate(der);
    ssl::Key own(X509_get_pubkey(certificate.get()));
    ssl::Check(own != nullptr, "the certificate's public key");
    const KeyPair pair = KeyPair::Generate(KeyPair(std::move(own)).Type());
    ssl::Check(X509_set_pubkey(certificate.get(), pair.Get()) == 1, "a public key");
    ssl::KeyContext key_context;
    const ssl::DigestContext context = pair.MessageContext(&key_context);
    ssl::Check(EVP_DigestSignInit(context.get(), nullptr, pair.Digest(), nullptr, pair.Get()) == 1,
               "signing");
    ssl::Check(X509_sign_ctx(certificate.get(), context.get()) > 0, "a certificate's signature");
    return ssl::ToDer(certificate.get(), i2d_X509, "a certificate");
}

}  // namespace

std::string ForeignCertificate(const std::string& text) {
    const std::optional<Bytes> der = FromBase64OrPem(text);
    Require(der.has_value(), Code::kFail, "what should be a certificate is none");
    const ProcessLock lock;
    static auto& made = *new std::map<Bytes, Bytes>();
    auto known = made.find(*der);
    if (known == made.end()) {
        known = made.emplace(*der, SignedByNobody(*der)).first;
    }
    const bool is_pem = text.rfind("-----BEGIN", 0) == 0;
    return is_pem ? ToPem(known->second, "CERTIFICATE") : ToBase64(known->second);
}

}  // namespace softkey
