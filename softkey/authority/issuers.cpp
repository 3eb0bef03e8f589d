#include "authority/issuers.h"

#include <openssl/pem.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "base/draft_file.h"
#include "base/encoding.h"
#include "base/error.h"
#include "cli/failure.h"
#include "cli/files.h"
#include "cli/words.h"
#include "crypto/pkcs10.h"
#include "store/home.h"

namespace softkey {
namespace {

namespace fs = std::filesystem;
using ssl::Check;

constexpr char kKeySuffix[] = ".key";
constexpr char kChainSuffix[] = ".pem";

void CheckIssuerName(const std::string& name) {
    constexpr char kCharacters[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
    if (name.empty() || name[0] == '.' || name[0] == '-' ||
        name.find_first_not_of(kCharacters) != std::string::npos) {
        cli::ThrowUsage(cli::Say("{1} is no name for an issuer", name),
                        "take letters, digits, dots, hyphens and underscores, a letter first");
    }
}

using Drafts = std::vector<std::unique_ptr<DraftFile>>;

void Draft(const std::string& path, const std::string& text, Drafts& drafts) {
    const fs::path place(path);
    RemoveAbandonedDrafts(place.parent_path().string(), place.filename().string());
    drafts.push_back(std::make_unique<DraftFile>(path));
    drafts.back()->Write(ToBytes(text), DraftFile::Sync::kLater);
}

// A file of an issuer, to read from.
ssl::Output Open(const std::string& path) {
    const std::string text = cli::ReadInput(path);
    ssl::Output input(BIO_new(BIO_s_mem()));
    Check(
        input != nullptr && BIO_write(input.get(), text.data(), static_cast<int>(text.size())) > 0,
        "a file of the authority is damaged", Code::kStoreDamaged);
    return input;
}

Profile ProfileOf(const NewIssuer& issuer, bool is_root) {
    Profile profile{issuer.validity,
                    {{"basicConstraints", AuthorityConstraints(issuer.path_length)},
                     {"keyUsage", kAuthorityUsage},
                     {"subjectKeyIdentifier", "hash"}}};
    if (!is_root) {
        profile.extensions.push_back({"authorityKeyIdentifier", "keyid"});
    }
    return profile;
}

Issuer Make(KeyType type, const NewIssuer& issuer, const Issuer* under) {
    KeyPair pair = KeyPair::Generate(type);
    const ssl::Name subject =
        MakeName({{"C", "CN"}, {"O", "Software Key"}, {"CN", issuer.common_name}});
    const Profile profile = ProfileOf(issuer, under == nullptr);
    std::vector<ssl::Certificate> chain;
    chain.push_back(MakeCertificate(pair, subject.get(), profile, under));
    for (size_t place = 0; under != nullptr && place < under->chain.size(); ++place) {
        chain.emplace_back(X509_dup(under->chain[place].get()));
        Check(chain.back() != nullptr, "certificate");
    }
    return {std::move(pair), std::move(chain)};
}

void DraftFiles(const std::string& folder, const std::string& name, const Issuer& issuer,
                Drafts& drafts) {
    const KeyType type = issuer.pair.Type();
    const auto write_key = [&](BIO* output) {
        return PEM_write_bio_PrivateKey(output, issuer.pair.Get(), nullptr, nullptr, 0, nullptr,
                                        nullptr) == 1;
    };
    Draft(IssuerFile(folder, name, type, kKeySuffix), ssl::Printed(write_key, "key"), drafts);
    std::string chain;
    for (const ssl::Certificate& certificate : issuer.chain) {
        chain += ToPem(ssl::ToDer(certificate.get(), i2d_X509, "certificate"), "CERTIFICATE");
    }
    Draft(IssuerFile(folder, name, type, kChainSuffix), chain, drafts);
}

}  // namespace

std::string AuthorityFolder() {
    const auto variable = [](const char* name) {
        const char* const value = std::getenv(name);
        return value == nullptr ? std::string() : std::string(value);
    };
    if (!variable("ORVAL_SOFTCA_HOME").empty()) {
        return variable("ORVAL_SOFTCA_HOME");
    }
    if (!variable("XDG_DATA_HOME").empty()) {
        return variable("XDG_DATA_HOME") + "/orval-softca";
    }
    return variable("HOME") + "/.local/share/orval-softca";
}

const char* TypeWord(KeyType type) {
    return type == KeyType::kSm2 ? "sm2" : "rsa";
}

std::string IssuerFile(const std::string& folder, const std::string& name, KeyType type,
                       const char* suffix) {
    return folder + "/" + name + "-" + TypeWord(type) + suffix;
}

std::string CertificatePath(const std::string& folder, const std::string& name, KeyType type) {
    return IssuerFile(folder, name, type, kChainSuffix);
}

std::vector<std::string> IssuersIn(const std::string& folder) {
    const std::string ending = std::string("-") + TypeWord(KeyType::kSm2) + kKeySuffix;
    std::vector<std::string> names;
    std::error_code error;
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, error)) {
        const std::string file = entry.path().filename().string();
        if (file.size() > ending.size() &&
            file.compare(file.size() - ending.size(), ending.size(), ending) == 0) {
            names.push_back(file.substr(0, file.size() - ending.size()));
        }
    }
    std::sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return std::pair(a != kRootName, a) < std::pair(b != kRootName, b);
    });
    return names;
}

void AddIssuer(const std::string& folder, const NewIssuer& issuer, const std::string* under) {
    CheckIssuerName(issuer.name);
    // All its files or none: half an issuer can neither be used nor made again.
    Drafts drafts;
    for (const KeyType type : kIssuerTypes) {
        std::optional<Issuer> above;
        if (under != nullptr) {
            above.emplace(LoadIssuer(folder, *under, type));
        }
        DraftFiles(folder, issuer.name, Make(type, issuer, above ? &*above : nullptr), drafts);
    }
    DraftFile::PublishAll(drafts);
}

Issuer LoadIssuer(const std::string& folder, const std::string& name, KeyType type) {
    if (!Exists(IssuerFile(folder, name, type, kKeySuffix))) {
        const bool is_root = name == kRootName;
        cli::Throw(
            cli::ExitStatus::kFailed,
            is_root ? cli::Say("there is no authority: its keys are not all in {1}", folder)
                    : cli::Say("there is no issuer {1} in {2}", name, folder),
            {},
            is_root
                ? "Make one with softca init --dir FOLDER, in a folder that has no part of one"
                : "Make it with softca intermediate NAME; softca list shows those that there are");
    }
    const ssl::Output key_file = Open(IssuerFile(folder, name, type, kKeySuffix));
    const ssl::Output chain_file = Open(IssuerFile(folder, name, type, kChainSuffix));
    const ssl::ErrorMark mark;  // the end of the file is one of OpenSSL's errors
    ssl::Key key(PEM_read_bio_PrivateKey(key_file.get(), nullptr, nullptr, nullptr));
    std::vector<ssl::Certificate> chain;
    while (X509* const certificate =
               PEM_read_bio_X509(chain_file.get(), nullptr, nullptr, nullptr)) {
        chain.emplace_back(certificate);
    }
    // That is no end of the file, and the chain would be too short.
    Require(!ssl::ErrorMark::MemoryRanOut(), Code::kMemory);
    Check(key != nullptr && !chain.empty() &&
              X509_check_private_key(chain.front().get(), key.get()) == 1,
          "a file of the authority is damaged", Code::kStoreDamaged);
    return {KeyPair(std::move(key)), std::move(chain)};
}

}  // namespace softkey
