// What lint says of request descriptions.
#include "lint/request.h"

#include <gmock/gmock.h>

#include <set>

#include "growth.h"

namespace {

using lint::LintRequest;
using lint::Verdict;
using testing::IsEmpty;

// "rule@column+length", with what is taken and suggested: "value-is-no-digit@10+1=72", "?KeyType".
std::string InShort(const lint::Finding& finding) {
    return finding.rule->name + ("@" + std::to_string(finding.place.column)) + "+" +
           std::to_string(finding.length) +
           (finding.rule->effect == lint::Effect::kTakes ? "=" + std::to_string(finding.value)
                                                         : "") +
           (finding.suggestion.empty() ? "" : "?" + finding.suggestion);
}

std::vector<std::string> InShort(const lint::Findings& findings) {
    std::vector<std::string> texts;
    for (const lint::Finding& finding : findings) {
        texts.push_back(InShort(finding));
    }
    return texts;
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
    std::vector<std::string> findings;
    std::vector<std::string> words = {};
};

void PrintTo(const Case& tried, std::ostream* out) {
    *out << tried.name;
}

// What a test is not about, so that nothing else is odd.
const std::string kRest = "KeyType(2)HashType(3)";

const Case kCases[] = {
    {"Sound", "CertType(1)KeyType(2)HashType(3)", Verdict::kSound, {}},
    {"CarriedOver", "CertType(1)" + kRest + "|HashType(4)", Verdict::kSound, {}},
    {"AnyCaseAndSpaceAroundNames", " certtype(1) keytype(2)\tHASHTYPE (3)", Verdict::kSound, {}},
    {"Misspelt",
     "CertType(1)KeyTpye(2)HashType(3)",
     Verdict::kRefused,
     {"unknown-field@12+7?KeyType"},
     {"1: \"KeyTpye\" is no field"}},
    {"MisspeltTwice",
     "Cert(1)" + kRest + "|HashTyp(2)",
     Verdict::kRefused,
     {"unknown-field@1+4?CertType", "unknown-field@30+7?HashType"},
     {"1: \"Cert\" is no field", "2: \"HashTyp\" is no field"}},
    {"NothingLikeAName",
     "CertType(1)" + kRest + "Serial(9)",
     Verdict::kRefused,
     {"unknown-field@33+6"},
     {"1: \"Serial\" is no field"}},
    {"BracketTooMany",
     "CertType(1))" + kRest,
     Verdict::kRefused,
     {"unknown-field@12+8?KeyType"},
     {"1: \")KeyType\" is no field"}},
    {"SpaceBehind",
     "CertType(1)" + kRest + "\n",
     Verdict::kRefused,
     {"space-behind-last-field@33+1"},
     {"1: white space behind the last field"}},
    {"NameMissing",
     "CertType(1) (2)" + kRest,
     Verdict::kRefused,
     {"name-missing@12+1"},
     {"1: white space stands where a field's name should"}},
    {"BracketMissing",
     "CertType(1)" + kRest + "|HashType",
     Verdict::kRefused,
     {"bracket-missing@34+8"},
     {"2: HashType ends the record without its value"}},
    {"FullWidthBrackets",
     "CertType\xEF\xBC\x88"
     "1\xEF\xBC\x89" +
         kRest,
     Verdict::kRefused,
     {"full-width-character@9+3?("},
     {"1: \"（\" is a full-width character"}},
    {"FullWidthDigit",
     "CertType(\xEF\xBC\x91)" + kRest,
     Verdict::kSuspicious,
     {"value-is-no-digit@10+3=191?1"},
     {"1: \"１\" is no digit"}},
    {"FullWidthBar",
     "CertType(1)" + kRest +
         "\xEF\xBD\x9C"
         "HashType(4)",
     Verdict::kRefused,
     {"full-width-character@33+3?|"},
     {"1: \"｜\" is a full-width character"}},
    {"Letter",
     "CertType(x)" + kRest,
     Verdict::kSuspicious,
     {"value-is-no-digit@10+1=72"},
     {"1: \"x\" is no digit"}},
    {"SpaceBeforeTheDigit",
     "CertType( 1)" + kRest,
     Verdict::kSuspicious,
     {"no-request@1+33", "value-is-no-digit@10+2=-16?1"},
     {"1: CertType -16 with KeyType 2", "1: \" 1\" is no digit"}},
    {"SeveralDigits",
     "CertType(12)" + kRest,
     Verdict::kSuspicious,
     {"value-too-long@10+2=1"},
     {"1: \"12\" is more than one digit"}},
    {"ValueMissing",
     kRest + "CertType(",
     Verdict::kSuspicious,
     {"no-request@1+30", "value-missing@31+0=-48"},
     {"1: CertType -48 with KeyType 2", "1: CertType has no value"}},
    {"EmptyLastValue",
     kRest + "CertType()",
     Verdict::kSuspicious,
     {"no-request@1+31", "value-missing@31+0=-7"},
     {"1: CertType -7 with KeyType 2", "1: CertType has no value"}},
    {"EmptyValueSwallowsTheNextField",
     "CertType()KeyType(1)" + kRest,
     Verdict::kSuspicious,
     {"no-request@1+41", "value-swallows-field@10+10=-7"},
     {"1: CertType -7 with KeyType 2", "1: CertType has no value"}},
    {"ValueThatIsNotClosedSwallowsTheNextField",
     "CertType(1KeyType(9)" + kRest,
     Verdict::kSuspicious,
     {"value-swallows-field@10+10=1"},
     {"1: no ) closes the value of CertType"}},
    {"LastBracketMissing",
     "KeyType(2)HashType(3)CertType(1",
     Verdict::kSuspicious,
     {"bracket-not-closed@32+0"},
     {"1: no ) closes the value of CertType"}},
    {"BracketInFront",
     "((CertType(1)" + kRest,
     Verdict::kSuspicious,
     {"extra-bracket@1+2"},
     {"1: a ( without a name in front"}},
    {"FieldTwice",
     "CertType(1)CertType(2)" + kRest,
     Verdict::kSuspicious,
     {"field-twice@12+8=2"},
     {"1: CertType is given twice"}},
    {"FieldsLeftOutOfTheFirstRecord",
     "CertType(1)",
     Verdict::kSuspicious,
     {"field-missing@1+11=0", "field-missing@1+11=0", "no-request@1+11"},
     {"1: the first record has no KeyType", "1: the first record has no HashType",
      "1: CertType 1 with KeyType 0"}},
    {"EmptyRecords",
     "|CertType(1)" + kRest + "||HashType(4)|",
     Verdict::kSuspicious,
     {"empty-record@1+1", "empty-record@35+1", "empty-record@47+1"},
     {"0: an empty record", "0: an empty record", "0: an empty record"}},
    {"NothingAsked",
     "|||",
     Verdict::kSuspicious,
     {"nothing-asked@1+3"},
     {"0: the description asks for nothing"}},
    {"ZeroByte",
     "CertType(1)" + kRest + std::string(1, '\0') + "Foo",
     Verdict::kSuspicious,
     {"zero-byte@33+1"},
     {"1: a zero byte ends the text"}},
    {"FourRecords",
     "CertType(1)" + kRest + "|HashType(4)|HashType(5)|HashType(6)",
     Verdict::kSuspicious,
     {"too-many-records@58+11"},
     {"4: this is the fourth record"}},
    {"EncryptionWithoutSm2",
     "CertType(3)KeyType(1)HashType(1)",
     Verdict::kSuspicious,
     {"encryption-needs-sm2@1+32"},
     {"1: CertType 3 with KeyType 1"}},
    {"PairWithAnotherHash",
     "CertType(1)" + kRest + "|CertType(3)HashType(4)",
     Verdict::kSuspicious,
     {"hash-not-used@34+22"},
     {"2: this record is folded into record 1, and its HashType is another"}},
    {"PairOfThree",
     "CertType(1)" + kRest + "|CertType(3)|CertType(3)",
     Verdict::kSuspicious,
     {"pair-of-three@46+11"},
     {"3: this record too is folded into record 1"}},
    {"NoRequest",
     "CertType(1)" + kRest + "|CertType(0)",
     Verdict::kSuspicious,
     {"no-request@34+11"},
     {"2: CertType 0 with KeyType 2"}},
    {"NoPin",
     "CertType(0)" + kRest + "|CertType(1)",
     Verdict::kSuspicious,
     {"pin-not-verified@1+32"},
     {"1: CertType 0 with KeyType 2"}},
};

// What only the combined call makes of records; whatever else is odd concerns both calls.
const std::set<std::string> kOfTheCombinedCall = {"too-many-records", "encryption-needs-sm2",
                                                  "hash-not-used",    "pair-of-three",
                                                  "no-request",       "pin-not-verified"};

class RequestLint : public testing::TestWithParam<Case> {};

INSTANTIATE_TEST_SUITE_P(Descriptions, RequestLint, testing::ValuesIn(kCases),
                         [](const auto& tried) { return std::string(tried.param.name); });

TEST_P(RequestLint, PointsToWhatIsOdd) {
    const lint::RequestReport report = LintRequest(GetParam().text);
    EXPECT_EQ(InShort(report.findings), GetParam().findings);
    EXPECT_EQ(InWords(report.findings), GetParam().words);
    EXPECT_EQ(report.For(lint::kRequestCalls), GetParam().verdict);
    for (const lint::Finding& finding : report.findings) {
        EXPECT_EQ(finding.rule->calls, kOfTheCombinedCall.count(finding.rule->name) != 0
                                           ? lint::kCombinedCall
                                           : lint::kRequestCalls)
            << finding.rule->name;
    }
}

TEST(RequestLintVerdict, GoesByTheCallThatIsMeant) {
    const lint::RequestReport four =
        LintRequest("CertType(1)" + kRest + "|HashType(4)|HashType(5)|HashType(6)");
    EXPECT_EQ(four.For(lint::kSingleCall), Verdict::kSound);
    EXPECT_EQ(four.For(lint::kCombinedCall), Verdict::kRefused);
    EXPECT_EQ(four.For(lint::kRequestCalls), Verdict::kSuspicious);
}

TEST(RequestLintFinding, SaysWhatStandsThereAndWhatComesOfIt) {
    const lint::RequestReport report = LintRequest("HashType(1)|CertType(x)");
    const auto& finding = report.findings.back();
    EXPECT_EQ(finding.record, 2U);
    EXPECT_EQ(finding.found, "x");
    EXPECT_EQ(finding.message, "\"x\" is no digit");
    EXPECT_STREQ(finding.rule->expected, "one digit");
    EXPECT_EQ(finding.Does().Plain(), "silently takes 72");
}

TEST(RequestLintFinding, CountsCharactersAndBytesOfItsLine) {
    const lint::RequestReport report = LintRequest("CertType(1)\n\xE9\x94\xAE(2)Foo(3)");
    ASSERT_EQ(report.findings.size(), 2U);
    const lint::Place& place = report.findings.back().place;
    EXPECT_EQ(place.offset, 18U);
    EXPECT_EQ(place.line, 2U);
    EXPECT_EQ(place.column, 5U);
    EXPECT_EQ(place.byte_column, 7U);
}

TEST(RequestLintFinding, CountsBytesInATextThatIsNotUtf8) {
    const lint::RequestReport report = LintRequest("\xBC\xFC(2)Foo(3)");
    ASSERT_EQ(report.findings.size(), 2U);
    EXPECT_EQ(report.findings.back().place.column, 6U);
}

TEST(RequestLintFinding, QuotesLittleOfALongText) {
    const lint::RequestReport report = LintRequest(std::string(1000, 'x') + "(1)");
    EXPECT_EQ(report.findings.front().message, "\"" + std::string(40, 'x') + "...\" is no field");
}

// Texts that make a careless reading take quadratic time.
TEST(RequestLintTime, GrowsWithTheTextAndNoFaster) {
    for (const std::string part : {"|x", "Foo(1)", "CertType(1)", "CertType(1)|", "(", "((x)"}) {
        const auto read = [](const std::string& text) {
            EXPECT_THAT(LintRequest(text).findings, testing::Not(IsEmpty()));
        };
        EXPECT_TRUE(growth::IsLinear(read, part)) << part;
    }
}

TEST(RequestLintOutcome, SaysWhatTheKeyIsAskedForBeforeTheRefusal) {
    const lint::RequestReport report = LintRequest("CertType(1)" + kRest + "|Foo(1)");
    EXPECT_TRUE(report.single.refuses);
    ASSERT_EQ(report.single.requests.size(), 1U);
    EXPECT_EQ(report.single.requests.front().hash_type, 3);
    EXPECT_TRUE(report.combined.refuses);
    EXPECT_THAT(report.combined.requests, IsEmpty());
}

}  // namespace
