// What a client calls of the key maker's libraries: written down, played back, looked at.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>

#include "calls/call_table.h"
#include "cli/checks.h"
#include "cli/files.h"
#include "cli/printable.h"
#include "cli/progress.h"
#include "cli/words.h"
#include "recorder/comparison.h"
#include "recorder/pending.h"
#include "recorder/progress.h"
#include "recorder/view.h"
#include "recording_file.h"
#include "verbs.h"

namespace {

namespace fs = std::filesystem;

using calls::Recording;
using recorder::Settings;
using Words = std::vector<std::string>;

// Beside this command: in the folder where it was built, or where it is installed.
std::string Libraries() {
    const fs::path commands = fs::read_symlink("/proc/self/exe").parent_path();
    for (const char* const folder : {"../lib/orval-recorder", UKEYCTL_RECORDER_FOLDER}) {
        const fs::path libraries = commands / folder;
        if (fs::exists(libraries / "run-client")) {
            return fs::canonical(libraries).string();
        }
    }
    cli::Throw(cli::ExitStatus::kLibraryNotLoaded, "the recorder's libraries are missing",
               "there is no folder orval-recorder beside this command",
               "install the command's package again");
}

// A command that is to run in a view, and what may be wrong about that.
recorder::Outcome RunClient(const Settings& settings, const Words& command) {
    try {
        return recorder::RunInView(settings, Libraries(), command);
    } catch (const recorder::NothingInstalled& error) {
        cli::Throw(cli::ExitStatus::kLibraryNotLoaded, "there is nothing to record", error.what(),
                   "install the key's software, or run this behind with-softkey");
    } catch (const recorder::NoView& error) {
        cli::Throw(cli::ExitStatus::kFailed, "the client's view of the file system cannot be made",
                   error.what(), "install the package bubblewrap; what it says stands above");
    }
}

cli::ExitStatus StatusOf(const recorder::Outcome& outcome) {
    return static_cast<cli::ExitStatus>(outcome.Status());
}

std::string Utc(std::time_t time) {
    char text[32];
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &parts);
    return text;
}

// ---------------------------------------------------------------- record

struct RecordOptions {
    std::string out = "recording.jsonl";
    bool is_diffable = false;
    bool shows_serial_numbers = false;
    Words command;
};

calls::Header HeaderOf(const RecordOptions& options) {
    calls::Header header;
    header.salt = options.is_diffable ? calls::CommonSalt() : calls::NewSalt();
    header.serial_numbers = options.shows_serial_numbers ? calls::Masker::SerialNumbers::kShown
                                                         : calls::Masker::SerialNumbers::kMasked;
    header.is_diffable = options.is_diffable;
    header.program = fs::path(options.command[0]).filename().string();
    header.started = options.is_diffable ? std::string() : Utc(std::time(nullptr));
    return header;
}

// The calls that the client never came back from, and how it ended.
void Conclude(const Settings& settings, const recorder::Outcome& outcome) {
    for (const std::string& line : recorder::LeftPending(settings.folder)) {
        recorder::Append(settings.recording, line);
    }
    const char* const way =
        outcome.way == recorder::Outcome::Way::kSignal ? "signal" : "exit_status";
    calls::Json end = calls::Json::object();
    end[way] = outcome.number;
    recorder::Append(settings.recording, calls::LineOf(end));
}

void CheckAllIsWritten(const Settings& settings, const std::string& path) {
    if (const int64_t lost = recorder::Lost(settings.folder); lost > 0) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot write {1}", path),
                   calls::SayMissed(lost), "check the path, the permissions and the free space");
    }
}

cli::ExitStatus Record(Session& session, const RecordOptions& options) {
    const recorder::Workplace workplace;
    const calls::Header header = HeaderOf(options);
    Settings settings;
    settings.folder = workplace.Folder();
    settings.recording = fs::absolute(options.out).string();
    settings.salt = header.salt;
    settings.serial_numbers = header.serial_numbers;
    settings.started_us = recorder::NowUs();
    recorder::Save(settings);
    cli::WriteOutput(settings.recording, calls::LineOf(header), cli::Readers::kOwner);
    const recorder::Outcome outcome = RunClient(settings, options.command);
    Conclude(settings, outcome);
    const Recording recording = ReadRecording(settings.recording);
    if (options.is_diffable) {
        cli::WriteOutput(settings.recording, calls::Diffable(recording), cli::Readers::kOwner);
    }
    CheckAllIsWritten(settings, options.out);
    const auto calls = static_cast<int64_t>(recording.calls.size());
    session.Result().AddDetail("file", settings.recording);
    session.Result().AddDetail("call_count", calls);
    const std::string told =
        cli::SayCount("{1} call in {2}", "{1} calls in {2}", recording.calls.size(), {options.out});
    std::fputs(cli::Encoded("ukeyctl record: " + cli::Printable(told) + "\n").c_str(), stderr);
    return StatusOf(outcome);
}

void AddRecord(cli::Command& app, Session& session) {
    const auto options = std::make_shared<RecordOptions>();
    cli::Command verb =
        app.AddCommand("record", "Run a client and write down what it calls of the key's libraries",
                       [&session, options] { return Record(session, *options); });
    verb.Add("--out", options->out, "The recording: a new file, or one to replace")
        .Takes("FILE")
        .Checked(cli::CheckNotEmpty)
        .ShowDefault();
    verb.AddFlag(
        "--diffable", options->is_diffable,
        "Without times and in a fixed order, masked alike in all such recordings: the same "
        "work gives the same file");
    verb.AddFlag("--show-serial-numbers", options->shows_serial_numbers,
                 "Do not mask serial numbers");
    verb.Add("COMMAND", options->command, "The client and its arguments, behind --").Required();
    AddExamples(verb, {"ukeyctl record -- ukeyctl info",
                       "ukeyctl record --out fault.jsonl -- sh -c 'ukeyctl list; ukeyctl check'"});
}

// ---------------------------------------------------------------- replay

struct ReplayOptions {
    std::string file;
    bool is_paced = false;
    Words command;
};

[[noreturn]] void ThrowDifference(Session& session, const recorder::Progress::Difference& found) {
    session.Result().Add("recorded", "Recorded", cli::Say(found.recorded));
    session.Result().Add("made", "Made", found.made);
    cli::Throw(cli::ExitStatus::kDifferent, "the client's calls differ from the recorded ones",
               "the first call that differs is shown with both sides",
               "give the client what it had when it was recorded, or record it anew");
}

// A recorded call that was never made; waits that brought nothing are a matter of time.
const calls::Call* FirstLeftOver(const Recording& recording, const recorder::Progress& progress) {
    for (size_t i = 0; i < recording.calls.size(); ++i) {
        const calls::Call& call = recording.calls[i];
        if (call.finished && !call.IsIdleWait() && progress.answered.count(i) == 0) {
            return &call;
        }
    }
    return nullptr;
}

void CheckAllWasMade(Session& session, const Recording& recording,
                     const recorder::Progress& progress) {
    const calls::Call* const left = FirstLeftOver(recording, progress);
    if (left == nullptr) {
        return;
    }
    session.Result().Add("recorded", "Recorded",
                         cli::Say("call {1}: {2}", left->number, calls::Describe(*left)));
    session.Result().Add("made", "Made", cli::Say("no call"));
    cli::Throw(cli::ExitStatus::kDifferent, "the client made fewer calls than were recorded",
               "the first that it did not make is shown",
               "give the client what it had when it was recorded, or record it anew");
}

cli::ExitStatus Replay(Session& session, const ReplayOptions& options) {
    const Recording recording = ReadRecording(options.file);
    const recorder::Workplace workplace;
    Settings settings;
    settings.mode = options.is_paced ? Settings::Mode::kReplayPaced : Settings::Mode::kReplay;
    settings.folder = workplace.Folder();
    settings.recording = fs::absolute(options.file).string();
    recorder::Save(settings);
    const recorder::Outcome outcome = RunClient(settings, options.command);
    const recorder::Progress progress = recorder::ReadProgress(settings.folder);
    if (progress.difference) {
        ThrowDifference(session, *progress.difference);
    }
    CheckAllWasMade(session, recording, progress);
    session.Result().AddDetail("call_count", static_cast<int64_t>(progress.answered.size()));
    return StatusOf(outcome);
}

void AddReplay(cli::Command& app, Session& session) {
    const auto options = std::make_shared<ReplayOptions>();
    cli::Command verb =
        app.AddCommand("replay", "Run a client without any key: a recording answers its calls",
                       [&session, options] { return Replay(session, *options); });
    verb.Add("FILE", options->file, "The recording").Required().Checked(cli::CheckNotEmpty);
    verb.AddFlag("--pace", options->is_paced, "Answer as slowly as was recorded");
    verb.Add("COMMAND", options->command, "The client and its arguments, behind --").Required();
    AddExamples(verb, {"ukeyctl replay recording.jsonl -- ukeyctl info"});
}

// ------------------------------------------------------------- recording

struct ShowOptions {
    std::string file;
    std::string trace;
};

void ShowRecording(Session& session, const ShowOptions& options) {
    const Recording recording = ReadRecording(options.file);
    if (!options.trace.empty()) {
        cli::WriteOutput(options.trace, recorder::ChromeTrace(recording), cli::Readers::kOwner);
        session.Result().Add("file", "Written to", options.trace);
        return;
    }
    session.Result().AddOutput("calls", calls::TableOf(recording.calls));
    session.Result().AddDetail("end", calls::EndOf(recording));
    session.Result().Say(cli::Say("{1}, {2}", recording.header.program, calls::EndOf(recording)));
}

void AddShow(cli::Command& group, Session& session) {
    const auto options = std::make_shared<ShowOptions>();
    cli::Command verb = AddVerb(group, "show", "Show a recording's calls in a table", session,
                                [options](Session& running) { ShowRecording(running, *options); });
    verb.Add("FILE", options->file, "The recording; - is standard input")
        .Required()
        .Checked(cli::CheckNotEmpty);
    verb.Add("--chrome-trace", options->trace,
             "Instead write them to this file in the trace-event format, for chrome://tracing, "
             "Perfetto and the like")
        .Takes("OUT")
        .Checked(cli::CheckNotEmpty);
    AddExamples(verb, {"ukeyctl recording show recording.jsonl",
                       "ukeyctl recording show recording.jsonl --chrome-trace trace.json"});
}

struct DiffOptions {
    std::string first;
    std::string second;
};

cli::ExitStatus DiffRecordings(Session& session, const DiffOptions& options) {
    const Recording first = ReadRecording(options.first);
    const Recording second = ReadRecording(options.second);
    const auto changes = cli::Meanwhile(cli::Mark("comparing the recordings"),
                                        [&] { return recorder::Compare(first, second); });
    Words lines;
    for (const recorder::Change& change : changes) {
        const bool is_first = change.side == recorder::Change::Side::kOnlyFirst;
        lines.push_back((is_first ? "- " : "+ ") + calls::Describe(change.call));
    }
    session.Result().AddOutput("changes", lines);
    return changes.empty() ? cli::ExitStatus::kDone : cli::ExitStatus::kDifferent;
}

void AddDiff(cli::Command& group, Session& session) {
    const auto options = std::make_shared<DiffOptions>();
    cli::Command verb =
        group.AddCommand("diff", "Compare the calls of two recordings",
                         [&session, options] { return DiffRecordings(session, *options); });
    verb.Add("FIRST", options->first, "The recording whose calls are marked -")
        .Required()
        .Checked(cli::CheckNotEmpty);
    verb.Add("SECOND", options->second, "The recording whose calls are marked +")
        .Required()
        .Checked(cli::CheckNotEmpty);
    AddExamples(verb, {"ukeyctl recording diff recording.jsonl recording.jsonl"});
}

}  // namespace

void AddRecordingVerbs(cli::Command& app, Session& session) {
    AddRecord(app, session);
    AddReplay(app, session);
    cli::Command group = app.AddGroup("recording", "Look at recordings");
    AddShow(group, session);
    AddDiff(group, session);
}
