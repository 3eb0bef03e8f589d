#include "lint/package.h"

#include <algorithm>
#include <limits>
#include <optional>

#include "formats/certificate_package.h"
#include "formats/enveloped_key.h"
#include "lint/package_walk.h"

namespace lint {
namespace {

constexpr Rule kKeyTooLong = {
    "key-too-long",
    Verdict::kRefused,
    kImportCall,
    Effect::kRefuses,
    "at most 1023 characters, without the prefix",
    "refuses the call with -401 when its turn comes; what was written before stays"};
constexpr Rule kPrefixInside = {
    "prefix-inside",
    Verdict::kSuspicious,
    kImportCall,
    Effect::kPassesOver,
    "the prefix at the start of the data, or not at all",
    "drops the first 80 characters of the data, wherever the prefix is"};
constexpr Rule kNothingFound = {"nothing-found",
                                Verdict::kRefused,
                                kImportCall,
                                Effect::kRefuses,
                                "SignCert(, EncPriKey( or EncCert(, in this case",
                                "refuses the package with -401: it finds nothing to import"};
constexpr Rule kZeroByte = {
    "zero-byte",         Verdict::kSuspicious,        kImportCall,
    Effect::kPassesOver, "a text without zero bytes", "sees nothing from there on"};
constexpr Rule kTooLong = {"text-too-long", Verdict::kRefused, kImportCall,
                           Effect::kRaises, "less than 2 GiB", "raises CQrvException 0x80070057"};

// The data of the items of all kinds, as the library gives them, in the order of import.
std::vector<Import> Extracted(const QRV::CString& package) {
    constexpr struct {
        ItemKind kind;
        const char* name;
    } kOrder[] = {{ItemKind::kSignCert, orval::kSignCertItem},
                  {ItemKind::kEncPriKey, orval::kEncPriKeyItem},
                  {ItemKind::kEncCert, orval::kEncCertItem}};
    std::vector<Import> imports;
    for (const auto& [kind, name] : kOrder) {
        orval::PackageItems items(package, name);
        while (const auto data = items.Next()) {
            imports.push_back({kind, std::string(data->AsView())});
        }
    }
    return imports;
}

// The key's text as the key gets it; nothing where it does not fit.
std::optional<std::string> KeyText(const std::string& data) {
    orval::EnvelopedKey key;
    if (!orval::ReadEnvelopedKey(QRV::CString(data.c_str()), key)) {
        return std::nullopt;
    }
    return key.text;
}

// How much the library drops where it finds the prefix shows where the prefix is: at the start it
// is the whole of what is dropped.
bool DropsMoreThanThePrefix(const std::string& data, const std::string& kept) {
    const size_t dropped = data.size() - kept.size();
    return dropped > 0 && KeyText(data.substr(0, dropped)) != std::string();
}

// Imports as the library does, up to the first key text that does not fit.
void ImportItems(std::vector<Import> extracted, const std::vector<FoundItem>& found,
                 PackageWalk& walk, PackageReport& report) {
    for (size_t i = 0; i < extracted.size(); ++i) {
        Import& import = extracted[i];
        if (import.kind == ItemKind::kEncPriKey) {
            std::optional<std::string> key = KeyText(import.data);
            if (!key) {
                walk.Note(kKeyTooLong, found[i].data, import.data.size(),
                          Sentence("a key text of {1} characters", import.data.size()));
                report.refuses = true;
                return;
            }
            if (DropsMoreThanThePrefix(import.data, *key)) {
                walk.Note(kPrefixInside, found[i].data, import.data.size(),
                          "the prefix of 80 digits does not stand at the start of the key text");
            }
            import.data = std::move(*key);
        }
        report.imports.push_back(std::move(import));
    }
}

void LintCleaned(const CleanedText& cleaned, const Places& places, PackageReport& report) {
    const QRV::CString package = cleaned.AsString();
    PackageWalk walk(cleaned, places, report.findings);
    const orval::PackageType type = orval::TypeOfPackage(package);
    if (type == orval::PackageType::kSinglePkcs7) {
        walk.WalkSingle();
        report.imports.push_back({ItemKind::kWholeText, std::string(cleaned.View())});
        return;
    }
    walk.WalkNames();
    if (type == orval::PackageType::kMalformed) {
        report.refuses = true;
        return;
    }
    const std::vector<FoundItem> found = walk.WalkItems();
    ImportItems(Extracted(package), found, walk, report);
    if (found.empty()) {
        walk.Note(kNothingFound, 0, 0, "no item is found");
        report.refuses = true;
    }
}

PackageReport TooLong() {
    PackageReport report;
    report.raises = true;
    report.findings.push_back(TextTooLong(kTooLong));
    return report;
}

}  // namespace

const char* NameOf(ItemKind kind) {
    switch (kind) {
        case ItemKind::kWholeText:
            return "PKCS#7";
        case ItemKind::kSignCert:
            return "SignCert";
        case ItemKind::kEncPriKey:
            return "EncPriKey";
        case ItemKind::kEncCert:
            break;
    }
    return "EncCert";
}

PackageReport LintPackage(std::string_view text) {
    const std::string_view seen = text.substr(0, text.find('\0'));
    if (seen.size() > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        return TooLong();
    }
    PackageReport report;
    const Places places(text);
    LintCleaned(CleanedText(seen), places, report);
    if (seen.size() < text.size()) {
        Finding finding;
        finding.rule = &kZeroByte;
        finding.place = places.Of(seen.size());
        finding.length = 1;
        finding.Tell("a zero byte ends the text");
        report.findings.push_back(finding);
    }
    Sort(report.findings);
    return report;
}

std::optional<std::string> KeyAsImported(std::string_view text) {
    std::string without_commas(text.substr(0, text.find('\0')));
    without_commas.erase(std::remove(without_commas.begin(), without_commas.end(), ','),
                         without_commas.end());
    return KeyText(without_commas);
}

Verdict PackageReport::Worst() const {
    if (Stops()) {
        return Verdict::kRefused;
    }
    return findings.empty() ? Verdict::kSound : Verdict::kSuspicious;
}

}  // namespace lint
