#include "crypto/pkcs7.h"

#include <openssl/asn1t.h>

#include <algorithm>
#include <iterator>

#include "base/encoding.h"
#include "base/error.h"
#include "crypto/certificate_texts.h"

namespace softkey {
namespace {

using ssl::Check;

// OpenSSL's own PKCS7 knows neither the identifiers of GB/T 35275 nor the signers that CMS
// (RFC 5652) allows. Of what is read here only the certificates count, and all before them.
struct ContentInfo {
    ASN1_OBJECT* type;
    ASN1_TYPE* content;
};

struct SignedParts {
    ASN1_INTEGER* version;
    STACK_OF(X509_ALGOR) * digests;
    ContentInfo* content;
    STACK_OF(X509) * certificates;
    STACK_OF(ASN1_TYPE) * revocations;
    STACK_OF(ASN1_TYPE) * signers;
};

// clang-format off
ASN1_SEQUENCE(ContentInfo) = {
    ASN1_SIMPLE(ContentInfo, type, ASN1_OBJECT),
    ASN1_EXP_OPT(ContentInfo, content, ASN1_ANY, 0),
} static_ASN1_SEQUENCE_END(ContentInfo)
IMPLEMENT_STATIC_ASN1_ALLOC_FUNCTIONS(ContentInfo)
IMPLEMENT_STATIC_ASN1_ENCODE_FUNCTIONS(ContentInfo)

ASN1_SEQUENCE(SignedParts) = {
    ASN1_SIMPLE(SignedParts, version, ASN1_INTEGER),
    ASN1_SET_OF(SignedParts, digests, X509_ALGOR),
    ASN1_SIMPLE(SignedParts, content, ContentInfo),
    ASN1_IMP_SEQUENCE_OF_OPT(SignedParts, certificates, X509, 0),
    ASN1_IMP_SET_OF_OPT(SignedParts, revocations, ASN1_ANY, 1),
    ASN1_SET_OF_OPT(SignedParts, signers, ASN1_ANY),
} static_ASN1_SEQUENCE_END(SignedParts)
IMPLEMENT_STATIC_ASN1_ALLOC_FUNCTIONS(SignedParts)
    // clang-format on

    using Content = ssl::Owner<ContentInfo, ContentInfo_free>;
using Parts = ssl::Owner<SignedParts, SignedParts_free>;
using SignerInfo = ssl::Owner<PKCS7_SIGNER_INFO, PKCS7_SIGNER_INFO_free>;

constexpr char kSm3[] = "1.2.156.10197.1.401";
constexpr char kSm2Signature[] = "1.2.156.10197.1.301.1";
constexpr char kSha256[] = "2.16.840.1.101.3.4.2.1";
constexpr char kRsa[] = "1.2.840.113549.1.1.1";

struct Names {
    const char* data;
    const char* signed_data;
};
constexpr Names kNames[] = {
    {"1.2.840.113549.1.7.1", "1.2.840.113549.1.7.2"},
    {"1.2.156.10197.6.1.4.2.1", "1.2.156.10197.6.1.4.2.2"},
};

ASN1_OBJECT* ObjectId(const char* dotted) {
    ASN1_OBJECT* const object = OBJ_txt2obj(dotted, 1);
    Check(object != nullptr, "object identifier");
    return object;
}

bool IsSignedData(const ContentInfo& info) {
    const std::string type = ssl::Dotted(info.type);
    const bool known = std::any_of(std::begin(kNames), std::end(kNames),
                                   [&](const Names& names) { return type == names.signed_data; });
    return known && info.content != nullptr && info.content->type == V_ASN1_SEQUENCE;
}

// Certificates, version and an empty content of the right type.
Parts NewParts(const std::vector<Bytes>& certificates, const Names& names) {
    Parts parts(SignedParts_new());
    Check(parts != nullptr && ASN1_INTEGER_set(parts->version, 1) == 1, "PKCS#7");
    parts->content->type = ObjectId(names.data);
    parts->certificates = sk_X509_new_null();
    parts->signers = sk_ASN1_TYPE_new_null();
    for (const Bytes& certificate : certificates) {
        Check(sk_X509_push(parts->certificates, ParseCertificate(certificate).release()) > 0,
              "PKCS#7 certificate");
    }
    return parts;
}

Bytes Wrapped(const Parts& parts, const Names& names) {
    const Content info(ContentInfo_new());
    Check(info != nullptr, "PKCS#7");
    info->type = ObjectId(names.signed_data);
    info->content = ASN1_TYPE_pack_sequence(ASN1_ITEM_rptr(SignedParts), parts.get(), nullptr);
    Check(info->content != nullptr, "PKCS#7");
    return ssl::ToDer(info.get(), i2d_ContentInfo, "PKCS#7");
}

void SetContent(ContentInfo* info, const Bytes& bytes) {
    ASN1_OCTET_STRING* const octets = ASN1_OCTET_STRING_new();
    info->content = ASN1_TYPE_new();
    Check(octets != nullptr && info->content != nullptr &&
              ASN1_OCTET_STRING_set(octets, bytes.data(), static_cast<int>(bytes.size())) == 1,
          "PKCS#7 content");
    ASN1_TYPE_set(info->content, V_ASN1_OCTET_STRING, octets);
}

void SetAlgorithm(X509_ALGOR* algorithm, const char* dotted) {
    Check(X509_ALGOR_set0(algorithm, ObjectId(dotted), V_ASN1_NULL, nullptr) == 1,
          "PKCS#7 algorithm");
}

void AddSigner(SignedParts* parts, KeyType type, const Bytes& signature) {
    const bool sm2 = type == KeyType::kSm2;
    const X509* const certificate = sk_X509_value(parts->certificates, 0);
    const SignerInfo signer(PKCS7_SIGNER_INFO_new());
    X509_ALGOR* const digest = X509_ALGOR_new();
    Check(
        signer != nullptr && digest != nullptr && sk_X509_ALGOR_push(parts->digests, digest) > 0 &&
            ASN1_INTEGER_set(signer->version, 1) == 1 &&
            X509_NAME_set(&signer->issuer_and_serial->issuer, X509_get_issuer_name(certificate)) ==
                1 &&
            ASN1_STRING_copy(signer->issuer_and_serial->serial,
                             X509_get0_serialNumber(certificate)) == 1 &&
            ASN1_OCTET_STRING_set(signer->enc_digest, signature.data(),
                                  static_cast<int>(signature.size())) == 1,
        "PKCS#7 signer");
    SetAlgorithm(digest, sm2 ? kSm3 : kSha256);
    SetAlgorithm(signer->digest_alg, sm2 ? kSm3 : kSha256);
    SetAlgorithm(signer->digest_enc_alg, sm2 ? kSm2Signature : kRsa);
    ASN1_TYPE* const any =
        ASN1_TYPE_pack_sequence(ASN1_ITEM_rptr(PKCS7_SIGNER_INFO), signer.get(), nullptr);
    Check(any != nullptr && sk_ASN1_TYPE_push(parts->signers, any) > 0, "PKCS#7 signer");
}

}  // namespace

std::vector<ssl::Certificate> CertificatesOf(std::string_view text) {
    const std::optional<Bytes> encoded = FromBase64OrPem(text);
    Require(encoded.has_value(), Code::kPkcs7Malformed, "the text is neither Base64 nor PEM");
    const Content info = ssl::FromDer<Content>(*encoded, d2i_ContentInfo);
    Require(info != nullptr && IsSignedData(*info), Code::kPkcs7Malformed,
            "the structure is not PKCS#7 signed data");
    const Parts parts = ssl::AskedTwice([&] {
        return Parts(static_cast<SignedParts*>(
            ASN1_TYPE_unpack_sequence(ASN1_ITEM_rptr(SignedParts), info->content)));
    });
    Check(parts != nullptr, "the signed data cannot be read", Code::kPkcs7Malformed);
    std::vector<ssl::Certificate> certificates;
    while (X509* const certificate = sk_X509_shift(parts->certificates)) {
        certificates.emplace_back(certificate);
    }
    Require(!certificates.empty(), Code::kPkcs7Malformed, "there are no certificates");
    return certificates;
}

Bytes CertificatesOnly(const std::vector<Bytes>& certificates, Pkcs7Names which) {
    const Names& names = kNames[static_cast<int>(which)];
    return Wrapped(NewParts(certificates, names), names);
}

Bytes SignedData(const KeyPair& signer, const Bytes& certificate, const Bytes& signature,
                 const std::optional<Bytes>& content, Pkcs7Names which) {
    const Names& names = kNames[static_cast<int>(which)];
    const Parts parts = NewParts({certificate}, names);
    if (content) {
        SetContent(parts->content, *content);
    }
    AddSigner(parts.get(), signer.Type(), signature);
    return Wrapped(parts, names);
}

}  // namespace softkey
