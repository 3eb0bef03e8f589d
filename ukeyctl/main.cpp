#include <cstdio>
#include <cstring>

#include "cli/arguments.h"
#include "cli/help.h"
#include "cli/standard_descriptors.h"
#include "cli/usage.h"
#include "verbs.h"

namespace {

constexpr const char* kDescription =
    "Look after a customer's USB cryptographic key.\n\n"
    "The PIN never passes through this command: the key, or its own dialog, asks for it.\n";

constexpr const char* kFooter =
    "Examples:\n"
    "  ukeyctl info                      what library and key are here\n"
    "  ukeyctl error 0x0A000001          what a code means\n"
    "  ukeyctl request --description 'CertType(1)KeyType(2)HashType(3)' --out request.pem\n"
    "  ukeyctl cert import-package answer.txt\n"
    "  ukeyctl cert get --help           how a verb is used\n\n"
    "Exit status: 0 done; 1 the key or the library reported a code; 2 usage; 3 the library cannot "
    "be loaded; 4 a file cannot be read or written; 5 no event in time; 70 a fault of this "
    "command.\n";

void AddCommonOptions(CLI::App& app, Session& session) {
    app.add_option("--library", session.library_path,
                   "The key library; else ORVAL_LIBRARY, else the one in ../lib of this command, "
                   "else where the loader finds it")
        ->type_name("PATH");
    app.add_option("--charset", session.charset,
                   "The character set of the key's texts, as the key names it: UTF-8, GB18030, ...")
        ->type_name("NAME");
    app.add_option("--language", session.language,
                   "The language of the key's texts and dialogs, as the key names it: zh_CN, ...")
        ->type_name("NAME");
    app.add_flag("--json", session.json, "One JSON object on standard output, for scripts");
    app.set_version_flag("--version", "ukeyctl " UKEYCTL_VERSION);
}

void BuildCommandLine(CLI::App& app, Session& session) {
    app.name("ukeyctl");
    app.description(kDescription);
    app.footer(kFooter);
    app.require_subcommand(1);
    app.fallthrough();
    cli::UseFittingHelp(app);
    AddCommonOptions(app, session);
    AddInfoVerbs(app, session);
    AddErrorVerb(app, session);
    AddDeviceVerbs(app, session);
    AddPinVerbs(app, session);
    AddStorageVerbs(app, session);
    AddRequestVerbs(app, session);
    AddCertificateVerbs(app, session);
    AddSigningVerbs(app, session);
    AddDecryptionVerbs(app, session);
    AddCallVerb(app, session);
    AddRetiredVerbs(app, session);
    cli::FinishOptions(app);
}

int FailToParse(const CLI::App& app, const CLI::ParseError& error, Session& session) {
    const cli::Mistake mistake = cli::Explain(app, error, "verb");
    session.Choose(mistake.command, nullptr);
    Failure failure;
    failure.status = ExitStatus::kUsage;
    failure.what = "the command cannot be understood as given";
    failure.why = mistake.why;
    failure.next =
        "see 'ukeyctl " + mistake.command + (mistake.command.empty() ? "" : " ") + "--help'";
    return session.Fail(failure);
}

// A mistake may come before the option has been seen.
bool AsksForJson(int count, char** arguments) {
    return std::any_of(arguments, arguments + count,
                       [](const char* argument) { return std::strcmp(argument, "--json") == 0; });
}

int Run(int argc, char** argv) {
    Session session;
    CLI::App app;
    BuildCommandLine(app, session);
    try {
        const std::vector<char*> words = cli::SeparateEmptyValues(argc, argv);
        app.parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            return app.exit(error);
        }
        session.json = AsksForJson(argc, argv);
        return FailToParse(app, error, session);
    }
    return session.Run();
}

}  // namespace

int main(int argc, char** argv) {
    cli::OpenStandardDescriptors();
    try {
        return Run(argc, argv);
    } catch (const std::exception& error) {
        // Without any allocation: the lack of memory may be what brought it here.
        std::fprintf(stderr, "ukeyctl: %s\n  why:  %s\n  next: %s\n", kOwnFault, error.what(),
                     kNextForOwnFault);
        return static_cast<int>(ExitStatus::kInternal);
    }
}
