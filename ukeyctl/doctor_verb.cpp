#include <algorithm>

#include "cli/progress.h"
#include "cli/words.h"
#include "doctor/doctor.h"
#include "examination.h"
#include "verbs.h"

namespace {

using Results = std::vector<doctor::Result>;

cli::Table TableOf(const Results& results) {
    cli::Table table{{{"group", ""}, {"check", ""}, {"verdict", ""}, {"reason", ""}, {"next", ""}},
                     {}};
    for (const doctor::Result& result : results) {
        const doctor::Finding& finding = result.finding;
        table.rows.push_back(
            {std::string(result.group), std::string(result.check),
             std::string(doctor::NameOf(finding.verdict)), finding.reason,
             finding.next.empty() ? cli::Table::Cell() : cli::Table::Cell(finding.next)});
    }
    return table;
}

// A line for each check, and under it what to do where something is to be done.
std::string Lines(const Results& results) {
    std::vector<std::vector<std::string>> rows;
    for (const doctor::Result& result : results) {
        rows.push_back({cli::Say(doctor::NameOf(result.finding.verdict)),
                        cli::Say("{1}: {2}", result.group, result.check), result.finding.reason});
        if (!result.finding.next.empty()) {
            rows.push_back({"", "", cli::Say("next: {1}", result.finding.next)});
        }
    }
    return cli::InColumns({"VERDICT", "CHECK", "REASON"}, rows);
}

[[noreturn]] void ThrowHeaviest(const Results& results) {
    const doctor::Verdict worst = doctor::Worst(results);
    const auto heaviest = std::find_if(
        results.begin(), results.end(),
        [worst](const doctor::Result& result) { return result.finding.verdict == worst; });
    cli::Throw(
        worst == doctor::Verdict::kBroken ? cli::ExitStatus::kBroken : cli::ExitStatus::kDoubtful,
        "not all is well",
        cli::Say("{1}: {2}: {3}", heaviest->group, heaviest->check, heaviest->finding.reason),
        heaviest->finding.next);
}

void Diagnose(Session& session, const ExaminationOptions& options) {
    const doctor::Question question = QuestionOf(session, options);
    const Results results =
        cli::Meanwhile(cli::Mark("examining"), [&question] { return doctor::Examine(question); });
    const doctor::Verdict worst = doctor::Worst(results);
    Report& report = session.Result();
    report.AddDetail("verdict", std::string(doctor::NameOf(worst)));
    report.AddDetail("checks", TableOf(results));
    report.SayLines(Lines(results));
    report.Say(doctor::LastLine(results));
    if (worst != doctor::Verdict::kWell) {
        ThrowHeaviest(results);
    }
}

}  // namespace

void AddDoctorVerb(cli::Command& app, Session& session) {
    const auto options = std::make_shared<ExaminationOptions>();
    cli::Command verb =
        AddVerb(app, "doctor", "Tell why the key does not work, check by check", session,
                [options](Session& running) { Diagnose(running, *options); });
    AddExaminationOptions(verb, *options);
    AddExamples(verb, {"ukeyctl doctor", "ukeyctl doctor --client ./my-client",
                       "ukeyctl doctor --json | jq -r .verdict"});
}
