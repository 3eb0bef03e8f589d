#ifndef SOFTKEY_TOOLS_AUTHORITY_H
#define SOFTKEY_TOOLS_AUTHORITY_H

#include <set>
#include <string>

#include "crypto/key_pair.h"
#include "crypto/pkcs7.h"
#include "crypto/ssl.h"

namespace softkey::tools {

// A small issuing authority for tests and demonstrations: an SM2 and an RSA root in one folder. Its
// private keys are not encrypted; it must never issue anything that matters.
class Authority {
 public:
    // Makes both roots. Refuses when the folder holds an authority.
    static void Create(const std::string& folder, const std::string& name);

    explicit Authority(const std::string& folder);

    struct Terms {
        std::string subject;  // empty: the request's own, else "CN=...,O=...,C=CN"
        int days = 365;
        bool envelope_as_base64 = false;
        Pkcs7Names names = Pkcs7Names::kRfc2315;
    };

    // Answers requests, joined by "||" or PEM blocks in a row, with one text that the key imports:
    // a PKCS#7 with all certificates or, when a request asks for both kinds, a package
    // SignCert(...)|EncPriKey(...)|EncCert(...).
    std::string Answer(const std::string& requests, const Terms& terms) const;

    static std::string CertificatePath(const std::string& folder, KeyType type);

 private:
    struct Root {
        KeyPair pair;
        ssl::Certificate certificate;
    };
    static Root LoadRoot(const std::string& folder, KeyType type);
    const Root& RootFor(KeyType type) const { return type == KeyType::kSm2 ? sm2_ : rsa_; }

    // One request's answer; the last two are empty unless it asked for both certificates.
    struct Issued {
        KeyType type;
        const char* item_name;
        Bytes certificate;
        Bytes envelope;
        Bytes encryption_certificate;
    };
    Issued IssueFor(const std::string& text, const Terms& terms) const;
    std::string Package(const std::vector<Issued>& answers, const Terms& terms) const;

    Bytes Issue(const KeyPair& subject_key, const X509_NAME* subject, const char* usage,
                int days) const;
    std::string Wrap(const std::vector<Bytes>& certificates, const std::set<KeyType>& issuers,
                     Pkcs7Names names) const;

    Root sm2_;
    Root rsa_;
};

}  // namespace softkey::tools

#endif
