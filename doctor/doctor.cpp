#include "doctor/doctor.h"

#include <algorithm>

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
    {"installation", "application directory", [](Facts) { return LookAtDirectory(); }},
    {"installation", "expected files", LookAtExpectedFiles},
    {"libOrvalKPX.so", "file", [](Facts all) { return all.backend.file; }},
    {"libOrvalKPX.so", "needed libraries", [](Facts all) { return LookAtNeeded(all.backend); }},
    {"libOrvalKPX.so", "C library", [](Facts all) { return LookAtCLibrary(all.backend); }},
    {"libOrvalKPX.so", "loading", [](Facts all) { return LookAtLoading(all.backend); }},
    {"libOrvalKPX.so", "entries", [](Facts all) { return LookAtEntries(all.backend); }},
    {"libR7Token_ORVAL.so", "file", [](Facts all) { return all.token.file; }},
    {"libR7Token_ORVAL.so", "needed libraries", [](Facts all) { return LookAtNeeded(all.token); }},
    {"libR7Token_ORVAL.so", "C library", [](Facts all) { return LookAtCLibrary(all.token); }},
    {"libR7Token_ORVAL.so", "loading", [](Facts all) { return LookAtLoading(all.token); }},
    {"libR7Token_ORVAL.so", "entries", [](Facts all) { return LookAtEntries(all.token); }},
    {"product", "library", LookAtProduct},
    {"product", "other copies", LookAtOtherCopies},
    {"product", "token library in use", LookAtTokenInUse},
    {"log", "file", [](Facts all) { return LookAtLogFile(all.log); }},
    {"log", "owner and mode", [](Facts all) { return LookAtLogOwner(all.log); }},
    {"log", "size", [](Facts all) { return LookAtLogSize(all.log); }},
    {"log", "private keys", [](Facts all) { return LookAtLogSecrets(all.log); }},
    {"log", "/tmp", [](Facts) { return LookAtTmp(); }},
    {"key", "plugged", LookAtPlugged},
    {"key", "label", LookAtLabels},
    {"key", "PIN", LookAtPins},
    {"key", "certificates", LookAtCertificates},
    {"computer", "clock", [](Facts) { return LookAtClock(std::time(nullptr)); }},
    {"computer", "time zone", [](Facts) { return LookAtZone(); }},
    {"computer", "user namespaces", LookAtNamespaces},
    {"software key", "store", LookAtStore},
};

constexpr Check kClient = {"client", "finds the library", LookAtClient};

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
    constexpr const char* kNames[] = {"well", "unknown", "doubtful", "broken"};
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
            counts += (counts.empty() ? "" : ", ") + std::to_string(count) + " " + NameOf(verdict);
        }
    }
    return counts.empty() ? "All is well." : "Not all is well: " + counts + ".";
}

}  // namespace doctor
