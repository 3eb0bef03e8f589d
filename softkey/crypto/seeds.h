#ifndef SOFTKEY_CRYPTO_SEEDS_H
#define SOFTKEY_CRYPTO_SEEDS_H

#include <cstdint>
#include <string>

#include "base/secret.h"
#include "crypto/key_pair.h"

// What a seed decides, the same on every machine. Who knows the seed knows all of it. Each step is
// told in docs/known-keys.md, so that others can go it.
namespace softkey {

// HKDF with SHA-256 (RFC 5869) without salt: what the seed gives for this purpose.
SecretBytes BytesOfSeed(const SecretBytes& seed, const std::string& purpose, size_t count);

// The key pair with that number, from 1.
KeyPair PairOfSeed(const SecretBytes& seed, KeyType type, int64_t number);

}  // namespace softkey

#endif
