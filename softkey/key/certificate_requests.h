#ifndef SOFTKEY_KEY_CERTIFICATE_REQUESTS_H
#define SOFTKEY_KEY_CERTIFICATE_REQUESTS_H

#include <cstdint>
#include <string>

#include "key/device.h"

namespace softkey {

// What a client asks for, in the interface's numbers.
struct RequestOrder {
    int64_t cert_type;  // 1 signing, 2 encryption, 3 both
    int64_t key_type;   // 1 RSA-2048, 2 SM2
    int64_t hash_type;  // 0 the key type's own, 1 SHA-256, 3 SM3
    bool merged;        // asks for both certificates, whatever cert_type says
};

// Makes a key pair and a request for it; the request as one line of Base64. Numbers outside the
// tables give kSelector, and an algorithm that does not fit the key gives kKeyTypeHash.
std::string CreateRequest(Device& device, const RequestOrder& order);

}  // namespace softkey

#endif
