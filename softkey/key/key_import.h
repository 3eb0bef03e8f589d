#ifndef SOFTKEY_KEY_KEY_IMPORT_H
#define SOFTKEY_KEY_KEY_IMPORT_H

#include <optional>
#include <vector>

#include "store/key_store.h"

namespace softkey {

// What is to be written to a key: pairs of its own making elsewhere, and certificates for them or
// for pairs that the key has.
struct KeyMaterial {
    std::vector<KeyPair> pairs;
    std::vector<Bytes> certificates;  // DER
    std::optional<Usage> usage;       // of pairs whose certificate does not tell; else signing
};

struct ImportedKeys {
    size_t pairs = 0;
    size_t certificates = 0;
    size_t passed_over = 0;  // certificates that belong to no pair: those of authorities
};

// All of it or nothing. Each certificate goes to the pair with its public key, and replaces what
// the key had for that use and type. Throws kCertificateNotOurs when there is nothing to write, and
// kCertificateUsage for a certificate that is for the other use than its pair on the key.
ImportedKeys ImportKeys(KeyStore& store, const Unlocked& unlocked, const KeyMaterial& material);

}  // namespace softkey

#endif
