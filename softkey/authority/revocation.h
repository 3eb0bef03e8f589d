#ifndef SOFTKEY_AUTHORITY_REVOCATION_H
#define SOFTKEY_AUTHORITY_REVOCATION_H

#include <string>
#include <vector>

#include "authority/certificates.h"

namespace softkey {

// The reasons of RFC 5280, 5.3.1, by their names there.
std::vector<std::string> RevocationReasons();

struct Revocation {
    std::string serial_number;  // in hexadecimal
    std::time_t at = 0;
    std::string reason;
};

// What an issuer of the folder has revoked, the first first. They stand in NAME-sm2.revoked and
// NAME-rsa.revoked, one a line.
std::vector<Revocation> RevocationsOf(const std::string& folder, const std::string& issuer,
                                      KeyType type);

// Revokes a certificate, in Base64 or PEM, that an issuer of the folder has issued, and returns the
// issuer's name. One that is revoked gets the new reason and moment. Throws a failure when it is
// nobody's.
struct Revoked {
    std::string issuer;
    KeyType type;
    std::string serial_number;
};
Revoked Revoke(const std::string& folder, const std::string& certificate, const std::string& reason,
               std::time_t at);

// The issuer's certificate revocation list, version 2 (RFC 5280, 5), in DER. `validity`: when it is
// made and when the next one comes.
Bytes RevocationList(const std::string& folder, const std::string& issuer, KeyType type,
                     const Validity& validity);

}  // namespace softkey

#endif
