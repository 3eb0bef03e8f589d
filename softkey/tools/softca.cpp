// softca: a small issuing authority that answers certificate requests of software keys.
#include <cstdlib>
#include <iostream>
#include <memory>

#include "cli/checks.h"
#include "cli/files.h"
#include "cli/words.h"
#include "tools/authority.h"
#include "tools/console.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

std::string DefaultFolder() {
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

struct Options {
    std::string folder = DefaultFolder();
    std::string name = "Software Key Test Authority";
    std::string input = "-";
    std::string output = "-";
    Authority::Terms terms;
    std::string envelope = "hex";
    std::string pkcs7 = "rfc";
};

void Init(const Options& options) {
    Authority::Create(options.folder, options.name);
    Say(cli::Say("SM2 root  {1}", Authority::CertificatePath(options.folder, KeyType::kSm2)));
    Say(cli::Say("RSA root  {1}", Authority::CertificatePath(options.folder, KeyType::kRsa2048)));
}

void Issue(Options& options) {
    options.terms.envelope_as_base64 = options.envelope == "base64";
    options.terms.names = options.pkcs7 == "gm" ? Pkcs7Names::kGm : Pkcs7Names::kRfc2315;
    const Authority authority(options.folder);
    const std::string answer =
        authority.Answer(cli::ReadInput(options.input), options.terms) + "\n";
    if (options.output == "-") {
        std::cout << answer;
    } else {
        cli::WriteOutput(options.output, answer, cli::Readers::kAsTheMaskSays);
    }
}

void AddInit(cli::Command& program, const std::shared_ptr<Options>& options) {
    cli::Command command =
        program.AddCommand("init", "Make an authority: an SM2 root and an RSA root",
                           Doing([options] { Init(*options); }));
    command.Add("--name", options->name, "Common name of the roots").ShowDefault();
}

void AddIssue(cli::Command& program, const std::shared_ptr<Options>& options) {
    cli::Command command = program.AddCommand(
        "issue",
        "Answer requests, joined by \"||\" or PEM blocks in a row, with one text to import: a "
        "PKCS#7 "
        "with the certificates or, for a request that asks for both kinds, a package "
        "SignCert(...)|EncPriKey(...)|EncCert(...).",
        Doing([options] { Issue(*options); }));
    command.Add("--in", options->input, "The requests; - is standard input").ShowDefault();
    command.Add("--out", options->output, "The answer; - is standard output").ShowDefault();
    command.Add("--subject", options->terms.subject,
                "Subject, e.g. CN=Alice,O=Example,C=CN, without commas in a value "
                "(default: the request's)");
    command.Add("--days", options->terms.days, "Days of validity")
        .Checked(cli::WholeNumber(1, 36500))
        .ShowDefault();
    command.Add("--envelope", options->envelope, "Text form of the enveloped key")
        .OneOf({"hex", "base64"})
        .ShowDefault();
    command
        .Add("--pkcs7", options->pkcs7,
             "Object identifiers of the PKCS#7: those of RFC 2315 or of GB/T 35275")
        .OneOf({"rfc", "gm"})
        .ShowDefault();
}

void AddAll(cli::Command& program) {
    program.Describe(
        "A small issuing authority for tests and demonstrations. Its private keys lie open in its "
        "folder: never let it issue anything that matters.\n\n"
        "  softca init                                 make the authority\n"
        "  softca issue --in request --out answer      answer certificate requests\n");
    program.ShareOptions();
    const auto options = std::make_shared<Options>();
    program.Add("--dir", options->folder, "The authority's folder ($ORVAL_SOFTCA_HOME)")
        .ShowDefault();
    AddInit(program, options);
    AddIssue(program, options);
}

}  // namespace
}  // namespace softkey::tools

int main(int argc, char** argv) {
    return softkey::tools::RunProgram(cli::kSoftca, "softca", softkey::tools::AddAll, argc, argv);
}
