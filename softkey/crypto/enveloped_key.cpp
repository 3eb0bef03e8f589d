#include "crypto/enveloped_key.h"

#include <openssl/asn1t.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "base/encoding.h"
#include "base/error.h"
#include "crypto/sealing.h"

namespace softkey {
namespace {

constexpr char kSm4Ecb[] = "1.2.156.10197.1.104.1";
constexpr char kSm4[] = "1.2.156.10197.1.104";
constexpr size_t kSm4KeyLength = 16;
constexpr size_t kScalarLength = 32;
constexpr unsigned char kUncompressed = 0x04;
constexpr unsigned char kSequenceTag = 0x30;

// GM/T 0016 has room for numbers of 512 bits. Those of SM2 stand at the end of it.
constexpr size_t kPaddedLength = 64;

// SM2EnvelopedKey of GB/T 35276.
struct Envelope {
    X509_ALGOR* algorithm;
    ASN1_STRING* encrypted_key;  // SM2Cipher, whole
    ASN1_BIT_STRING* public_point;
    ASN1_BIT_STRING* encrypted_private;
};

struct Sm2Cipher {
    BIGNUM* x;
    BIGNUM* y;
    ASN1_OCTET_STRING* hash;
    ASN1_OCTET_STRING* text;
};

// clang-format off
ASN1_SEQUENCE(Envelope) = {
    ASN1_SIMPLE(Envelope, algorithm, X509_ALGOR),
    ASN1_SIMPLE(Envelope, encrypted_key, ASN1_SEQUENCE),
    ASN1_SIMPLE(Envelope, public_point, ASN1_BIT_STRING),
    ASN1_SIMPLE(Envelope, encrypted_private, ASN1_BIT_STRING),
} static_ASN1_SEQUENCE_END(Envelope)
IMPLEMENT_STATIC_ASN1_ALLOC_FUNCTIONS(Envelope)
IMPLEMENT_STATIC_ASN1_ENCODE_FUNCTIONS(Envelope)

ASN1_SEQUENCE(Sm2Cipher) = {
    ASN1_SIMPLE(Sm2Cipher, x, BIGNUM),
    ASN1_SIMPLE(Sm2Cipher, y, BIGNUM),
    ASN1_SIMPLE(Sm2Cipher, hash, ASN1_OCTET_STRING),
    ASN1_SIMPLE(Sm2Cipher, text, ASN1_OCTET_STRING),
} static_ASN1_SEQUENCE_END(Sm2Cipher)
IMPLEMENT_STATIC_ASN1_ALLOC_FUNCTIONS(Sm2Cipher)
    // clang-format on

    using EnvelopeOwner = ssl::Owner<Envelope, Envelope_free>;
using CipherOwner = ssl::Owner<Sm2Cipher, Sm2Cipher_free>;

// ENVELOPEDKEYBLOB of GM/T 0016 up to the encrypted key itself. Numbers of four bytes have the
// least significant first.
using Word = unsigned char[4];
using Padded = unsigned char[kPaddedLength];
struct Blob {
    Word version;
    Word algorithm;
    Word bits;
    Padded encrypted_private;
    Word point_bits;
    Padded point_x;
    Padded point_y;
    Padded cipher_x;
    Padded cipher_y;
    unsigned char cipher_hash[32];
    Word cipher_length;
};
static_assert(sizeof(Blob) == 372, "the structure has no gaps");

constexpr uint32_t kBlobVersion = 1;
constexpr uint32_t kBlobSm4Ecb = 0x00000401;
constexpr uint32_t kSm2Bits = 256;

uint32_t Number(const Word& word) {
    return static_cast<uint32_t>(word[0]) | static_cast<uint32_t>(word[1]) << 8 |
           static_cast<uint32_t>(word[2]) << 16 | static_cast<uint32_t>(word[3]) << 24;
}

bool IsShort(const Padded& number) {
    return std::all_of(number, number + kPaddedLength - kScalarLength,
                       [](unsigned char byte) { return byte == 0; });
}

void RequireSm4Ecb(bool is_sm4_ecb) {
    Require(is_sm4_ecb, Code::kNotSupported,
            "the private key inside is encrypted with another algorithm than SM4-ECB");
}

bool IsSm4Ecb(const X509_ALGOR* algorithm) {
    const ASN1_OBJECT* object = nullptr;
    int parameter = 0;
    X509_ALGOR_get0(&object, &parameter, nullptr, algorithm);
    const std::string name = ssl::Dotted(object);
    return (name == kSm4Ecb || name == kSm4) &&
           (parameter == V_ASN1_UNDEF || parameter == V_ASN1_NULL);
}

bool HasWholeBytes(const ASN1_BIT_STRING* string) {
    constexpr long kUnusedBits = 7;
    return (string->flags & kUnusedBits) == 0;
}

Bytes CipherOf(const Blob& blob, const unsigned char* text) {
    const CipherOwner cipher(Sm2Cipher_new());
    ssl::Check(
        cipher != nullptr && BN_bin2bn(blob.cipher_x, kPaddedLength, cipher->x) != nullptr &&
            BN_bin2bn(blob.cipher_y, kPaddedLength, cipher->y) != nullptr &&
            ASN1_OCTET_STRING_set(cipher->hash, blob.cipher_hash, sizeof blob.cipher_hash) == 1 &&
            ASN1_OCTET_STRING_set(cipher->text, text,
                                  static_cast<int>(Number(blob.cipher_length))) == 1,
        "SM2 ciphertext");
    const auto encode = [](const Sm2Cipher* value, unsigned char** output) {
        return ASN1_item_i2d(reinterpret_cast<const ASN1_VALUE*>(value), output,
                             ASN1_ITEM_rptr(Sm2Cipher));
    };
    return ssl::ToDer(cipher.get(), encode, "SM2 ciphertext");
}

void Write(uint32_t number, Word& word) {
    for (unsigned char& byte : word) {
        byte = static_cast<unsigned char>(number & 0xFF);
        number >>= 8;
    }
}

void Write(const BIGNUM* number, Padded& padded) {
    ssl::Check(BN_bn2binpad(number, padded, kPaddedLength) == kPaddedLength, "enveloped key");
}

Bytes BlobOf(const Bytes& encrypted_key, const Bytes& point, const Bytes& encrypted_private) {
    const auto decode = [](Sm2Cipher** value, const unsigned char** input, long length) {
        return reinterpret_cast<Sm2Cipher*>(ASN1_item_d2i(
            reinterpret_cast<ASN1_VALUE**>(value), input, length, ASN1_ITEM_rptr(Sm2Cipher)));
    };
    const auto cipher = ssl::FromDer<CipherOwner>(encrypted_key, decode);
    Blob blob{};
    ssl::Check(cipher != nullptr && cipher->hash->length == sizeof blob.cipher_hash,
               "enveloped key");
    Write(kBlobVersion, blob.version);
    Write(kBlobSm4Ecb, blob.algorithm);
    Write(kSm2Bits, blob.bits);
    Write(kSm2Bits, blob.point_bits);
    std::copy(encrypted_private.begin(), encrypted_private.end(), blob.encrypted_private);
    const auto y = point.end() - kScalarLength;
    std::copy(y - kScalarLength, y, std::end(blob.point_x) - kScalarLength);
    std::copy(y, point.end(), std::end(blob.point_y) - kScalarLength);
    Write(cipher->x, blob.cipher_x);
    Write(cipher->y, blob.cipher_y);
    std::memcpy(blob.cipher_hash, cipher->hash->data, sizeof blob.cipher_hash);
    Write(static_cast<uint32_t>(cipher->text->length), blob.cipher_length);
    Bytes bytes(sizeof blob + static_cast<size_t>(cipher->text->length));
    std::memcpy(bytes.data(), &blob, sizeof blob);
    std::memcpy(bytes.data() + sizeof blob, cipher->text->data, bytes.size() - sizeof blob);
    return bytes;
}

Bytes DerOf(const Bytes& encrypted_key, const Bytes& point, const Bytes& encrypted_private) {
    const EnvelopeOwner envelope(Envelope_new());
    ssl::Check(envelope != nullptr &&
                   X509_ALGOR_set0(envelope->algorithm, OBJ_txt2obj(kSm4Ecb, 1), V_ASN1_UNDEF,
                                   nullptr) == 1 &&
                   ASN1_STRING_set(envelope->encrypted_key, encrypted_key.data(),
                                   static_cast<int>(encrypted_key.size())) == 1,
               "enveloped key");
    ssl::SetBits(envelope->public_point, point);
    ssl::SetBits(envelope->encrypted_private, encrypted_private);
    return ssl::ToDer(envelope.get(), i2d_Envelope, "enveloped key");
}

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

// Empty when the number is out of range, as what was decrypted in vain may be.
std::optional<KeyPair> TryScalar(const SecretBytes& scalar) {
    try {
        return KeyPair::Sm2FromScalar(scalar);
    } catch (const Error& error) {
        if (error.code() == Code::kData) {
            return std::nullopt;
        }
        throw;
    }
}

}  // namespace

EnvelopedKey EnvelopedKey::FromDer(const Bytes& encoded) {
    const auto fields = ssl::FromDer<EnvelopeOwner>(encoded, d2i_Envelope);
    Require(fields != nullptr && HasWholeBytes(fields->public_point) &&
                HasWholeBytes(fields->encrypted_private),
            Code::kEnvelopeMalformed, "the structure is not an SM2 enveloped key");
    RequireSm4Ecb(IsSm4Ecb(fields->algorithm));
    EnvelopedKey envelope;
    envelope.encrypted_key_ = ssl::BytesOf(fields->encrypted_key);
    envelope.public_point_ = ssl::BytesOf(fields->public_point);
    envelope.encrypted_private_ = ssl::BytesOf(fields->encrypted_private);
    const size_t length = envelope.encrypted_private_.size();
    Require(length == kScalarLength || length == kPaddedLength, Code::kEnvelopeMalformed,
            "the encrypted private key has neither 32 nor 64 bytes");
    return envelope;
}

EnvelopedKey EnvelopedKey::FromBlob(const Bytes& encoded) {
    Blob blob{};
    std::memcpy(&blob, encoded.data(), std::min(encoded.size(), sizeof blob));
    Require(encoded.size() > sizeof blob && Number(blob.version) == kBlobVersion &&
                Number(blob.cipher_length) == encoded.size() - sizeof blob &&
                Number(blob.bits) == kSm2Bits && Number(blob.point_bits) == kSm2Bits &&
                IsShort(blob.point_x) && IsShort(blob.point_y) && IsShort(blob.cipher_x) &&
                IsShort(blob.cipher_y),
            Code::kEnvelopeMalformed, "the structure is not an SM2 enveloped key");
    RequireSm4Ecb(Number(blob.algorithm) == kBlobSm4Ecb);
    EnvelopedKey envelope;
    envelope.encrypted_key_ = CipherOf(blob, encoded.data() + sizeof blob);
    envelope.public_point_ = {kUncompressed};
    for (const Padded* const number : {&blob.point_x, &blob.point_y}) {
        envelope.public_point_.insert(envelope.public_point_.end(),
                                      std::end(*number) - kScalarLength, std::end(*number));
    }
    envelope.encrypted_private_.assign(std::begin(blob.encrypted_private),
                                       std::end(blob.encrypted_private));
    return envelope;
}

EnvelopedKey EnvelopedKey::Parse(std::string_view text) {
    // The Base64 of either structure begins with what is no hexadecimal digit, M or AQ.
    std::optional<Bytes> encoded = FromHex(text);
    if (!encoded) {
        encoded = FromBase64(text);
    }
    Require(encoded.has_value() && !encoded->empty(), Code::kEnvelopeMalformed,
            "the text is neither hexadecimal nor Base64");
    return encoded->front() == kSequenceTag ? FromDer(*encoded) : FromBlob(*encoded);
}

std::optional<KeyPair> EnvelopedKey::Open(const KeyPair& recipient) const {
    const std::optional<SecretBytes> key = TryDecrypt(recipient, encrypted_key_);
    if (!key || key->size() != kSm4KeyLength) {
        return std::nullopt;
    }
    const SecretBytes plain =
        RunSm4Ecb(*key, encrypted_private_.data(), encrypted_private_.size(), Direction::kDecrypt);
    // In 64 bytes the private key stands at the end, as GM/T 0016 pads its numbers, or in front,
    // as its words on the length in use can be read.
    for (size_t end = plain.size(); end > 0; end -= kScalarLength) {
        const auto last = plain.begin() + static_cast<std::ptrdiff_t>(end);
        std::optional<KeyPair> pair = TryScalar(SecretBytes(last - kScalarLength, last));
        if (pair && pair->Sm2Point() == public_point_) {
            return pair;
        }
    }
    throw Error(Code::kEnvelopeMalformed,
                "the private key inside does not belong to the public key beside it");
}

Bytes EnvelopedKey::Seal(const KeyPair& pair, const KeyPair& recipient, Structure structure) {
    const SecretBytes key = RandomSecret(kSm4KeyLength);
    const Bytes encrypted_key = recipient.Sm2Encrypt(key);
    SecretBytes scalar = pair.Sm2Scalar();
    if (structure == Structure::kGmt0016) {
        scalar.insert(scalar.begin(), kPaddedLength - kScalarLength, 0);
    }
    const SecretBytes sealed = RunSm4Ecb(key, scalar.data(), scalar.size(), Direction::kEncrypt);
    const Bytes encrypted_private(sealed.begin(), sealed.end());
    return structure == Structure::kGmt0016
               ? BlobOf(encrypted_key, pair.Sm2Point(), encrypted_private)
               : DerOf(encrypted_key, pair.Sm2Point(), encrypted_private);
}

}  // namespace softkey
