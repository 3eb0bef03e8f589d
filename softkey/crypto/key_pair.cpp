#include "crypto/key_pair.h"

#include <openssl/rsa.h>

#include "base/error.h"
#include "crypto/key_parts.h"

namespace softkey {
namespace {

constexpr unsigned kRsaBits = 2048;
constexpr size_t kDigestLength = 32;
constexpr size_t kPointLength = 65;

using ssl::Check;

KeyType TypeOf(const EVP_PKEY* key) {
    if (ssl::IsA(key, "SM2")) {
        return KeyType::kSm2;
    }
    Require(ssl::IsA(key, "RSA") && EVP_PKEY_get_bits(key) == static_cast<int>(kRsaBits),
            Code::kKeyInfoType, "the key is neither SM2 nor RSA-2048");
    return KeyType::kRsa2048;
}

ssl::KeyContext NewContext(EVP_PKEY* key) {
    ssl::KeyContext context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr));
    Check(context != nullptr, "key context");
    return context;
}

using Crypt = int (*)(EVP_PKEY_CTX*, unsigned char*, size_t*, const unsigned char*, size_t);

template <typename Result, typename Input>
Result RunCrypt(Crypt crypt, EVP_PKEY_CTX* context, const Input& input, const char* step,
                Code code) {
    size_t length = 0;
    Check(crypt(context, nullptr, &length, input.data(), input.size()) == 1, step, code);
    Result result(length);
    Check(crypt(context, result.data(), &length, input.data(), input.size()) == 1, step, code);
    result.resize(length);
    return result;
}

}  // namespace

ASN1_OCTET_STRING* NewDefaultUserId() {
    ASN1_OCTET_STRING* const id = ASN1_OCTET_STRING_new();
    ssl::Check(ASN1_OCTET_STRING_set(id, AsBytes(kDefaultUserId),
                                     static_cast<int>(kDefaultUserId.size())) == 1,
               "SM2 user id");
    return id;
}

KeyPair::KeyPair(ssl::Key key) : key_(std::move(key)), type_(TypeOf(key_.get())) {}

KeyPair KeyPair::Generate(KeyType type) {
    // EVP_EC_gen would make a key on the same curve that signs with ECDSA.
    ssl::Key key(type == KeyType::kSm2 ? EVP_PKEY_Q_keygen(nullptr, nullptr, "SM2")
                                       : EVP_RSA_gen(kRsaBits));
    Check(key != nullptr, "key generation");
    return KeyPair(std::move(key));
}

KeyPair KeyPair::FromPrivate(const SecretBytes& pkcs8) {
    return KeyPair(ReadPrivateKey(pkcs8));
}

KeyPair KeyPair::FromPublic(const Bytes& public_key_info) {
    ssl::Key key = ssl::AskedTwice([&] {
        const unsigned char* cursor = public_key_info.data();
        return ssl::Key(d2i_PUBKEY(nullptr, &cursor, static_cast<long>(public_key_info.size())));
    });
    Check(key != nullptr, "public key", Code::kData);
    return KeyPair(std::move(key));
}

KeyPair KeyPair::Sm2FromScalar(const SecretBytes& scalar) {
    const ssl::Number number(
        BN_bin2bn(scalar.data(), static_cast<int>(scalar.size()), BN_secure_new()));
    const ssl::Group group(EC_GROUP_new_by_curve_name(NID_sm2));
    const ssl::Point point(EC_POINT_new(group.get()));
    Check(number != nullptr && point != nullptr, "SM2 scalar");
    BN_set_flags(number.get(), BN_FLG_CONSTTIME);
    // Allowed are 1 to n - 2 (GB/T 32918.1): with n - 1 no signature could be made.
    const ssl::Number last(BN_dup(EC_GROUP_get0_order(group.get())));
    Check(last != nullptr && BN_sub_word(last.get(), 1) == 1, "SM2 order");
    Require(!BN_is_zero(number.get()) && BN_cmp(number.get(), last.get()) < 0, Code::kData,
            "the SM2 private key is out of range");
    Check(EC_POINT_mul(group.get(), point.get(), number.get(), nullptr, nullptr, nullptr) == 1,
          "SM2 public key");
    Bytes encoded(kPointLength);
    Check(EC_POINT_point2oct(group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED,
                             encoded.data(), encoded.size(), nullptr) == kPointLength,
          "SM2 public key");
    return KeyPair(Sm2FromParts(number.get(), encoded));
}

KeyPair KeyPair::Sm2FromPoint(const Bytes& uncompressed_point) {
    Require(uncompressed_point.size() == kPointLength, Code::kData, "SM2 public key");
    return KeyPair(Sm2FromParts(nullptr, uncompressed_point));
}

SecretBytes KeyPair::Private() const {
    return WritePrivateKey(key_.get());
}

Bytes KeyPair::Public() const {
    return ssl::ToDer(key_.get(), i2d_PUBKEY, "public key");
}

SecretBytes KeyPair::Sm2Scalar() const {
    return Sm2ScalarOf(key_.get());
}

Bytes KeyPair::Sm2Point() const {
    return Sm2PointOf(key_.get());
}

ssl::DigestContext KeyPair::MessageContext(ssl::KeyContext* key_context) const {
    *key_context = NewContext(key_.get());
    if (type_ == KeyType::kSm2) {
        Check(EVP_PKEY_CTX_set1_id(key_context->get(), kDefaultUserId.data(),
                                   kDefaultUserId.size()) == 1,
              "SM2 user id");
    }
    ssl::DigestContext context(EVP_MD_CTX_new());
    Check(context != nullptr, "digest context");
    EVP_MD_CTX_set_pkey_ctx(context.get(), key_context->get());
    return context;
}

Bytes KeyPair::SignMessage(const Bytes& message) const {
    ssl::KeyContext key_context;
    const ssl::DigestContext context = MessageContext(&key_context);
    Check(EVP_DigestSignInit(context.get(), nullptr, Digest(), nullptr, key_.get()) == 1, "sign");
    size_t length = 0;
    Check(EVP_DigestSign(context.get(), nullptr, &length, message.data(), message.size()) == 1,
          "sign");
    Bytes signature(length);
    Check(EVP_DigestSign(context.get(), signature.data(), &length, message.data(),
                         message.size()) == 1,
          "sign");
    signature.resize(length);
    return signature;
}

bool KeyPair::VerifyMessage(const Bytes& message, const Bytes& signature) const {
    const ssl::ErrorMark mark;
    ssl::KeyContext key_context;
    const ssl::DigestContext context = MessageContext(&key_context);
    Check(EVP_DigestVerifyInit(context.get(), nullptr, Digest(), nullptr, key_.get()) == 1,
          "verify");
    return ssl::IsYes(EVP_DigestVerify(context.get(), signature.data(), signature.size(),
                                       message.data(), message.size()) == 1);
}

Bytes KeyPair::DigestOf(const Bytes& message) const {
    Bytes digest(kDigestLength);
    Check(
        EVP_Digest(message.data(), message.size(), digest.data(), nullptr, Digest(), nullptr) == 1,
        "digest");
    return digest;
}

Bytes KeyPair::SignDigest(const Bytes& digest) const {
    Require(digest.size() == kDigestLength, Code::kDataLength, "a digest has 32 bytes");
    const ssl::KeyContext context = NewContext(key_.get());
    Check(EVP_PKEY_sign_init(context.get()) == 1, "sign");
    Check(EVP_PKEY_CTX_set_signature_md(context.get(), Digest()) == 1, "sign");
    if (type_ == KeyType::kRsa2048) {
        Check(EVP_PKEY_CTX_set_rsa_padding(context.get(), RSA_PKCS1_PADDING) == 1, "sign");
    }
    return RunCrypt<Bytes>(EVP_PKEY_sign, context.get(), digest, "sign", Code::kFail);
}

Bytes KeyPair::Sm2Encrypt(const SecretBytes& plain) const {
    const ssl::KeyContext context = NewContext(key_.get());
    Check(EVP_PKEY_encrypt_init(context.get()) == 1, "encrypt");
    return RunCrypt<Bytes>(EVP_PKEY_encrypt, context.get(), plain, "encrypt", Code::kFail);
}

SecretBytes KeyPair::Sm2Decrypt(const Bytes& cipher) const {
    const ssl::KeyContext context = NewContext(key_.get());
    Check(EVP_PKEY_decrypt_init(context.get()) == 1, "decrypt");
    return RunCrypt<SecretBytes>(EVP_PKEY_decrypt, context.get(), cipher, "decrypt",
                                 Code::kDecryption);
}

SecretBytes KeyPair::RsaDecrypt(const Bytes& cipher, RsaPadding padding) const {
    const ssl::KeyContext context = NewContext(key_.get());
    Check(EVP_PKEY_decrypt_init(context.get()) == 1, "decrypt");
    const bool oaep = padding == RsaPadding::kOaepSha256;
    Check(EVP_PKEY_CTX_set_rsa_padding(context.get(),
                                       oaep ? RSA_PKCS1_OAEP_PADDING : RSA_PKCS1_PADDING) == 1,
          "decrypt");
    if (oaep) {
        Check(EVP_PKEY_CTX_set_rsa_oaep_md(context.get(), EVP_sha256()) == 1, "decrypt");
    }
    return RunCrypt<SecretBytes>(EVP_PKEY_decrypt, context.get(), cipher, "decrypt",
                                 Code::kDecryption);
}

}  // namespace softkey
