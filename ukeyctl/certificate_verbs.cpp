#include "change.h"
#include "cli/encoding.h"
#include "cli/printable.h"
#include "cli/words.h"
#include "verbs.h"

namespace {

struct CertificateOptions {
    Selectors selectors;
    std::string format;
    std::string out;
    ChangeOptions change;
};

void AddGet(cli::Command& group, Session& session) {
    const auto options = std::make_shared<CertificateOptions>();
    cli::Command verb =
        AddVerb(group, "get", "Read a certificate", session, [options](Session& running) {
            const std::string text =
                running.Key().GetCert(options->selectors.param1, options->selectors.param2);
            Deliver(running, "certificate",
                    options->format == "pem" ? cli::ToPem("CERTIFICATE", text) : text,
                    options->out);
        });
    AddKeyOption(verb, session, KeyUse::kReading);
    AddSelectors(verb, options->selectors);
    AddFormat(verb, options->format, {"pem", "text"});
    AddOutOption(verb, options->out);
    AddExamples(verb, {"ukeyctl cert get", "ukeyctl cert get --param1 2 --out encryption.pem"});
}

void AddName(cli::Command& group, Session& session) {
    const auto selectors = std::make_shared<Selectors>();
    cli::Command verb =
        AddVerb(group, "dn", "Show a certificate's distinguished name", session,
                [selectors](Session& running) {
                    running.Result().AddOutput(
                        "dn", running.Key().GetCertDN(selectors->param1, selectors->param2));
                });
    AddKeyOption(verb, session, KeyUse::kReading);
    AddSelectors(verb, *selectors);
    AddExamples(verb, {"ukeyctl cert dn", "ukeyctl cert dn --param1 2"});
}

// Text where the key gives text; a record that is none is shown byte by byte.
void ShowCertificateInfo(Session& session, intptr_t selector) {
    std::string info = session.Key().GetCertInfo(selector);
    info.resize(info.find_last_not_of('\0') + 1);
    const bool is_text = cli::IsUtf8(info) && info.find('\0') == std::string::npos;
    session.Result().AddOutput(is_text ? "info" : "info_hex", is_text ? info : cli::Hex(info));
}

void AddInfo(cli::Command& group, Session& session) {
    const auto selector = std::make_shared<intptr_t>(1);
    cli::Command verb =
        AddVerb(group, "info", "Show what the key tells about a certificate", session,
                [selector](Session& running) { ShowCertificateInfo(running, *selector); });
    AddKeyOption(verb, session, KeyUse::kReading);
    verb.Add("--selector", *selector,
             "Which certificate: 1 signing, 2 encryption, or what else the key knows")
        .Takes("N")
        .ShowDefault();
    AddExamples(verb, {"ukeyctl cert info --selector 2"});
}

void Delete(Session& session, const CertificateOptions& options) {
    const Selectors& selectors = options.selectors;
    Change change;
    change.function = "DelCertAndTempKey";
    change.arguments = {{"nParam1", int64_t{selectors.param1}},
                        {"nParam2", int64_t{selectors.param2}}};
    change.items = {{cli::Mark("erasure"), {}, "a certificate and its temporary key"}};
    change.consequence = "deletes a certificate and its key";
    change.question = cli::Say("Delete certificate {1} and its temporary key on key {2}?",
                               selectors.param1, "{1}");
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        key->DelCertAndTempKey(selectors.param1, selectors.param2);
        session.Result().Say("The certificate has been deleted.");
    }
}

void AddDelete(cli::Command& group, Session& session) {
    const auto options = std::make_shared<CertificateOptions>();
    cli::Command verb =
        AddVerb(group, "delete", "Delete a certificate and its temporary key", session,
                [options](Session& running) { Delete(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddSelectors(verb, options->selectors);
    AddConsent(verb, options->change, "Do delete it");
    AddDryRun(verb, options->change);
    AddExamples(verb, {"ukeyctl cert delete --param1 1 --yes"});
}

void AddFile(cli::Command& verb, const std::string& name, const std::string& what,
             std::string& path) {
    verb.Add(name, path, what).Required().Checked(cli::CheckNotEmpty);
}

struct ImportOptions {
    std::string file;
    std::string key_file;
    ChangeOptions change;
};

int64_t LengthOf(const std::string& text) {
    return static_cast<int64_t>(text.size());
}

void Import(Session& session, const ImportOptions& options) {
    const std::string certificate = cli::CertificateText(ReadGiven(options.file));
    Change change;
    change.function = "ImportX509Cert";
    CheckPassable(change, {certificate});
    change.arguments = {{"szPkcs7", Masked(certificate)}};
    change.items = {{"PKCS#7", LengthOf(certificate), {}}};
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        WhileItWorks(*key, [&](const ukey::Key& its) { its.ImportX509Cert(certificate); });
        session.Result().Say("The certificate has been written.");
    }
}

void AddImport(cli::Command& group, Session& session) {
    const auto options = std::make_shared<ImportOptions>();
    cli::Command verb = AddVerb(group, "import", "Write an issued certificate to the key", session,
                                [options](Session& running) { Import(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddDryRun(verb, options->change);
    AddFile(verb, "PKCS7",
            "The certificate as PKCS#7: PEM, DER or plain Base64; - is standard input",
            options->file);
    AddExamples(verb, {"ukeyctl cert import answer.p7b"});
}

void ImportEncrypted(Session& session, const ImportOptions& options) {
    const std::string certificate = cli::CertificateText(ReadGiven(options.file));
    const std::string enveloped = cli::WithoutBlanks(ReadGiven(options.key_file));
    Change change;
    change.function = "ImportEncX509Cert";
    CheckPassable(change, {certificate, enveloped});
    change.arguments = {{"szEncCertPkcs7", Masked(certificate)},
                        {"szEncPriKey", Masked(enveloped)}};
    if (const std::optional<std::string> taken = lint::KeyAsImported(enveloped)) {
        change.items = {{"EncPriKey", LengthOf(*taken), {}},
                        {"EncCert", LengthOf(certificate), {}}};
    } else {
        change.verdict = lint::Verdict::kRefused;
        change.remark = "ImportEncX509Cert refuses the key text with -401: it is too long";
    }
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        WhileItWorks(*key,
                     [&](const ukey::Key& its) { its.ImportEncX509Cert(certificate, enveloped); });
        session.Result().Say("The key and the certificate have been written.");
    }
}

void AddImportEncrypted(cli::Command& group, Session& session) {
    const auto options = std::make_shared<ImportOptions>();
    cli::Command verb =
        AddVerb(group, "import-enc", "Write an encryption certificate and its enveloped key",
                session, [options](Session& running) { ImportEncrypted(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddDryRun(verb, options->change);
    AddFile(verb, "PKCS7",
            "The certificate as PKCS#7: PEM, DER or plain Base64; - is standard input",
            options->file);
    AddFile(verb, "KEY",
            "The enveloped private key, as the authority issued it; - is standard input",
            options->key_file);
    AddExamples(verb, {"ukeyctl cert import-enc encryption.p7b enveloped-key.txt"});
}

void ImportPackage(Session& session, const ImportOptions& options) {
    const std::string package = ReadGiven(options.file);
    Change change;
    change.function = "Batch_ImportX509Cert";
    change.arguments = {{"szPackage", Masked(package)}};
    CheckPassable(change, {package});
    if (options.change.dry_run) {
        PlanImports(change, lint::LintPackage(package));
    }
    std::optional<ukey::Key> key;
    if (MayCarryOut(session, options.change, change, key)) {
        WhileItWorks(*key, [&](const ukey::Key& its) { its.Batch_ImportX509Cert(package); });
        session.Result().Say("The package has been written.");
    }
}

void AddImportPackage(cli::Command& group, Session& session) {
    const auto options = std::make_shared<ImportOptions>();
    cli::Command verb =
        AddVerb(group, "import-package",
                "Write all that the authority issued: SignCert(..)|EncPriKey(..)|EncCert(..)",
                session, [options](Session& running) { ImportPackage(running, *options); });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddDryRun(verb, options->change);
    AddFile(verb, "PACKAGE", "The package, or a single PKCS#7 text; - is standard input",
            options->file);
    AddExamples(verb, {"ukeyctl cert import-package answer.txt",
                       "ukeyctl cert import-package --dry-run answer.txt",
                       "softca issue --in request.txt | ukeyctl cert import-package -"});
}

}  // namespace

void AddCertificateVerbs(cli::Command& app, Session& session) {
    cli::Command group = app.AddGroup("cert", "Read, delete and import certificates");
    AddGet(group, session);
    AddName(group, session);
    AddInfo(group, session);
    AddDelete(group, session);
    AddImport(group, session);
    AddImportEncrypted(group, session);
    AddImportPackage(group, session);
}
