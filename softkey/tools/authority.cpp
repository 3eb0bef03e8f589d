#include "tools/authority.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>

#include "base/draft_file.h"
#include "base/encoding.h"
#include "cli/files.h"
#include "cli/words.h"
#include "crypto/enveloped_key.h"
#include "crypto/pkcs10.h"
#include "crypto/sealing.h"
#include "store/home.h"
#include "tools/console.h"

namespace softkey::tools {
namespace {

using ssl::Check;
using Extension = ssl::Owner<X509_EXTENSION, X509_EXTENSION_free>;
using Number = ssl::Owner<BIGNUM, BN_free>;
using UsageBits = ssl::Owner<ASN1_BIT_STRING, ASN1_BIT_STRING_free>;

constexpr int kRootDays = 3650;
constexpr size_t kSerialBytes = 16;
constexpr KeyType kTypes[] = {KeyType::kSm2, KeyType::kRsa2048};

const char* TypeWord(KeyType type) {
    return type == KeyType::kSm2 ? "sm2" : "rsa";
}

std::string KeyPathIn(const std::string& folder, KeyType type) {
    return folder + "/root-" + TypeWord(type) + ".key";
}

void WriteNewFile(const std::string& path, const std::string& text) {
    const std::filesystem::path place(path);
    RemoveAbandonedDrafts(place.parent_path().string(), place.filename().string());
    DraftFile draft(path);
    draft.Write(ToBytes(text));
    draft.Publish();
}

// A copy of `text` to read from.
ssl::Output InputOf(const std::string& text) {
    ssl::Output input(BIO_new(BIO_s_mem()));
    Check(
        input != nullptr && BIO_write(input.get(), text.data(), static_cast<int>(text.size())) > 0,
        "input");
    return input;
}

void AddExtension(X509* certificate, X509* issuer, int kind, const char* value) {
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, kind, value));
    Check(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1,
          "certificate extension");
}

void SetSerial(X509* certificate) {
    Bytes random = RandomBytes(kSerialBytes);
    random[0] = static_cast<unsigned char>((random[0] & 0x3F) | 0x40);  // positive, full length
    const Number number(BN_bin2bn(random.data(), static_cast<int>(random.size()), nullptr));
    Check(BN_to_ASN1_INTEGER(number.get(), X509_get_serialNumber(certificate)) != nullptr,
          "serial number");
}

ssl::Certificate NewCertificate(const KeyPair& key, const X509_NAME* subject,
                                const X509_NAME* issuer, int days) {
    ssl::Certificate certificate(X509_new());
    X509* const raw = certificate.get();
    Check(raw != nullptr && X509_set_version(raw, X509_VERSION_3) == 1, "certificate");
    SetSerial(raw);
    Check(X509_set_subject_name(raw, subject) == 1 && X509_set_issuer_name(raw, issuer) == 1,
          "certificate names");
    Check(X509_gmtime_adj(X509_getm_notBefore(raw), 0) != nullptr &&
              X509_time_adj_ex(X509_getm_notAfter(raw), days, 0, nullptr) != nullptr,
          "certificate validity");
    Check(X509_set_pubkey(raw, key.Get()) == 1, "certificate public key");
    return certificate;
}

void SignCertificate(X509* certificate, const KeyPair& issuer) {
    ssl::KeyContext key_context;
    const ssl::DigestContext context = issuer.MessageContext(&key_context);
    Check(EVP_DigestSignInit(context.get(), nullptr, issuer.Digest(), nullptr, issuer.Get()) == 1,
          "certificate signature");
    Check(X509_sign_ctx(certificate, context.get()) > 0, "certificate signature");
}

ssl::Certificate MakeRoot(const KeyPair& pair, const std::string& name) {
    const ssl::Name subject = MakeName({{"C", "CN"}, {"O", "Software Key"}, {"CN", name}});
    ssl::Certificate root = NewCertificate(pair, subject.get(), subject.get(), kRootDays);
    AddExtension(root.get(), root.get(), NID_basic_constraints, "critical,CA:TRUE");
    AddExtension(root.get(), root.get(), NID_key_usage, "critical,keyCertSign,cRLSign");
    AddExtension(root.get(), root.get(), NID_subject_key_identifier, "hash");
    SignCertificate(root.get(), pair);
    return root;
}

void CheckField(const std::string& name) {
    constexpr const char* kFields[] = {"CN", "OU",           "O",           "L", "ST",
                                       "C",  "serialNumber", "emailAddress"};
    std::string all;
    for (const char* const field : kFields) {
        if (name == field) {
            return;
        }
        all += (all.empty() ? "" : ", ") + std::string(field);
    }
    throw Error(Code::kInvalidParameter,
                cli::Say("a subject has no field {1}; the fields are {2}", name, all));
}

// "CN=...,O=...,C=CN", most specific part first; the name is built the other way round.
ssl::Name ReadSubject(const std::string& text) {
    std::vector<std::string> fields = Split(text, ",");
    std::reverse(fields.begin(), fields.end());
    std::vector<std::pair<std::string, std::string>> parts;
    parts.reserve(fields.size());
    for (const std::string& field : fields) {
        const size_t equals = field.find('=');
        Require(equals != std::string::npos && equals > 0, Code::kInvalidParameter,
                "a subject looks like CN=Alice,O=Example,C=CN; no value can contain a comma");
        CheckField(field.substr(0, equals));
        parts.emplace_back(field.substr(0, equals), field.substr(equals + 1));
    }
    return MakeName(parts);
}

ssl::Request ReadRequest(const std::string& text) {
    const std::optional<Bytes> der = FromBase64OrPem(text);
    Require(der.has_value(), Code::kData, "a request is neither Base64 nor PEM");
    auto request = ssl::FromDer<ssl::Request>(*der, d2i_X509_REQ);
    Require(request != nullptr, Code::kData, "a request is no PKCS#10, or something follows it");
    return request;
}

KeyPair RequesterOf(X509_REQ* request) {
    EVP_PKEY* const key = X509_REQ_get0_pubkey(request);
    Check(key != nullptr, "a request's public key", Code::kData);
    KeyPair pair = KeyPair::FromPublic(ssl::ToDer(key, i2d_PUBKEY, "public key"));
    if (pair.Type() == KeyType::kSm2) {
        ASN1_OCTET_STRING* const id = ASN1_OCTET_STRING_new();
        Check(ASN1_OCTET_STRING_set(id, AsBytes(kDefaultUserId),
                                    static_cast<int>(kDefaultUserId.size())) == 1,
              "SM2 user id");
        X509_REQ_set0_distinguishing_id(request, id);
    }
    Check(X509_REQ_verify(request, pair.Get()) == 1, "a request's signature is wrong", Code::kData);
    return pair;
}

RequestKind KindOf(const X509_REQ* request) {
    STACK_OF(X509_EXTENSION)* const extensions =
        X509_REQ_get_extensions(const_cast<X509_REQ*>(request));
    const UsageBits usage(
        static_cast<ASN1_BIT_STRING*>(X509V3_get_d2i(extensions, NID_key_usage, nullptr, nullptr)));
    sk_X509_EXTENSION_pop_free(extensions, X509_EXTENSION_free);
    constexpr int kDigitalSignature = 0;
    constexpr int kKeyEncipherment = 2;
    if (usage == nullptr) {
        return RequestKind::kSigning;
    }
    const bool encrypts = ASN1_BIT_STRING_get_bit(usage.get(), kKeyEncipherment) == 1;
    const bool signs = ASN1_BIT_STRING_get_bit(usage.get(), kDigitalSignature) == 1;
    if (encrypts && signs) {
        return RequestKind::kDual;
    }
    return encrypts ? RequestKind::kEncryption : RequestKind::kSigning;
}

std::string_view Trimmed(std::string_view text) {
    constexpr char kBlanks[] = " \t\r\n";
    const size_t begin = text.find_first_not_of(kBlanks);
    if (begin == std::string_view::npos) {
        return {};
    }
    return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Cuts the first PEM block off `rest`. Whatever else stands there is refused: an answer that leaves
// something out silently would look whole.
std::string TakeBlock(std::string_view& rest) {
    constexpr std::string_view kBegin = "-----BEGIN ";
    constexpr std::string_view kEnd = "-----END ";
    constexpr std::string_view kDashes = "-----";
    Require(rest.substr(0, kBegin.size()) == kBegin, Code::kData,
            "something that is no PEM block stands between or behind the requests");
    const size_t end = rest.find(kEnd);
    const size_t dashes =
        end == std::string_view::npos ? end : rest.find(kDashes, end + kEnd.size());
    Require(dashes != std::string_view::npos, Code::kData, "a PEM block has no end");
    const size_t length = dashes + kDashes.size();
    std::string block(rest.substr(0, length));
    rest = Trimmed(rest.substr(length));
    return block;
}

// Requests are joined by "||", or follow one another as PEM blocks.
std::vector<std::string> RequestsIn(const std::string& text) {
    std::vector<std::string> requests;
    for (const std::string& part : Split(text, "||")) {
        std::string_view rest = Trimmed(part);
        // An unused first entry of a batch leaves only its separator.
        if (rest.find("-----") == std::string_view::npos && !rest.empty()) {
            requests.emplace_back(rest);
            continue;
        }
        while (!rest.empty()) {
            requests.push_back(TakeBlock(rest));
        }
    }
    return requests;
}

}  // namespace

std::string Authority::CertificatePath(const std::string& folder, KeyType type) {
    return folder + "/root-" + TypeWord(type) + ".pem";
}

void Authority::Create(const std::string& folder, const std::string& name) {
    if (Exists(KeyPathIn(folder, KeyType::kSm2))) {
        throw Refusal(cli::Say("there is an authority already: its keys are in {1}", folder),
                      "Use it with softca issue, or name another folder with --dir");
    }
    // A folder that is there keeps its mode; the files in it are the owner's alone in any case.
    if (std::filesystem::create_directories(folder)) {
        std::filesystem::permissions(folder, std::filesystem::perms::owner_all);
    }
    for (const KeyType type : kTypes) {
        const KeyPair pair = KeyPair::Generate(type);
        const auto write_key = [&](BIO* output) {
            return PEM_write_bio_PrivateKey(output, pair.Get(), nullptr, nullptr, 0, nullptr,
                                            nullptr) == 1;
        };
        WriteNewFile(KeyPathIn(folder, type), ssl::Printed(write_key, "root key"));
        WriteNewFile(
            CertificatePath(folder, type),
            ToPem(ssl::ToDer(MakeRoot(pair, name).get(), i2d_X509, "root"), "CERTIFICATE"));
    }
}

Authority::Root Authority::LoadRoot(const std::string& folder, KeyType type) {
    if (!Exists(KeyPathIn(folder, type))) {
        throw Refusal(
            cli::Say("there is no authority: its keys are not all in {1}", folder),
            "Make one with softca init --dir FOLDER, in a folder that has no part of one");
    }
    const ssl::Output key_file = InputOf(cli::ReadInput(KeyPathIn(folder, type)));
    const ssl::Output certificate_file = InputOf(cli::ReadInput(CertificatePath(folder, type)));
    ssl::Key key(PEM_read_bio_PrivateKey(key_file.get(), nullptr, nullptr, nullptr));
    ssl::Certificate certificate(
        PEM_read_bio_X509(certificate_file.get(), nullptr, nullptr, nullptr));
    Check(key != nullptr && certificate != nullptr, "a file of the authority is damaged",
          Code::kStoreDamaged);
    return {KeyPair(std::move(key)), std::move(certificate)};
}

Authority::Authority(const std::string& folder)
    : sm2_(LoadRoot(folder, KeyType::kSm2)), rsa_(LoadRoot(folder, KeyType::kRsa2048)) {}

Bytes Authority::Issue(const KeyPair& subject_key, const X509_NAME* subject, const char* usage,
                       int days) const {
    const Root& root = RootFor(subject_key.Type());
    X509* const issuer = root.certificate.get();
    const ssl::Certificate certificate =
        NewCertificate(subject_key, subject, X509_get_subject_name(issuer), days);
    AddExtension(certificate.get(), issuer, NID_basic_constraints, "critical,CA:FALSE");
    AddExtension(certificate.get(), issuer, NID_key_usage, usage);
    AddExtension(certificate.get(), issuer, NID_subject_key_identifier, "hash");
    AddExtension(certificate.get(), issuer, NID_authority_key_identifier, "keyid");
    SignCertificate(certificate.get(), root.pair);
    return ssl::ToDer(certificate.get(), i2d_X509, "certificate");
}

std::string Authority::Wrap(const std::vector<Bytes>& certificates,
                            const std::set<KeyType>& issuers, Pkcs7Names names) const {
    std::vector<Bytes> chain = certificates;
    for (const KeyType issuer : issuers) {
        chain.push_back(ssl::ToDer(RootFor(issuer).certificate.get(), i2d_X509, "root"));
    }
    return ToBase64(CertificatesOnly(chain, names));
}

Authority::Issued Authority::IssueFor(const std::string& text, const Terms& terms) const {
    const ssl::Request request = ReadRequest(text);
    const KeyPair requester = RequesterOf(request.get());
    const ssl::Name chosen = terms.subject.empty() ? ssl::Name() : ReadSubject(terms.subject);
    const X509_NAME* const subject =
        chosen == nullptr ? X509_REQ_get_subject_name(request.get()) : chosen.get();
    const RequestKind kind = KindOf(request.get());
    const KeyType type = requester.Type();
    const bool encryption = kind == RequestKind::kEncryption;
    Issued issued{
        type, encryption ? "EncCert" : "SignCert",
        Issue(requester, subject, encryption ? kEncryptionUsage : kSigningUsage, terms.days),
        Bytes(), Bytes()};
    if (kind != RequestKind::kDual) {
        return issued;
    }
    Require(type == KeyType::kSm2, Code::kKeyInfoType,
            "both certificates at once need an SM2 request");
    const KeyPair pair = KeyPair::Generate(KeyType::kSm2);
    issued.envelope = EnvelopedKey::Seal(pair, requester);
    issued.encryption_certificate = Issue(pair, subject, kEncryptionUsage, terms.days);
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
    for (const std::string& text : RequestsIn(requests)) {
        answers.push_back(IssueFor(text, terms));
    }
    Require(!answers.empty(), Code::kData, "there is no request in the input");
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

}  // namespace softkey::tools
