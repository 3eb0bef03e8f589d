#ifndef SOFTKEY_AUTHORITY_ISSUERS_H
#define SOFTKEY_AUTHORITY_ISSUERS_H

#include <string>
#include <vector>

#include "authority/certificates.h"

namespace softkey {

// An authority's folder: each issuer has a name and two key pairs, one of either type. NAME-sm2.key
// is the private key, unencrypted; NAME-sm2.pem the certificate and those that lead to the root.
constexpr char kRootName[] = "root";
constexpr char kAuthorityName[] = "Software Key Test Authority";  // no message
constexpr KeyType kIssuerTypes[] = {KeyType::kSm2, KeyType::kRsa2048};

// Where the user's authority is: $ORVAL_SOFTCA_HOME, else beside the user's other data.
std::string AuthorityFolder();

// "sm2", "rsa"
const char* TypeWord(KeyType type);

// folder/NAME-sm2 and the suffix.
std::string IssuerFile(const std::string& folder, const std::string& name, KeyType type,
                       const char* suffix);
std::string CertificatePath(const std::string& folder, const std::string& name, KeyType type);

// The issuers of a folder, the root first; none when it holds no authority.
std::vector<std::string> IssuersIn(const std::string& folder);

// Makes both key pairs and certificates of a new issuer and keeps them; of a root, when it is
// nobody's. Refuses a name that is taken or no name for a file.
struct NewIssuer {
    std::string name;
    std::string common_name;
    int64_t path_length = kAnyPathLength;
    Validity validity;
};
void AddIssuer(const std::string& folder, const NewIssuer& issuer, const std::string* under);

// Throws a failure when the folder has no such issuer or a file of it is damaged.
Issuer LoadIssuer(const std::string& folder, const std::string& name, KeyType type);

}  // namespace softkey

#endif
