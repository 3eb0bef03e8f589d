#ifndef SOFTKEY_CRYPTO_ENVELOPED_KEY_H
#define SOFTKEY_CRYPTO_ENVELOPED_KEY_H

#include <optional>
#include <string_view>

#include "crypto/key_pair.h"

namespace softkey {

// An SM2 key pair whose private half is encrypted with SM4 under a fresh key, which in turn is
// encrypted with SM2 for the recipient.
class EnvelopedKey {
 public:
    // SM2EnvelopedKey of GB/T 35276 or ENVELOPEDKEYBLOB of GM/T 0016, as Base64 or hexadecimal
    // text. Throws kEnvelopeMalformed, and kNotSupported for another algorithm than SM4-ECB.
    static EnvelopedKey Parse(std::string_view text);

    // Empty when it was sealed for another recipient. Throws kEnvelopeMalformed when the private
    // key inside does not belong to the public key beside it.
    std::optional<KeyPair> Open(const KeyPair& recipient) const;

    // SM2EnvelopedKey of GB/T 35276 in DER, or ENVELOPEDKEYBLOB of GM/T 0016.
    enum class Structure : int { kGbt35276, kGmt0016 };

    // `pair` for `recipient`, of whom only the public half is needed.
    static Bytes Seal(const KeyPair& pair, const KeyPair& recipient,
                      Structure structure = Structure::kGbt35276);

 private:
    static EnvelopedKey FromDer(const Bytes& encoded);
    static EnvelopedKey FromBlob(const Bytes& encoded);

    Bytes encrypted_key_;  // SM2Cipher, whole
    Bytes public_point_;
    Bytes encrypted_private_;
};

}  // namespace softkey

#endif
