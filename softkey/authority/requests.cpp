#include "authority/requests.h"

#include <openssl/x509v3.h>

#include "base/encoding.h"
#include "base/error.h"

namespace softkey {
namespace {

using ssl::Check;

ssl::Request Decode(const std::string& text) {
    const std::optional<Bytes> der = FromBase64OrPem(text);
    Require(der.has_value(), Code::kData, "a request is neither Base64 nor PEM");
    auto request = ssl::FromDer<ssl::Request>(*der, d2i_X509_REQ);
    Require(request != nullptr, Code::kData, "a request is no PKCS#10, or something follows it");
    return request;
}

KeyPair RequesterOf(X509_REQ* request) {
    EVP_PKEY* const key = X509_REQ_get0_pubkey(request);
    Check(key != nullptr, "a request's public key", Code::kData);
    KeyPair pair = KeyPair::FromPublic(ssl::ToDer(key, i2d_PUBKEY, "public key"));
    if (pair.Type() == KeyType::kSm2) {
        X509_REQ_set0_distinguishing_id(request, NewDefaultUserId());
    }
    Check(X509_REQ_verify(request, pair.Get()) == 1, "a request's signature is wrong", Code::kData);
    return pair;
}

RequestKind KindOf(const X509_REQ* request) {
    STACK_OF(X509_EXTENSION)* const extensions =
        X509_REQ_get_extensions(const_cast<X509_REQ*>(request));
    const ssl::BitString usage(
        static_cast<ASN1_BIT_STRING*>(X509V3_get_d2i(extensions, NID_key_usage, nullptr, nullptr)));
    sk_X509_EXTENSION_pop_free(extensions, X509_EXTENSION_free);
    constexpr int kDigitalSignature = 0;
    constexpr int kKeyEncipherment = 2;
    if (!ssl::IsYes(usage != nullptr)) {
        return RequestKind::kSigning;
    }
    const bool encrypts = ASN1_BIT_STRING_get_bit(usage.get(), kKeyEncipherment) == 1;
    const bool signs = ASN1_BIT_STRING_get_bit(usage.get(), kDigitalSignature) == 1;
    if (encrypts && signs) {
        return RequestKind::kDual;
    }
    return encrypts ? RequestKind::kEncryption : RequestKind::kSigning;
}

std::string_view Trimmed(std::string_view text) {
    constexpr char kBlanks[] = " \t\r\n";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Cuts the first PEM block off `rest`. Whatever else stands there is refused.
std::string TakeBlock(std::string_view& rest) {
    constexpr std::string_view kBegin = "-----BEGIN ";
    constexpr std::string_view kEnd = "-----END ";
    constexpr std::string_view kDashes = "-----";
    Require(rest.substr(0, kBegin.size()) == kBegin, Code::kData,
            "something that is no PEM block stands between or behind the requests");
    const size_t end = rest.find(kEnd);
    const size_t dashes =
        end == std::string_view::npos ? end : rest.find(kDashes, end + kEnd.size());
    Require(dashes != std::string_view::npos, Code::kData, "a PEM block has no end");
    const size_t length = dashes + kDashes.size();
    std::string block(rest.substr(0, length));
    rest = Trimmed(rest.substr(length));
    return block;
}

// Requests are joined by "||", or follow one another as PEM blocks.
std::vector<std::string> TextsIn(const std::string& text) {
    std::vector<std::string> requests;
    for (const std::string& part : Split(text, "||")) {
        std::string_view rest = Trimmed(part);
        // An unused first entry of a batch leaves only its separator.
        if (rest.find("-----") == std::string_view::npos && !rest.empty()) {
            requests.emplace_back(rest);
            continue;
        }
        while (!rest.empty()) {
            requests.push_back(TakeBlock(rest));
        }
    }
    return requests;
}

}  // namespace

std::vector<ReadRequest> RequestsIn(const std::string& text) {
    std::vector<ReadRequest> requests;
    for (const std::string& one : TextsIn(text)) {
        ssl::Request request = Decode(one);
        KeyPair requester = RequesterOf(request.get());
        const RequestKind kind = KindOf(request.get());
        requests.push_back({std::move(request), std::move(requester), kind});
    }
    Require(!requests.empty(), Code::kData, "there is no request in the input");
    return requests;
}

}  // namespace softkey
