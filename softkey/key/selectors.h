#ifndef SOFTKEY_KEY_SELECTORS_H
#define SOFTKEY_KEY_SELECTORS_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "store/key_store.h"

// The numbers with which a client chooses. docs/software-key.md has them as tables; every reader
// throws kSelector for a number outside its table.
namespace softkey {

// Which certificate, and the key pair that belongs to it.
struct CertificateSelector {
    Usage usage;
    std::optional<KeyType> type;  // empty: SM2, or RSA when there is no SM2 certificate

    bool Fits(const StoredPair& pair) const {
        return pair.usage == usage && (!type || *type == pair.type);
    }
};
CertificateSelector ReadCertificateSelector(int64_t number);

enum class CertificateFormat { kBase64, kPem };
CertificateFormat ReadCertificateFormat(int64_t number);

enum class NameOf { kSubject, kIssuer };
NameOf ReadNameOf(int64_t number);

enum class DeleteScope { kEverything, kTemporary, kCertified };
DeleteScope ReadDeleteScope(int64_t number);

enum class SignatureFormat {
    kBase64,
    kAttached,
    kDetached,
    kHex,
    kPlain,
    kAttachedGm,
    kDetachedGm
};
SignatureFormat ReadSignatureFormat(int64_t number);

// How a data argument, which is a text, stands for what is signed.
struct SignedContent {
    Bytes bytes;
    bool is_digest;
};
SignedContent ReadSignedContent(int64_t kind, std::string_view text);

// GMUSBKeyAsymDec2's second number: three digits in hexadecimal.
enum class PlainEncoding { kText, kHex, kBase64 };
struct CipherSelector {
    bool cipher_is_hex;
    PlainEncoding plain;
    KeyPair::RsaPadding padding;
    bool padding_given;
};
CipherSelector ReadCipherSelector(uint32_t number);

}  // namespace softkey

#endif
