// What lint says of any text is what both request calls, and the import of a package, do with it;
// what it points to stands in the text.
#include <string>

#include "agreement.h"
#include "fuzz_target.h"

namespace {

using agreement::CodeOf;
using agreement::Foretold;
using agreement::PlacedOutside;
using agreement::PointedOut;
using fuzz::Require;

constexpr size_t kAllRecords = SIZE_MAX;
constexpr size_t kMostRecords = 3;  // of the combined call

void HoldRequest(const std::string& text) {
    const lint::RequestReport report = lint::LintRequest(text);
    Require(agreement::Single(text.c_str()) == Foretold(report.single),
            "what the single call does is foretold");
    Require(agreement::Combined(text.c_str()) == Foretold(report.combined),
            "what the combined call does is foretold");
    Require(PointedOut(report.findings, lint::kSingleCall, kAllRecords) == CodeOf(report.single),
            "the findings tell the single call's outcome");
    Require(
        PointedOut(report.findings, lint::kCombinedCall, kMostRecords) == CodeOf(report.combined),
        "the findings tell the combined call's outcome");
    Require(PlacedOutside(report.findings, text).empty(), "a finding stands in the description");
}

void HoldPackage(const std::string& text) {
    const lint::PackageReport report = lint::LintPackage(text);
    Require(agreement::Import(text.c_str()) == Foretold(report),
            "what the import does is foretold");
    Require(PointedOut(report.findings, lint::kImportCall, kAllRecords) == CodeOf(report),
            "the findings tell the import's outcome");
    Require(PlacedOutside(report.findings, text).empty(), "a finding stands in the package");
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    agreement::AcceptEverything();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A C text: it ends at the first NUL.
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    HoldRequest(text);
    HoldPackage(text);
    return 0;
}
