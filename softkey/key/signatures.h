#ifndef SOFTKEY_KEY_SIGNATURES_H
#define SOFTKEY_KEY_SIGNATURES_H

#include <cstdint>
#include <string>
#include <string_view>

#include "key/device.h"
#include "key/selectors.h"

namespace softkey {

struct SignatureOrder {
    CertificateSelector key;
    SignatureFormat format;
    int64_t content_kind;
};

// The signature of `data` as text, in the ordered format.
std::string Sign(Device& device, const SignatureOrder& order, std::string_view data);

// The same, after the user has seen `warning` and the digest and has agreed.
std::string SignConfirmed(Device& device, const SignatureOrder& order, std::string_view data,
                          const std::string& warning);

// One signature for each item, joined by "||". Items are separated by "||", which may also stand
// behind the last; an empty item is refused with kData.
std::string SignBatch(Device& device, const SignatureOrder& order, std::string_view batch);

// The warning for the next confirmed signature of this process on that key.
void KeepWarning(const std::string& serial, const std::string& warning);
std::string TakeWarning(const std::string& serial);

// The plaintext as text, in the selected encoding.
std::string Decrypt(Device& device, const CertificateSelector& key, const CipherSelector& selector,
                    std::string_view cipher);

}  // namespace softkey

#endif
