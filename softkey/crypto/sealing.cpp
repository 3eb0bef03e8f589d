#include "crypto/sealing.h"

#include <openssl/core_names.h>
#include <openssl/params.h>
#include <openssl/rand.h>

#include "base/error.h"
#include "crypto/ssl.h"

namespace softkey {
namespace {

constexpr size_t kSaltLength = 16;
constexpr size_t kNonceLength = 12;
constexpr size_t kTagLength = 16;

// About a tenth of a second and 32 MiB for each guess: a PIN has few digits, so each must cost.
constexpr int64_t kScryptCost = 1 << 15;
constexpr int64_t kScryptBlockSize = 8;
constexpr int64_t kScryptParallel = 1;
// The least that scrypt allows.
constexpr int64_t kCheapCost = 2;
constexpr int64_t kCheapBlockSize = 1;
// Of what a damaged key asks for: these bound how long a guess may take.
constexpr int64_t kScryptMemoryLimit = int64_t{256} << 20;
constexpr int64_t kMostScryptParallel = 4;

using ssl::Check;

int Size(size_t size) {
    return static_cast<int>(size);
}

ssl::CipherContext NewCipher() {
    ssl::CipherContext context(EVP_CIPHER_CTX_new());
    Check(context != nullptr, "cipher context");
    return context;
}

// What scrypt takes (RFC 7914, 2), within the bounds.
bool IsSound(const PinDerivation& derivation) {
    const int64_t most = kScryptMemoryLimit / 128;
    const int64_t cost = derivation.cost;
    const int64_t block_size = derivation.block_size;
    const int64_t parallel = derivation.parallel;
    return cost > 1 && (cost & (cost - 1)) == 0 && block_size > 0 && block_size <= most &&
           (block_size > 3 || cost < int64_t{1} << (16 * block_size)) && parallel > 0 &&
           parallel <= kMostScryptParallel && cost <= most / block_size - parallel - 2;
}

}  // namespace

PinDerivation PinDerivation::Fresh() {
    return {RandomBytes(kSaltLength), kScryptCost, kScryptBlockSize, kScryptParallel};
}

PinDerivation PinDerivation::Cheap() {
    return {RandomBytes(kSaltLength), kCheapCost, kCheapBlockSize, kScryptParallel};
}

SecretBytes DeriveFromPin(const SecretBytes& pin, const PinDerivation& derivation) {
    Require(IsSound(derivation), Code::kStoreDamaged, "scrypt");
    const ssl::Kdf kdf(EVP_KDF_fetch(nullptr, "SCRYPT", nullptr));
    const ssl::KdfContext context(EVP_KDF_CTX_new(kdf.get()));
    Check(context != nullptr, "scrypt");
    SecretBytes secret = pin;
    Bytes salt = derivation.salt;
    auto cost = static_cast<uint64_t>(derivation.cost);
    auto block_size = static_cast<uint64_t>(derivation.block_size);
    auto parallel = static_cast<uint64_t>(derivation.parallel);
    auto memory = static_cast<uint64_t>(kScryptMemoryLimit);
    const OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_PASSWORD, secret.data(), secret.size()),
        OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SALT, salt.data(), salt.size()),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_N, &cost),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_R, &block_size),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_P, &parallel),
        OSSL_PARAM_construct_uint64(OSSL_KDF_PARAM_SCRYPT_MAXMEM, &memory),
        OSSL_PARAM_construct_end()};
    SecretBytes key(kSealKeyLength);
    Check(EVP_KDF_derive(context.get(), key.data(), key.size(), parameters) == 1, "scrypt");
    return key;
}

Bytes RandomBytes(size_t count) {
    Bytes bytes(count);
    Check(RAND_bytes(bytes.data(), Size(count)) == 1, "random bytes");
    return bytes;
}

SecretBytes RandomSecret(size_t count) {
    SecretBytes bytes(count);
    Check(RAND_priv_bytes(bytes.data(), Size(count)) == 1, "random bytes");
    return bytes;
}

Bytes Seal(const SecretBytes& key, const SecretBytes& plain, const Bytes& context) {
    const ssl::CipherContext cipher = NewCipher();
    Bytes sealed = RandomBytes(kNonceLength);
    sealed.resize(kNonceLength + plain.size() + kTagLength);
    unsigned char* const body = sealed.data() + kNonceLength;
    int length = 0;
    Check(EVP_EncryptInit_ex2(cipher.get(), EVP_aes_256_gcm(), key.data(), sealed.data(),
                              nullptr) == 1,
          "seal");
    Check(EVP_EncryptUpdate(cipher.get(), nullptr, &length, context.data(), Size(context.size())) ==
              1,
          "seal");
    Check(EVP_EncryptUpdate(cipher.get(), body, &length, plain.data(), Size(plain.size())) == 1,
          "seal");
    Check(EVP_EncryptFinal_ex(cipher.get(), body + length, &length) == 1, "seal");
    Check(EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_GET_TAG, kTagLength,
                              body + plain.size()) == 1,
          "seal");
    return sealed;
}

std::optional<SecretBytes> Unseal(const SecretBytes& key, const Bytes& sealed,
                                  const Bytes& context) {
    if (sealed.size() < kNonceLength + kTagLength) {
        return std::nullopt;
    }
    const ssl::ErrorMark mark;
    const ssl::CipherContext cipher = NewCipher();
    Bytes input = sealed;
    const unsigned char* const body = input.data() + kNonceLength;
    SecretBytes plain(sealed.size() - kNonceLength - kTagLength);
    int length = 0;
    Check(EVP_DecryptInit_ex2(cipher.get(), EVP_aes_256_gcm(), key.data(), input.data(), nullptr) ==
              1,
          "unseal");
    Check(EVP_DecryptUpdate(cipher.get(), nullptr, &length, context.data(), Size(context.size())) ==
              1,
          "unseal");
    Check(EVP_DecryptUpdate(cipher.get(), plain.data(), &length, body, Size(plain.size())) == 1,
          "unseal");
    Check(EVP_CIPHER_CTX_ctrl(cipher.get(), EVP_CTRL_GCM_SET_TAG, kTagLength,
                              input.data() + input.size() - kTagLength) == 1,
          "unseal");
    if (!ssl::IsYes(EVP_DecryptFinal_ex(cipher.get(), plain.data() + length, &length) == 1)) {
        return std::nullopt;
    }
    return plain;
}

}  // namespace softkey
