// What lint says of a text against what the product does with it, on a key that accepts everything.
// Texts are random; seeds are fixed in the suite, and scripts/walk --lint tries any number of
// others.
//
//     ORVAL_LINT_SEED   the first text's seed
//     ORVAL_LINT_COUNT  how many texts, with seeds that follow one another
#include "agreement.h"

#include <algorithm>
#include <cstdlib>
#include <set>

#include "api_test.h"
#include "generator.h"
#include "huge_text.h"
#include "plain_readings.h"

namespace {

using agreement::CodeOf;
using agreement::Combined;
using agreement::Foretold;
using agreement::Import;
using agreement::PointedOut;
using agreement::Single;

uint32_t Setting(const char* name, uint32_t otherwise) {
    const char* value = std::getenv(name);
    return value == nullptr ? otherwise : static_cast<uint32_t>(std::strtoul(value, nullptr, 10));
}

class LintAgreement : public testing::Test {
 protected:
    LintAgreement() { agreement::AcceptEverything(); }
};

// ------------------------------------------------------------------ descriptions

bool IsPlainField(const std::string& field, std::set<std::string>& names) {
    const size_t bracket = field.find('(');
    if (bracket == std::string::npos || bracket + 2 != field.size() ||
        std::isdigit(static_cast<unsigned char>(field.back())) == 0) {
        return false;
    }
    std::string name;
    for (const char c : walk::Without(field.substr(0, bracket), "")) {
        name += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    const size_t first = name.find_first_not_of(" \t\n\v\f\r");
    const size_t last = name.find_last_not_of(" \t\n\v\f\r");
    name = first == std::string::npos ? "" : name.substr(first, last - first + 1);
    return (name == "certtype" || name == "keytype" || name == "hashtype") &&
           names.insert(name).second;
}

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts = {""};
    for (const char c : text) {
        if (c == separator) {
            parts.emplace_back();
        } else {
            parts.back() += c;
        }
    }
    return parts;
}

// A description in which nothing is left to chance: the grammar of the page, written once more.
bool IsPlainDescription(const std::string& text) {
    size_t least_fields = 3;  // the first record sets all
    for (const std::string& record : Split(text, '|')) {
        std::vector<std::string> fields = Split(record, ')');
        std::set<std::string> names;
        const bool is_closed = fields.back().empty();
        fields.pop_back();
        if (!is_closed || fields.empty() || fields.size() < least_fields ||
            !std::all_of(fields.begin(), fields.end(), [&names](const std::string& field) {
                return IsPlainField(field, names);
            })) {
            return false;
        }
        least_fields = 1;
    }
    return true;
}

TEST_F(LintAgreement, WhatBothRequestCallsDoWithADescriptionIsForetold) {
    const uint32_t first = Setting("ORVAL_LINT_SEED", 1);
    const uint32_t count = Setting("ORVAL_LINT_COUNT", ORVAL_LINT_TEXTS);
    uint32_t refused = 0;
    uint32_t plain = 0;
    for (uint32_t seed = first; seed != first + count; ++seed) {
        walk::Chance chance(seed);
        const std::string text = walk::AnyText(chance, 'r').value_or("");
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + scripted::Quoted(text));
        const lint::RequestReport report = lint::LintRequest(text);
        ASSERT_EQ(Foretold(report.single), Single(text.c_str()));
        ASSERT_EQ(Foretold(report.combined), Combined(text.c_str()));
        ASSERT_EQ(PointedOut(report.findings, lint::kSingleCall, SIZE_MAX), CodeOf(report.single));
        ASSERT_EQ(PointedOut(report.findings, lint::kCombinedCall, 3), CodeOf(report.combined));
        const bool is_sound = report.For(lint::kSingleCall) == lint::Verdict::kSound;
        ASSERT_EQ(is_sound, IsPlainDescription(text));
        ASSERT_THAT(agreement::PlacedOutside(report.findings, text), testing::IsEmpty());
        refused += report.single.Stops() ? 1U : 0U;
        plain += is_sound ? 1U : 0U;
    }
    // Texts of one kind only would show nothing.
    EXPECT_GT(refused, count / 50);
    EXPECT_GT(plain, count / 50);
}

TEST_F(LintAgreement, TextThatNoStringCanHoldIsForetold) {
    if (scripted::kThreadSanitizer) {
        GTEST_SKIP() << "the thread sanitizer would record every byte of the text";
    }
    const scripted::HugeText huge(2 * scripted::kOneGibibyte);
    const std::string_view text(huge.Text(), 2 * scripted::kOneGibibyte);
    const lint::RequestReport report = lint::LintRequest(text);
    EXPECT_EQ(Foretold(report.single), Single(huge.Text()));
    EXPECT_EQ(report.For(lint::kRequestCalls), lint::Verdict::kRefused);
    const lint::PackageReport package = lint::LintPackage(text);
    EXPECT_EQ(Foretold(package), Import(huge.Text()));
    EXPECT_EQ(package.Worst(), lint::Verdict::kRefused);
}

// --------------------------------------------------------------------- packages

bool IsBase64(const std::string& text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '+' || c == '/' || c == '=';
    });
}

bool IsPlainKey(const std::string& data) {
    const std::string prefix =
        "00000000000000010000000000000001"
        "000000000000000000000000000000000000000000000273";
    const size_t at = data.find(prefix);
    return at == std::string::npos ? data.size() < 1024
                                   : at == 0 && data.size() < 1024 + prefix.size();
}

// A package, or a PKCS#7 text, in which nothing is left to chance.
bool IsPlainPackage(const std::string& text) {
    const std::string cleaned = walk::Without(text, ",\r\n");
    if (cleaned.find('(') == std::string::npos) {
        return IsBase64(cleaned) && cleaned.find("SignCert") == std::string::npos &&
               cleaned.find("EncCert") == std::string::npos &&
               cleaned.find("EncPriKey") == std::string::npos;
    }
    std::set<std::string> names;
    for (const std::string& item : Split(cleaned, '|')) {
        const size_t bracket = item.find('(');
        if (bracket == std::string::npos || item.back() != ')') {
            return false;
        }
        const std::string name = item.substr(0, bracket);
        const std::string data = item.substr(bracket + 1, item.size() - bracket - 2);
        const bool is_known = name == "SignCert" || name == "EncCert" || name == "EncPriKey";
        if (!is_known || !names.insert(name).second || !IsBase64(data) ||
            (name == "EncPriKey" && !IsPlainKey(data))) {
            return false;
        }
    }
    return true;
}

TEST_F(LintAgreement, WhatTheImportDoesWithAPackageIsForetold) {
    const uint32_t first = Setting("ORVAL_LINT_SEED", 1);
    const uint32_t count = Setting("ORVAL_LINT_COUNT", ORVAL_LINT_TEXTS);
    uint32_t refused = 0;
    uint32_t plain = 0;
    for (uint32_t seed = first; seed != first + count; ++seed) {
        walk::Chance chance(seed);
        const std::string text = walk::AnyText(chance, 'p').value_or("");
        SCOPED_TRACE("seed " + std::to_string(seed) + ": " + scripted::Quoted(text));
        const lint::PackageReport report = lint::LintPackage(text);
        ASSERT_EQ(Foretold(report), Import(text.c_str()));
        ASSERT_EQ(PointedOut(report.findings, lint::kImportCall, SIZE_MAX), CodeOf(report));
        const bool is_sound = report.Worst() == lint::Verdict::kSound;
        ASSERT_EQ(is_sound, IsPlainPackage(text));
        ASSERT_THAT(agreement::PlacedOutside(report.findings, text), testing::IsEmpty());
        refused += report.Stops() ? 1U : 0U;
        plain += is_sound ? 1U : 0U;
    }
    EXPECT_GT(refused, count / 50);
    EXPECT_GT(plain, count / 50);
}

}  // namespace
