#include "core/pkcs7.h"

#include "core/der.h"
#include "core/encoding.h"
#include "core/error.h"

namespace softkey {
namespace {

using der::Cursor;
using der::Element;

constexpr char kData[] = "1.2.840.113549.1.7.1";
constexpr char kSignedData[] = "1.2.840.113549.1.7.2";
constexpr char kGmSignedData[] = "1.2.156.10197.6.1.4.2.2";
constexpr char kSm3[] = "1.2.156.10197.1.401";
constexpr char kSm2Signature[] = "1.2.156.10197.1.301.1";
constexpr char kSha256[] = "2.16.840.1.101.3.4.2.1";
constexpr char kRsa[] = "1.2.840.113549.1.1.1";

Bytes Algorithm(const char* dotted) {
    return Element(der::kSequence, {der::ObjectId(dotted), Element(der::kNull, Bytes())});
}

Bytes WrapSignedData(const Bytes& digest_algorithms, const Bytes& content_info,
                     const std::vector<Bytes>& certificates, const Bytes& signers) {
    Bytes all;
    for (const Bytes& certificate : certificates) {
        all.insert(all.end(), certificate.begin(), certificate.end());
    }
    const Bytes signed_data = Element(
        der::kSequence, {der::SmallInteger(1), Element(der::kSet, digest_algorithms), content_info,
                         Element(der::kContext0, all), Element(der::kSet, signers)});
    return Element(der::kSequence,
                   {der::ObjectId(kSignedData), Element(der::kContext0, signed_data)});
}

Bytes ContentInfo(const std::optional<Bytes>& content) {
    if (!content) {
        return Element(der::kSequence, der::ObjectId(kData));
    }
    return Element(der::kSequence, {der::ObjectId(kData),
                                    Element(der::kContext0, Element(der::kOctetString, *content))});
}

Bytes IssuerAndSerial(const Bytes& certificate) {
    const unsigned char* cursor = certificate.data();
    const ssl::Certificate parsed(
        d2i_X509(nullptr, &cursor, static_cast<long>(certificate.size())));
    ssl::Check(parsed != nullptr, "certificate", Code::kStoreDamaged);
    return Element(
        der::kSequence,
        {ssl::ToDer(X509_get_issuer_name(parsed.get()), i2d_X509_NAME, "issuer"),
         ssl::ToDer(X509_get0_serialNumber(parsed.get()), i2d_ASN1_INTEGER, "serial number")});
}

// Leaves `certificates` at the content of the optional [0] field of signed data.
bool FindCertificates(Cursor whole, Cursor* certificates) {
    Cursor content_info(nullptr, 0);
    Cursor wrapper(nullptr, 0);
    Cursor signed_data(nullptr, 0);
    return whole.Take(der::kSequence, &content_info) && whole.AtEnd() &&
           (content_info.TakeObjectId(kSignedData) || content_info.TakeObjectId(kGmSignedData)) &&
           content_info.Take(der::kContext0, &wrapper) &&
           wrapper.Take(der::kSequence, &signed_data) && signed_data.Skip(der::kInteger) &&
           signed_data.Skip(der::kSet) && signed_data.Skip(der::kSequence) &&
           signed_data.Take(der::kContext0, certificates);
}

}  // namespace

std::vector<ssl::Certificate> CertificatesOf(std::string_view text) {
    const std::optional<Bytes> encoded = FromBase64OrPem(text);
    Require(encoded.has_value(), Code::kPkcs7Malformed, "the text is neither Base64 nor PEM");
    Cursor rest(nullptr, 0);
    Require(FindCertificates(Cursor(*encoded), &rest), Code::kPkcs7Malformed,
            "the structure is not PKCS#7 signed data with certificates");
    std::vector<ssl::Certificate> certificates;
    Bytes element;
    while (!rest.AtEnd()) {
        Require(rest.TakeWhole(&element), Code::kPkcs7Malformed, "a certificate is cut off");
        const unsigned char* cursor = element.data();
        certificates.emplace_back(d2i_X509(nullptr, &cursor, static_cast<long>(element.size())));
        Require(certificates.back() != nullptr, Code::kPkcs7Malformed,
                "a certificate cannot be read");
    }
    Require(!certificates.empty(), Code::kPkcs7Malformed, "there are no certificates");
    return certificates;
}

Bytes CertificatesOnly(const std::vector<Bytes>& certificates) {
    return WrapSignedData(Bytes(), ContentInfo(std::nullopt), certificates, Bytes());
}

Bytes SignedData(const KeyPair& signer, const Bytes& certificate, const Bytes& signature,
                 const std::optional<Bytes>& content) {
    const bool sm2 = signer.Type() == KeyType::kSm2;
    const Bytes digest = Algorithm(sm2 ? kSm3 : kSha256);
    const Bytes signer_info =
        Element(der::kSequence,
                {der::SmallInteger(1), IssuerAndSerial(certificate), digest,
                 Algorithm(sm2 ? kSm2Signature : kRsa), Element(der::kOctetString, signature)});
    return WrapSignedData(digest, ContentInfo(content), {certificate}, signer_info);
}

}  // namespace softkey
