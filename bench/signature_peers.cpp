#include "signature_peers.h"

#include <openssl/evp.h>

#include <memory>

namespace {

using Key = std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)>;
using Context = std::unique_ptr<EVP_PKEY_CTX, decltype(&EVP_PKEY_CTX_free)>;

bool Sign(EVP_PKEY* key) {
    const unsigned char digest[bench::kDigestSize] = {0x66, 0xC7};
    unsigned char signature[128];
    size_t size = sizeof(signature);
    const Context context(EVP_PKEY_CTX_new_from_pkey(nullptr, key, nullptr), EVP_PKEY_CTX_free);
    return EVP_PKEY_sign_init(context.get()) == 1 &&
           EVP_PKEY_sign(context.get(), signature, &size, digest, sizeof(digest)) == 1;
}

}  // namespace

void bench::SignByLibcrypto(benchmark::State& state, EVP_PKEY* key, int count) {
    const Key owned(key, EVP_PKEY_free);
    bool signed_all = true;
    Repeat(state, [&] {
        for (int i = 0; i < count; ++i) {
            signed_all = Sign(key) && signed_all;
        }
        return signed_all;
    });
    if (!signed_all) {
        state.SkipWithError("libcrypto does not sign");
    }
}
