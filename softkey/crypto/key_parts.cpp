#include "crypto/key_parts.h"

#include <openssl/asn1t.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/rsa.h>

#include <cstring>
#include <utility>

#include "base/error.h"

namespace softkey {
namespace {

using ssl::Check;
using ParameterBuilder = ssl::Owner<OSSL_PARAM_BLD, OSSL_PARAM_BLD_free>;
using Parameters = ssl::Owner<OSSL_PARAM, OSSL_PARAM_free>;
using Pkcs8 = ssl::Owner<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;

struct RsaPrivateKey {
    int32_t version;
    BIGNUM* n;
    BIGNUM* e;
    BIGNUM* d;
    BIGNUM* p;
    BIGNUM* q;
    BIGNUM* dp;
    BIGNUM* dq;
    BIGNUM* q_inverse;
};

struct EcPrivateKey {
    int32_t version;
    ASN1_OCTET_STRING* scalar;
    ASN1_OBJECT* curve;
    ASN1_BIT_STRING* point;
};

int WipeScalar(int operation, ASN1_VALUE** value, const ASN1_ITEM* /*item*/, void* /*argument*/) {
    const auto* const key = reinterpret_cast<const EcPrivateKey*>(*value);
    if (operation == ASN1_OP_FREE_PRE && key->scalar != nullptr) {
        OPENSSL_cleanse(key->scalar->data, static_cast<size_t>(key->scalar->length));
    }
    return 1;
}

// clang-format off
// CBIGNUM is wiped when it is freed.
ASN1_SEQUENCE(RsaPrivateKey) = {
    ASN1_EMBED(RsaPrivateKey, version, INT32),
    ASN1_SIMPLE(RsaPrivateKey, n, BIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, e, BIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, d, CBIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, p, CBIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, q, CBIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, dp, CBIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, dq, CBIGNUM),
    ASN1_SIMPLE(RsaPrivateKey, q_inverse, CBIGNUM),
} static_ASN1_SEQUENCE_END(RsaPrivateKey)
IMPLEMENT_STATIC_ASN1_ALLOC_FUNCTIONS(RsaPrivateKey)
IMPLEMENT_STATIC_ASN1_ENCODE_FUNCTIONS(RsaPrivateKey)

ASN1_SEQUENCE_cb(EcPrivateKey, WipeScalar) = {
    ASN1_EMBED(EcPrivateKey, version, INT32),
    ASN1_SIMPLE(EcPrivateKey, scalar, ASN1_OCTET_STRING),
    ASN1_EXP_OPT(EcPrivateKey, curve, ASN1_OBJECT, 0),
    ASN1_EXP_OPT(EcPrivateKey, point, ASN1_BIT_STRING, 1),
} static_ASN1_SEQUENCE_END_cb(EcPrivateKey, EcPrivateKey)
IMPLEMENT_STATIC_ASN1_ALLOC_FUNCTIONS(EcPrivateKey)
IMPLEMENT_STATIC_ASN1_ENCODE_FUNCTIONS(EcPrivateKey)
    // clang-format on

    using RsaParts = ssl::Owner<RsaPrivateKey, RsaPrivateKey_free>;
using EcParts = ssl::Owner<EcPrivateKey, EcPrivateKey_free>;

constexpr struct {
    const char* name;
    BIGNUM* RsaPrivateKey::*number;
} kRsaNumbers[] = {
    {OSSL_PKEY_PARAM_RSA_N, &RsaPrivateKey::n},
    {OSSL_PKEY_PARAM_RSA_E, &RsaPrivateKey::e},
    {OSSL_PKEY_PARAM_RSA_D, &RsaPrivateKey::d},
    {OSSL_PKEY_PARAM_RSA_FACTOR1, &RsaPrivateKey::p},
    {OSSL_PKEY_PARAM_RSA_FACTOR2, &RsaPrivateKey::q},
    {OSSL_PKEY_PARAM_RSA_EXPONENT1, &RsaPrivateKey::dp},
    {OSSL_PKEY_PARAM_RSA_EXPONENT2, &RsaPrivateKey::dq},
    {OSSL_PKEY_PARAM_RSA_COEFFICIENT1, &RsaPrivateKey::q_inverse},
};

constexpr int kScalarBytes = 32;
constexpr size_t kPointBytes = 65;

ssl::Key FromParameters(const char* type, OSSL_PARAM_BLD* builder, int selection) {
    const Parameters parameters(OSSL_PARAM_BLD_to_param(builder));
    const ssl::KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, type, nullptr));
    EVP_PKEY* key = nullptr;
    Check(parameters != nullptr && context != nullptr && EVP_PKEY_fromdata_init(context.get()) == 1,
          "key");
    const bool made = ssl::AskedTwice(
        [&] { return EVP_PKEY_fromdata(context.get(), &key, selection, parameters.get()) == 1; });
    Check(made, "key", Code::kData);
    return ssl::Key(key);
}

ssl::Key RsaFromParts(const RsaParts& parts) {
    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    for (const auto& [name, number] : kRsaNumbers) {
        Check(OSSL_PARAM_BLD_push_BN(builder.get(), name, parts.get()->*number) == 1,
              "RSA private key");
    }
    return FromParameters("RSA", builder.get(), EVP_PKEY_KEYPAIR);
}

ssl::Key ReadRsa(const unsigned char* der, long length) {
    const RsaParts parts(d2i_RsaPrivateKey(nullptr, &der, length));
    Check(parts != nullptr, "RSA private key", Code::kStoreDamaged);
    return RsaFromParts(parts);
}

ssl::Key ReadSm2(const unsigned char* der, long length) {
    const EcParts parts(d2i_EcPrivateKey(nullptr, &der, length));
    Check(parts != nullptr && parts->point != nullptr, "SM2 private key", Code::kStoreDamaged);
    const ssl::Number scalar(
        BN_bin2bn(parts->scalar->data, parts->scalar->length, BN_secure_new()));
    Check(scalar != nullptr, "SM2 private key");
    return Sm2FromParts(scalar.get(), ssl::BytesOf(parts->point));
}

// The encoded key in the structure that names its algorithm.
template <typename Parts, typename Encode>
SecretBytes InPkcs8(int algorithm, int parameter_type, void* parameter, const Parts& parts,
                    Encode encode) {
    const Pkcs8 info(PKCS8_PRIV_KEY_INFO_new());
    unsigned char* der = nullptr;
    const int length = encode(parts.get(), &der);
    // It takes the encoded key and wipes it when it is freed.
    Check(info != nullptr && length > 0 &&
              PKCS8_pkey_set0(info.get(), OBJ_nid2obj(algorithm), 0, parameter_type, parameter, der,
                              length) == 1,
          "private key");
    return ssl::ToDer<SecretBytes>(info.get(), i2d_PKCS8_PRIV_KEY_INFO, "private key");
}

SecretBytes WriteRsa(const EVP_PKEY* key) {
    const RsaParts parts(RsaPrivateKey_new());
    Check(parts != nullptr, "RSA private key");
    for (const auto& [name, number] : kRsaNumbers) {
        BN_clear_free(std::exchange(parts.get()->*number, nullptr));
        Check(EVP_PKEY_get_bn_param(key, name, &(parts.get()->*number)) == 1, name);
    }
    return InPkcs8(NID_rsaEncryption, V_ASN1_NULL, nullptr, parts, i2d_RsaPrivateKey);
}

SecretBytes WriteSm2(const EVP_PKEY* key) {
    const EcParts parts(EcPrivateKey_new());
    const SecretBytes scalar = Sm2ScalarOf(key);
    Check(parts != nullptr && ASN1_OCTET_STRING_set(parts->scalar, scalar.data(), kScalarBytes),
          "SM2 private key");
    parts->version = 1;
    parts->point = ASN1_BIT_STRING_new();
    ssl::SetBits(parts->point, Sm2PointOf(key));
    return InPkcs8(NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, OBJ_nid2obj(NID_sm2), parts,
                   i2d_EcPrivateKey);
}

// Whoever copies a number leaves some of it in vector registers, and a call that is bound lazily
// saves those on the stack, whenever that comes.
[[gnu::noinline]] void WipeRegisters() {
#if defined(__x86_64__)
    asm volatile(
        ".irp n, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15\n"
        "pxor %%xmm\\n, %%xmm\\n\n"
        ".endr"
        :
        :
        : "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7", "xmm8", "xmm9", "xmm10",
          "xmm11", "xmm12", "xmm13", "xmm14", "xmm15");
#elif defined(__aarch64__)
    asm volatile(
        ".irp n, 0, 1, 2, 3, 4, 5, 6, 7, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, "
        "30, 31\n"
        "movi v\\n\\().2d, #0\n"
        ".endr"
        :
        :
        : "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7", "v16", "v17", "v18", "v19", "v20", "v21",
          "v22", "v23", "v24", "v25", "v26", "v27", "v28", "v29", "v30", "v31");
#endif
    // The longer registers of the C library's own copies, in the way in which they were filled. No
    // number of a key has more than 256 bytes.
    static const unsigned char kZeros[256] = {};
    unsigned char copy[sizeof kZeros];
    const volatile size_t size = sizeof kZeros;
    std::memcpy(copy, kZeros, size);
    asm volatile("" : : "r"(copy) : "memory");  // so that the copy is made
}

[[gnu::noinline]] void WipeStack() {
    // An RSA signature, which takes the most, has been seen to need 13 KiB.
    constexpr size_t kDepth = size_t{24} << 10;
    unsigned char frames[kDepth];
    OPENSSL_cleanse(frames, sizeof frames);
}

}  // namespace

SecretTraces::~SecretTraces() {
    WipeRegisters();
    WipeStack();
}

ssl::Key Sm2FromParts(const BIGNUM* scalar, const Bytes& uncompressed_point) {
    const ParameterBuilder builder(OSSL_PARAM_BLD_new());
    Check(OSSL_PARAM_BLD_push_utf8_string(builder.get(), OSSL_PKEY_PARAM_GROUP_NAME, "SM2", 0) == 1,
          "SM2 group");
    Check(
        OSSL_PARAM_BLD_push_octet_string(builder.get(), OSSL_PKEY_PARAM_PUB_KEY,
                                         uncompressed_point.data(), uncompressed_point.size()) == 1,
        "SM2 public key");
    if (scalar != nullptr) {
        Check(OSSL_PARAM_BLD_push_BN(builder.get(), OSSL_PKEY_PARAM_PRIV_KEY, scalar) == 1,
              "SM2 private key");
    }
    return FromParameters("SM2", builder.get(),
                          scalar == nullptr ? EVP_PKEY_PUBLIC_KEY : EVP_PKEY_KEYPAIR);
}

ssl::Key RsaFromPrimes(const BIGNUM* p, const BIGNUM* q) {
    const RsaParts parts(RsaPrivateKey_new());
    const ssl::Owner<BN_CTX, BN_CTX_free> workspace(BN_CTX_secure_new());
    const ssl::Number p_less(BN_dup(p));
    const ssl::Number q_less(BN_dup(q));
    const ssl::Number common(BN_secure_new());
    const ssl::Number order(BN_secure_new());
    Check(parts != nullptr && workspace != nullptr && p_less != nullptr && q_less != nullptr &&
              common != nullptr && order != nullptr,
          "RSA key");
    BN_CTX* const space = workspace.get();
    // d undoes e modulo the least common multiple of p - 1 and q - 1 (RFC 8017).
    Check(BN_copy(parts->p, p) != nullptr && BN_copy(parts->q, q) != nullptr &&
              BN_set_word(parts->e, RSA_F4) == 1 && BN_mul(parts->n, p, q, space) == 1 &&
              BN_sub_word(p_less.get(), 1) == 1 && BN_sub_word(q_less.get(), 1) == 1 &&
              BN_gcd(common.get(), p_less.get(), q_less.get(), space) == 1 &&
              BN_mul(order.get(), p_less.get(), q_less.get(), space) == 1 &&
              BN_div(order.get(), nullptr, order.get(), common.get(), space) == 1 &&
              BN_mod_inverse(parts->d, parts->e, order.get(), space) != nullptr &&
              BN_nnmod(parts->dp, parts->d, p_less.get(), space) == 1 &&
              BN_nnmod(parts->dq, parts->d, q_less.get(), space) == 1 &&
              BN_mod_inverse(parts->q_inverse, q, p, space) != nullptr,
          "RSA key");
    return RsaFromParts(parts);
}

SecretBytes Sm2ScalarOf(const EVP_PKEY* key) {
    BIGNUM* number = nullptr;
    Check(EVP_PKEY_get_bn_param(key, OSSL_PKEY_PARAM_PRIV_KEY, &number) == 1, "SM2 scalar");
    const ssl::Number owner(number);
    SecretBytes scalar(kScalarBytes);
    Check(BN_bn2binpad(number, scalar.data(), kScalarBytes) == kScalarBytes, "SM2 scalar");
    return scalar;
}

Bytes Sm2PointOf(const EVP_PKEY* key) {
    Bytes point(kPointBytes);
    size_t length = 0;
    Check(EVP_PKEY_get_octet_string_param(key, OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size(),
                                          &length) == 1 &&
              length == kPointBytes,
          "SM2 public key");
    return point;
}

ssl::Key ReadPrivateKey(const SecretBytes& pkcs8) {
    const unsigned char* cursor = pkcs8.data();
    const Pkcs8 info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &cursor, static_cast<long>(pkcs8.size())));
    const ASN1_OBJECT* algorithm = nullptr;
    const unsigned char* der = nullptr;
    int length = 0;
    Check(info != nullptr && PKCS8_pkey_get0(&algorithm, &der, &length, nullptr, info.get()) == 1,
          "private key", Code::kStoreDamaged);
    return OBJ_obj2nid(algorithm) == NID_rsaEncryption ? ReadRsa(der, length)
                                                       : ReadSm2(der, length);
}

SecretBytes WritePrivateKey(const EVP_PKEY* key) {
    return ssl::IsA(key, "RSA") ? WriteRsa(key) : WriteSm2(key);
}

}  // namespace softkey
