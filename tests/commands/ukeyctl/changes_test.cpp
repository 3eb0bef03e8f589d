// What changes a key: told beforehand, asked for, and the tries of the PIN that it costs.

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "ukeyctl_fixture.h"

namespace {

using nlohmann::json;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kKeyText = "00FE57";

// The functions that leave everything as it is, by the beginnings of their lines.
constexpr const char* kLooking[] = {"GetPrintNumber(", "GetLabel(",   "GetPinInfo(",
                                    "GetErrorMsg(",    "Initialize(", "VexaT_GetSlotList("};

class ChangesTest : public UkeyctlTest {
 protected:
    // The calls that do more than look, as "Name(arguments)"; of two in a row, the size query and
    // the fetch, one.
    std::vector<std::string> Changes() const {
        std::vector<std::string> changes;
        std::istringstream lines(Calls());
        for (std::string line; std::getline(lines, line);) {
            const bool looks =
                std::any_of(std::begin(kLooking), std::end(kLooking),
                            [&line](const char* name) { return line.rfind(name, 0) == 0; });
            if (!looks && (changes.empty() || changes.back() != line)) {
                changes.push_back(line);
            }
        }
        return changes;
    }
};

struct PlanCase {
    const char* name;
    std::vector<std::string> words;
    const char* input;      // standard input
    const char* function;   // and what the product gets when it is not a dry run
    const char* arguments;  // as JSON
    const char* items;      // as "kind length;" in order
    const char* outputs;
    int status;
};

void PrintTo(const PlanCase& plan, std::ostream* out) {
    *out << plan.name;
}

const PlanCase kPlans[] = {
    {"Init",
     {"init"},
     "",
     R"x(InitUKey("SN0123456789"))x",
     R"x({"szSN":"SN0123456789"})x",
     "erasure -;",
     "",
     0},
    {"ChangePin",
     {"pin", "change"},
     "",
     R"x(ChangePin("SN0123456789"))x",
     R"x({"szSN":"SN0123456789"})x",
     "PIN -;",
     "",
     0},
    {"SetLabel",
     {"label", "set", "my key"},
     "",
     R"x(SetLabel("SN0123456789", "my key"))x",
     R"x({"szSN":"SN0123456789","szLabel":"my key"})x",
     "label 6;",
     "",
     0},
    {"SetData",
     {"data", "set", "3", "--data-file", "-"},
     "item",
     R"x(SetData("SN0123456789", 3, "item"))x",
     R"x({"szSN":"SN0123456789","nIndex":3,"szData":"(masked, 4 bytes)"})x",
     "data item 4;",
     "",
     0},
    {"DeleteCertificate",
     {"cert", "delete", "--param1", "2"},
     "",
     R"x(DelCertAndTempKey("SN0123456789", 2, 0))x",
     R"x({"szSN":"SN0123456789","nParam1":2,"nParam2":0})x",
     "erasure -;",
     "",
     0},
    {"Import",
     {"cert", "import", "-"},
     "QUJD",
     R"x(ImportX509Cert("SN0123456789", "QUJD"))x",
     R"x({"szSN":"SN0123456789","szPkcs7":"(masked, 4 bytes)"})x",
     "PKCS#7 4;",
     "",
     0},
    {"ImportPackage",
     {"cert", "import-package", "-"},
     "EncCert(CCC)|EncPriKey(00FE57)|SignCert(A)",
     R"x(Batch_ImportX509Cert("SN0123456789", "EncCert(CCC)|EncPriKey(00FE57)|SignCert(A)"))x",
     R"x({"szSN":"SN0123456789","szPackage":"(masked, 42 bytes)"})x",
     "SignCert 1;EncPriKey 6;EncCert 3;",
     "",
     0},
    {"Request",
     {"request", "--description", "CertType(1)KeyType(2)HashType(3)"},
     "",
     R"x(GenerateCertRequest("SN0123456789", "CertType(1)KeyType(2)HashType(3)"))x",
     R"x({"szSN":"SN0123456789","szRequestInfo":"CertType(1)KeyType(2)HashType(3)"})x",
     "PIN -;request -;",
     "GenerateCertRequest=QUJD\n",
     0},
    {"InitRequest",
     {"init-request", "--mode", "1", "--description", "CertType(1)KeyType(2)HashType(3)"},
     "",
     R"x(Batch_InitAndGenerateCertRequest("SN0123456789", 1, "CertType(1)KeyType(2)HashType(3)"))x",
     R"x({"szSN":"SN0123456789","nInitMode":1,"szRequestInfo":"CertType(1)KeyType(2)HashType(3)"})x",
     "erasure -;request -;",
     "Batch_InitAndGenerateCertRequest=QUJD\n",
     0},
    {"CallTestInitUKey",
     {"call", "TestInitUKey"},
     "",
     R"x(TestInitUKey("SN0123456789", "null"))x",
     R"x({"szSN":"SN0123456789"})x",
     "erasure -;",
     "",
     0},
    {"CallSetCachePinFlag",
     {"call", "SetCachePinFlag", "7"},
     "",
     R"x(SetCachePinFlag("SN0123456789", 7))x",
     R"x({"szSN":"SN0123456789","nFlag":"7"})x",
     "",
     "",
     0},
    {"CallRemovePinCache", {"call", "RemovePinCache"}, "", "RemovePinCache()", "{}", "", "", 0},
};

class PlanTest : public ChangesTest, public testing::WithParamInterface<PlanCase> {
 protected:
    Command With(const std::string& word) {
        std::vector<std::string> words = GetParam().words;
        words.push_back(word);
        if (word == "--dry-run") {
            words.emplace_back("--json");
        }
        return Ukeyctl(words, std::string("GetLabel=my key\n") + GetParam().outputs)
            .Reads(GetParam().input);
    }
};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, PlanTest, testing::ValuesIn(kPlans),
                         [](const auto& plan) { return std::string(plan.param.name); });

TEST_P(PlanTest, IsTheCallThatIsMadeAndTheDryRunMakesNone) {
    const Outcome dry = With("--dry-run").Run();
    EXPECT_EQ(dry.status, GetParam().status);
    EXPECT_EQ(Changes(), std::vector<std::string>{});
    const json plan = dry.Json();
    EXPECT_EQ(plan["ok"], true);
    EXPECT_EQ(plan["dry_run"], true);
    ASSERT_EQ(plan["calls"].size(), 1U);
    const std::string call = GetParam().function;
    EXPECT_EQ(plan["calls"][0]["function"], call.substr(0, call.find('(')));
    EXPECT_EQ(plan["calls"][0]["arguments"], json::parse(GetParam().arguments));
    std::string items;
    for (const json& item : plan["items"]) {
        items += item["kind"].get<std::string>() + " " +
                 (item["length"].is_null() ? "-" : item["length"].dump()) + ";";
    }
    EXPECT_EQ(items, GetParam().items);

    const bool destroys = !plan["consequence"].is_null();
    EXPECT_EQ(With(destroys ? "--yes" : "--json").Run().status, 0);
    EXPECT_EQ(Changes(), std::vector<std::string>{call});
}

TEST_P(PlanTest, NamesTheKey) {
    const Outcome dry = With("--dry-run").Run();
    if (GetParam().arguments != std::string("{}")) {
        EXPECT_EQ(dry.Json()["serial_number"], "SN0123456789");
        EXPECT_EQ(dry.Json()["label"], "my key");
    }
}

TEST_F(ChangesTest, PlanForPeople) {
    const Outcome outcome =
        Ukeyctl({"cert", "import-package", "--dry-run", "-"}, "GetLabel=my key\n")
            .Reads(std::string("SignCert(A)|EncPriKey(") + kKeyText + ")")
            .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "Dry run: this is what would be done, and nothing of it has been.\n"
              "Serial number: SN0123456789\n"
              "Label:         my key\n"
              "FUNCTION              ARGUMENTS\n"
              "Batch_ImportX509Cert  szSN=SN0123456789, szPackage=(masked, 29 bytes)\n"
              "ORDER  KIND       LENGTH  DETAIL\n"
              "1      SignCert   1       -\n"
              "2      EncPriKey  6       -\n"
              "Batch_ImportX509Cert hands over 2 items\n"
              "Verdict: sound\n");
}

TEST_F(ChangesTest, PlanShowsNoSecret) {
    MakeFile(Path("in"), kKeyText);
    for (const char* form : {"--json", "--dry-run"}) {
        const Outcome outcomes[] = {
            Ukeyctl({"cert", "import-package", "--dry-run", "-", form})
                .Reads(std::string("EncPriKey(") + kKeyText + ")")
                .Run(),
            Ukeyctl({"cert", "import-enc", "--dry-run", "-", Path("in"), form}).Reads("QUJD").Run(),
            Ukeyctl({"data", "set", "1", "--dry-run", "--data", kKeyText, form}).Run()};
        for (const Outcome& outcome : outcomes) {
            EXPECT_EQ(outcome.status, 0);
            EXPECT_THAT(outcome.out + outcome.err, Not(HasSubstr(kKeyText)));
        }
    }
}

struct RefusedCase {
    const char* name;
    std::vector<std::string> words;
    std::string input;
    const char* verdict;
    int status;
};

void PrintTo(const RefusedCase& one, std::ostream* out) {
    *out << one.name;
}

class RefusedPlanTest : public ChangesTest, public testing::WithParamInterface<RefusedCase> {};

const std::string kPrefix = "00000000000000010000000000000001" + std::string(45, '0') + "273";

INSTANTIATE_TEST_SUITE_P(
    Ukeyctl, RefusedPlanTest,
    testing::Values(
        RefusedCase{
            "Package", {"cert", "import-package", "-"}, "Signcert(A)|EncCert[B]", "refused", 11},
        RefusedCase{"OddPackage",
                    {"cert", "import-package", "-"},
                    "SignCert(A)|EncCert()",
                    "suspicious",
                    10},
        RefusedCase{"LongKey",
                    {"cert", "import-enc", "/dev/stdin", "-"},
                    std::string(1024, 'A'),
                    "refused",
                    11},
        RefusedCase{"LongItem",
                    {"data", "set", "1", "--data-file", "-"},
                    std::string(301, 'd'),
                    "refused",
                    11},
        RefusedCase{"Description",
                    {"request", "--description", "CertType(1)KeyTpye(2)"},
                    "",
                    "refused",
                    11},
        RefusedCase{"Digit",
                    {"request", "--description", "CertType(1)KeyType(x)HashType(3)"},
                    "",
                    "suspicious",
                    10},
        RefusedCase{
            "Mode",
            {"init-request", "--mode", "2", "--description", "CertType(1)KeyType(2)HashType(3)"},
            "",
            "refused",
            11},
        RefusedCase{"FourRecords",
                    {"init-request", "--mode", "1", "--description",
                     "CertType(1)KeyType(2)HashType(3)|CertType(1)|CertType(1)|CertType(1)"},
                    "",
                    "refused",
                    11}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_P(RefusedPlanTest, EndsWithTheVerdict) {
    std::vector<std::string> words = GetParam().words;
    words.insert(words.end(), {"--dry-run", "--json"});
    const Outcome outcome = Ukeyctl(words).Reads(GetParam().input).Run();
    EXPECT_EQ(outcome.status, GetParam().status);
    EXPECT_EQ(outcome.Json()["verdict"], GetParam().verdict);
    EXPECT_EQ(outcome.Json()["ok"], true);
    EXPECT_EQ(Changes(), std::vector<std::string>{});
}

TEST_F(ChangesTest, PlanOfAKeyTextCountsWhatTheKeyGets) {
    MakeFile(Path("in"), kPrefix + kKeyText);
    const Outcome outcome =
        Ukeyctl({"cert", "import-enc", "--dry-run", "-", Path("in"), "--json"}).Reads("QUJD").Run();
    EXPECT_EQ(outcome.Json()["items"][0]["kind"], "EncPriKey");
    EXPECT_EQ(outcome.Json()["items"][0]["length"], 6);
    EXPECT_EQ(outcome.Json()["items"][1]["kind"], "EncCert");
}

TEST_F(ChangesTest, PlanOfATextThatCannotBePassedIsRefused) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"data", "set", "1", "--data-file", "-"},
          std::vector<std::string>{"cert", "import-package", "-"}}) {
        std::vector<std::string> dry = words;
        dry.emplace_back("--dry-run");
        for (const auto& given : {words, dry}) {
            const Outcome outcome = Ukeyctl(given).Reads(std::string("a\0b", 3)).Run();
            EXPECT_EQ(outcome.status, 2);
            EXPECT_THAT(outcome.err, HasSubstr("has a zero byte"));
        }
    }
}

TEST_F(ChangesTest, PlanWithoutAKeyIsAFailure) {
    EXPECT_EQ(Ukeyctl({"init", "--dry-run"}).With("FAKE_CODES", "GetPrintNumber=77").Run().status,
              1);
}

// ------------------------------------------------------------------- asking

struct Destroyer {
    const char* name;
    std::vector<std::string> words;
    const char* question;
    const char* call;
};

void PrintTo(const Destroyer& one, std::ostream* out) {
    *out << one.name;
}

class DestroyerTest : public ChangesTest, public testing::WithParamInterface<Destroyer> {
 protected:
    Command Destroy(const std::vector<std::string>& more = {}) {
        std::vector<std::string> words = GetParam().words;
        words.insert(words.end(), more.begin(), more.end());
        return Ukeyctl(words, "GetLabel=my key\nBatch_InitAndGenerateCertRequest=QUJD\n");
    }
};

INSTANTIATE_TEST_SUITE_P(
    Ukeyctl, DestroyerTest,
    testing::Values(
        Destroyer{"Init",
                  {"init"},
                  "Erase everything on key SN0123456789 \"my key\"? [y/N] ",
                  "InitUKey("},
        Destroyer{
            "DeleteCertificate",
            {"cert", "delete", "--param1", "2"},
            "Delete certificate 2 and its temporary key on key SN0123456789 \"my key\"? [y/N] ",
            "DelCertAndTempKey("},
        Destroyer{
            "InitRequest",
            {"init-request", "--mode", "1", "--description", "KeyType(2)"},
            "Erase everything on, and make requests with, key SN0123456789 \"my key\"? [y/N] ",
            "Batch_InitAndGenerateCertRequest("},
        Destroyer{"CallTestInitUKey",
                  {"call", "TestInitUKey"},
                  "Erase everything on key SN0123456789 \"my key\"? [y/N] ",
                  "TestInitUKey("}),
    [](const auto& one) { return std::string(one.param.name); });

TEST_P(DestroyerTest, AsksByKeyAndLabelAndGoesOnWithAYes) {
    for (const char* yes : {"y\n", "YES\n"}) {
        const Outcome outcome = Destroy().IsTyped(yes).Run();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_THAT(outcome.err, HasSubstr(GetParam().question));
    }
    EXPECT_THAT(Calls(), HasSubstr(GetParam().call));
}

TEST_P(DestroyerTest, ChangesNothingWithoutAYes) {
    for (const char* no : {"\n", "n\n", "yesterday\n", "\x04"}) {
        const Outcome outcome = Destroy().IsTyped(no).Run();
        EXPECT_EQ(outcome.status, 13);
        EXPECT_THAT(outcome.err,
                    AllOf(HasSubstr(GetParam().question), HasSubstr("not carried out")));
    }
    EXPECT_EQ(Changes(), std::vector<std::string>{});
}

TEST_P(DestroyerTest, TellsANoInJson) {
    const Outcome outcome = Destroy({"--json"}).IsTyped("n\n").Run();
    EXPECT_EQ(outcome.Json()["ok"], false);
    EXPECT_EQ(outcome.Json()["error"]["status"], 13);
    EXPECT_EQ(outcome.Json()["serial_number"], "SN0123456789");
}

TEST_P(DestroyerTest, DoesNotAskWhereYesIsGivenOrNothingWillBeDone) {
    for (const char* word : {"--yes", "--dry-run"}) {
        EXPECT_THAT(Destroy({word}).IsTyped("n\n").Run().err, Not(HasSubstr("[y/N]")));
    }
}

// Standard error alone is a terminal: whoever reads it cannot answer.
TEST_P(DestroyerTest, DoesNotAskWhomItCannotHear) {
    const Outcome outcome = Destroy().ComplainsToTerminal().Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, AllOf(Not(HasSubstr("[y/N]")), HasSubstr("--yes")));
    EXPECT_EQ(Calls(), "");
}

TEST_F(ChangesTest, QuestionCannotDisturbTheTerminal) {
    const Outcome outcome = Ukeyctl({"init"}, "GetLabel=\x1B[2Jme\n").IsTyped("n\n").Run();
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("\\x1B[2Jme"), Not(HasSubstr("\x1B"))));
}

TEST_F(ChangesTest, KeyWithoutALabelIsNamedAllTheSame) {
    const Outcome outcome =
        Ukeyctl({"init"}).With("FAKE_CODES", "GetLabel=77").IsTyped("n\n").Run();
    EXPECT_THAT(outcome.err, HasSubstr("key SN0123456789 (no label)? [y/N] "));
}

// ------------------------------------------------------------------- tries of the PIN

std::string Tries(char left, char at_most) {
    return std::string("GetPinInfo=") + left + std::string(3, '\0') + at_most +
           std::string(3, '\0') + "\n";
}

struct PinVerb {
    const char* name;
    std::vector<std::string> words;
    const char* function;
};

void PrintTo(const PinVerb& one, std::ostream* out) {
    *out << one.name;
}

class PinVerbTest : public ChangesTest, public testing::WithParamInterface<PinVerb> {
 protected:
    Command Enter(const std::string& outputs, const std::vector<std::string>& more = {}) {
        std::vector<std::string> words = GetParam().words;
        words.emplace_back("--json");
        words.insert(words.end(), more.begin(), more.end());
        return Ukeyctl(words, outputs);
    }
    std::string Call() const { return std::string(GetParam().function) + "("; }
};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, PinVerbTest,
                         testing::Values(PinVerb{"Verify", {"pin", "verify"}, "VerifyPIN"},
                                         PinVerb{"Change", {"pin", "change"}, "ChangePin"},
                                         PinVerb{"CallTestVerifyAndCachePin",
                                                 {"call", "TestVerifyAndCachePin", "7"},
                                                 "TestVerifyAndCachePin"}),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(PinVerbTest, TellsTheTriesBeforeAndAfter) {
    const Outcome outcome = Enter(Tries(3, 6) + Tries(6, 6)).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["tries_left_before"], 3);
    EXPECT_EQ(outcome.Json()["tries_left_after"], 6);
}

TEST_P(PinVerbTest, TellsTheTriesAfterAWrongPinToo) {
    const Outcome outcome = Enter(Tries(3, 6) + Tries(2, 6))
                                .With("FAKE_CODES", std::string(GetParam().function) + "=167772196")
                                .Run();
    EXPECT_NE(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["tries_left_before"], 3);
    EXPECT_EQ(outcome.Json()["tries_left_after"], 2);
    EXPECT_EQ(outcome.Json()["error"]["function"], GetParam().function);
}

TEST_P(PinVerbTest, RefusesToSpendTheLastTry) {
    const Outcome outcome = Enter(Tries(1, 6)).Run();
    EXPECT_EQ(outcome.status, 13);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("one try is left"), HasSubstr("--last-try")));
    EXPECT_EQ(outcome.Json()["tries_left_before"], 1);
    EXPECT_EQ(Changes(), std::vector<std::string>{});
}

TEST_P(PinVerbTest, SpendsTheLastTryWhenToldTo) {
    EXPECT_EQ(Enter(Tries(1, 6), {"--last-try"}).Run().status, 0);
    EXPECT_THAT(Calls(), HasSubstr(Call()));
}

// A locked key has nothing to lose, and says itself what it is.
TEST_P(PinVerbTest, AsksALockedKey) {
    EXPECT_EQ(Enter(Tries(0, 6)).Run().status, 0);
    EXPECT_THAT(Calls(), HasSubstr(Call()));
}

TEST_P(PinVerbTest, SaysThatTheTriesCannotBeTold) {
    const std::string records[] = {"GetPinInfo=\1\n", Tries(1, 0), Tries(2, 1)};
    for (const std::string& record : records) {
        const Outcome outcome = Enter(record).Run();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(outcome.Json()["tries_left_before"].is_null());
        EXPECT_TRUE(outcome.Json()["tries_left_after"].is_null());
        EXPECT_THAT(outcome.Json()["tries_problem"].get<std::string>(), HasSubstr("record"));
    }
    const Outcome outcome = Enter("").With("FAKE_CODES", "GetPinInfo=77").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.Json()["tries_problem"].get<std::string>(), HasSubstr("GetPinInfo gave"));
    EXPECT_THAT(Calls(), HasSubstr(Call()));
}

TEST_F(ChangesTest, PinInfoSaysThatTheTriesCannotBeTold) {
    const Outcome outcome = Ukeyctl({"pin", "info"}, "GetPinInfo=AB\n").Run();
    EXPECT_EQ(outcome.out,
              "Tries left:    -\nTries at most: -\n"
              "The tries cannot be told: the key's record on the PIN is not of the form that is "
              "known\n");
    const json told = Ukeyctl({"pin", "info", "--json"}, "GetPinInfo=AB\n").Run().Json();
    EXPECT_TRUE(told["tries_left"].is_null());
    EXPECT_EQ(told["record_hex"], "4142");
}

}  // namespace
