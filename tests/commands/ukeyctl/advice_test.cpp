// What the command advises: that it fits the code, and the function that gave it.

#include "codes/advice.h"

#include <gmock/gmock.h>

#include "codes/catalogue.h"
#include "ukeyctl_fixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

constexpr const char* kNoLibrary = "/nowhere/library.so";

class AdviceTest : public UkeyctlTest {};

TEST_F(AdviceTest, SoftwareKeysCodesAreKnownWithoutALibrary) {
    std::vector<int32_t> asked;
    for (const codes::Row& row : codes::All()) {
        if (codes::OwnerOf(row) != codes::Owner::kSoftwareKey) continue;
        asked.push_back(row.code);
        EXPECT_EQ(codes::DefinedBy(row.code, ""), "the software key") << row.english;
        ASSERT_EQ(codes::FindKnown(row.code), &row);
        EXPECT_THAT(codes::NextFor(row.code, {}, "", "help"),
                    AllOf(Not(HasSubstr("maker")), Not(HasSubstr("{"))))
            << row.english;
    }
    ASSERT_GE(asked.size(), 21U);
    for (const int32_t code : {asked.front(), asked.back()}) {
        const Outcome outcome =
            Ukeyctl({"error", std::to_string(code), "--json", "--library", kNoLibrary}).Run();
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        const nlohmann::json told = outcome.Json();
        EXPECT_EQ(told["defined_by"], "the software key");
        EXPECT_EQ(told["meaning"], codes::Find(code)->english);
        EXPECT_TRUE(told["name"].is_null());
        EXPECT_EQ(told["next"], codes::NextFor(code, {}, "", "the verb's --help"));
    }
}

// A maker may have given the number to something else.
TEST_F(AdviceTest, NumberOfTheSoftwareKeysWithAnotherTextIsTheMakers) {
    const nlohmann::json told =
        Ukeyctl({"error", "0x0A100005", "--json"}, "GetErrorMsg=Battery low.\n").Run().Json();
    EXPECT_EQ(told["defined_by"], "the key's maker");
    EXPECT_TRUE(told["meaning"].is_null());
    EXPECT_THAT(told["next"].get<std::string>(), Not(HasSubstr("pinentry")));
}

TEST_F(AdviceTest, SoftwareKeysCodesAreKnownByTheirChineseTextToo) {
    const nlohmann::json told =
        Ukeyctl({"error", "0x0A100001", "--json"},
                std::string("GetErrorMsg=") + codes::Find(0x0A100001)->chinese + "\n")
            .Run()
            .Json();
    EXPECT_EQ(told["defined_by"], "the software key");
}

struct AdviceCase {
    const char* name;
    std::vector<std::string> words;
    const char* function;
    int32_t code;
    const char* advice;
};

void PrintTo(const AdviceCase& advice, std::ostream* out) {
    *out << advice.name;
}

const AdviceCase kAdviceCases[] = {
    {"SelectorOfACertificate", {"cert", "get"}, "GetCert", 0x0A100001, "\"Selectors\""},
    {"SelectorInADescription",
     {"request", "--description", "CertType(7)"},
     "GenerateCertRequest",
     0x0A100001,
     "CertType 1 to 3"},
    {"NumberOfAnItem", {"data", "get", "99"}, "GetData", 0x0A100001, "items 0 to 63"},
    {"NoPinentry",
     {"pin", "verify"},
     "VerifyPIN",
     0x0A100005,
     "install a pinentry program or name one in ORVAL_SOFTKEY_PINENTRY"},
    {"NoPkcs7", {"cert", "import", "-"}, "ImportX509Cert", 0x0A100008, "PEM, DER or Base64"},
    {"ItemTooLong",
     {"data", "set", "1", "--data", "x"},
     "SetData",
     0x0A000010,
     "less than the library's 300 bytes"},
    {"WarningTooLong",
     {"sign", "--data", "d", "--warning", "w"},
     "Sign",
     0x0A000010,
     "give a shorter text or warning"},
    {"LabelTooLong", {"label", "set", "x"}, "SetLabel", 0x0A000009, "give a shorter label"},
    {"LabelWithControlCharacters", {"label", "set", "x"}, "SetLabel", 0x0A000011, "control"},
    {"SerialNumberOutOfBounds",
     {"data", "get", "1", "--sn", "S"},
     "GetData",
     -401,
     "10 to 16 bytes"},
    {"DescriptionWithAnotherField",
     {"request", "--description", "Foo(1)"},
     "GenerateCertRequest",
     -401,
     "and nothing else"},
    {"ModeThatIsNone",
     {"init-request", "--mode", "2", "--description", "KeyType(2)"},
     "Batch_InitAndGenerateCertRequest",
     -401,
     "the mode is 0 or 1"},
    {"DescriptionWithoutParenthesis",
     {"request", "--description", "CertType"},
     "GenerateCertRequest",
     static_cast<int32_t>(0x80070057),
     "as in 'CertType(1)KeyType(2)HashType(3)'"},
    {"RefusingFunction", {"call", "RepairDriver"}, "RepairDriver", -300, "refuses every call"},
    {"NothingOfItsOwn", {"pin", "verify"}, "VerifyPIN", -401, "'ukeyctl pin verify --help'"},
    {"UnknownCode", {"pin", "verify"}, "VerifyPIN", 5, "the key maker's documents"},
};

class AdviceCaseTest : public AdviceTest, public testing::WithParamInterface<AdviceCase> {};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, AdviceCaseTest, testing::ValuesIn(kAdviceCases),
                         [](const auto& advice) { return std::string(advice.param.name); });

TEST_P(AdviceCaseTest, FitsTheCodeAndTheFunction) {
    const AdviceCase& given = GetParam();
    const codes::Row* const row = codes::Find(given.code);
    const bool has_text = row != nullptr && row->english != nullptr;
    const Outcome outcome =
        Ukeyctl(given.words,
                has_text ? std::string("GetErrorMsg=") + row->english + "\n" : std::string())
            .With("FAKE_CODES", std::string(given.function) + "=" + std::to_string(given.code))
            .Reads("x")
            .Run();
    EXPECT_EQ(outcome.status, static_cast<int>(codes::StatusFor(given.code)));
    const std::string next = outcome.err.substr(outcome.err.find("  next: "));
    EXPECT_THAT(next,
                AllOf(StartsWith("  next: "), HasSubstr(given.advice), Not(HasSubstr("plugged in")),
                      Not(HasSubstr("VERB")), Not(HasSubstr("{"))));
}

// Only mode 1 erases; the library itself refuses the modes that it does not know.
TEST_F(AdviceTest, ModeThatErasesNothingNeedsNoConsent) {
    const std::vector<std::string> words = {"init-request", "--mode", "2", "--description", "d"};
    EXPECT_EQ(Ukeyctl(words, "Batch_InitAndGenerateCertRequest=QUJD\n").Run().status, 0);
    EXPECT_THAT(Calls(), HasSubstr("Batch_InitAndGenerateCertRequest(\"SN0123456789\", 2, \"d\")"));
}

TEST_F(AdviceTest, CodeInGeneralNamesNoVerb) {
    const nlohmann::json told = Ukeyctl({"error", "-401", "--json"}).Run().Json();
    EXPECT_THAT(told["next"].get<std::string>(),
                AllOf(HasSubstr("the verb's --help"), Not(HasSubstr("{"))));
}

}  // namespace
