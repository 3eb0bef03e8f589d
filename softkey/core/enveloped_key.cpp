#include "core/enveloped_key.h"

#include "core/der.h"
#include "core/encoding.h"
#include "core/error.h"
#include "core/sealing.h"

namespace softkey {
namespace {

using der::Cursor;
using der::Element;

constexpr char kSm4Ecb[] = "1.2.156.10197.1.104.1";
constexpr char kSm4[] = "1.2.156.10197.1.104";
constexpr size_t kSm4KeyLength = 16;
constexpr size_t kScalarLength = 32;

// The interface's structures give private keys 512 bits, of which the first half is zero here.
constexpr size_t kPaddedScalarLength = 64;

enum class Direction : int { kDecrypt = 0, kEncrypt = 1 };

// Whole blocks, no padding: a private key is two of them.
SecretBytes RunSm4Ecb(const SecretBytes& key, const unsigned char* input, size_t size,
                      Direction direction) {
    const ssl::CipherContext context(EVP_CIPHER_CTX_new());
    SecretBytes output(size);
    int length = 0;
    int rest = 0;
    ssl::Check(context != nullptr &&
                   EVP_CipherInit_ex2(context.get(), EVP_sm4_ecb(), key.data(), nullptr,
                                      static_cast<int>(direction), nullptr) == 1 &&
                   EVP_CIPHER_CTX_set_padding(context.get(), 0) == 1 &&
                   EVP_CipherUpdate(context.get(), output.data(), &length, input,
                                    static_cast<int>(size)) == 1 &&
                   EVP_CipherFinal_ex(context.get(), output.data() + length, &rest) == 1,
               "SM4");
    return output;
}

bool TakeAlgorithm(Cursor* cursor) {
    Cursor algorithm(nullptr, 0);
    if (!cursor->Take(der::kSequence, &algorithm)) {
        return false;
    }
    if (!algorithm.TakeObjectId(kSm4Ecb) && !algorithm.TakeObjectId(kSm4)) {
        return false;
    }
    return algorithm.AtEnd() || (algorithm.Skip(der::kNull) && algorithm.AtEnd());
}

std::optional<SecretBytes> TryDecrypt(const KeyPair& recipient, const Bytes& cipher) {
    const ssl::ErrorMark mark;
    try {
        return recipient.Sm2Decrypt(cipher);
    } catch (const Error& error) {
        // The structure's own check value tells a wrong recipient from a right one.
        if (error.code() == Code::kDecryption) {
            return std::nullopt;
        }
        throw;
    }
}

}  // namespace

EnvelopedKey EnvelopedKey::Parse(std::string_view text) {
    // DER begins with 30, and Base64 of that with M: no text is both.
    std::optional<Bytes> encoded = FromHex(text);
    if (!encoded) {
        encoded = FromBase64(text);
    }
    Require(encoded.has_value() && !encoded->empty(), Code::kEnvelopeMalformed,
            "the text is neither hexadecimal nor Base64");
    EnvelopedKey envelope;
    Cursor whole(*encoded);
    Cursor fields(nullptr, 0);
    const bool complete = whole.Take(der::kSequence, &fields) && whole.AtEnd() &&
                          TakeAlgorithm(&fields) && fields.Has(der::kSequence) &&
                          fields.TakeWhole(&envelope.encrypted_key_) &&
                          fields.TakeBits(&envelope.public_point_) &&
                          fields.TakeBits(&envelope.encrypted_private_) && fields.AtEnd();
    const size_t length = envelope.encrypted_private_.size();
    Require(complete && (length == kScalarLength || length == kPaddedScalarLength),
            Code::kEnvelopeMalformed, "the structure is not an SM2 enveloped key");
    return envelope;
}

std::optional<KeyPair> EnvelopedKey::Open(const KeyPair& recipient) const {
    const std::optional<SecretBytes> key = TryDecrypt(recipient, encrypted_key_);
    if (!key || key->size() != kSm4KeyLength) {
        return std::nullopt;
    }
    const SecretBytes padded =
        RunSm4Ecb(*key, encrypted_private_.data(), encrypted_private_.size(), Direction::kDecrypt);
    try {
        KeyPair pair =
            KeyPair::Sm2FromScalar(SecretBytes(padded.end() - kScalarLength, padded.end()));
        if (pair.Sm2Point() == public_point_) {
            return pair;
        }
    } catch (const Error& error) {
        if (error.code() != Code::kData) {
            throw;
        }
    }
    throw Error(Code::kEnvelopeMalformed,
                "the private key inside does not belong to the public key beside it");
}

Bytes EnvelopedKey::Seal(const KeyPair& pair, const KeyPair& recipient) {
    const SecretBytes key = RandomSecret(kSm4KeyLength);
    const SecretBytes scalar = pair.Sm2Scalar();
    const SecretBytes sealed = RunSm4Ecb(key, scalar.data(), scalar.size(), Direction::kEncrypt);
    return Element(der::kSequence, {Element(der::kSequence, der::ObjectId(kSm4Ecb)),
                                    recipient.Sm2Encrypt(key), der::BitString(pair.Sm2Point()),
                                    der::BitString(Bytes(sealed.begin(), sealed.end()))});
}

}  // namespace softkey
