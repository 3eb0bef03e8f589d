// softca: a small issuing authority that answers certificate requests of software keys.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <memory>

#include "authority/authority.h"
#include "authority/issuers.h"
#include "authority/moment.h"
#include "authority/revocation.h"
#include "base/encoding.h"
#include "cli/checks.h"
#include "cli/files.h"
#include "cli/json.h"
#include "cli/progress.h"
#include "cli/table.h"
#include "cli/words.h"
#include "crypto/certificate_texts.h"
#include "tools/console.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

constexpr std::time_t kDay = 86400;

// From when until when, as a user says it.
struct Lifetime {
    std::string from = "now";
    std::string until;
    int64_t days = 0;
};

Validity ReadValidity(const Lifetime& lifetime) {
    const std::time_t now = std::time(nullptr);
    const std::time_t from = ReadMoment(lifetime.from, now);
    const std::time_t until =
        lifetime.until.empty() ? from + lifetime.days * kDay : ReadMoment(lifetime.until, now);
    Require(until >= from, Code::kInvalidParameter, "it would end before it begins");
    return {from, until};
}

void Write(const std::string& path, const std::string& text) {
    if (path == "-") {
        std::cout << text;
    } else {
        cli::WriteOutput(path, text, cli::Readers::kAsTheMaskSays);
    }
}

void TellIssuer(const std::string& folder, const std::string& name) {
    // Words of their own: a script may look for the roots' lines.
    const bool is_root = name == kRootName;
    for (const KeyType type : kIssuerTypes) {
        const std::string path = CertificatePath(folder, name, type);
        const bool is_sm2 = type == KeyType::kSm2;
        Say(is_root
                ? (is_sm2 ? cli::Say("SM2 root  {1}", path) : cli::Say("RSA root  {1}", path))
                : (is_sm2 ? cli::Say("SM2 issuer  {1}", path) : cli::Say("RSA issuer  {1}", path)));
    }
}

struct InitOptions {
    std::string name = kAuthorityName;
    Lifetime lifetime;
};

void Init(const std::string& folder, const InitOptions& options) {
    Authority::Create(folder, options.name, ReadValidity(options.lifetime));
    TellIssuer(folder, kRootName);
}

struct IntermediateOptions {
    std::string name;
    std::string common_name;
    std::string under = kRootName;
    int64_t path_length = kAnyPathLength;
    Lifetime lifetime;
};

void AddIntermediate(const std::string& folder, const IntermediateOptions& options) {
    AddIssuer(folder,
              {options.name, options.common_name.empty() ? options.name : options.common_name,
               options.path_length, ReadValidity(options.lifetime)},
              &options.under);
    TellIssuer(folder, options.name);
}

struct IssueOptions {
    std::string issuer = kRootName;
    std::string input = "-";
    std::string output = "-";
    Authority::Terms terms;
    Lifetime lifetime;
    std::vector<std::string> extensions;
    std::string envelope = "hex";
    std::string structure = "gbt35276";
    std::string pkcs7 = "rfc";
};

Authority::Terms ReadTerms(const IssueOptions& options) {
    Authority::Terms terms = options.terms;
    terms.validity = ReadValidity(options.lifetime);
    for (const std::string& extension : options.extensions) {
        const size_t equals = extension.find('=');
        Require(equals != std::string::npos, Code::kInvalidParameter,
                "an extension looks like extendedKeyUsage=clientAuth");
        terms.extensions.push_back({extension.substr(0, equals), extension.substr(equals + 1)});
    }
    terms.envelope_as_base64 = options.envelope == "base64";
    terms.envelope = options.structure == "gmt0016" ? EnvelopedKey::Structure::kGmt0016
                                                    : EnvelopedKey::Structure::kGbt35276;
    terms.names = options.pkcs7 == "gm" ? Pkcs7Names::kGm : Pkcs7Names::kRfc2315;
    return terms;
}

void AnswerEach(const Authority& authority, const Authority::Terms& terms,
                const std::vector<std::filesystem::path>& requests, const std::string& folder) {
    cli::Progress progress(cli::Mark("answering"), requests.size(), cli::Progress::Measure::kCount);
    for (const std::filesystem::path& request : requests) {
        try {
            Write((folder / request.filename()).string(),
                  authority.Answer(cli::ReadInput(request.string()), terms) + "\n");
        } catch (const Error& error) {
            throw Error(error.code(), request.string() + ": " + error.what(), error.advice());
        }
        progress.Advance();
    }
}

// Each file of the one folder, answered in the file of its name in the other.
void IssueForFolder(const Authority& authority, const Authority::Terms& terms,
                    const IssueOptions& options) {
    namespace fs = std::filesystem;
    if (options.output == "-") {
        throw Refusal("the answers to a folder's requests need a folder as well",
                      "Name it with --out FOLDER", cli::ExitStatus::kUsage);
    }
    fs::create_directories(options.output);
    std::vector<fs::path> requests;
    for (const fs::directory_entry& entry : fs::directory_iterator(options.input)) {
        if (entry.is_regular_file()) {
            requests.push_back(entry.path());
        }
    }
    std::sort(requests.begin(), requests.end());
    AnswerEach(authority, terms, requests, options.output);
    Say(cli::SayCount("{1} file answered.", "{1} files answered.", requests.size()));
}

void Issue(const std::string& folder, const IssueOptions& options) {
    const Authority authority(folder, options.issuer);
    const Authority::Terms terms = ReadTerms(options);
    if (options.input != "-" && std::filesystem::is_directory(options.input)) {
        IssueForFolder(authority, terms, options);
        return;
    }
    const std::string requests = cli::ReadInput(options.input);
    const std::string answer =
        cli::Meanwhile(cli::Mark("answering"), [&] { return authority.Answer(requests, terms); });
    Write(options.output, answer + "\n");
}

struct RevokeOptions {
    std::string certificate;
    std::string reason = "unspecified";
    std::string at = "now";
};

void RevokeOne(const std::string& folder, const RevokeOptions& options) {
    const Revoked revoked = Revoke(folder, cli::ReadInput(options.certificate), options.reason,
                                   ReadMoment(options.at, std::time(nullptr)));
    Say(cli::Say("Revoked {1}, issued by {2} ({3}).", revoked.serial_number, revoked.issuer,
                 std::string(TypeWord(revoked.type))));
}

struct ListOptions {
    std::string issuer = kRootName;
    std::string type = "sm2";
    std::string output = "-";
    bool der = false;
    Lifetime lifetime;
};

void MakeRevocationList(const std::string& folder, const ListOptions& options) {
    const KeyType type = options.type == "sm2" ? KeyType::kSm2 : KeyType::kRsa2048;
    const Bytes list = RevocationList(folder, options.issuer, type, ReadValidity(options.lifetime));
    Write(options.output,
          options.der ? std::string(list.begin(), list.end()) : ToPem(list, "X509 CRL"));
}

void ListIssuers(const std::string& folder, bool as_json) {
    cli::Json list = cli::Json::array();
    std::vector<std::vector<std::string>> rows;
    for (const std::string& name : IssuersIn(folder)) {
        for (const KeyType type : kIssuerTypes) {
            const Issuer issuer = LoadIssuer(folder, name, type);
            const size_t revoked = RevocationsOf(folder, name, type).size();
            const std::string until = EndText(issuer.Certificate());
            const std::string subject = SubjectText(issuer.Certificate());
            rows.push_back({name, TypeWord(type), until, std::to_string(revoked), subject});
            list.push_back({{"issuer", name},
                            {"type", TypeWord(type)},
                            {"subject", subject},
                            {"issued_by", IssuerText(issuer.Certificate())},
                            {"not_after", until},
                            {"revoked_count", revoked},
                            {"certificate", CertificatePath(folder, name, type)}});
        }
    }
    if (as_json) {
        cli::Json object = cli::JsonObject("list", true);
        object["issuers"] = list;
        std::cout << cli::JsonLine(object);
    } else if (rows.empty()) {
        Say("No authority. Make one with: softca init");
    } else {
        std::cout << cli::Encoded(
            cli::InColumns({"ISSUER", "TYPE", "VALID UNTIL", "REVOKED", "SUBJECT"}, rows));
    }
}

void AddLifetime(cli::Command& command, Lifetime& lifetime, int64_t days) {
    lifetime.days = days;
    command
        .Add("--not-before", lifetime.from,
             "When it begins, in UTC: 2026-01-31, 2026-01-31T12:00:00Z, or so long from now, -30d "
             "or "
             "+12h")
        .ShowDefault();
    const cli::Option until =
        command.Add("--not-after", lifetime.until, "When it ends, in the same forms");
    command.Add("--days", lifetime.days, "Days of validity")
        .Checked(cli::WholeNumber(1, 36500))
        .Excludes(until)
        .ShowDefault();
}

void AddInit(cli::Command& program, const std::string& folder) {
    const auto options = std::make_shared<InitOptions>();
    cli::Command command =
        program.AddCommand("init", "Make an authority: an SM2 root and an RSA root",
                           Doing([options, &folder] { Init(folder, *options); }));
    command.Add("--name", options->name, "Common name of the roots").ShowDefault();
    AddLifetime(command, options->lifetime, 3650);
}

void AddIntermediateCommand(cli::Command& program, const std::string& folder) {
    const auto options = std::make_shared<IntermediateOptions>();
    cli::Command command = program.AddCommand(
        "intermediate",
        "Make an issuer under the root or under another issuer, with an SM2 and an RSA key. "
        "Its answers hold all certificates up to the root.",
        Doing([options, &folder] { AddIntermediate(folder, *options); }));
    command.Add("name", options->name, "What softca issue --issuer will call it").Required();
    command.Add("--common-name", options->common_name,
                "Common name in its certificates (default: the name)");
    command.Add("--under", options->under, "Who issues its certificates").ShowDefault();
    command
        .Add("--path-length", options->path_length,
             "How many issuers may follow below it (default: any number)")
        .Checked(cli::WholeNumber(0, 100));
    AddLifetime(command, options->lifetime, 1825);
}

void AddContents(cli::Command& command, IssueOptions& options) {
    command.Add("--subject", options.terms.subject,
                "Subject as RFC 4514 writes it, e.g. CN=Alice,O=Example\\, Ltd.,C=CN "
                "(default: the request's)");
    command.Add("--usage", options.terms.signing_usage,
                "keyUsage of signing certificates (default: critical,digitalSignature,"
                "nonRepudiation)");
    command.Add("--encryption-usage", options.terms.encryption_usage,
                "keyUsage of encryption certificates (default: critical,keyEncipherment,"
                "dataEncipherment,keyAgreement)");
    command
        .Add("--extension", options.extensions,
             "An extension as in openssl's configuration files, e.g. extendedKeyUsage=clientAuth, "
             "certificatePolicies=1.2.3.4, 1.2.3.5=DER:0500; in the place of a usual one of that "
             "name. Several may follow.")
        .Takes("NAME=VALUE");
}

void AddIssue(cli::Command& program, const std::string& folder) {
    const auto options = std::make_shared<IssueOptions>();
    cli::Command command = program.AddCommand(
        "issue",
        "Answer requests, joined by \"||\" or PEM blocks in a row, with one text to import: a "
        "PKCS#7 "
        "with the certificates or, for a request that asks for both kinds, a package "
        "SignCert(...)|EncPriKey(...)|EncCert(...).",
        Doing([options, &folder] { Issue(folder, *options); }));
    command
        .Add("--in", options->input,
             "The requests; - is standard input. Of a folder, each file is answered by one of its "
             "name in the folder that --out names.")
        .ShowDefault();
    command.Add("--out", options->output, "The answer; - is standard output").ShowDefault();
    command.Add("--issuer", options->issuer, "Who answers: root, or an intermediate's name")
        .ShowDefault();
    AddContents(command, *options);
    AddLifetime(command, options->lifetime, 365);
    command.Add("--envelope", options->envelope, "Text form of the enveloped key")
        .OneOf({"hex", "base64"})
        .ShowDefault();
    command
        .Add("--envelope-structure", options->structure,
             "Structure of the enveloped key: SM2EnvelopedKey of GB/T 35276 or ENVELOPEDKEYBLOB of "
             "GM/T 0016")
        .OneOf({"gbt35276", "gmt0016"})
        .ShowDefault();
    command
        .Add("--pkcs7", options->pkcs7,
             "Object identifiers of the PKCS#7: those of RFC 2315 or of GB/T 35275")
        .OneOf({"rfc", "gm"})
        .ShowDefault();
}

void AddRevoke(cli::Command& program, const std::string& folder) {
    const auto options = std::make_shared<RevokeOptions>();
    cli::Command command =
        program.AddCommand("revoke", "Revoke a certificate; the issuer's next list names it",
                           Doing([options, &folder] { RevokeOne(folder, *options); }));
    command
        .Add("certificate", options->certificate,
             "Its file, PEM or Base64, as ukeyctl cert get prints it; - is standard input")
        .Required();
    command.Add("--reason", options->reason, "Why").OneOf(RevocationReasons()).ShowDefault();
    command.Add("--at", options->at, "Since when, in the forms of softca issue --not-before")
        .ShowDefault();
}

void AddCrl(cli::Command& program, const std::string& folder) {
    const auto options = std::make_shared<ListOptions>();
    cli::Command command =
        program.AddCommand("crl", "Make an issuer's certificate revocation list",
                           Doing([options, &folder] { MakeRevocationList(folder, *options); }));
    command.Add("--issuer", options->issuer, "Whose: root, or an intermediate's name")
        .ShowDefault();
    command.Add("--type", options->type, "For the certificates of which key")
        .OneOf({"sm2", "rsa"})
        .ShowDefault();
    command.Add("--out", options->output, "The list; - is standard output").ShowDefault();
    command.AddFlag("--der", options->der, "DER instead of PEM");
    AddLifetime(command, options->lifetime, 30);
}

void AddList(cli::Command& program, const std::string& folder) {
    const auto json = std::make_shared<bool>(false);
    cli::Command command =
        program.AddCommand("list", "List the issuers, and how many certificates each has revoked",
                           Doing([json, &folder] { ListIssuers(folder, *json); }));
    command.AddFlag("--json", *json, "Print JSON");
}

void AddAll(cli::Command& program) {
    // As long as the program: the commands' work refers to it.
    static std::string folder = AuthorityFolder();
    program.Describe(
        "A small issuing authority for tests and demonstrations. Its private keys lie open in its "
        "folder: never let it issue anything that matters.\n\n"
        "  softca init                                  make the authority\n"
        "  softca issue --in request --out answer       answer certificate requests\n"
        "  softca issue --in request --not-before -2y   with a certificate that has expired\n"
        "  softca intermediate branch                   make an issuer under the root\n"
        "  softca revoke certificate.pem                revoke a certificate\n"
        "  softca crl                                   make the list that names it\n");
    program.ShareOptions();
    program.Add("--dir", folder, "The authority's folder ($ORVAL_SOFTCA_HOME)").ShowDefault();
    AddInit(program, folder);
    AddIntermediateCommand(program, folder);
    AddIssue(program, folder);
    AddRevoke(program, folder);
    AddCrl(program, folder);
    AddList(program, folder);
}

}  // namespace
}  // namespace softkey::tools

int main(int argc, char** argv) {
    return softkey::tools::RunProgram(cli::kSoftca, "softca", softkey::tools::AddAll, argc, argv);
}
