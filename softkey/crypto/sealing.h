#ifndef SOFTKEY_CRYPTO_SEALING_H
#define SOFTKEY_CRYPTO_SEALING_H

#include <cstdint>
#include <optional>
#include <string_view>

#include "base/secret.h"

namespace softkey {

constexpr size_t kSealKeyLength = 32;

// How a key is derived from a PIN: scrypt (RFC 7914). The numbers are stored with each key, so that
// they can rise without breaking older ones.
struct PinDerivation {
    Bytes salt;
    int64_t cost;        // N
    int64_t block_size;  // r
    int64_t parallel;    // p

    static PinDerivation Fresh();

    // Costs nothing, nor does guessing a PIN behind it: for keys that protect nothing.
    static PinDerivation Cheap();
};

SecretBytes DeriveFromPin(const SecretBytes& pin, const PinDerivation& derivation);

Bytes RandomBytes(size_t count);
SecretBytes RandomSecret(size_t count);

// AES-256-GCM: nonce, ciphertext, tag. `context` is authenticated and not stored: it ties the
// sealed bytes to their place, so that rows of a store cannot be exchanged.
Bytes Seal(const SecretBytes& key, const SecretBytes& plain, const Bytes& context);

// Empty when the key or the context is another one or a byte has changed.
std::optional<SecretBytes> Unseal(const SecretBytes& key, const Bytes& sealed,
                                  const Bytes& context);

}  // namespace softkey

#endif
