#include "bundle/bundle.h"

#include <nlohmann/json.hpp>

#include "bundle/log_tail.h"
#include "bundle/page.h"
#include "bundle/privacy.h"
#include "bundle/recording_part.h"
#include "bundle/system.h"
#include "cli/printable.h"
#include "cli/table.h"
#include "cli/words.h"

namespace bundle {
namespace {

using Json = nlohmann::ordered_json;

std::string NameOf(std::time_t made) {
    std::tm local{};
    char text[64];
    localtime_r(&made, &local);
    return {text, std::strftime(text, sizeof text, "ukeyctl-bundle-%Y%m%d-%H%M%S", &local)};
}

std::vector<doctor::Result> Examined(const doctor::Question& question, Privacy& privacy) {
    std::vector<std::string> serial_numbers;
    std::vector<doctor::Result> results = doctor::Examine(question, &serial_numbers);
    for (const std::string& one : serial_numbers) {
        privacy.AddSerialNumber(one);
    }
    for (doctor::Result& result : results) {
        result.finding.reason = privacy.Masked(result.finding.reason);
        result.finding.next = privacy.Masked(result.finding.next);
    }
    return results;
}

// As 'ukeyctl doctor --json' tells it, on lines that a person can read.
std::string JsonOf(const std::vector<doctor::Result>& results) {
    Json checks = Json::array();
    for (const doctor::Result& result : results) {
        const doctor::Finding& finding = result.finding;
        checks.push_back({{"group", result.group},
                          {"check", result.check},
                          {"verdict", doctor::NameOf(finding.verdict)},
                          {"reason", finding.reason},
                          {"next", finding.next.empty() ? Json(nullptr) : Json(finding.next)}});
    }
    const Json object = {{"schema", 1},
                         {"ok", true},
                         {"verb", "doctor"},
                         {"verdict", doctor::NameOf(doctor::Worst(results))},
                         {"checks", checks}};
    return cli::PrintableJson(object.dump(2, ' ', false, Json::error_handler_t::replace)) + "\n";
}

std::string TextOf(const std::vector<Fact>& facts) {
    std::string text;
    for (const Fact& fact : facts) {
        text += fact.name + ": " + cli::Printable(fact.value) + "\n";
    }
    return text;
}

std::string TextOf(const std::vector<Package>& packages) {
    std::vector<std::vector<std::string>> rows;
    rows.reserve(packages.size());
    for (const Package& one : packages) {
        rows.push_back({one.name, one.version, one.architecture});
    }
    return packages.empty() ? "This system tells of no packages.\n"
                            : cli::InColumns({"PACKAGE", "VERSION", "ARCHITECTURE"}, rows);
}

void AddParts(Told& told, const Question& question, const Privacy& privacy) {
    told.parts.push_back(
        {"doctor.json", "the doctor's findings, for programs", JsonOf(told.results)});
    if (told.log.problem.empty()) {
        const bool is_whole = told.log.text.size() == told.log.size;
        told.parts.push_back(
            {"log.txt",
             is_whole ? "the diagnostic log, masked" : "the end of the diagnostic log, masked",
             told.log.text});
    }
    told.parts.push_back(
        {"packages.txt", "versions of the packages that matter", TextOf(told.packages)});
    told.parts.push_back({"system.txt", "system, kernel, locale, time zone", TextOf(told.facts)});
    if (question.recording) {
        told.parts.push_back({"recording.jsonl",
                              "the recording, masked; certificates and signatures too",
                              WithoutNames(*question.recording, privacy)});
    }
}

}  // namespace

Bundle Collect(const Question& question) {
    const cli::InEnglish for_support;  // who reads it may be anywhere
    logs::Masks masks(logs::Secrets::kMasked);
    Privacy privacy(masks);
    Told told;
    told.made = std::time(nullptr);
    told.name = NameOf(told.made);
    told.command = question.command;
    told.log = ReadLogTail(question.log, masks);
    told.results = Examined(question.doctor, privacy);
    told.packages = Packages();
    for (const Fact& fact : SystemFacts(told.made)) {
        told.facts.push_back({fact.name, privacy.Masked(fact.value)});
    }
    AddParts(told, question, privacy);
    Bundle bundle{told.name, told.made, told.parts};
    bundle.parts.insert(bundle.parts.begin(),
                        {"index.html", "this bundle's page: open it in a browser", Page(told)});
    return bundle;
}

std::string Archived(const Bundle& bundle) {
    return Archived(bundle.name, bundle.parts, bundle.made);
}

}  // namespace bundle
