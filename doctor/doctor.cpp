#include "doctor/doctor.h"

#include <algorithm>

#include "cli/words.h"
#include "doctor/checks.h"
#include "doctor/library.h"
#include "maker/places.h"

namespace doctor {
namespace {

using Facts = const Examination&;

struct Check {
    const char* group;
    const char* name;
    Finding (*look)(Facts);
};

// A heavier finding further up makes lighter ones below it certain: it is the one to see to first.
constexpr Check kChecks[] = {
    {cli::Mark("installation"), cli::Mark("application directory"),
     [](Facts) { return LookAtDirectory(); }},
    {cli::Mark("installation"), cli::Mark("expected files"), LookAtExpectedFiles},
    {"libOrvalKPX.so", cli::Mark("file"), [](Facts all) { return all.backend.file; }},
    {"libOrvalKPX.so", cli::Mark("needed libraries"),
     [](Facts all) { return LookAtNeeded(all.backend); }},
    {"libOrvalKPX.so", cli::Mark("C library"),
     [](Facts all) { return LookAtCLibrary(all.backend); }},
    {"libOrvalKPX.so", cli::Mark("loading"), [](Facts all) { return LookAtLoading(all.backend); }},
    {"libOrvalKPX.so", cli::Mark("entries"), [](Facts all) { return LookAtEntries(all.backend); }},
    {"libR7Token_ORVAL.so", cli::Mark("file"), [](Facts all) { return all.token.file; }},
    {"libR7Token_ORVAL.so", cli::Mark("needed libraries"),
     [](Facts all) { return LookAtNeeded(all.token); }},
    {"libR7Token_ORVAL.so", cli::Mark("C library"),
     [](Facts all) { return LookAtCLibrary(all.token); }},
    {"libR7Token_ORVAL.so", cli::Mark("loading"),
     [](Facts all) { return LookAtLoading(all.token); }},
    {"libR7Token_ORVAL.so", cli::Mark("entries"),
     [](Facts all) { return LookAtEntries(all.token); }},
    {cli::Mark("product"), cli::Mark("library"), LookAtProduct},
    {cli::Mark("product"), cli::Mark("other copies"), LookAtOtherCopies},
    {cli::Mark("product"), cli::Mark("token library in use"), LookAtTokenInUse},
    {cli::Mark("log"), cli::Mark("file"), [](Facts all) { return LookAtLogFile(all.log); }},
    {cli::Mark("log"), cli::Mark("owner and mode"),
     [](Facts all) { return LookAtLogOwner(all.log); }},
    {cli::Mark("log"), cli::Mark("size"), [](Facts all) { return LookAtLogSize(all.log); }},
    {cli::Mark("log"), cli::Mark("private keys"),
     [](Facts all) { return LookAtLogSecrets(all.log); }},
    {cli::Mark("log"), "/tmp", [](Facts) { return LookAtTmp(); }},
    {cli::Mark("key"), cli::Mark("plugged"), LookAtPlugged},
    {cli::Mark("key"), cli::Mark("label"), LookAtLabels},
    {cli::Mark("key"), cli::Mark("PIN"), LookAtPins},
    {cli::Mark("key"), cli::Mark("certificates"), LookAtCertificates},
    {cli::Mark("computer"), cli::Mark("clock"),
     [](Facts) { return LookAtClock(std::time(nullptr)); }},
    {cli::Mark("computer"), cli::Mark("time zone"), [](Facts) { return LookAtZone(); }},
    {cli::Mark("computer"), cli::Mark("user namespaces"), LookAtNamespaces},
    {cli::Mark("software key"), cli::Mark("store"), LookAtStore},
};

constexpr Check kClient = {cli::Mark("client"), cli::Mark("finds the library"), LookAtClient};

int CountOf(const std::vector<Result>& results, Verdict verdict) {
    return static_cast<int>(std::count_if(
        results.begin(), results.end(),
        [verdict](const Result& result) { return result.finding.verdict == verdict; }));
}

}  // namespace

std::vector<Result> Examine(const Question& question, std::vector<std::string>* serial_numbers) {
    const Examination all(question);
    std::vector<Result> results;
    for (const Check& check : kChecks) {
        results.push_back({check.group, check.name, check.look(all)});
    }
    if (!question.client.empty()) {
        results.push_back({kClient.group, kClient.name, kClient.look(all)});
    }
    for (const KeyFacts& key : all.keys) {
        if (serial_numbers != nullptr && !key.serial_number.empty()) {
            serial_numbers->push_back(key.serial_number);
        }
    }
    return results;
}

Finding WhyNoBackend(std::chrono::milliseconds limit) {
    Finding heaviest = LookAtDirectory();
    const auto add = [&heaviest](Finding finding) {
        if (finding.verdict > heaviest.verdict) {
            heaviest = std::move(finding);
        }
    };
    const std::pair<const char*, std::vector<std::string>> libraries[] = {
        {maker::kBackendPath, BackendEntries()}, {maker::kTokenPath, TokenFunctions()}};
    for (const auto& [path, entries] : libraries) {
        const LibraryFacts library(path, entries, limit);
        add(library.file);
        add(LookAtNeeded(library));
        add(LookAtCLibrary(library));
        add(LookAtLoading(library));
        add(LookAtEntries(library));
    }
    return heaviest;
}

const char* NameOf(Verdict verdict) {
    constexpr const char* kNames[] = {cli::Mark("well"), cli::Mark("unknown"),
                                      cli::Mark("doubtful"), cli::Mark("broken")};
    return kNames[static_cast<size_t>(verdict)];
}

Verdict Worst(const std::vector<Result>& results) {
    Verdict worst = Verdict::kWell;
    for (const Result& result : results) {
        worst = std::max(worst, result.finding.verdict);
    }
    return worst;
}

std::string LastLine(const std::vector<Result>& results) {
    std::string counts;
    for (const Verdict verdict : {Verdict::kBroken, Verdict::kDoubtful, Verdict::kUnknown}) {
        const int count = CountOf(results, verdict);
        if (count > 0) {
            const std::string one = cli::Say("{1} {2}", count, NameOf(verdict));
            counts = counts.empty() ? one : cli::Say("{1}, {2}", counts, one);
        }
    }
    return counts.empty() ? cli::Say("All is well.") : cli::Say("Not all is well: {1}.", counts);
}

}  // namespace doctor
