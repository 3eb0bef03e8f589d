#include <cmath>
#include <ctime>
#include <map>

#include "cli/checks.h"
#include "cli/printable.h"
#include "cli/stop_signals.h"
#include "cli/words.h"
#include "codes/notation.h"
#include "key_list.h"
#include "key_watch.h"
#include "verbs.h"

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

struct WaitOptions {
    double timeout = -1;
    int32_t count = 1;
    bool present = false;
};

std::string NameOf(ukey::KeyEvent::Kind kind) {
    return kind == ukey::KeyEvent::Kind::kInserted ? cli::Say("inserted") : cli::Say("removed");
}

Report::Value OrNull(const std::string& text) {
    return text.empty() ? Report::Value() : Report::Value(text);
}

cli::Deadline DeadlineOf(double timeout) {
    if (timeout < 0) {
        return std::nullopt;
    }
    return Clock::now() + milliseconds(std::llround(timeout * 1000));
}

[[noreturn]] void ThrowNoEvent(const std::string& what, const std::string& next) {
    cli::Throw(cli::ExitStatus::kNoEvent, what, "the time given with --timeout has passed", next);
}

[[noreturn]] void ThrowInterrupted() {
    cli::Throw(
        cli::ExitStatus::kInterrupted, "the wait was interrupted",
        cli::Say("signal {1} ({2}) came first", cli::StopSignal(), strsignal(cli::StopSignal())),
        "start it again; --timeout SECONDS ends a wait by itself");
}

// ------------------------------------------------------------------- wait, for what happens

ukey::KeyEvent AwaitEvent(ukey::EventSource& events, const cli::Deadline& deadline) {
    for (;;) {
        if (const std::optional<ukey::KeyEvent> event = events.NextFor(milliseconds(0))) {
            return *event;
        }
        switch (cli::AwaitReadable(events.Descriptor(), deadline)) {
            case cli::Wakening::kReadable:
                break;
            case cli::Wakening::kSignal:
                ThrowInterrupted();
            case cli::Wakening::kTime:
                ThrowNoEvent("no key came or went",
                             "plug or unplug a key while the command waits, or give it more time");
        }
    }
}

void AwaitEvents(Session& session, const WaitOptions& options) {
    ukey::EventSource events(session.Library());
    for (int32_t seen = 0; options.count == 0 || seen < options.count; ++seen) {
        const ukey::KeyEvent event = AwaitEvent(events, DeadlineOf(options.timeout));
        Report& report = session.Result();
        report.Add("event", "Event", NameOf(event.kind));
        report.Add("serial_number", "Serial number", event.serial_number);
        if (event.code != ORVAL_OK) {
            report.Add("", "Code", codes::InBothForms(event.code));
            report.AddDetail("code", int64_t{event.code});
            report.AddDetail("hex", codes::Hexadecimal(event.code));
        }
        session.Publish();
    }
}

// ------------------------------------------------------------------- wait, for a key to be there

void ReportPresent(Report& report, const std::vector<LabelledKey>& keys) {
    report.AddDetail("event", "present");
    report.AddDetail("serial_number",
                     keys.size() == 1 ? OrNull(keys.front().key.serial_number) : Report::Value());
    report.AddOutput("keys", TableOf(keys));
    SayWhatIsMissing(report, keys);
}

// The slots are looked at again and again. A wait for an event would miss the key that comes
// between the last look and the beginning of the wait, and the library does not tell when that has
// begun.
void AwaitPresence(Session& session, double timeout) {
    constexpr milliseconds kBetweenLooks{100};
    const cli::Deadline deadline = DeadlineOf(timeout);
    const KeyLookout lookout(session.Library());
    for (;;) {
        if (!lookout.Look().empty()) {
            const std::vector<LabelledKey> keys = ListLabelledKeys(session.Library());
            if (!keys.empty()) {  // it may have been pulled in between
                return ReportPresent(session.Result(), keys);
            }
        }
        if (deadline && Clock::now() >= *deadline) {
            ThrowNoEvent("no key is plugged in", "plug a key in, or give it more time");
        }
        const Clock::time_point next_look = Clock::now() + kBetweenLooks;
        if (cli::AwaitReadable(-1, deadline ? std::min(*deadline, next_look) : next_look) ==
            cli::Wakening::kSignal) {
            ThrowInterrupted();
        }
    }
}

void Wait(Session& session, const WaitOptions& options) {
    cli::CatchStopSignals();
    if (options.present) {
        AwaitPresence(session, options.timeout);
    } else {
        AwaitEvents(session, options);
    }
}

void AddWait(cli::Command& app, Session& session) {
    const auto options = std::make_shared<WaitOptions>();
    cli::Command verb = AddVerb(app, "wait", "Wait until a key is plugged or unplugged", session,
                                [options](Session& running) { Wait(running, *options); });
    verb.Add("--timeout", options->timeout,
             "Give up when nothing has happened for so long; without it, never")
        .Takes("SECONDS")
        .Checked(cli::Seconds(1000000));
    const cli::Option count =
        verb.Add("--count", options->count, "End after so many events; 0 goes on")
            .Checked(cli::WholeNumber(0, INT32_MAX))
            .ShowDefault();
    verb.AddFlag("--present", options->present,
                 "Wait until a key is plugged in, and not at all where one is")
        .Excludes(count);
    AddExamples(verb, {"ukeyctl wait", "ukeyctl wait --timeout 30 || echo 'no key'",
                       "ukeyctl wait --present --timeout 30",
                       "ukeyctl wait --count 0 --json        one JSON object per event"});
}

// ------------------------------------------------------------------- watch

std::string LocalTime(std::chrono::system_clock::time_point time) {
    const auto total = std::chrono::duration_cast<milliseconds>(time.time_since_epoch()).count();
    const time_t seconds = total / 1000;
    tm local{};
    localtime_r(&seconds, &local);
    char text[64];
    const size_t length = std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
    const std::string thousandths = std::to_string(1000 + total % 1000).substr(1);
    return std::string(text, length) + "." + thousandths;
}

// What is known of keys by their serial numbers: one that is gone cannot be asked.
class Labels final {
 public:
    explicit Labels(const ukey::Library& library) : library_(library) {
        try {
            for (const LabelledKey& one : ListLabelledKeys(library)) {
                Keep(one);
            }
        } catch (const std::exception&) {
            // The events tell of the keys all the same.
        }
    }

    LabelledKey Of(const ukey::KeyEvent& event) {
        LabelledKey key;
        key.key.serial_number = event.serial_number;
        if (event.serial_number.empty()) {
            key.key.problem = event.code == ORVAL_OK
                                  ? "the key tells no serial number"
                                  : cli::Say("the serial number could not be read: {1}",
                                             codes::InBothForms(event.code));
        } else if (event.kind == ukey::KeyEvent::Kind::kInserted) {
            key = LabelledKeyOf(library_, key.key);
            Keep(key);
        } else if (const auto known = known_.find(event.serial_number); known != known_.end()) {
            key.label = known->second;
        } else {
            key.key.problem = "the label was not read while the key was plugged in";
        }
        return key;
    }

 private:
    void Keep(const LabelledKey& key) {
        known_.erase(key.key.serial_number);
        if (key.label) {
            known_[key.key.serial_number] = *key.label;
        }
    }

    const ukey::Library& library_;
    std::map<std::string, std::string> known_;
};

// A line each, in the columns of the headings.
std::string InColumns(const std::string& time, const std::string& event,
                      const std::string& serial_number, const std::string& rest) {
    constexpr size_t kTime = 23;
    constexpr size_t kEvent = 8;
    constexpr size_t kSerialNumber = 16;
    const auto padded = [](const std::string& text, size_t width) {
        const std::string shown = cli::Printable(text.empty() ? "-" : text);
        return shown + std::string(width - std::min(width, cli::Columns(shown)) + 2, ' ');
    };
    return cli::Encoded(padded(time, kTime) + padded(event, kEvent) +
                        padded(serial_number, kSerialNumber) + cli::Printable(rest) + "\n");
}

void ShowEvent(Session& session, const KeyWatch::Event& event, const LabelledKey& key) {
    const std::string time = LocalTime(event.time);
    const std::string name = NameOf(event.what.kind);
    if (!session.json) {
        const std::string rest = key.label.value_or("-");
        session.Stream(InColumns(time, name, key.key.serial_number,
                                 key.key.problem.empty()
                                     ? rest
                                     : cli::Say("{1} ({2})", rest, cli::Say(key.key.problem))));
        return;
    }
    Report& report = session.Result();
    report.AddDetail("event", name);
    report.AddDetail("time", time);
    report.AddDetail("serial_number", OrNull(key.key.serial_number));
    report.AddDetail("label", key.label ? Report::Value(*key.label) : Report::Value());
    report.AddDetail("problem", OrNull(key.key.problem));
    session.Publish();
}

void Watch(Session& session) {
    cli::CatchStopSignals();
    KeyWatch watch(session.WhichLibrary().path);
    Labels labels(session.Library());
    session.Stream(session.json ? ""
                                : InColumns(cli::Say("TIME"), cli::Say("EVENT"),
                                            cli::Say("SERIAL NUMBER"), cli::Say("LABEL")));
    while (const std::optional<KeyWatch::Event> event = watch.Next()) {
        ShowEvent(session, *event, labels.Of(event->what));
    }
}

void AddWatch(cli::Command& app, Session& session) {
    cli::Command verb = AddVerb(
        app, "watch", "Show every key that is plugged or unplugged, until Ctrl-C", session, Watch);
    AddExamples(verb, {"ukeyctl watch", "ukeyctl watch --json         one JSON object per event"});
}

}  // namespace

void AddEventVerbs(cli::Command& app, Session& session) {
    AddWait(app, session);
    AddWatch(app, session);
}
