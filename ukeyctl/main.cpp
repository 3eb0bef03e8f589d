#include <algorithm>
#include <cstring>

#include "cli/last_resort.h"
#include "cli/standard_descriptors.h"
#include "cli/words.h"
#include "verbs.h"

namespace {

constexpr const char* kDescription =
    "Look after a customer's USB cryptographic key.\n\n"
    "The PIN never passes through this command: the key, or its own dialog, asks for it.\n";

constexpr const char* kExamples =
    "Examples:\n"
    "  ukeyctl info                      what library and key are here\n"
    "  ukeyctl error 0x0A000001          what a code means\n"
    "  ukeyctl request --description 'CertType(1)KeyType(2)HashType(3)' --out request.pem\n"
    "  ukeyctl cert import-package answer.txt\n"
    "  ukeyctl cert get --help           how a verb is used\n\n";

void AddCommonOptions(cli::Command& app, Session& session) {
    app.Add("--library", session.library_path,
            "The key library; else ORVAL_LIBRARY, else the one in ../lib of this command, "
            "else where the loader finds it")
        .Takes("PATH");
    app.Add("--charset", session.charset,
            "The character set of the key's texts, as the key names it: UTF-8, GB18030, ...")
        .Takes("NAME")
        .Offers([](const cli::OnLine&) {
            return cli::Candidates{{"UTF-8", {}}, {"GB18030", {}}};
        });
    app.Add("--language", session.language,
            "The language of the key's texts and dialogs, as the key names it: zh_CN, ...")
        .Takes("NAME")
        .Offers([](const cli::OnLine&) {
            return cli::Candidates{{"zh_CN", {}}, {"en_US", {}}};
        });
    app.AddFlag("--json", session.json, "One JSON object on standard output, for scripts");
    app.AddVersion("ukeyctl " UKEYCTL_VERSION);
}

void BuildCommandLine(cli::Command& app, Session& session) {
    app.Describe(kDescription);
    app.Close(cli::Say(kExamples) + cli::TellStatusesOf(cli::kUkeyctl));
    app.ShareOptions();
    AddCommonOptions(app, session);
    AddInfoVerbs(app, session);
    AddErrorVerb(app, session);
    AddEventVerbs(app, session);
    AddDeviceVerbs(app, session);
    AddDoctorVerb(app, session);
    AddBundleVerb(app, session);
    AddPinVerbs(app, session);
    AddStorageVerbs(app, session);
    AddRequestVerbs(app, session);
    AddCertificateVerbs(app, session);
    AddLintVerbs(app, session);
    AddSigningVerbs(app, session);
    AddDecryptionVerbs(app, session);
    AddLogVerbs(app, session);
    AddRecordingVerbs(app, session);
    AddCallVerb(app, session);
    AddRetiredVerbs(app, session);
}

int FailToParse(const cli::Mistake& mistake, Session& session) {
    const std::string& verb = mistake.Where();
    return session.Fail(
        verb,
        cli::MakeFailure(
            cli::ExitStatus::kUsage, "the command cannot be understood as given", mistake.what(),
            cli::Say("see {1}", "'ukeyctl " + verb + (verb.empty() ? "" : " ") + "--help'")));
}

// A mistake may come before the option has been seen.
bool AsksForJson(int count, char** arguments) {
    return std::any_of(arguments, arguments + count,
                       [](const char* argument) { return std::strcmp(argument, "--json") == 0; });
}

int Run(int argc, char** argv) {
    Session session;
    cli::Program program("ukeyctl", cli::Mark("verb"));
    BuildCommandLine(program.Top(), session);
    try {
        const std::optional<cli::Chosen> chosen = program.Parse(argc, argv);
        return chosen ? session.Run(*chosen) : static_cast<int>(cli::ExitStatus::kDone);
    } catch (const cli::Mistake& mistake) {
        session.json = AsksForJson(argc, argv);
        return FailToParse(mistake, session);
    }
}

}  // namespace

int main(int argc, char** argv) {
    constexpr const char* kName = "ukeyctl";
    cli::OpenStandardDescriptors();
    return cli::RunMain(kName, cli::Layout::kAligned, [argc, argv] {
        cli::Speak(kName, argc, argv);
        cli::PrepareForLackOfMemory(kName, cli::Layout::kAligned);
        return Run(argc, argv);
    });
}
