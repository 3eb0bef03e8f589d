#include "cli/encoding.h"
#include "cli/printable.h"
#include "verbs.h"

namespace {

struct CertificateOptions {
    Selectors selectors;
    std::string format;
    std::string out;
    bool consent = false;
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

void AddDelete(cli::Command& group, Session& session) {
    const auto options = std::make_shared<CertificateOptions>();
    cli::Command verb = AddVerb(
        group, "delete", "Delete a certificate and its temporary key", session,
        [options](Session& running) {
            CheckConsent(options->consent, "deletes a certificate and its key");
            running.Key().DelCertAndTempKey(options->selectors.param1, options->selectors.param2);
            running.Result().Say("The certificate has been deleted.");
        });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddSelectors(verb, options->selectors);
    verb.AddFlag("--yes", options->consent, "Do delete it");
    AddExamples(verb, {"ukeyctl cert delete --param1 1 --yes"});
}

void AddFile(cli::Command& verb, const std::string& name, const std::string& what,
             std::string& path) {
    verb.Add(name, path, what + "; - is standard input").Required().Checked(cli::CheckNotEmpty);
}

void AddImport(cli::Command& group, Session& session) {
    const auto file = std::make_shared<std::string>();
    cli::Command verb = AddVerb(group, "import", "Write an issued certificate to the key", session,
                                [file](Session& running) {
                                    const std::string certificate =
                                        cli::CertificateText(ReadGiven(*file));
                                    running.Key().ImportX509Cert(certificate);
                                    running.Result().Say("The certificate has been written.");
                                });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddFile(verb, "PKCS7", "The certificate as PKCS#7: PEM, DER or plain Base64", *file);
    AddExamples(verb, {"ukeyctl cert import answer.p7b"});
}

void AddImportEncrypted(cli::Command& group, Session& session) {
    const auto files = std::make_shared<std::pair<std::string, std::string>>();
    cli::Command verb =
        AddVerb(group, "import-enc", "Write an encryption certificate and its enveloped key",
                session, [files](Session& running) {
                    const std::string certificate = cli::CertificateText(ReadGiven(files->first));
                    const std::string key = cli::WithoutBlanks(ReadGiven(files->second));
                    running.Key().ImportEncX509Cert(certificate, key);
                    running.Result().Say("The key and the certificate have been written.");
                });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddFile(verb, "PKCS7", "The certificate as PKCS#7: PEM, DER or plain Base64", files->first);
    AddFile(verb, "KEY", "The enveloped private key, as the authority issued it", files->second);
    AddExamples(verb, {"ukeyctl cert import-enc encryption.p7b enveloped-key.txt"});
}

void AddImportPackage(cli::Command& group, Session& session) {
    const auto file = std::make_shared<std::string>();
    cli::Command verb =
        AddVerb(group, "import-package",
                "Write all that the authority issued: SignCert(..)|EncPriKey(..)|EncCert(..)",
                session, [file](Session& running) {
                    const std::string package = ReadGiven(*file);
                    running.Key().Batch_ImportX509Cert(package);
                    running.Result().Say("The package has been written.");
                });
    AddKeyOption(verb, session, KeyUse::kChanging);
    AddFile(verb, "PACKAGE", "The package, or a single PKCS#7 text", *file);
    AddExamples(verb, {"ukeyctl cert import-package answer.txt",
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
