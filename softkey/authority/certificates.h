#ifndef SOFTKEY_AUTHORITY_CERTIFICATES_H
#define SOFTKEY_AUTHORITY_CERTIFICATES_H

#include <ctime>
#include <string>
#include <vector>

#include "crypto/key_pair.h"
#include "crypto/ssl.h"

namespace softkey {

// From when until when something is valid; both moments belong to it (RFC 5280, 4.1.2.5).
struct Validity {
    std::time_t from = 0;
    std::time_t until = 0;
};

// An extension by name or dotted object identifier, its value as openssl's configuration files
// write it: "critical,clientAuth", "DER:0500".
struct NamedExtension {
    std::string name;
    std::string value;
};

// What a certificate says beside names and key.
struct Profile {
    Validity validity;
    std::vector<NamedExtension> extensions;  // one that is named twice counts as it stands last
};

// Who issues: a key pair, and its certificate followed by those that lead to the root, the root
// last.
struct Issuer {
    KeyPair pair;
    std::vector<ssl::Certificate> chain;

    X509* Certificate() const { return chain.front().get(); }
};

// A certificate of X.509 version 3 (GM/T 0015, RFC 5280) with a random serial number. Without an
// issuer it is one of `key` itself. Throws kInvalidParameter for an extension that OpenSSL does not
// understand.
ssl::Certificate MakeCertificate(const KeyPair& key, const X509_NAME* subject,
                                 const Profile& profile, const Issuer* issuer);

void SetTime(ASN1_TIME* time, std::time_t moment);

// "critical,CA:TRUE,pathlen:0"
std::string AuthorityConstraints(int64_t path_length);
constexpr int64_t kAnyPathLength = -1;
constexpr char kAuthorityUsage[] = "critical,keyCertSign,cRLSign";

}  // namespace softkey

#endif
