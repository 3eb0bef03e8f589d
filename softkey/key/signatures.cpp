#include "key/signatures.h"

#include <algorithm>
#include <map>

#include "base/encoding.h"
#include "base/error.h"
#include "base/process_lock.h"
#include "crypto/pkcs7.h"
#include "key/certificates.h"

namespace softkey {
namespace {

using EcSignature = ssl::Owner<ECDSA_SIG, ECDSA_SIG_free>;
constexpr std::string_view kItemSeparator = "||";
constexpr int kHalfLength = 32;

// A signing key that has been opened, ready for one signature or a whole batch.
struct Signer {
    StoredPair stored;
    KeyPair pair;
};

bool IsForSm2Only(SignatureFormat format) {
    return format == SignatureFormat::kPlain || format == SignatureFormat::kAttachedGm ||
           format == SignatureFormat::kDetachedGm;
}

StoredPair FindSigningPair(Device& device, const SignatureOrder& order) {
    Require(order.key.usage == Usage::kSigning, Code::kKeyUsage,
            "signatures are made with a signing key");
    StoredPair stored = FindCertified(device, order.key);
    Require(stored.type == KeyType::kSm2 || !IsForSm2Only(order.format), Code::kSelector,
            "signature formats 4 to 6 are for SM2 only");
    return stored;
}

Signer OpenSigner(Device& device, StoredPair stored) {
    KeyPair pair = device.Open(stored);
    return {std::move(stored), std::move(pair)};
}

// r || s, each 32 bytes.
Bytes PlainSignature(const Bytes& signature) {
    const unsigned char* cursor = signature.data();
    const EcSignature parsed(d2i_ECDSA_SIG(nullptr, &cursor, static_cast<long>(signature.size())));
    ssl::Check(parsed != nullptr, "signature");
    Bytes plain(2 * size_t{kHalfLength});
    BN_bn2binpad(ECDSA_SIG_get0_r(parsed.get()), plain.data(), kHalfLength);
    BN_bn2binpad(ECDSA_SIG_get0_s(parsed.get()), plain.data() + kHalfLength, kHalfLength);
    return plain;
}

std::string Pkcs7Signature(const Signer& signer, const Bytes& signature,
                           const std::optional<Bytes>& content, Pkcs7Names names) {
    return ToBase64(SignedData(signer.pair, signer.stored.certificate, signature, content, names));
}

std::string SignContent(const Signer& signer, SignatureFormat format,
                        const SignedContent& content) {
    const bool attached =
        format == SignatureFormat::kAttached || format == SignatureFormat::kAttachedGm;
    Require(!(attached && content.is_digest), Code::kSelector, "a digest has no content to attach");
    const Bytes signature = content.is_digest ? signer.pair.SignDigest(content.bytes)
                                              : signer.pair.SignMessage(content.bytes);
    switch (format) {
        case SignatureFormat::kHex:
            return ToHex(signature);
        case SignatureFormat::kPlain:
            return ToBase64(PlainSignature(signature));
        case SignatureFormat::kAttached:
            return Pkcs7Signature(signer, signature, content.bytes, Pkcs7Names::kRfc2315);
        case SignatureFormat::kDetached:
            return Pkcs7Signature(signer, signature, std::nullopt, Pkcs7Names::kRfc2315);
        case SignatureFormat::kAttachedGm:
            return Pkcs7Signature(signer, signature, content.bytes, Pkcs7Names::kGm);
        case SignatureFormat::kDetachedGm:
            return Pkcs7Signature(signer, signature, std::nullopt, Pkcs7Names::kGm);
        case SignatureFormat::kBase64:
            break;
    }
    return ToBase64(signature);
}

std::vector<SignedContent> ReadItems(int64_t kind, std::string_view batch) {
    std::vector<std::string> items = Split(batch, kItemSeparator);
    if (items.size() > 1 && items.back().empty()) {
        items.pop_back();
    }
    std::vector<SignedContent> contents;
    contents.reserve(items.size());
    for (const std::string& item : items) {
        Require(!item.empty(), Code::kData, "the batch has an empty item");
        contents.push_back(ReadSignedContent(kind, item));
    }
    return contents;
}

using Warnings = std::map<std::string, std::string>;

Warnings& WarningsOfThisProcess() {
    // Never destroyed: clients call as late as from exit handlers.
    static auto* const warnings = new Warnings;
    return *warnings;
}

std::string EncodePlain(const SecretBytes& plain, PlainEncoding encoding) {
    const Bytes bytes(plain.begin(), plain.end());
    if (encoding == PlainEncoding::kHex) {
        return ToHex(bytes);
    }
    if (encoding == PlainEncoding::kBase64) {
        return ToBase64(bytes);
    }
    Require(std::find(plain.begin(), plain.end(), '\0') == plain.end(), Code::kData,
            "the plaintext is binary; select hexadecimal or Base64");
    return std::string(AsText(bytes));
}

}  // namespace

std::string Sign(Device& device, const SignatureOrder& order, std::string_view data) {
    const SignedContent content = ReadSignedContent(order.content_kind, data);
    return SignContent(OpenSigner(device, FindSigningPair(device, order)), order.format, content);
}

std::string SignConfirmed(Device& device, const SignatureOrder& order, std::string_view data,
                          const std::string& warning) {
    const SignedContent content = ReadSignedContent(order.content_kind, data);
    StoredPair stored = FindSigningPair(device, order);
    const Bytes digest = content.is_digest
                             ? content.bytes
                             : KeyPair::FromPublic(stored.public_key).DigestOf(content.bytes);
    AskForConfirmation(device.Subject(), warning, ToHex(digest));
    return SignContent(OpenSigner(device, std::move(stored)), order.format, content);
}

std::string SignBatch(Device& device, const SignatureOrder& order, std::string_view batch) {
    // All items are read before the first is signed: a batch is signed whole or not at all.
    const std::vector<SignedContent> items = ReadItems(order.content_kind, batch);
    const Signer signer = OpenSigner(device, FindSigningPair(device, order));
    std::string output;
    for (const SignedContent& item : items) {
        if (!output.empty()) {
            output += kItemSeparator;
        }
        output += SignContent(signer, order.format, item);
    }
    return output;
}

void KeepWarning(const std::string& serial, const std::string& warning) {
    const ProcessLock lock;
    WarningsOfThisProcess()[serial] = warning;
}

std::string TakeWarning(const std::string& serial) {
    const ProcessLock lock;
    const auto node = WarningsOfThisProcess().extract(serial);
    return node.empty() ? std::string() : node.mapped();
}

std::string Decrypt(Device& device, const CertificateSelector& key, const CipherSelector& selector,
                    std::string_view cipher) {
    Require(key.usage == Usage::kEncryption, Code::kKeyUsage,
            "decryption is done with an encryption key");
    const std::optional<Bytes> bytes =
        selector.cipher_is_hex ? FromHex(cipher) : FromBase64(cipher);
    Require(bytes.has_value() && !bytes->empty(), Code::kData,
            "the ciphertext is not in the encoding that was selected");
    const StoredPair stored = FindCertified(device, key);
    const bool sm2 = stored.type == KeyType::kSm2;
    Require(!(sm2 && selector.padding_given), Code::kSelector, "paddings are for RSA only");
    const KeyPair pair = device.Open(stored);
    return EncodePlain(sm2 ? pair.Sm2Decrypt(*bytes) : pair.RsaDecrypt(*bytes, selector.padding),
                       selector.plain);
}

}  // namespace softkey
