// What lint says of certificate packages.
#include "lint/package.h"

#include <gmock/gmock.h>

#include "growth.h"

namespace {

using lint::LintPackage;
using lint::Verdict;

// "rule@line:column+length" and what is suggested.
std::vector<std::string> InShort(const lint::Findings& findings) {
    std::vector<std::string> texts;
    for (const lint::Finding& finding : findings) {
        texts.push_back(finding.rule->name + ("@" + std::to_string(finding.place.line)) + ":" +
                        std::to_string(finding.place.column) + "+" +
                        std::to_string(finding.length) +
                        (finding.suggestion.empty() ? "" : "?" + finding.suggestion));
    }
    return texts;
}

// "SignCert EncPriKey" in the order of import.
std::string Names(const std::vector<lint::Import>& imports) {
    std::string names;
    for (const lint::Import& import : imports) {
        names += (names.empty() ? "" : " ") + std::string(lint::NameOf(import.kind));
    }
    return names;
}

// "record: message".
std::vector<std::string> InWords(const lint::Findings& findings) {
    std::vector<std::string> texts;
    for (const lint::Finding& finding : findings) {
        texts.push_back(std::to_string(finding.record) + ": " + finding.message);
    }
    return texts;
}

struct Case {
    const char* name;
    std::string text;
    Verdict verdict;
    std::string imports;
    std::vector<std::string> findings;
    std::vector<std::string> words = {};
};

void PrintTo(const Case& tried, std::ostream* out) {
    *out << tried.name;
}

const std::string kPrefix =
    "00000000000000010000000000000001000000000000000000000000000000000000000000000273";

const Case kCases[] = {
    {"Sound",
     "EncCert(Z)|SignCert(X)|EncPriKey(Y)",
     Verdict::kSound,
     "SignCert EncPriKey EncCert",
     {}},
    {"SoundInLines",
     "SignCert(\r\nMII,B\r\n)|\nEncCert(MIIC)\n",
     Verdict::kSound,
     "SignCert EncCert",
     {}},
    {"SinglePkcs7", "MIIB\nuwYJ\n", Verdict::kSound, "PKCS#7", {}},
    {"KeyThatFits",
     "EncPriKey(" + kPrefix + std::string(1023, 'A') + ")",
     Verdict::kSound,
     "EncPriKey",
     {}},
    {"Misspelt",
     "SignCert(X)|EncCret(Z)",
     Verdict::kRefused,
     "",
     {"unknown-item@1:13+7?EncCert"},
     {"2: \"EncCret\" is no item's name"}},
    {"MisspeltInALineOfItsOwn",
     "SignCert(X)|\nSigncerts(Z)",
     Verdict::kRefused,
     "",
     {"unknown-item@2:1+9?SignCert"},
     {"2: \"Signcerts\" is no item's name"}},
    {"BlankInFront",
     " SignCert(X)",
     Verdict::kRefused,
     "",
     {"unknown-item@1:1+9?SignCert"},
     {"1: \" SignCert\" is no item's name"}},
    {"BarAtTheEnd",
     "SignCert(X)|",
     Verdict::kRefused,
     "",
     {"item-missing@1:13+0"},
     {"2: no item with a ( stands behind the |"}},
    {"BarInsideData",
     "SignCert(X|Y)",
     Verdict::kRefused,
     "",
     {"bar-inside-data@1:11+1"},
     {"1: a | stands inside an item's data"}},
    {"FullWidthBrackets",
     "SignCert(X)|EncCert\xEF\xBC\x88Z\xEF\xBC\x89",
     Verdict::kRefused,
     "",
     {"full-width-character@1:20+3?("},
     {"2: \"（\" is a full-width character"}},
    {"FullWidthBracketsAlone",
     "SignCert\xEF\xBC\x88X\xEF\xBC\x89",
     Verdict::kSuspicious,
     "PKCS#7",
     {"no-package@1:9+3?("},
     {"0: \"（\" is a full-width character"}},
    {"FullWidthBar",
     "SignCert(X)\xEF\xBD\x9C"
     "EncCert(Z)",
     Verdict::kSuspicious,
     "SignCert EncCert",
     {"text-between-items@1:12+13"},
     {"1: text stands behind an item's )"}},
    {"OtherCaseAlone",
     "signcert(X)",
     Verdict::kRefused,
     "",
     {"name-in-other-case@1:1+8?SignCert", "nothing-found@1:1+0"},
     {"1: \"signcert\" is not how the item is written", "1: no item is found"}},
    {"OtherCase",
     "signcert(X)|EncCert(Z)",
     Verdict::kSuspicious,
     "EncCert",
     {"name-in-other-case@1:1+8?SignCert"},
     {"1: \"signcert\" is not how the item is written"}},
    {"SeparatorMissing",
     "SignCert(X)EncCert(Z)",
     Verdict::kSuspicious,
     "SignCert EncCert",
     {"separator-missing@1:12+0"},
     {"1: no | stands between two items"}},
    {"SameItemWithoutASeparator",
     "SignCert(A)SignCert(B)",
     Verdict::kSuspicious,
     "SignCert",
     {"item-left-out@1:12+9"},
     {"1: this SignCert follows a ) at once"}},
    {"TextBetweenItems",
     "SignCert(A))|EncCert(Z)",
     Verdict::kSuspicious,
     "SignCert EncCert",
     {"text-between-items@1:12+1"},
     {"1: text stands behind an item's )"}},
    {"NotClosed",
     "EncCert(Z)|SignCert(X",
     Verdict::kSuspicious,
     "SignCert EncCert",
     {"item-not-closed@1:12+9"},
     {"2: no ) closes the data of SignCert"}},
    {"Empty",
     "SignCert()",
     Verdict::kSuspicious,
     "SignCert",
     {"item-empty@1:1+10"},
     {"1: SignCert has no data"}},
    {"EmptyBehindAnother",
     "SignCert(A)|EncCert()",
     Verdict::kSuspicious,
     "SignCert EncCert",
     {"item-empty@1:13+9"},
     {"2: EncCert has no data"}},
    {"Twice",
     "SignCert(A)|SignCert(B)",
     Verdict::kSuspicious,
     "SignCert SignCert",
     {"item-twice@1:13+9"},
     {"2: another SignCert"}},
    {"ItemInsideData",
     "EncCert(SignCert(X)",
     Verdict::kSuspicious,
     "SignCert EncCert",
     {"item-inside-data@1:9+9", "character-in-data@1:17+1"},
     {"1: SignCert( stands inside the data of EncCert", "1: the byte 0x28 stands in the data"}},
    {"SameItemInsideTheDataOfTheSecond",
     "SignCert(A)|SignCert(BSignCert(C)",
     Verdict::kSuspicious,
     "SignCert SignCert",
     {"item-twice@1:13+9", "character-in-data@1:31+1"},
     {"2: another SignCert", "2: the byte 0x28 stands in the data"}},
    {"BlankInData",
     "SignCert(MII B)",
     Verdict::kSuspicious,
     "SignCert",
     {"character-in-data@1:13+1"},
     {"1: the byte 0x20 stands in the data"}},
    {"PemHeader",
     "-----BEGIN PKCS7-----",
     Verdict::kSuspicious,
     "PKCS#7",
     {"character-in-data@1:1+1"},
     {"0: the byte 0x2D stands in the data"}},
    {"BracketFirst",
     "(abc)",
     Verdict::kSuspicious,
     "PKCS#7",
     {"no-package@1:1+1"},
     {"0: a ( as the first character has no item's name in front"}},
    {"NamesWithoutBrackets",
     "SignCert|EncCert",
     Verdict::kSuspicious,
     "PKCS#7",
     {"no-package@1:1+0"},
     {"0: the text looks like a package and has no ("}},
    {"NothingButLineBreaks",
     "\r\n",
     Verdict::kSuspicious,
     "PKCS#7",
     {"empty-text@2:1+0"},
     {"0: there is no text"}},
    {"KeyTooLong",
     "EncCert(Z)|EncPriKey(" + std::string(1024, 'A') + ")|SignCert(X)",
     Verdict::kRefused,
     "SignCert",
     {"key-too-long@1:22+1024"},
     {"2: a key text of 1024 characters"}},
    {"PrefixBehindSomethingElse",
     "EncPriKey(AA" + kPrefix + "BB)",
     Verdict::kSuspicious,
     "EncPriKey",
     {"prefix-inside@1:11+84"},
     {"1: the prefix of 80 digits does not stand at the start of the key text"}},
    {"ZeroByte",
     "SignCert(X)" + std::string(1, '\0') + "|Foo(",
     Verdict::kSuspicious,
     "SignCert",
     {"zero-byte@1:12+1"},
     {"0: a zero byte ends the text"}},
};

class PackageLint : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(Packages, PackageLint, testing::ValuesIn(kCases),
                         [](const auto& tried) { return std::string(tried.param.name); });

TEST_P(PackageLint, PointsToWhatIsOdd) {
    const lint::PackageReport report = LintPackage(GetParam().text);
    EXPECT_EQ(InShort(report.findings), GetParam().findings);
    EXPECT_EQ(InWords(report.findings), GetParam().words);
    EXPECT_EQ(Names(report.imports), GetParam().imports);
    EXPECT_EQ(report.Worst(), GetParam().verdict);
    for (const lint::Finding& finding : report.findings) {
        EXPECT_EQ(finding.rule->calls, lint::kImportCall) << finding.rule->name;
    }
}

TEST(PackageLintKey, IsImportedWithoutCommasAndPrefixUpToAZeroByte) {
    EXPECT_EQ(lint::KeyAsImported("A,B,,C"), "ABC");
    EXPECT_EQ(lint::KeyAsImported("AB" + std::string(1, '\0') + "C"), "AB");
    EXPECT_EQ(lint::KeyAsImported(kPrefix + ",AB"), "AB");
    EXPECT_EQ(lint::KeyAsImported(std::string(1023, 'A') + ","), std::string(1023, 'A'));
    EXPECT_EQ(lint::KeyAsImported(std::string(1024, 'A')), std::nullopt);
}

TEST(PackageLintFinding, QuotesNoNameThatIsLongerThanAnItemsMayBe) {
    const auto found = [](size_t length) {
        return LintPackage("SignCert(X)|" + std::string(length, 'x') + "(Z)").findings.front();
    };
    EXPECT_EQ(found(20).found, std::string(20, 'x'));
    EXPECT_EQ(found(20).message, "\"" + std::string(20, 'x') + "\" is no item's name");
    EXPECT_EQ(found(21).found, "");
    EXPECT_EQ(found(21).message, "this is no item's name");
    EXPECT_EQ(found(21).record, 2U);
}

TEST(PackageLintFinding, TellsTheByteThatIsNoneOfBase64s) {
    const auto message = [](char byte) {
        const auto findings = LintPackage(std::string("SignCert(") + byte + ")").findings;
        return findings.empty() ? "" : findings.front().message;
    };
    EXPECT_EQ(message('\x1F'), "the byte 0x1F stands in the data");
    EXPECT_EQ(message('\xA9'), "the byte 0xA9 stands in the data");
    for (const char odd : {'*', '.', '@', '[', '`', '{', '<', '>', ':'}) {
        EXPECT_NE(message(odd), "") << odd;
    }
    for (const char usual : {'A', 'Z', 'a', 'z', '0', '9', '+', '/', '='}) {
        EXPECT_EQ(message(usual), "") << usual;
    }
}

// Whatever is odd about a package, nothing of a key's text is told.
TEST(PackageLintSecrets, KeyTextsAreInNoFinding) {
    const std::string key = "MIHnSECRETSECRETSECRET";
    const std::string texts[] = {
        "EncPriKey(" + key + "|EncCert(Z)",
        "EncPriKey(" + key + ")" + key + "|EncCert(Z)",
        "EncPriKey(AB|" + key + "(|EncCert(",
        "EncPriKey(" + key + " " + key + ")",
        key + "(SignCert(X)",
        "SignCert(X)|" + key + "(Z)",
        "EncPriKey(" + key,
        "encprikey(" + key + ")",
    };
    for (const std::string& text : texts) {
        const lint::PackageReport report = LintPackage(text);
        EXPECT_FALSE(report.findings.empty()) << text;
        for (const lint::Finding& finding : report.findings) {
            const std::string told = finding.found + finding.message + finding.suggestion;
            EXPECT_EQ(told.find("SECRET"), std::string::npos) << told;
        }
    }
}

// Texts that make a careless reading take quadratic time.
TEST(PackageLintTime, GrowsWithTheTextAndNoFaster) {
    for (const std::string part : {"SignCert(|", "SignCert()", "|", "EncCert(X)|", "Foo("}) {
        const auto read = [](const std::string& text) {
            EXPECT_FALSE(LintPackage(text).findings.empty());
        };
        EXPECT_TRUE(growth::IsLinear(read, part)) << part;
    }
}

}  // namespace
