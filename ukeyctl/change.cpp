#include "change.h"

#include "cli/question.h"
#include "cli/words.h"
#include "verdict.h"

namespace {

cli::Table TableOf(const std::vector<PlanItem>& items) {
    cli::Table table{
        {{"order", "ORDER"}, {"kind", "KIND"}, {"length", "LENGTH"}, {"detail", "DETAIL"}}, {}};
    for (const PlanItem& item : items) {
        const auto order = static_cast<int64_t>(table.rows.size() + 1);
        table.rows.push_back(
            {order, cli::Say(item.kind),
             item.length ? cli::Table::Cell(*item.length) : cli::Table::Cell(),
             item.detail.empty() ? cli::Table::Cell() : cli::Table::Cell(cli::Say(item.detail))});
    }
    return table;
}

cli::Table CallsOf(const Change& change, const ukey::Key* key) {
    cli::Table::Named arguments = change.arguments;
    if (key != nullptr) {
        arguments.insert(arguments.begin(), {"szSN", key->SerialNumber()});
    }
    return {{{"function", "FUNCTION"}, {"arguments", "ARGUMENTS"}},
            {{std::string(change.function), arguments}}};
}

std::optional<std::string> LabelOf(Session& session, const ukey::Key& key) {
    PluggedKey plugged;
    plugged.serial_number = key.SerialNumber();
    return LabelledKeyOf(session.Library(), std::move(plugged)).label;
}

void ShowPlan(Session& session, const Change& change, const ukey::Key* key) {
    Report& report = session.Result();
    report.AddDetail("dry_run", true);
    report.Say("Dry run: this is what would be done, and nothing of it has been.");
    if (key != nullptr) {
        const std::optional<std::string> label = LabelOf(session, *key);
        report.Add("", "Serial number", key->SerialNumber());
        report.Add("label", "Label", label ? Report::Value(*label) : Report::Value());
    }
    report.AddDetail("consequence", change.consequence.empty() ? Report::Value()
                                                               : Report::Value(change.consequence));
    if (!change.consequence.empty()) {
        report.Say(cli::Say("This {1}.", change.consequence.c_str()));
    }
    report.AddOutput("calls", CallsOf(change, key));
    report.AddOutput("items", TableOf(change.items));
    if (!change.remark.empty()) {
        report.Say(change.remark);
    }
    if (change.verdict) {
        session.ConcludeWith(Conclude(report, *change.verdict));
    }
}

void AskFirst(Session& session, const Change& change, const ukey::Key& key) {
    const std::optional<std::string> label = LabelOf(session, key);
    const std::string named = label ? cli::Say("{1} \"{2}\"", key.SerialNumber(), *label)
                                    : cli::Say("{1} (no label)", key.SerialNumber());
    if (!cli::Ask(cli::SayWith(change.question, {named}))) {
        cli::Throw(cli::ExitStatus::kDeclined, "not carried out",
                   "the question was not answered with y",
                   "nothing has been changed; --dry-run shows what would be done");
    }
}

// The remark, and where what is odd is shown.
std::string WithCount(const std::string& remark, const lint::Findings& findings,
                      const std::string& verb) {
    if (findings.empty()) {
        return remark;
    }
    const std::string odd = cli::SayCount("{1} finding", "{1} findings", findings.size());
    return cli::Say("{1}; {2}, which 'ukeyctl {3}' points to", remark, odd, verb);
}

}  // namespace

void AddDryRun(cli::Command& verb, ChangeOptions& options) {
    verb.AddFlag("--dry-run", options.dry_run,
                 "Show what would be done, call by call; nothing on the key is changed");
}

void AddConsent(cli::Command& verb, ChangeOptions& options, const std::string& help) {
    verb.AddFlag("--yes", options.consent, help);
}

bool MayCarryOut(Session& session, const ChangeOptions& options, const Change& change,
                 std::optional<ukey::Key>& key) {
    const bool must_ask = !change.consequence.empty() && !options.consent && !options.dry_run;
    if (must_ask && !cli::CanAsk()) {
        cli::ThrowUsage(cli::Say("this {1}", change.consequence.c_str()),
                        "add --yes if that is what you want");
    }
    if (change.needs_key) {
        key = session.Key();
    }
    if (options.dry_run) {
        ShowPlan(session, change, key ? &*key : nullptr);
    } else if (must_ask) {
        AskFirst(session, change, *key);
    }
    return !options.dry_run;
}

void CheckPassable(const Change& change, std::initializer_list<std::string_view> texts) {
    for (const std::string_view text : texts) {
        if (text.find('\0') != text.npos) {
            throw ukey::ZeroByteError(change.function);
        }
    }
}

std::string Masked(const std::string& secret) {
    return cli::SayCount("(masked, {1} byte)", "(masked, {1} bytes)", secret.size());
}

void PlanRequests(Change& change, const lint::RequestReport& found, uint32_t call,
                  bool initialises) {
    const bool is_single = call == lint::kSingleCall;
    const lint::RequestOutcome& outcome = is_single ? found.single : found.combined;
    if (initialises && !outcome.Stops()) {
        change.items.push_back({cli::Mark("erasure"), {}, "everything on the key"});
    }
    for (const lint::Request& request : outcome.requests) {
        if (request.verifies_pin && !initialises) {
            change.items.push_back({"PIN", {}, "the key, or its own dialog, asks for it"});
        }
        change.items.push_back({cli::Mark("request"), {}, InWords(request)});
    }
    lint::Findings findings;
    for (const lint::Finding& finding : found.findings) {
        if ((finding.rule->calls & call) != 0) {
            findings.push_back(finding);
        }
    }
    change.verdict = found.For(call);
    change.remark =
        WithCount(InWords(change.function, outcome), findings, "request lint");  // no message
}

void PlanImports(Change& change, const lint::PackageReport& found) {
    for (const lint::Import& import : found.imports) {
        change.items.push_back(
            {lint::NameOf(import.kind), static_cast<int64_t>(import.data.size()), {}});
    }
    change.verdict = found.Worst();
    const std::string items = cli::SayCount("{1} item", "{1} items", found.imports.size());
    const char* const function = change.function;
    const std::string remark =
        found.raises     ? cli::Say("{1} raises CQrvException 0x80070057", function)
        : !found.refuses ? cli::Say("{1} hands over {2}", function, items)
                         : cli::Say(found.imports.empty()
                                        ? "{1} refuses the package with -401, before anything"
                                        : "{1} refuses the package with -401, behind these items",
                                    function);
    change.remark = WithCount(remark, found.findings, "cert lint-package");  // no message
}
