#include <chrono>
#include <iostream>
#include <memory>
#include <optional>

#include "cli/checks.h"
#include "cli/files.h"
#include "cli/json.h"
#include "cli/printable.h"
#include "cli/words.h"
#include "scenario/client.h"
#include "scenario/scenario.h"
#include "tools/beside.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/program.h"
#include "tools/scenario_world.h"

namespace softkey::tools {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;
using scenario::Ending;

constexpr double kLongestTimeout = 86400;

struct Options {
    std::string file;
    std::string keep;
    double timeout = 0;
    bool check = false;
    bool json = false;
    std::vector<std::string> command;
};

void Print(const std::string& line) {
    std::cerr << cli::Encoded(cli::Printable(line)) << '\n';
}

// As compilers do: who edits the file can jump there.
void Tell(const std::string& file, const scenario::Mistake& mistake) {
    Print(file + ":" + std::to_string(mistake.line) + ":" + std::to_string(mistake.column) + ": " +
          cli::Say(mistake.what));
    if (!mistake.next.empty()) {
        Print(cli::Say("  next: {1}", cli::Say(mistake.next)));
    }
}

cli::Json AsJson(const std::vector<scenario::Mistake>& mistakes) {
    cli::Json list = cli::Json::array();
    for (const scenario::Mistake& mistake : mistakes) {
        list.push_back({{"line", mistake.line},
                        {"column", mistake.column},
                        {"what", mistake.what},
                        {"next", mistake.next.empty() ? cli::Json() : cli::Json(mistake.next)}});
    }
    return list;
}

// What became of a run, as it is told to people and to scripts.
struct Report {
    Ending ending;
    std::vector<StepReport> steps;
    std::vector<scenario::DialogAnswer> unasked;
    size_t unforeseen = 0;

    bool AllHappened() const {
        for (const StepReport& step : steps) {
            if (!step.happened) {
                return false;
            }
        }
        return unasked.empty() && unforeseen == 0;
    }

    cli::ExitStatus Status() const {
        if (ending.interrupted_by != 0) {
            constexpr int kSignalled = 128;
            return static_cast<cli::ExitStatus>(kSignalled + ending.interrupted_by);
        }
        if (ending.out_of_time) {
            return cli::ExitStatus::kNoEvent;
        }
        return AllHappened() ? static_cast<cli::ExitStatus>(ending.Status())
                             : cli::ExitStatus::kDifferent;
    }
};

void Tell(const std::string& file, const Report& report) {
    const auto at = [&](int64_t line) { return file + ":" + std::to_string(line) + ": "; };
    for (const StepReport& one : report.steps) {
        if (!one.happened) {
            Print(at(one.step->line) +
                  cli::Say("did not happen: {1} ({2})", one.step->told, one.why_not));
        }
    }
    for (const scenario::DialogAnswer& answer : report.unasked) {
        Print(at(answer.line) +
              cli::Say("did not happen: a dialog that is answered \"{1}\"", answer.what));
    }
    if (report.unforeseen > 0) {
        Print(file + ": " +
              cli::SayCount("one dialog came that the scenario has no answer for",
                            "{1} dialogs came that the scenario has no answer for",
                            report.unforeseen));
    }
    if (report.ending.out_of_time) {
        Print(cli::Say("softkey run: the client had not ended in time and was killed"));
    }
}

cli::Json AsJson(const Report& report) {
    cli::Json json = cli::JsonObject("run", true);
    json["mistakes"] = cli::Json::array();
    json["all_happened"] = report.AllHappened();
    json["timed_out"] = report.ending.out_of_time;
    const Ending& ending = report.ending;
    json["exit_status"] = ending.signalled ? cli::Json() : cli::Json(ending.number);
    json["signal"] = ending.signalled ? cli::Json(ending.number) : cli::Json();
    json["steps"] = cli::Json::array();
    for (const StepReport& one : report.steps) {
        json["steps"].push_back(
            {{"line", one.step->line},
             {"step", one.step->told},
             {"happened", one.happened},
             {"times", one.times},
             {"why_not", one.why_not.empty() ? cli::Json() : cli::Json(one.why_not)}});
    }
    json["unasked_dialogs"] = cli::Json::array();
    for (const scenario::DialogAnswer& answer : report.unasked) {
        json["unasked_dialogs"].push_back({{"line", answer.line}, {"answer", answer.what}});
    }
    json["unforeseen_dialogs"] = report.unforeseen;
    return json;
}

std::vector<std::string> CommandLine(const Options& options, const World& world) {
    std::vector<std::string> line = {FindBeside(Beside::kWithSoftkey)};
    if (const std::string build = ThisBuild(); !build.empty()) {
        line.insert(line.end(), {"--build", build});
    }
    line.insert(line.end(), {"--tmp", world.ClientsTmp(), "--"});
    line.insert(line.end(), options.command.begin(), options.command.end());
    return line;
}

Report Play(const scenario::Scenario& scenario, const Options& options) {
    const scenario::HeldSignals signals;
    World world(scenario, options.keep);
    scenario::Client client(signals);
    std::optional<Milliseconds> time;
    if (options.timeout > 0) {
        time = Milliseconds(static_cast<int64_t>(options.timeout * 1000));
    }
    client.Start(CommandLine(options, world));
    const Clock::time_point begin = Clock::now();
    Report report;
    report.ending = client.Wait(
        time, [&] { world.Look(std::chrono::duration_cast<Milliseconds>(Clock::now() - begin)); });
    report.steps = world.Steps();
    report.unasked = world.UnaskedDialogs();
    report.unforeseen = world.UnforeseenDialogs();
    return report;
}

cli::ExitStatus TellMistakes(const Options& options, const scenario::Reading& reading) {
    for (const scenario::Mistake& mistake : reading.mistakes) {
        Tell(options.file, mistake);
    }
    if (options.json) {
        cli::Json json = cli::JsonObject("run", true);
        json["mistakes"] = AsJson(reading.mistakes);
        std::cout << cli::JsonLine(json);
    }
    return reading.mistakes.empty() ? cli::ExitStatus::kDone : cli::ExitStatus::kBroken;
}

cli::ExitStatus Run(const Options& options) {
    const scenario::Reading reading = scenario::Read(cli::ReadInput(options.file));
    if (options.check || !reading.mistakes.empty()) {
        return TellMistakes(options, reading);
    }
    if (options.command.empty()) {
        throw Refusal("which client?",
                      "Name it behind the scenario: softkey run FILE -- COMMAND, or give --check",
                      cli::ExitStatus::kUsage);
    }
    const Report report = Play(reading.scenario, options);
    Tell(options.file, report);
    if (options.json) {
        std::cout << cli::JsonLine(AsJson(report)) << std::flush;
    }
    return report.Status();
}

}  // namespace

void AddRun(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = program.AddCommand(
        "run",
        "Run a client in the world that a scenario describes: keys, faults and dialogs, in a home "
        "of their own that is gone afterwards",
        [options] { return Run(*options); });
    command.Close(
        cli::Say("Example:") + "\n  softkey run text-longer.toml -- ukeyctl label get\n\n" +
        cli::Say("The exit status is the client's (128 and its number for a signal) where "
                 "all that the scenario describes happened, otherwise:") +
        "\n" + cli::TellStatusesOf(cli::kSoftkey));
    command.Add("scenario", options->file, "The scenario, a TOML file; - is standard input")
        .Required();
    command.Add("command", options->command, "The client and its arguments, behind --");
    command.AddFlag("--check", options->check, "Only check the scenario");
    command
        .Add("--timeout", options->timeout,
             "Seconds after which the client is killed (default: never)")
        .Checked(cli::Seconds(static_cast<int64_t>(kLongestTimeout)));
    command
        .Add("--keep", options->keep,
             "Make the world in this new folder and leave it there, the log included (tmp)")
        .Takes("DIR");
    command.AddFlag("--json", options->json,
                    "Print what became of each step as JSON, behind what the client prints");
}

}  // namespace softkey::tools
