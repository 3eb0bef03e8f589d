#include "crypto/seeds.h"

#include <openssl/core_names.h>
#include <openssl/params.h>

#include "crypto/key_parts.h"
#include "crypto/ssl.h"

namespace softkey {
namespace {

using ssl::Check;
using Workspace = ssl::Owner<BN_CTX, BN_CTX_free>;

// As many bytes more than the order has that no scalar is likelier than another.
constexpr size_t kScalarMaterial = 48;
constexpr size_t kPrimeLength = 128;

ssl::Number NumberOf(const SecretBytes& bytes) {
    ssl::Number number(BN_bin2bn(bytes.data(), static_cast<int>(bytes.size()), nullptr));
    Check(number != nullptr, "number of a seed");
    return number;
}

// 1 + the bytes modulo n - 2: from 1 to n - 2, as GB/T 32918.1 allows.
KeyPair Sm2Pair(const SecretBytes& seed, const std::string& purpose, BN_CTX* workspace) {
    const ssl::Group group(EC_GROUP_new_by_curve_name(NID_sm2));
    const ssl::Number count(BN_dup(EC_GROUP_get0_order(group.get())));
    const ssl::Number scalar = NumberOf(BytesOfSeed(seed, purpose, kScalarMaterial));
    Check(count != nullptr && BN_sub_word(count.get(), 2) == 1 &&
              BN_nnmod(scalar.get(), scalar.get(), count.get(), workspace) == 1 &&
              BN_add_word(scalar.get(), 1) == 1,
          "SM2 key of a seed");
    SecretBytes bytes(32);
    Check(BN_bn2binpad(scalar.get(), bytes.data(), static_cast<int>(bytes.size())) > 0,
          "SM2 key of a seed");
    return KeyPair::Sm2FromScalar(bytes);
}

// The first prime from the number on that the bytes are once both its highest bits and its lowest
// are set, and by which an RSA exponent of 65537 can be undone.
ssl::Number Prime(const SecretBytes& seed, const std::string& purpose, BN_CTX* workspace) {
    ssl::Number prime = NumberOf(BytesOfSeed(seed, purpose, kPrimeLength));
    for (const int bit :
         {8 * static_cast<int>(kPrimeLength) - 1, 8 * static_cast<int>(kPrimeLength) - 2, 0}) {
        Check(BN_set_bit(prime.get(), bit) == 1, "RSA key of a seed");
    }
    while (BN_mod_word(prime.get(), RSA_F4) == 1 ||
           BN_check_prime(prime.get(), workspace, nullptr) != 1) {
        Check(BN_add_word(prime.get(), 2) == 1, "RSA key of a seed");
    }
    return prime;
}

KeyPair RsaPair(const SecretBytes& seed, const std::string& purpose, BN_CTX* workspace) {
    ssl::Number p = Prime(seed, purpose + " p", workspace);
    ssl::Number q = Prime(seed, purpose + " q", workspace);
    if (BN_cmp(p.get(), q.get()) < 0) {
        p.swap(q);
    }
    return KeyPair(RsaFromPrimes(p.get(), q.get()));
}

}  // namespace

SecretBytes BytesOfSeed(const SecretBytes& seed, const std::string& purpose, size_t count) {
    const ssl::Kdf kdf(EVP_KDF_fetch(nullptr, "HKDF", nullptr));
    const ssl::KdfContext context(EVP_KDF_CTX_new(kdf.get()));
    Check(context != nullptr, "HKDF");
    SecretBytes key = seed;
    std::string info = purpose;
    std::string digest = "SHA256";
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest.data(), 0),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_KEY, key.data(), key.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_INFO, info.data(), info.size()),
        OSSL_PARAM_construct_end()};
    SecretBytes bytes(count);
    Check(EVP_KDF_derive(context.get(), bytes.data(), bytes.size(), parameters) == 1, "HKDF");
    return bytes;
}

KeyPair PairOfSeed(const SecretBytes& seed, KeyType type, int64_t number) {
    const Workspace workspace(BN_CTX_secure_new());
    Check(workspace != nullptr, "key of a seed");
    const std::string purpose =
        (type == KeyType::kSm2 ? "SM2 " : "RSA-2048 ") + std::to_string(number);
    return type == KeyType::kSm2 ? Sm2Pair(seed, purpose, workspace.get())
                                 : RsaPair(seed, purpose, workspace.get());
}

}  // namespace softkey
