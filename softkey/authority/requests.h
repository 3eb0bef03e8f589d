#ifndef SOFTKEY_AUTHORITY_REQUESTS_H
#define SOFTKEY_AUTHORITY_REQUESTS_H

#include <string>
#include <vector>

#include "crypto/key_pair.h"
#include "crypto/pkcs10.h"
#include "crypto/ssl.h"

namespace softkey {

// A request whose signature was found right.
struct ReadRequest {
    ssl::Request request;
    KeyPair requester;  // the public half
    RequestKind kind;
};

// The requests of a text, PKCS#10 in Base64 joined by "||" or PEM blocks in a row. Throws kData for
// anything else in it: an answer that leaves something out silently would look whole.
std::vector<ReadRequest> RequestsIn(const std::string& text);

}  // namespace softkey

#endif
