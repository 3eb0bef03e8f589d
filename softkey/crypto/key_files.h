#ifndef SOFTKEY_CRYPTO_KEY_FILES_H
#define SOFTKEY_CRYPTO_KEY_FILES_H

#include <functional>
#include <string>
#include <vector>

#include "base/secret.h"
#include "crypto/key_pair.h"

namespace softkey {

// The private keys and certificates of a file.
struct KeyFile {
    std::vector<KeyPair> pairs;
    std::vector<Bytes> certificates;  // DER
    bool encrypted = false;           // the passphrase was asked for
    bool whole = true;                // false: some of it cannot be read
};

// Reads PEM with any number of parts, and DER: PKCS#8, encrypted or not, the older forms of RSA and
// EC keys, certificates and PKCS#12, also with the ciphers of old. The passphrase is asked for when
// it is needed. Changes the process's OpenSSL meanwhile: for commands. Throws kKeyInfoType for a
// key that is neither SM2 nor RSA-2048.
KeyFile ReadKeyFile(const std::string& path, const std::function<SecretBytes()>& passphrase);

}  // namespace softkey

#endif
