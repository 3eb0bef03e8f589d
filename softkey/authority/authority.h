#ifndef SOFTKEY_AUTHORITY_AUTHORITY_H
#define SOFTKEY_AUTHORITY_AUTHORITY_H

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "authority/certificates.h"
#include "authority/requests.h"
#include "crypto/enveloped_key.h"
#include "crypto/key_pair.h"
#include "crypto/pkcs7.h"

namespace softkey {

// A small issuing authority for tests and demonstrations: an SM2 and an RSA root in one folder, and
// issuers under them. Its private keys are not encrypted; it must never issue anything that
// matters.
class Authority {
 public:
    // Makes both roots. Refuses when the folder holds an authority. Without a validity: ten years.
    static void Create(const std::string& folder, const std::string& name,
                       const std::optional<Validity>& validity = std::nullopt);

    // The issuer of that name answers.
    explicit Authority(const std::string& folder, const std::string& issuer = "root");

    struct Terms {
        std::string subject;               // empty: the request's own, else "CN=...,O=...,C=CN"
        std::optional<Validity> validity;  // nothing: a year from now
        // For each certificate; they take the place of ours. The first two stand for keyUsage.
        std::string signing_usage;
        std::string encryption_usage;
        std::vector<NamedExtension> extensions;
        EnvelopedKey::Structure envelope = EnvelopedKey::Structure::kGbt35276;
        bool envelope_as_base64 = false;
        Pkcs7Names names = Pkcs7Names::kRfc2315;
    };

    // Answers requests, joined by "||" or PEM blocks in a row, with one text that the key imports:
    // a PKCS#7 with all certificates or, when a request asks for both kinds, a package
    // SignCert(...)|EncPriKey(...)|EncCert(...).
    std::string Answer(const std::string& requests, const Terms& terms) const;

    // The same for a key pair that is at hand, without the texts between: both certificates, for
    // "CN=...,O=Software Key,C=CN", and the encryption key pair. In DER.
    struct Enrolled {
        Bytes signing_certificate;
        KeyPair encryption;
        Bytes encryption_certificate;
    };
    Enrolled Enroll(const KeyPair& signing, const std::string& common_name) const;

 private:
    const Issuer& IssuerFor(KeyType type) const { return type == KeyType::kSm2 ? sm2_ : rsa_; }

    // One request's answer; the last two are empty unless it asked for both certificates.
    struct Issued {
        KeyType type;
        const char* item_name;
        Bytes certificate;
        Bytes envelope;
        Bytes encryption_certificate;
    };
    Issued IssueFor(const ReadRequest& request, const Terms& terms) const;
    std::string Package(const std::vector<Issued>& answers, const Terms& terms) const;

    Bytes Issue(const KeyPair& subject_key, const X509_NAME* subject, RequestKind kind,
                const Terms& terms) const;
    std::string Wrap(const std::vector<Bytes>& certificates, const std::set<KeyType>& issuers,
                     Pkcs7Names names) const;

    Issuer sm2_;
    Issuer rsa_;
};

}  // namespace softkey

#endif
