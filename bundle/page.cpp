#include "bundle/page.h"

#include "bundle/html.h"
#include "bundle/timeline.h"
#include "codes/advice.h"
#include "codes/notation.h"
#include "logs/record.h"

namespace bundle {
namespace {

constexpr const char* kStyle = R"(
:root { color-scheme: light dark; --ink: #1c1f24; --quiet: #565d68; --paper: #ffffff; --rule: #dfe2e7;
  --shade: #f4f5f7; --bad: #a01c1c; --bar: #4a6a91; }
@media (prefers-color-scheme: dark) {
  :root { --ink: #e7e9ed; --quiet: #a3abb8; --paper: #16181c; --rule: #33373f; --shade: #1f2228;
    --bad: #ff9b94; --bar: #8fb0d8; } }
* { box-sizing: border-box; }
body { margin: 0 auto; padding: 2rem 1.5rem 4rem; max-width: 70rem; color: var(--ink);
  background: var(--paper); font: 15px/1.5 system-ui, "Noto Sans", "Noto Sans CJK SC", sans-serif;
  overflow-wrap: anywhere; }
h1 { margin: 0; font-size: 1.6rem; line-height: 1.25; font-weight: 650; }
h2 { margin: 2.6rem 0 .7rem; font-size: 1.15rem; font-weight: 650; }
p { margin: .4rem 0; max-width: 46rem; }
.quiet, footer { color: var(--quiet); }
.verdict { margin: 1.4rem 0 0; padding: .9rem 1.1rem; background: var(--shade);
  border-left: 4px solid var(--quiet); }
.verdict p { max-width: none; }
.verdict ul { margin: .5rem 0 0; padding-left: 1.1rem; }
.verdict li { margin: .3rem 0; }
.headline { font-size: 1.1rem; font-weight: 650; margin: 0; }
.next { color: var(--quiet); }
table { width: 100%; border-collapse: collapse; font-variant-numeric: tabular-nums; }
table + table { margin-top: 1.6rem; }
th { padding: .35rem .9rem .35rem 0; text-align: left; white-space: nowrap; vertical-align: bottom; font-weight: 600;
  color: var(--quiet); border-bottom: 2px solid var(--rule); }
td { padding: .28rem .9rem .28rem 0; vertical-align: top; border-bottom: 1px solid var(--rule); }
th:last-child, td:last-child { padding-right: 0; }
.mark { white-space: nowrap; }
.check { width: 21rem; }
.strong { font-weight: 650; }
.bad { font-weight: 650; color: var(--bad); }
.code { font-family: ui-monospace, "DejaVu Sans Mono", "Liberation Mono", monospace; font-size: .9em; }
.amount { white-space: nowrap; text-align: right; }
figure { margin: 0; overflow-x: auto; }
.timeline { display: block; width: 100%; min-width: 58rem; height: auto; font-size: 12px;
  font-variant-numeric: tabular-nums; }
.timeline text { fill: var(--ink); }
.timeline .small, .timeline .quiet { fill: var(--quiet); }
.timeline .small { font-size: 11px; }
.timeline .upright { text-anchor: end; }
.timeline .mark { font-size: 11px; fill: var(--bad); }
.timeline .bar { fill: var(--bar); }
.timeline .failed { fill: none; stroke: var(--bad); stroke-width: 1.5; }
.timeline .rule { stroke: var(--rule); }
.timeline .cut { fill: var(--shade); }
@media (max-width: 44rem) {
  body { padding: 1.2rem 1rem 3rem; }
  table, tbody, tr, td { display: block; }
  thead { display: none; }
  tr { padding: .5rem 0; border-bottom: 1px solid var(--rule); }
  td { padding: .1rem 0; border: 0; }
  td:empty { display: none; }
  td[data-label]::before { content: attr(data-label) ": "; color: var(--quiet); font-weight: 400; }
  .amount { text-align: left; }
  .check { width: auto; }
  .mark { white-space: normal; }
}
@media print {
  :root { --ink: #000; --quiet: #333; --paper: #fff; --rule: #bbb; --shade: #f2f2f2; --bad: #000;
    --bar: #555; }
  @page { margin: 15mm; }
  body { max-width: none; padding: 0; font-size: 9.5pt; }
  h2 { break-after: avoid; }
  tr, li { break-inside: avoid; }
  .timeline { min-width: 0; }
}
)";

constexpr const char* kMasked =
    "Serial numbers, key texts, certificate packages and texts of unknown form are masked, the "
    "same "
    "text alike in all files of this bundle: SN#1 is one key everywhere. PINs are never known to "
    "the "
    "commands. The names of the computer and of its user are left out. Labels of keys are shown.";

// Known by their shape as well, for whoever sees no colours.
std::string VerdictWithMark(doctor::Verdict verdict) {
    constexpr const char* kMarks[] = {"\u2713", "?", "!", "\u2716"};
    return std::string(kMarks[static_cast<size_t>(verdict)]) + " " + doctor::NameOf(verdict);
}

const char* LookOf(doctor::Verdict verdict) {
    return verdict == doctor::Verdict::kWell     ? "mark quiet"
           : verdict == doctor::Verdict::kBroken ? "mark bad"
                                                 : "mark strong";
}

std::string WhereIs(const doctor::Result& result) {
    return std::string(result.group) + ": " + result.check;
}

std::string NextOf(const std::string& next) {
    return next.empty() ? "" : "Next: " + next;
}

// The verdict, and what led to it, the heaviest first.
std::string Summary(const std::vector<doctor::Result>& results) {
    std::string items;
    for (const doctor::Verdict verdict :
         {doctor::Verdict::kBroken, doctor::Verdict::kDoubtful, doctor::Verdict::kUnknown}) {
        for (const doctor::Result& result : results) {
            if (result.finding.verdict == verdict) {
                items += "<li><span class=\"strong\">" +
                         html::Escaped(VerdictWithMark(verdict) + ", " + WhereIs(result)) +
                         ":</span> " + html::Escaped(result.finding.reason) +
                         "<div class=\"next\">" + html::Escaped(NextOf(result.finding.next)) +
                         "</div></li>\n";
            }
        }
    }
    return "<div class=\"verdict\">\n" + html::Paragraph(doctor::LastLine(results), "headline") +
           (items.empty() ? "" : "<ul>\n" + items + "</ul>\n") + "</div>\n";
}

std::string DoctorTable(const std::vector<doctor::Result>& results) {
    std::vector<std::vector<html::Cell>> rows;
    for (const doctor::Result& result : results) {
        const doctor::Finding& finding = result.finding;
        rows.push_back({{VerdictWithMark(finding.verdict), LookOf(finding.verdict)},
                        {WhereIs(result), "check"},
                        {finding.reason, "", NextOf(finding.next)}});
    }
    return html::Table({"Verdict", "Check", "Reason"}, rows);
}

std::string MeaningOf(const logs::Summary::Failure& failure) {
    if (!failure.code) {
        logs::Call call;
        call.function = failure.function;
        const char* const why = call.WithoutEnd();
        return why != nullptr ? why : "the log tells no end of the call";
    }
    const codes::Row* const known = codes::FindKnown(*failure.code);
    return known != nullptr ? codes::MeaningOf(*known) : "known to the key's maker";
}

std::string CodeOf(const logs::Summary::Failure& failure) {
    if (!failure.code) {
        return "no end";
    }
    const codes::Row* const known = codes::FindKnown(*failure.code);
    const bool has_name = known != nullptr && known->name != nullptr;
    return codes::Hexadecimal(*failure.code) + (has_name ? std::string(" ") + known->name : "");
}

std::string NextFor(const logs::Summary::Failure& failure) {
    return failure.code
               ? codes::NextFor(*failure.code, failure.function, {}, "the verb's --help")
               : "see whether the program ended there, and what the system says of its end";
}

std::string FailedCalls(const LogTail& log) {
    if (log.summary.failed.empty()) {
        return html::Paragraph("No call failed.");
    }
    std::vector<std::vector<html::Cell>> rows;
    for (const auto& [failure, count] : log.summary.failed) {
        rows.push_back(
            {{failure.function, "mark"},
             {CodeOf(failure), "code"},
             {MeaningOf(failure), "", NextOf(NextFor(failure))},
             {std::to_string(count), "amount"},
             {logs::ShowMoment(log.failed_last.at(failure), ' ').substr(0, 19), "mark"}});
    }
    return html::Table({"Function", "Code", "Meaning", "Times", "Last"}, rows);
}

std::string Extent(const LogTail& log) {
    if (!log.problem.empty()) {
        return std::string("The diagnostic log ") + logs::kPath +
               " cannot be read: " + log.problem + ".";
    }
    std::string text = std::to_string(log.summary.calls) + " calls, " +
                       std::to_string(log.summary.failures) + " failed";
    if (log.summary.calls > 0) {
        text += "; from " + logs::ShowMoment(log.summary.first, ' ').substr(0, 19) + " to " +
                logs::ShowMoment(log.summary.last, ' ').substr(0, 19) + ", local time";
    }
    return text + (log.text.size() < log.size ? ". The end of a longer log." : ".");
}

std::string Timeline(const LogTail& log) {
    if (log.last.empty()) {
        return html::Paragraph("The log tells of no call.");
    }
    return html::Paragraph(
               "Earliest on top; each bar is a call, from its first record to its last. A shaded "
               "strip stands for a time in which nothing happened. An empty bar with a cross "
               "failed.",
               "quiet") +
           "<figure>\n" + DrawnTimeline(log.last) + "</figure>\n";
}

std::string Versions(const Told& told) {
    std::vector<std::vector<html::Cell>> facts;
    facts.reserve(told.facts.size());
    for (const Fact& fact : told.facts) {
        facts.push_back({{fact.name, "mark"}, {fact.value}});
    }
    std::vector<std::vector<html::Cell>> packages;
    packages.reserve(told.packages.size());
    for (const Package& package : told.packages) {
        packages.push_back({{package.name}, {package.version}, {package.architecture}});
    }
    return html::Table({"Computer", ""}, facts) +
           (packages.empty() ? html::Paragraph("This system tells of no packages.")
                             : html::Table({"Package", "Version", "Architecture"}, packages));
}

std::string Files(const std::vector<Part>& parts) {
    std::vector<std::vector<html::Cell>> rows;
    rows.reserve(parts.size());
    for (const Part& part : parts) {
        rows.push_back({{part.name, "code"},
                        {part.what},
                        {std::to_string(part.contents.size()) + " bytes", "amount"}});
    }
    return html::Table({"File", "What it is", "Size"}, rows);
}

std::string MadeAt(std::time_t made) {
    std::tm local{};
    char text[64];
    localtime_r(&made, &local);
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S (UTC%z)", &local)};
}

}  // namespace

std::string Page(const Told& told) {
    const std::string log_extent = html::Paragraph(Extent(told.log), "quiet");
    return std::string(
               "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
               "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
               "<title>") +
           html::Escaped(told.name) + "</title>\n<style>" + kStyle + "</style>\n</head>\n<body>\n" +
           "<header>\n<h1>Why does the key not work?</h1>\n" +
           html::Paragraph("Collected on " + MadeAt(told.made) + " by " + told.command + ".",
                           "quiet") +
           "</header>\n<main>\n" + Summary(told.results) +
           html::Section("Failed calls", log_extent + FailedCalls(told.log)) +
           html::Section("The last calls", Timeline(told.log)) +
           html::Section("What the doctor found", DoctorTable(told.results)) +
           html::Section("Versions", Versions(told)) +
           html::Section("Beside this page", Files(told.parts)) + "</main>\n<footer>\n" +
           html::Section("What is masked", html::Paragraph(kMasked)) +
           "</footer>\n</body>\n</html>\n";
}

}  // namespace bundle
