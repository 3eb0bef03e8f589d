#include <unistd.h>

#include <chrono>
#include <cstdio>

#include "cli/checks.h"
#include "cli/files.h"
#include "cli/progress.h"
#include "cli/stop_signals.h"
#include "cli/words.h"
#include "log_file.h"
#include "log_output.h"
#include "logs/forms.h"
#include "logs/scrub.h"
#include "verbs.h"

namespace {

constexpr size_t kShownAtOnce = 1U << 16U;
constexpr std::chrono::milliseconds kPause{200};
const char* const kReading = cli::Mark("reading the log");

struct LogOptions {
    std::string file = logs::kPath;
    std::string since;
    std::string function;
    int64_t process = 0;  // 0: all
    bool follow = false;
    bool failures = false;
    bool summary = false;
    bool unmasked = false;
};

struct ScrubOptions {
    std::string file = logs::kPath;
    std::string out;
    bool in_place = false;
};

// "10m": seconds; 0 for what is no such time.
int64_t ReadSpan(const std::string& text) {
    struct Unit {
        char letter;
        int64_t seconds;
    };
    constexpr Unit kUnits[] = {{'s', 1}, {'m', 60}, {'h', 3600}, {'d', 86400}, {'w', 604800}};
    constexpr size_t kMostDigits = 6;
    const std::string number = text.substr(0, text.find_first_not_of("0123456789"));
    if (number.empty() || number.size() > kMostDigits || text.size() != number.size() + 1) {
        return 0;
    }
    for (const Unit& unit : kUnits) {
        if (unit.letter == text.back()) {
            return std::stoll(number) * unit.seconds;
        }
    }
    return 0;
}

std::string CheckSince(const std::string& text) {
    const bool fits = ReadSpan(text) > 0 || logs::ReadMoment(text) != logs::kNoMoment;
    return fits ? ""
                : cli::Say(
                      "\"{1}\" is neither a span, as in 90s, 10m, 2h or 3d, nor a local time, as "
                      "in 2026-11-21 or '2026-11-21 09:05'",
                      text);
}

std::string CheckFunction(const std::string& name) {
    if (logs::FindLogged(name) != nullptr) {
        return {};
    }
    std::string all;
    for (const logs::LoggedFunction& function : logs::AllLogged()) {
        all += (all.empty() ? "" : ", ") + std::string(function.name);
    }
    return cli::Say("\"{1}\" writes no records; those that do are {2}", name, all);
}

cli::Candidates LoggedFunctions(const cli::OnLine& /*given*/) {
    cli::Candidates functions;
    for (const logs::LoggedFunction& function : logs::AllLogged()) {
        functions.push_back({std::string(function.name), {}});
    }
    return functions;
}

logs::Moment SinceOf(const std::string& text) {
    const int64_t span = ReadSpan(text);
    return text.empty() ? logs::kNoMoment
           : span > 0   ? logs::LocalMoment(time(nullptr) - span)
                        : logs::ReadMoment(text);
}

// What is known of the records' dates before the first of them is shown.
class DateLearner final : public logs::Receiver {
 public:
    explicit DateLearner(logs::Dates& dates) : dates_(dates) {}
    void Take(const logs::Record& record) override {
        dates_.Learn(record);
        ++count_;
    }
    void TakeDamage(uint64_t /*offset*/, std::string_view /*bytes*/) override {}
    uint64_t Count() const { return count_; }

 private:
    logs::Dates& dates_;
    uint64_t count_ = 0;
};

// Shows the calls that were asked for.
class Listing final : public logs::Receiver {
 public:
    Listing(Session& session, const LogOptions& options)
        : session_(session),
          options_(options),
          since_(SinceOf(options.since)),
          masks_(options.unmasked ? logs::Secrets::kShown : logs::Secrets::kMasked),
          joiner_(masks_, [this](const logs::Call& call) { Show(call); }) {}

    void Take(const logs::Record& record) override { joiner_.Take(record, dates.Of(record)); }

    void TakeDamage(uint64_t offset, std::string_view bytes) override {
        summary_.TakeDamage(bytes.size());
        if (!options_.summary) {
            Add(session_.json ? log_output::JsonOfDamage(offset, bytes.size())
                              : log_output::LineOfDamage(offset, bytes.size()));
        }
    }

    void Flush() {
        if (!shown_.empty()) {
            const auto show = [this] { session_.Stream(shown_); };
            progress != nullptr ? progress->Aside(show) : show();
            shown_.clear();
        }
    }

    void Finish() {
        joiner_.Finish();
        if (options_.summary) {
            shown_ +=
                session_.json ? log_output::ForScripts(summary_) : log_output::ForPeople(summary_);
        } else if (!has_headings_ && !session_.json) {
            shown_ += cli::Encoded(cli::Say("No call in the log is what was asked for.") + "\n");
        }
        Flush();
        session_.Stream({});
    }

    logs::Dates dates;
    cli::Progress* progress = nullptr;

 private:
    bool IsAskedFor(const logs::Call& call) const {
        return (options_.function.empty() || call.function == options_.function) &&
               (options_.process == 0 || call.process == options_.process) &&
               (!options_.failures || call.HasFailed()) && call.last >= since_;
    }

    void Show(const logs::Call& call) {
        if (!IsAskedFor(call)) {
            return;
        }
        summary_.Take(call);
        if (!options_.summary) {
            Add(session_.json ? log_output::JsonOf(call) : log_output::LineOf(call));
        }
    }

    void Add(const std::string& line) {
        if (!has_headings_ && !session_.json) {
            shown_ += log_output::Headings();
        }
        has_headings_ = true;
        shown_ += line;
        if (shown_.size() >= kShownAtOnce) {
            Flush();
        }
    }

    Session& session_;
    const LogOptions& options_;
    const logs::Moment since_;
    logs::Masks masks_;
    logs::Joiner joiner_;
    logs::Summary summary_;
    std::string shown_;
    bool has_headings_ = false;
};

// Reads the log as far as it is now, for its dates. The number of records is the result.
uint64_t LearnDates(LogFile& file, logs::Dates& dates, cli::Progress& progress) {
    DateLearner learner(dates);
    logs::Reader reader(learner);
    file.ReadTo(file.Size(), [&reader, &progress](std::string_view bytes) {
        reader.Feed(bytes);
        progress.Advance(bytes.size());
    });
    reader.Finish();
    file.Rewind();
    dates.Settle(file.Written());
    return learner.Count();
}

void ReadOnce(LogFile& file, Listing& listing, logs::Reader& reader) {
    cli::Progress progress(kReading, 2 * file.Size(), cli::Progress::Measure::kPerCent);
    listing.progress = &progress;
    LearnDates(file, listing.dates, progress);
    file.ReadTo(file.Size(), [&reader, &progress](std::string_view bytes) {
        reader.Feed(bytes);
        progress.Advance(bytes.size());
    });
    listing.progress = nullptr;
}

void Notice(const std::string& text) {
    std::fputs(cli::Encoded("ukeyctl log: " + text + "\n").c_str(), stderr);
}

void Pause() {
    cli::AwaitReadable(-1, std::chrono::steady_clock::now() + kPause);
}

// The log, once there is one.
std::unique_ptr<LogFile> Await(const std::string& path) {
    bool is_told = false;
    while (cli::StopSignal() == 0) {
        if (access(path.c_str(), F_OK) == 0) {
            return std::make_unique<LogFile>(path, LogFile::Use::kReading);
        }
        if (!is_told) {
            Notice(cli::Say("waiting for {1}", path));
            is_told = true;
        }
        Pause();
    }
    return nullptr;
}

// Follows one file to its end: until it is replaced or cut, or the following ends.
void FollowFile(LogFile& file, Listing& listing, logs::Reader& reader) {
    const auto take_rest = [&file, &reader] {
        file.ReadAll([&reader](std::string_view bytes) { reader.Feed(bytes); });
    };
    while (cli::StopSignal() == 0) {
        const LogFile::Fate fate =
            file.Look();  // before reading: the rest of a replaced file counts
        if (fate == LogFile::Fate::kReplaced) {
            Pause();  // who has the old file open still writes a last record to it
        }
        if (fate != LogFile::Fate::kTruncated) {
            take_rest();
        }
        if (fate != LogFile::Fate::kSame) {
            reader.Finish();
            listing.dates.Reset();
            listing.Flush();
            Notice(fate == LogFile::Fate::kReplaced
                       ? cli::Say("the log begins anew in another file")
                       : cli::Say("the log was cut and begins anew"));
            return;
        }
        reader.Pause();
        listing.Flush();
        Pause();
    }
}

void Follow(const std::string& path, Listing& listing, logs::Reader& reader) {
    cli::CatchStopSignals();  // and what is known by then is still shown
    for (bool is_first = true; cli::StopSignal() == 0; is_first = false) {
        const std::unique_ptr<LogFile> file = Await(path);
        if (file && is_first) {
            ReadOnce(*file, listing, reader);
        }
        if (file) {
            FollowFile(*file, listing, reader);
        }
    }
}

void ShowLog(Session& session, const LogOptions& options) {
    Listing listing(session, options);
    logs::Reader reader(listing);
    if (options.follow && options.file == "-") {
        cli::ThrowUsage("standard input ends, so that it cannot be followed",
                        "name a file, or leave out --follow");
    }
    if (options.follow) {
        Follow(options.file, listing, reader);
    } else {
        LogFile file(options.file, LogFile::Use::kReading);
        ReadOnce(file, listing, reader);
    }
    reader.Finish();
    listing.Finish();
}

void ScrubInPlace(Session& session, const std::string& path) {
    LogFile file(path, LogFile::Use::kMasking);
    logs::Dates unused;
    cli::Progress progress(kReading, 2 * file.Size(), cli::Progress::Measure::kPerCent);
    if (file.Size() > 0 && LearnDates(file, unused, progress) == 0) {
        cli::Throw(cli::ExitStatus::kUsage, "not carried out",
                   cli::Say("{1} holds no record of the log", path),
                   "see whether this is the file that is meant; it is as it was");
    }
    logs::Masks masks(logs::Secrets::kMasked);
    logs::Scrubber scrubber(
        masks, [&file](uint64_t offset, std::string_view bytes) { file.Replace(offset, bytes); });
    logs::Reader reader(scrubber);
    file.ReadTo(file.Size(), [&reader, &progress](std::string_view bytes) {
        reader.Feed(bytes);
        progress.Advance(bytes.size());
    });
    reader.Finish();
    file.Sync();
    Report& report = session.Result();
    report.Add("file", "Masked", path);
    report.Add("records", "Records", static_cast<int64_t>(scrubber.Records()));
    report.Add("masked", "Of those masked", static_cast<int64_t>(scrubber.Masked()));
    report.Add("damaged_bytes", "Damaged bytes masked", static_cast<int64_t>(scrubber.Damaged()));
}

void Scrub(Session& session, const ScrubOptions& options) {
    if (options.in_place) {
        if (options.file == "-" || !options.out.empty()) {
            cli::ThrowUsage("--in-place masks the file itself", "name a file, and leave out --out");
        }
        ScrubInPlace(session, options.file);
        return;
    }
    LogFile file(options.file, LogFile::Use::kReading);
    const std::string masked = cli::Meanwhile(cli::Mark("masking the log"), [&file] {
        std::string log;
        file.ReadTo(file.Size(), [&log](std::string_view bytes) { log += bytes; });
        return logs::Scrubbed(log);
    });
    if (options.out.empty() && !session.json) {
        session.Stream(masked);
    } else {
        Deliver(session, "log", masked, options.out);
    }
}

void AddFile(cli::Command& verb, std::string& file) {
    verb.Add("FILE", file, "The log; - is standard input")
        .Checked(cli::CheckNotEmpty)
        .ShowDefault();
}

void AddScrub(cli::Command& log, Session& session) {
    const auto options = std::make_shared<ScrubOptions>();
    cli::Command verb = AddVerb(
        log, "scrub",
        "Mask serial numbers, key texts and packages in the log, each by a mask of its length",
        session, [options](Session& running) { Scrub(running, *options); });
    AddFile(verb, options->file);
    verb.AddFlag("--in-place", options->in_place,
                 "Mask the file itself; programs may go on writing to it");
    AddOutOption(verb, options->out);
    AddExamples(verb, {"ukeyctl log scrub --out log.txt", "ukeyctl log scrub --in-place"});
}

}  // namespace

void AddLogVerbs(cli::Command& app, Session& session) {
    const auto options = std::make_shared<LogOptions>();
    cli::Command verb =
        AddVerb(app, "log", "Show the calls that the library's diagnostic log tells of", session,
                [options](Session& running) { ShowLog(running, *options); });
    AddFile(verb, options->file);
    verb.AddFlag("--follow", options->follow,
                 "Go on with what is written, through every new file, until Ctrl-C");
    verb.Add("--since", options->since,
             "Only calls from so long ago, as in 10m, or from that local time")
        .Takes("TIME")
        .Checked(CheckSince);
    verb.Add("--function", options->function, "Only calls of this exported function")
        .Takes("NAME")
        .Checked(CheckFunction)
        .Offers(LoggedFunctions);
    verb.Add("--process", options->process, "Only calls of this process")
        .Checked(cli::WholeNumber(1));
    verb.AddFlag("--failures", options->failures,
                 "Only calls that gave a code, or have no end where there should be one");
    verb.AddFlag("--summary", options->summary,
                 "Calls by function, failures by code and the slowest calls instead of each");
    verb.AddFlag("--unmasked", options->unmasked,
                 "Show serial numbers, key texts and packages as they are");
    AddExamples(verb, {"ukeyctl log", "ukeyctl log --since 10m --failures", "ukeyctl log --summary",
                       "ukeyctl log --json | jq -r .function"});
    AddScrub(verb, session);
}
