#include "authority/authority.h"

#include <algorithm>
#include <filesystem>

#include "authority/issuers.h"
#include "authority/subject.h"
#include "base/encoding.h"
#include "base/error.h"
#include "cli/failure.h"
#include "cli/words.h"
#include "store/home.h"

namespace softkey {
namespace {

constexpr std::time_t kDay = 86400;
constexpr std::time_t kRootDays = 3650;
constexpr std::time_t kUsualDays = 365;

Validity FromNow(std::time_t days) {
    const std::time_t now = std::time(nullptr);
    return {now, now + days * kDay};
}

}  // namespace

void Authority::Create(const std::string& folder, const std::string& name,
                       const std::optional<Validity>& validity) {
    if (!IssuersIn(folder).empty()) {
        cli::Throw(cli::ExitStatus::kFailed,
                   cli::Say("there is an authority already: its keys are in {1}", folder), {},
                   "Use it with softca issue, or name another folder with --dir");
    }
    // A folder that is there keeps its mode; the files in it are the owner's alone in any case.
    if (std::filesystem::create_directories(folder)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    }
    AddIssuer(folder, {kRootName, name, kAnyPathLength, validity ? *validity : FromNow(kRootDays)},
              nullptr);
}

Authority::Authority(const std::string& folder, const std::string& issuer)
    : sm2_(LoadIssuer(folder, issuer, KeyType::kSm2)),
      rsa_(LoadIssuer(folder, issuer, KeyType::kRsa2048)) {}

Bytes Authority::Issue(const KeyPair& subject_key, const X509_NAME* subject, RequestKind kind,
                       const Terms& terms) const {
    const bool signs = kind == RequestKind::kSigning;
    const std::string& chosen = signs ? terms.signing_usage : terms.encryption_usage;
    const std::string usual = signs ? kSigningUsage : kEncryptionUsage;
    Profile profile{terms.validity ? *terms.validity : FromNow(kUsualDays),
                    {{"basicConstraints", "critical,CA:FALSE"},
                     {"keyUsage", chosen.empty() ? usual : chosen},
                     {"subjectKeyIdentifier", "hash"},
                     {"authorityKeyIdentifier", "keyid"}}};
    profile.extensions.insert(profile.extensions.end(), terms.extensions.begin(),
                              terms.extensions.end());
    const ssl::Certificate certificate =
        MakeCertificate(subject_key, subject, profile, &IssuerFor(subject_key.Type()));
    return ssl::ToDer(certificate.get(), i2d_X509, "certificate");
}

std::string Authority::Wrap(const std::vector<Bytes>& certificates,
                            const std::set<KeyType>& issuers, Pkcs7Names names) const {
    std::vector<Bytes> chain = certificates;
    for (const KeyType type : issuers) {
        for (const ssl::Certificate& certificate : IssuerFor(type).chain) {
            chain.push_back(ssl::ToDer(certificate.get(), i2d_X509, "certificate"));
        }
    }
    return ToBase64(CertificatesOnly(chain, names));
}

Authority::Issued Authority::IssueFor(const ReadRequest& request, const Terms& terms) const {
    const ssl::Name chosen = terms.subject.empty() ? ssl::Name() : ReadSubject(terms.subject);
    const X509_NAME* const subject =
        chosen == nullptr ? X509_REQ_get_subject_name(request.request.get()) : chosen.get();
    const KeyPair& requester = request.requester;
    const bool encryption = request.kind == RequestKind::kEncryption;
    Issued issued{requester.Type(), encryption ? "EncCert" : "SignCert",
                  Issue(requester, subject,
                        encryption ? RequestKind::kEncryption : RequestKind::kSigning, terms),
                  Bytes(), Bytes()};
    if (request.kind != RequestKind::kDual) {
        return issued;
    }
    Require(requester.Type() == KeyType::kSm2, Code::kKeyInfoType,
            "both certificates at once need an SM2 request");
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    issued.envelope = EnvelopedKey::Seal(pair, requester, terms.envelope);
    issued.encryption_certificate = Issue(pair, subject, RequestKind::kEncryption, terms);
    return issued;
}

std::string Authority::Package(const std::vector<Issued>& answers, const Terms& terms) const {
    std::string package;
    const auto add = [&](const char* name, const std::string& data) {
        package += (package.empty() ? "" : "|") + std::string(name) + "(" + data + ")";
    };
    for (const Issued& issued : answers) {
        add(issued.item_name, Wrap({issued.certificate}, {issued.type}, terms.names));
        if (issued.envelope.empty()) {
            continue;
        }
        add("EncPriKey",
            terms.envelope_as_base64 ? ToBase64(issued.envelope) : ToHex(issued.envelope));
        add("EncCert", Wrap({issued.encryption_certificate}, {issued.type}, terms.names));
    }
    return package;
}

std::string Authority::Answer(const std::string& requests, const Terms& terms) const {
    std::vector<Issued> answers;
    for (const ReadRequest& request : RequestsIn(requests)) {
        answers.push_back(IssueFor(request, terms));
    }
    const bool any_envelope = std::any_of(answers.begin(), answers.end(), [](const Issued& issued) {
        return !issued.envelope.empty();
    });
    if (any_envelope) {
        return Package(answers, terms);
    }
    std::vector<Bytes> certificates;
    std::set<KeyType> issuers;
    certificates.reserve(answers.size());
    for (const Issued& issued : answers) {
        certificates.push_back(issued.certificate);
        issuers.insert(issued.type);
    }
    return Wrap(certificates, issuers, terms.names);
}

Authority::Enrolled Authority::Enroll(const KeyPair& signing,
                                      const std::string& common_name) const {
    const ssl::Name subject = MakeName({{"C", "CN"}, {"O", "Software Key"}, {"CN", common_name}});
    const auto issue = [&](const KeyPair& pair, RequestKind kind) {
        return Issue(pair, subject.get(), kind, Terms());
    };
    KeyPair encryption = KeyPair::Generate(KeyType::kSm2);
    Bytes certificate = issue(encryption, RequestKind::kEncryption);
    return {issue(signing, RequestKind::kSigning), std::move(encryption), std::move(certificate)};
}

}  // namespace softkey
