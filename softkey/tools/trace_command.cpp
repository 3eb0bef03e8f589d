// softkey trace: what clients called.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <memory>
#include <optional>
#include <thread>

#include "calls/call_table.h"
#include "cli/checks.h"
#include "cli/encoding.h"
#include "cli/json.h"
#include "cli/stop_signals.h"
#include "cli/words.h"
#include "store/home.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/program.h"
#include "trace/trace_reader.h"

namespace softkey::tools {
namespace {

constexpr const char* kVerb = "trace";
constexpr std::chrono::milliseconds kPause{100};
constexpr std::chrono::seconds kLongestWait{5};
constexpr int64_t kAll = -1;

struct Options {
    bool on = false;
    bool off = false;
    bool follow = false;
    bool json = false;
    int64_t last = kAll;
};

// What was read, as it is shown.
class View {
 public:
    explicit View(bool json) : json_(json) {}

    void Begin(const calls::Header& header) const {
        if (json_) {
            PrintObject(calls::FieldsOf(header));
        }
    }

    void Show(const TraceReader::Items& items) {
        std::vector<calls::Call> calls;
        for (const TraceReader::Item& item : items) {
            if (const auto* const call = std::get_if<calls::Call>(&item)) {
                calls.push_back(*call);
                continue;
            }
            ShowCalls(calls);
            calls.clear();
            ShowMissed(std::get<int64_t>(item));
        }
        ShowCalls(calls);
        std::cout.flush();
    }

    bool IsEmpty() const { return !json_ && !has_headings_; }

 private:
    static void PrintObject(const calls::Json& fields) {
        cli::Json object = cli::JsonObject(kVerb, true);
        object.update(fields);
        std::cout << cli::JsonLine(object);
    }

    void ShowCalls(const std::vector<calls::Call>& calls) {
        if (!json_ && !calls.empty()) {
            std::cout << cli::Encoded(
                cli::ShowTable(calls::TableOf(calls), has_headings_ ? cli::Headings::kShownBefore
                                                                    : cli::Headings::kShown));
            has_headings_ = true;
        }
        for (const calls::Call& call : calls) {
            if (json_) {
                PrintObject(calls::FieldsOf(call));
            }
        }
    }

    void ShowMissed(int64_t missed) const {
        if (json_) {
            PrintObject(calls::FieldsOfMissed(missed));
        } else {
            Say("(" + calls::SayMissed(missed) + ")");
        }
    }

    bool json_;
    bool has_headings_ = false;
};

// The last calls alone, where so many were asked for.
TraceReader::Items Last(TraceReader::Items items, int64_t count) {
    auto from = items.end();
    for (int64_t left = count; left != 0 && from != items.begin();) {
        --from;
        left -= std::holds_alternative<calls::Call>(*from) ? 1 : 0;
    }
    items.erase(items.begin(), from);
    return items;
}

std::optional<Ring> OpenRing() {
    try {
        return Ring::Open(Ring::For::kReading);
    } catch (const Error& error) {
        if (error.code() != Code::kStoreDamaged) {
            throw;
        }
        throw Refusal(cli::Say("the trace is damaged, and nothing is traced: {1}", TracePath()),
                      "Make another with: softkey trace --on", cli::ExitStatus::kFile);
    }
}

void Tell(const Options& options, bool traced, const std::string& sentence) {
    if (options.json) {
        cli::Json object = cli::JsonObject(kVerb, true);
        object["traced"] = traced;
        std::cout << cli::JsonLine(object);
    } else {
        Say(sentence);
    }
}

void TurnOn(const Options& options) {
    Ring::MakeAnew();
    Tell(
        options, true,
        cli::Say("Calls are traced from now on, the last {1} of them. See them with: softkey trace",
                 Ring::kPlaces));
}

void TurnOff(const Options& options) {
    Ring::Remove();
    Tell(options, false, cli::Say("Calls are not traced any more."));
}

void ShowOnce(const Options& options) {
    std::optional<Ring> ring = OpenRing();
    if (!ring) {
        throw Refusal("no calls are traced",
                      "Give softkey trace --on first, then run the client, then look again",
                      cli::ExitStatus::kFailed);
    }
    TraceReader reader(std::move(*ring));
    View view(options.json);
    view.Begin(reader.Header());
    view.Show(Last(reader.Read(TraceReader::Unended::kCome), options.last));
    if (view.IsEmpty()) {
        Say("No client has called since the tracing began.");
    }
}

// Traces as long as it lives, however it ends, unless calls were traced before.
class Listener {
 public:
    Listener() {
        const auto end = std::chrono::steady_clock::now() + kLongestWait;
        for (; !OpenRing(); std::this_thread::sleep_for(kPause)) {
            // Another that listens is beginning, or ending.
            if (std::chrono::steady_clock::now() >= end) {
                throw Error(Code::kStoreBusy, "another program keeps the trace");
            }
            if (std::optional<RingListener> listener = RingListener::Become()) {
                ours_.emplace(std::move(*listener));
                Ring::MakeAnew(Ring::Lasts::kWithItsListener);
                return;
            }
        }
    }
    ~Listener() {
        try {
            if (ours_) {
                Ring::Remove();
            }
        } catch (const Error&) {
            // Nothing is traced for a listener that has ended.
        }
    }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    void Leave() { ours_.reset(); }
    bool IsFirst() const { return ours_.has_value(); }

 private:
    std::optional<RingListener> ours_;
};

void Note(const std::string& sentence) {
    std::cerr << cli::Encoded("softkey trace: " + sentence + "\n");
}

void Follow(const Options& options) {
    cli::CatchStopSignals();
    // An output that nobody reads any more is a failure, behind which the tracing ends.
    std::signal(SIGPIPE, SIG_IGN);
    Listener listener;
    if (listener.IsFirst()) {
        Note(cli::Say("calls are traced as long as this runs"));
    }
    TraceReader reader(std::move(OpenRing().value()));
    View view(options.json);
    view.Begin(reader.Header());
    int64_t last = options.last;
    while (std::cout) {
        const bool is_stopped = cli::StopSignal() != 0;
        const bool is_over = !reader.IsCurrent();
        view.Show(Last(reader.Read(is_stopped || is_over ? TraceReader::Unended::kCome
                                                         : TraceReader::Unended::kStay),
                       last));
        last = kAll;
        if (is_over) {
            listener.Leave();
            Note(cli::Say("the tracing was ended, or begun anew"));
        }
        if (is_stopped || is_over) {
            break;
        }
        cli::AwaitReadable(-1, std::chrono::steady_clock::now() + kPause);
    }
}

void Trace(const Options& options) {
    if (options.on) {
        TurnOn(options);
    } else if (options.off) {
        TurnOff(options);
    } else if (options.follow) {
        Follow(options);
    } else {
        ShowOnce(options);
    }
}

}  // namespace

void AddTrace(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command =
        program.AddCommand("trace", "Show which entries every client called, and what came of it",
                           Doing([options] { Trace(*options); }));
    command.Close(cli::Say("Example:") +
                  "\n  softkey trace --on\n  with-softkey ukeyctl label get\n  softkey trace\n"
                  "  softkey trace --json >trace.jsonl\n  softkey trace --off\n\n" +
                  cli::TellStatusesOf(cli::kSoftkey));
    const cli::Option on = command.AddFlag(
        "--on", options->on, "Trace the calls of all clients from now on; what was traced is gone");
    cli::Option off =
        command.AddFlag("--off", options->off, "Trace no longer; what was traced is gone");
    cli::Option follow =
        command.AddFlag("--follow", options->follow,
                        "Show calls as they end, until Ctrl-C; where calls are not traced, they "
                        "are as long as this runs");
    off.Excludes(on);
    follow.Excludes(on);
    follow.Excludes(off);
    command.Add("--last", options->last, "Of the calls so far only the last N; 0: none")
        .Takes("N")
        .Checked(cli::WholeNumber(0));
    command.AddFlag("--json", options->json,
                    "Lines of JSON, as ukeyctl record writes them: ukeyctl recording reads them");
}

}  // namespace softkey::tools
