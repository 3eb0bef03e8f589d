#include "authority/revocation.h"

#include <openssl/x509v3.h>

#include <algorithm>
#include <chrono>
#include <sstream>

#include "authority/issuers.h"
#include "base/draft_file.h"
#include "base/encoding.h"
#include "base/error.h"
#include "base/file_lock.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/words.h"
#include "crypto/certificate_texts.h"
#include "store/home.h"

namespace softkey {
namespace {

using ssl::Check;
using Integer = ssl::Owner<ASN1_INTEGER, ASN1_INTEGER_free>;
using Number = ssl::Owner<BIGNUM, BN_free>;
using Time = ssl::Owner<ASN1_TIME, ASN1_TIME_free>;
using Entry = ssl::Owner<X509_REVOKED, X509_REVOKED_free>;
using List = ssl::Owner<X509_CRL, X509_CRL_free>;
using Enumerated = ssl::Owner<ASN1_ENUMERATED, ASN1_ENUMERATED_free>;
using Extension = ssl::Owner<X509_EXTENSION, X509_EXTENSION_free>;

struct Reason {
    const char* name;
    int number;
};

// Without removeFromCRL, which only lists of differences have.
constexpr Reason kReasons[] = {{"unspecified", CRL_REASON_UNSPECIFIED},
                               {"keyCompromise", CRL_REASON_KEY_COMPROMISE},
                               {"cACompromise", CRL_REASON_CA_COMPROMISE},
                               {"affiliationChanged", CRL_REASON_AFFILIATION_CHANGED},
                               {"superseded", CRL_REASON_SUPERSEDED},
                               {"cessationOfOperation", CRL_REASON_CESSATION_OF_OPERATION},
                               {"certificateHold", CRL_REASON_CERTIFICATE_HOLD},
                               {"privilegeWithdrawn", CRL_REASON_PRIVILEGE_WITHDRAWN},
                               {"aACompromise", CRL_REASON_AA_COMPROMISE}};

const Reason* FindReason(const std::string& name) {
    const auto* const found =
        std::find_if(std::begin(kReasons), std::end(kReasons),
                     [&](const Reason& reason) { return name == reason.name; });
    return found == std::end(kReasons) ? nullptr : found;
}

std::string RecordPath(const std::string& folder, const std::string& issuer, KeyType type) {
    return IssuerFile(folder, issuer, type, ".revoked");
}

std::vector<Revocation> ReadOut(const std::string& text, const std::string& path) {
    std::vector<Revocation> revocations;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        Revocation one;
        words >> one.serial_number >> one.at >> one.reason;
        if (!words || !FromHex(one.serial_number) || FindReason(one.reason) == nullptr) {
            throw Error(
                Code::kStoreDamaged, cli::Say("a file of the authority is damaged: {1}", path),
                "Each line has a serial number in hexadecimal, seconds since 1970 and a reason");
        }
        revocations.push_back(one);
    }
    return revocations;
}

void Keep(const std::vector<Revocation>& revocations, const std::string& path) {
    std::ostringstream text;
    for (const Revocation& one : revocations) {
        text << one.serial_number << ' ' << one.at << ' ' << one.reason << '\n';
    }
    DraftFile draft(path);
    draft.Write(ToBytes(text.str()));
    draft.Replace();
}

ssl::Certificate Decode(const std::string& text) {
    const std::optional<Bytes> der = FromBase64OrPem(text);
    ssl::Certificate certificate;
    if (der) {
        certificate = ssl::FromDer<ssl::Certificate>(*der, d2i_X509);
    }
    Require(certificate != nullptr, Code::kData, "the input is no certificate in Base64 or PEM");
    return certificate;
}

bool HasIssued(const Issuer& issuer, X509* certificate) {
    const bool is_sm2 = issuer.pair.Type() == KeyType::kSm2;
    if (X509_NAME_cmp(X509_get_subject_name(issuer.Certificate()),
                      X509_get_issuer_name(certificate)) != 0 ||
        (X509_get_signature_nid(certificate) == NID_SM2_with_SM3) != is_sm2) {
        return false;
    }
    if (is_sm2) {
        X509_set0_distinguishing_id(certificate, NewDefaultUserId());
    }
    const ssl::ErrorMark mark;
    return ssl::IsYes(X509_verify(certificate, issuer.pair.Get()) == 1);
}

void Add(X509_CRL* list, const Revocation& revocation) {
    const Bytes digits = *FromHex(revocation.serial_number);
    const Number number(BN_bin2bn(digits.data(), static_cast<int>(digits.size()), nullptr));
    const Integer serial(BN_to_ASN1_INTEGER(number.get(), nullptr));
    const Time time(ASN1_TIME_set(nullptr, revocation.at));
    Entry entry(X509_REVOKED_new());
    Check(entry != nullptr && serial != nullptr && time != nullptr &&
              X509_REVOKED_set_serialNumber(entry.get(), serial.get()) == 1 &&
              X509_REVOKED_set_revocationDate(entry.get(), time.get()) == 1,
          "revocation");
    const int reason = FindReason(revocation.reason)->number;
    // RFC 5280: absent instead of unspecified.
    if (reason != CRL_REASON_UNSPECIFIED) {
        const Enumerated value(ASN1_ENUMERATED_new());
        Check(value != nullptr && ASN1_ENUMERATED_set(value.get(), reason) == 1 &&
                  X509_REVOKED_add1_ext_i2d(entry.get(), NID_crl_reason, value.get(), 0, 0) == 1,
              "revocation");
    }
    Check(X509_CRL_add0_revoked(list, entry.get()) == 1, "revocation");
    static_cast<void>(entry.release());
}

void AddExtensions(X509_CRL* list, X509* issuer) {
    X509V3_CTX context{};
    X509V3_set_ctx(&context, issuer, nullptr, nullptr, list, 0);
    const Extension key(
        X509V3_EXT_conf_nid(nullptr, &context, NID_authority_key_identifier, "keyid"));
    Check(key != nullptr && X509_CRL_add_ext(list, key.get(), -1) == 1, "revocation list");
    // A later list has a greater number, whatever moment it says it was made at.
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const Integer number(ASN1_INTEGER_new());
    Check(number != nullptr &&
              ASN1_INTEGER_set_int64(
                  number.get(),
                  std::chrono::duration_cast<std::chrono::microseconds>(now).count()) == 1 &&
              X509_CRL_add1_ext_i2d(list, NID_crl_number, number.get(), 0, 0) == 1,
          "revocation list");
}

void Sign(X509_CRL* list, const KeyPair& issuer) {
    ssl::KeyContext key_context;
    const ssl::DigestContext context = issuer.MessageContext(&key_context);
    Check(EVP_DigestSignInit(context.get(), nullptr, issuer.Digest(), nullptr, issuer.Get()) == 1 &&
              X509_CRL_sort(list) == 1 && X509_CRL_sign_ctx(list, context.get()) > 0,
          "revocation list's signature");
}

}  // namespace

std::vector<std::string> RevocationReasons() {
    std::vector<std::string> names;
    for (const Reason& reason : kReasons) {
        names.emplace_back(reason.name);
    }
    return names;
}

std::vector<Revocation> RevocationsOf(const std::string& folder, const std::string& issuer,
                                      KeyType type) {
    const std::string path = RecordPath(folder, issuer, type);
    return Exists(path) ? ReadOut(cli::ReadInput(path), path) : std::vector<Revocation>();
}

Revoked Revoke(const std::string& folder, const std::string& certificate, const std::string& reason,
               std::time_t at) {
    const ssl::Certificate decoded = Decode(certificate);
    for (const std::string& name : IssuersIn(folder)) {
        for (const KeyType type : kIssuerTypes) {
            if (!HasIssued(LoadIssuer(folder, name, type), decoded.get())) {
                continue;
            }
            const FileLock lock(RecordPath(folder, name, type) + ".lock");
            std::vector<Revocation> all = RevocationsOf(folder, name, type);
            const Revocation revocation{SerialNumberText(decoded.get()), at, reason};
            const auto known = std::find_if(all.begin(), all.end(), [&](const Revocation& one) {
                return one.serial_number == revocation.serial_number;
            });
            if (known == all.end()) {
                all.push_back(revocation);
            } else {
                *known = revocation;
            }
            Keep(all, RecordPath(folder, name, type));
            return {name, type, revocation.serial_number};
        }
    }
    cli::Throw(cli::ExitStatus::kFailed, "no issuer in this folder has issued the certificate", {},
               "Name the authority's folder with --dir; softca list shows its issuers");
}

Bytes RevocationList(const std::string& folder, const std::string& issuer, KeyType type,
                     const Validity& validity) {
    const Issuer signer = LoadIssuer(folder, issuer, type);
    const List list(X509_CRL_new());
    const Time made(ASN1_TIME_set(nullptr, validity.from));
    const Time next(ASN1_TIME_set(nullptr, validity.until));
    Check(list != nullptr && made != nullptr && next != nullptr &&
              X509_CRL_set_version(list.get(), X509_CRL_VERSION_2) == 1 &&
              X509_CRL_set_issuer_name(list.get(), X509_get_subject_name(signer.Certificate())) ==
                  1 &&
              X509_CRL_set1_lastUpdate(list.get(), made.get()) == 1 &&
              X509_CRL_set1_nextUpdate(list.get(), next.get()) == 1,
          "revocation list");
    for (const Revocation& revocation : RevocationsOf(folder, issuer, type)) {
        Add(list.get(), revocation);
    }
    AddExtensions(list.get(), signer.Certificate());
    Sign(list.get(), signer.pair);
    return ssl::ToDer(list.get(), i2d_X509_CRL, "revocation list");
}

}  // namespace softkey
