#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "bundle/bundle.h"
#include "cli/checks.h"
#include "cli/files.h"
#include "cli/printable.h"
#include "cli/progress.h"
#include "cli/words.h"
#include "examination.h"
#include "logs/record.h"
#include "recording_file.h"
#include "verbs.h"

namespace {

struct BundleOptions {
    ExaminationOptions examination;
    std::string out;
    std::string recording;
    bool is_agreed = false;
};

bundle::Question QuestionOf(const Session& session, const BundleOptions& options) {
    bundle::Question question;
    question.doctor = QuestionOf(session, options.examination);
    question.log = logs::kPath;
    question.command = "ukeyctl " UKEYCTL_VERSION;
    if (options.recording.empty()) {
        return question;
    }
    question.recording = ReadRecording(options.recording);
    if (question.recording->header.serial_numbers != calls::Masker::SerialNumbers::kMasked) {
        cli::ThrowUsage(cli::Say("{1} shows serial numbers", options.recording),
                        "record it anew without --show-serial-numbers");
    }
    return question;
}

cli::Table TableOf(const bundle::Bundle& made) {
    cli::Table table{{{"name", "FILE"}, {"size", "BYTES"}, {"what", "WHAT IT IS"}}, {}};
    for (const bundle::Part& part : made.parts) {
        table.rows.push_back(
            {part.name, static_cast<int64_t>(part.contents.size()), cli::Say(part.what)});
    }
    return table;
}

void CheckIsFree(const std::string& path) {
    if (faccessat(AT_FDCWD, path.c_str(), F_OK, AT_SYMLINK_NOFOLLOW) == 0) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot make {1}", path),
                   "there is such a file already",
                   "give another name with --out, or take that file away");
    }
}

[[noreturn]] void ThrowDeclined(const std::string& why, const std::string& next) {
    cli::Throw(cli::ExitStatus::kDeclined, "nothing was written", why, next);
}

// Whether somebody is there to look at what the archive would hold.
void CheckIsAsked() {
    if (isatty(STDIN_FILENO) == 0 || isatty(STDERR_FILENO) == 0) {
        ThrowDeclined("nobody is there to look at what it would hold, and agree",
                      "add --yes, and look at the archive before it is passed on");
    }
}

// On standard error, since standard output is for what the verb was asked for.
void Ask(const bundle::Bundle& made, const std::string& path) {
    const std::string question =
        cli::Say("Write these files to {1}? Nothing is sent anywhere. [y/N]", path);
    std::fputs(cli::Encoded(cli::ShowTable(TableOf(made)) + cli::Printable(question) + " ").c_str(),
               stderr);
    std::string answer;
    std::getline(std::cin, answer);
    if (answer != "y" && answer != "Y" && answer != "yes") {
        ThrowDeclined("the answer was not yes", "");
    }
}

void Make(Session& session, const BundleOptions& options) {
    if (!options.is_agreed) {
        CheckIsAsked();
    }
    CheckIsFree(options.out);
    const bundle::Question question = QuestionOf(session, options);
    const bundle::Bundle made = cli::Meanwhile(cli::Mark("collecting what support needs"),
                                               [&question] { return bundle::Collect(question); });
    const std::string path = options.out.empty() ? made.name + ".tar.gz" : options.out;
    if (!options.is_agreed) {
        Ask(made, path);
    }
    cli::Meanwhile(cli::Mark("writing the archive"),
                   [&] { cli::CreateOutput(path, bundle::Archived(made)); });
    Report& report = session.Result();
    const cli::Table table = TableOf(made);
    report.AddDetail("files", table);
    if (options.is_agreed) {
        report.SayLines(cli::ShowTable(table));
    }
    report.Add("file", "Written to", path);
    report.Say("Look at it before you pass it on: its page index.html says what is in it.");
}

}  // namespace

void AddBundleVerb(cli::Command& app, Session& session) {
    const auto options = std::make_shared<BundleOptions>();
    cli::Command verb = AddVerb(
        app, "bundle", "Collect what support needs, masked, in one archive with a page on top",
        session, [options](Session& running) { Make(running, *options); });
    verb.Add("--out", options->out,
             "The archive (.tar.gz): a new file; without it a name with date and time")
        .Takes("FILE")
        .Checked(cli::CheckNotEmpty);
    verb.Add("--recording", options->recording,
             "Add this recording, whose serial numbers are masked")
        .Takes("FILE")
        .Checked(cli::CheckNotEmpty);
    AddExaminationOptions(verb, options->examination);
    verb.AddFlag("--yes", options->is_agreed, "Do not ask before the archive is written");
    AddExamples(verb, {"ukeyctl bundle --yes", "ukeyctl bundle --yes --out support.tar.gz"});
}
