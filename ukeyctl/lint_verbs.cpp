#include <functional>

#include "cli/printable.h"
#include "cli/words.h"
#include "lint/package.h"
#include "lint/request.h"
#include "verbs.h"
#include "verdict.h"

// Texts that a client is about to hand over, looked at without a key and without the library.

namespace {

using lint::Finding;

constexpr const char* kSingleCall = "GenerateCertRequest";
constexpr const char* kCombinedCall = "Batch_InitAndGenerateCertRequest";
constexpr const char* kImportCall = "Batch_ImportX509Cert";
constexpr int64_t kRaised = static_cast<int32_t>(0x80070057);

const char* NameOf(lint::Effect effect) {
    constexpr const char* kNames[] = {"",      "refuses",     "raises",
                                      "takes", "passes over", "hands over"};
    return kNames[static_cast<size_t>(effect)];
}

// Whose affair the finding is, when not everybody's who takes such a text.
std::string ConcernedCall(const Finding& finding) {
    return finding.rule->calls == lint::kCombinedCall ? kCombinedCall : cli::Say("the library");
}

std::string PlaceOf(const Finding& finding, bool has_lines) {
    return has_lines ? cli::Say("line {1}, column {2}", finding.place.line, finding.place.column)
                     : cli::Say("column {1}", finding.place.column);
}

// The text around the place, and below it what is meant. A long text is cut.
void ShowPlace(Report& report, const std::string& text, const Finding& finding) {
    constexpr size_t kBefore = 50;
    constexpr size_t kBehind = 26;
    const auto continues = [&text](size_t at) {
        return at < text.size() && (static_cast<unsigned char>(text[at]) & 0xC0U) == 0x80U;
    };
    const size_t at = finding.place.offset;
    size_t first = at > kBefore ? at - kBefore : 0;
    while (continues(first)) {
        ++first;
    }
    size_t end = std::min(at + std::max(finding.length, kBehind), at + kBefore);
    while (continues(end)) {
        ++end;
    }
    const std::string before = cli::Printable(text.substr(first, at - first));
    const std::string marked =
        cli::Printable(text.substr(at, std::min(finding.length, end > at ? end - at : 0)));
    const size_t width = cli::Columns(marked);
    report.Say("    " + std::string(first > 0 ? "..." : "") + before +
               cli::Printable(text.substr(std::min(at, text.size()), end - at)) +
               (end < text.size() ? "..." : ""));
    report.Say("    " + std::string(first > 0 ? "   " : "") +
               std::string(cli::Columns(before), ' ') + "^" +
               std::string(width > 1 ? width - 1 : 0, '~'));
}

std::string Said(const lint::Sentence& sentence) {
    return cli::SayWith(sentence.form, {sentence.words.begin(), sentence.words.end()});
}

void ShowFinding(Report& report, const Finding& finding, const std::string& unit, bool has_lines,
                 const std::function<void()>& show_place) {
    const std::string place = PlaceOf(finding, has_lines);
    const std::string what = Said(finding.sentence);
    report.Say(finding.suggestion.empty()
                   ? cli::Say("{1}: {2}", place, what)
                   : cli::Say("{1}: {2}; did you mean {3}?", place, what, finding.suggestion));
    show_place();
    const std::string expected = cli::Say("expected: {1}", finding.rule->expected);
    report.Say("  " + (finding.record == 0
                           ? expected
                           : cli::Say("{1} {2}; {3}", unit.c_str(), finding.record, expected)));
    report.Say("  " + cli::Say("{1} {2}", ConcernedCall(finding), Said(finding.Does())));
}

cli::Table::Cell OrNull(const std::string& text) {
    return text.empty() ? cli::Table::Cell() : cli::Table::Cell(text);
}

cli::Table::Cell Count(size_t number) {
    return static_cast<int64_t>(number);
}

cli::Table TableOf(const lint::Findings& findings) {
    cli::Table table;
    for (const char* key :
         {"rule", "severity", "function", "record", "line", "column", "byte_column", "offset",
          "length", "found", "message", "expected", "effect", "does", "value", "suggestion"}) {
        table.columns.push_back({key, {}});
    }
    for (const Finding& finding : findings) {
        const lint::Rule& rule = *finding.rule;
        const lint::Place& place = finding.place;
        const bool takes = rule.effect == lint::Effect::kTakes;
        table.rows.push_back({rule.name, ::NameOf(rule.severity),
                              OrNull(rule.calls == lint::kCombinedCall ? kCombinedCall : ""),
                              Count(finding.record), Count(place.line), Count(place.column),
                              Count(place.byte_column), Count(place.offset), Count(finding.length),
                              OrNull(finding.found), finding.message, rule.expected,
                              NameOf(rule.effect), finding.Does().Plain(),
                              takes ? cli::Table::Cell(finding.value) : cli::Table::Cell(),
                              OrNull(finding.suggestion)});
    }
    return table;
}

// ----------------------------------------------------------------- descriptions

struct NamedOutcome {
    const char* function;
    const lint::RequestOutcome& outcome;
};

void ShowOutcome(Report& report, const NamedOutcome& named) {
    report.Say(InWords(named.function, named.outcome));
    for (const lint::Request& request : named.outcome.requests) {
        report.Say("  " + InWords(request));
    }
}

void AddOutcomes(Report& report, std::initializer_list<NamedOutcome> outcomes) {
    cli::Table calls = {{{"function", {}}, {"outcome", {}}, {"code", {}}, {"requests", {}}}, {}};
    cli::Table requests = {{{"function", {}},
                            {"cert_type", {}},
                            {"key_type", {}},
                            {"hash_type", {}},
                            {"merged", {}},
                            {"verifies_pin", {}}},
                           {}};
    for (const auto& [function, outcome] : outcomes) {
        const int64_t code = outcome.raises    ? kRaised
                             : outcome.refuses ? ORVAL_INVALID_ARGUMENT
                                               : 0;
        calls.rows.push_back({function,
                              outcome.raises    ? "raises"
                              : outcome.refuses ? "refuses"
                                                : "asks the key",
                              code, Count(outcome.requests.size())});
        for (const lint::Request& request : outcome.requests) {
            requests.rows.push_back({function, request.cert_type, request.key_type,
                                     request.hash_type, int64_t{request.merged},
                                     int64_t{request.verifies_pin}});
        }
    }
    report.AddDetail("calls", calls);
    report.AddDetail("requests", requests);
}

struct RequestOptions {
    std::string text;
    std::string verb;
};

cli::ExitStatus LintRequest(Session& session, const RequestOptions& options) {
    const std::string text = options.text == "-" ? ReadGiven(options.text) : options.text;
    CheckNotEmpty(text, cli::Say("the description"));
    const uint32_t calls = options.verb == "request"        ? lint::kSingleCall
                           : options.verb == "init-request" ? lint::kCombinedCall
                                                            : lint::kRequestCalls;
    const lint::RequestReport found = lint::LintRequest(text);
    Report& report = session.Result();
    const bool has_lines = text.find('\n') < text.size() - 1;
    lint::Findings findings;
    for (const Finding& finding : found.findings) {
        if ((finding.rule->calls & calls) != 0) {
            findings.push_back(finding);
            ShowFinding(report, finding, cli::Mark("record"), has_lines,
                        [&report, &text, &finding, has_lines] {
                            if (!has_lines) {
                                ShowPlace(report, text, finding);
                            }
                        });
        }
    }
    report.AddDetail("findings", TableOf(findings));
    const NamedOutcome single = {kSingleCall, found.single};
    const NamedOutcome combined = {kCombinedCall, found.combined};
    if ((calls & lint::kSingleCall) != 0) {
        ShowOutcome(report, single);
    }
    if ((calls & lint::kCombinedCall) != 0) {
        ShowOutcome(report, combined);
    }
    AddOutcomes(report, {single, combined});
    return Conclude(report, found.For(calls));
}

void AddRequestLint(cli::Command request, Session& session) {
    const auto options = std::make_shared<RequestOptions>();
    options->verb = "both";
    cli::Command verb = request.AddCommand(
        "lint",
        "Check a request description without a key: what is odd, where, and what comes of it",
        [&session, options] { return LintRequest(session, *options); });
    verb.Add("TEXT", options->text,
             "The description; - is standard input, whose line end counts as a character")
        .Required();
    verb.Add("--for", options->verb, "Which verb, and so which function, it is meant for")
        .OneOf({"both", "request", "init-request"})
        .ShowDefault();
    AddExamples(verb, {"ukeyctl request lint 'CertType(1)KeyType(2)HashType(3)'",
                       "ukeyctl request lint --for init-request "
                       "'CertType(1)KeyType(2)HashType(3)|CertType(3)'"});
}

// --------------------------------------------------------------------- packages

void ShowImports(Report& report, const lint::PackageReport& found) {
    cli::Table imports = {{{"item", "ITEM"}, {"length", "CHARACTERS"}}, {}};
    for (const lint::Import& import : found.imports) {
        imports.rows.push_back({lint::NameOf(import.kind), Count(import.data.size())});
    }
    const std::string how =
        found.refuses ? cli::Say("refuses it with -401") : cli::Say("leaves the rest to the key");
    report.Say(imports.rows.empty()
                   ? cli::Say("{1} {2}", kImportCall, how)
                   : cli::Say("{1} {2}, after these have been handed to it in this order:",
                              kImportCall, how));
    for (const lint::Import& import : found.imports) {
        report.Say("  " + cli::SayCount("{2}, {1} character", "{2}, {1} characters",
                                        import.data.size(), {lint::NameOf(import.kind)}));
    }
    report.AddDetail("code", int64_t{found.refuses ? ORVAL_INVALID_ARGUMENT : 0});
    report.AddDetail("imports", imports);
}

cli::ExitStatus LintPackage(Session& session, const std::string& file) {
    const std::string text = ReadGiven(file);
    const lint::PackageReport found = lint::LintPackage(text);
    Report& report = session.Result();
    for (const Finding& finding : found.findings) {
        // No excerpt: a private key may stand there.
        ShowFinding(report, finding, cli::Mark("item"), text.find('\n') != text.npos, [] {});
    }
    report.AddDetail("findings", TableOf(found.findings));
    ShowImports(report, found);
    return Conclude(report, found.Worst());
}

void AddPackageLint(cli::Command group, Session& session) {
    const auto file = std::make_shared<std::string>();
    cli::Command verb = group.AddCommand(
        "lint-package",
        "Check what the authority issued without a key: what is odd, where, and what comes of it",
        [&session, file] { return LintPackage(session, *file); });
    verb.Add("PACKAGE", *file, "The package, or a single PKCS#7 text; - is standard input")
        .Required()
        .Checked(cli::CheckNotEmpty);
    AddExamples(verb, {"ukeyctl cert lint-package answer.txt",
                       "softca issue --in request.txt | ukeyctl cert lint-package -"});
}

}  // namespace

void AddLintVerbs(cli::Command& app, Session& session) {
    AddRequestLint(app.Find("request"), session);
    AddPackageLint(app.Find("cert"), session);
}
