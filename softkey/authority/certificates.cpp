#include "authority/certificates.h"

#include <openssl/conf.h>
#include <openssl/x509v3.h>

#include <algorithm>

#include "base/error.h"
#include "cli/words.h"
#include "crypto/sealing.h"

namespace softkey {
namespace {

using ssl::Check;
using Extension = ssl::Owner<X509_EXTENSION, X509_EXTENSION_free>;
using Integer = ssl::Owner<BIGNUM, BN_free>;
using Configuration = ssl::Owner<CONF, NCONF_free>;
using Object = ssl::Owner<ASN1_OBJECT, ASN1_OBJECT_free>;

constexpr size_t kSerialBytes = 16;

void SetSerial(X509* certificate) {
    Bytes random = RandomBytes(kSerialBytes);
    random[0] = static_cast<unsigned char>((random[0] & 0x3F) | 0x40);  // positive, full length
    const Integer number(BN_bin2bn(random.data(), static_cast<int>(random.size()), nullptr));
    Check(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
          "serial number");
}

[[noreturn]] void FailWithExtension(const NamedExtension& extension) {
    throw Error(
        Code::kInvalidParameter,
        cli::Say("{1}={2} is no extension of a certificate", extension.name, extension.value),
        "Write it as in openssl's configuration files: extendedKeyUsage=clientAuth, "
        "subjectAltName=DNS:bank.example, 1.2.3.4=DER:0500");
}

// Some extensions are only read beside a configuration, in which their values could name sections.
Configuration EmptyConfiguration() {
    Configuration configuration(NCONF_new(nullptr));
    const ssl::Output empty(BIO_new_mem_buf("\n", -1));
    long line = 0;
    Check(configuration != nullptr && empty != nullptr &&
              NCONF_load_bio(configuration.get(), empty.get(), &line) == 1,
          "configuration");
    return configuration;
}

// What is named later takes the place of what it names.
void AddExtension(X509* certificate, X509* issuer, const NamedExtension& named) {
    const Object object(OBJ_txt2obj(named.name.c_str(), 0));
    if (object == nullptr) {
        FailWithExtension(named);
    }
    const int place = X509_get_ext_by_OBJ(certificate, object.get(), -1);
    const Extension before(place < 0 ? nullptr : X509_delete_ext(certificate, place));
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Configuration nothing = EmptyConfiguration();
    X509V3_set_nconf(&context, nothing.get());
    const Extension extension(
        X509V3_EXT_nconf(nothing.get(), &context, named.name.c_str(), named.value.c_str()));
    if (extension == nullptr) {
        FailWithExtension(named);
    }
    Check(X509_add_ext(certificate, extension.get(), place) == 1, "certificate extension");
}

void Sign(X509* certificate, const KeyPair& issuer) {
    ssl::KeyContext key_context;
    const ssl::DigestContext context = issuer.MessageContext(&key_context);
    Check(EVP_DigestSignInit(context.get(), nullptr, issuer.Digest(), nullptr, issuer.Get()) == 1,
          "certificate signature");
    Check(X509_sign_ctx(certificate, context.get()) > 0, "certificate signature");
}

}  // namespace

void SetTime(ASN1_TIME* time, std::time_t moment) {
    Check(time != nullptr && ASN1_TIME_set(time, moment) != nullptr, "time");
}

std::string AuthorityConstraints(int64_t path_length) {
    const std::string constraints = "critical,CA:TRUE";
    return path_length == kAnyPathLength ? constraints
                                         : constraints + ",pathlen:" + std::to_string(path_length);
}

ssl::Certificate MakeCertificate(const KeyPair& key, const X509_NAME* subject,
                                 const Profile& profile, const Issuer* issuer) {
    ssl::Certificate certificate(X509_new());
    X509* const raw = certificate.get();
    Check(raw != nullptr && X509_set_version(raw, X509_VERSION_3) == 1, "certificate");
    SetSerial(raw);
    X509* const signer = issuer == nullptr ? raw : issuer->Certificate();
    Check(X509_set_subject_name(raw, subject) == 1 &&
              X509_set_issuer_name(raw, X509_get_subject_name(signer)) == 1,
          "certificate names");
    SetTime(X509_getm_notBefore(raw), profile.validity.from);
    SetTime(X509_getm_notAfter(raw), profile.validity.until);
    Check(X509_set_pubkey(raw, key.Get()) == 1, "certificate public key");
    for (const NamedExtension& extension : profile.extensions) {
        AddExtension(raw, signer, extension);
    }
    Sign(raw, issuer == nullptr ? key : issuer->pair);
    return certificate;
}

}  // namespace softkey
