// The command, over the stand-in for the product.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>

#include "codes/advice.h"
#include "codes/catalogue.h"
#include "ukeyctl_fixture.h"

namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kKeyCode = "167772161";  // 0x0A000001

TEST_F(UkeyctlTest, InfoIsAligned) {
    const Outcome outcome = Ukeyctl({"info"}, "GetLabel=my key\n").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "Driver version:   1.2.3\n"
              "Library version:  4.5.6\n"
              "USB ids:          1111&2222\n"
              "Vendor:           Maker\n"
              "Vendor (Chinese): \xE9\xA9\xAC\n"
              "Serial number:    SN0123456789\n"
              "Key in slot 1:    SN0123456789, my key\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(UkeyctlTest, InfoAsJson) {
    const Outcome outcome = Ukeyctl({"info", "--json"}, "GetLabel=my key\n").Run();
    EXPECT_EQ(outcome.status, 0);
    const nlohmann::json key = {
        {"slot", 1}, {"serial_number", "SN0123456789"}, {"label", "my key"}, {"problem", nullptr}};
    const nlohmann::json expected = {{"schema", 1},
                                     {"ok", true},
                                     {"verb", "info"},
                                     {"driver_version", "1.2.3"},
                                     {"library_version", "4.5.6"},
                                     {"usb_ids", "1111&2222"},
                                     {"vendor", "Maker"},
                                     {"vendor_chinese", "\xE9\xA9\xAC"},
                                     {"serial_number", "SN0123456789"},
                                     {"keys", {key}}};
    EXPECT_EQ(outcome.Json(), expected);
}

TEST_F(UkeyctlTest, InfoWithoutAKeyShowsTheRestAndFails) {
    const Outcome outcome =
        Ukeyctl({"info"}).With("FAKE_CODES", std::string("GetPrintNumber=") + kKeyCode).Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.out, HasSubstr("Driver version:   1.2.3\n"));
    EXPECT_THAT(outcome.out, HasSubstr("Serial number:    -\n"));
    EXPECT_THAT(outcome.err, HasSubstr("GetPrintNumber failed"));
}

TEST_F(UkeyctlTest, FailureSaysWhatWhyAndWhatToDo) {
    const Outcome outcome =
        Ukeyctl({"pin", "verify"}).With("FAKE_CODES", std::string("VerifyPIN=") + kKeyCode).Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "Tries left before: 5\nTries left after:  5\n");
    EXPECT_EQ(outcome.err,
              "ukeyctl pin verify: VerifyPIN failed\n"
              "  why:  0x0A000001 (167772161): text of 167772161\n"
              "  next: see what the key maker's documents say about the code; 'ukeyctl info' shows "
              "whether the key answers at all\n");
}

TEST_F(UkeyctlTest, FailureAsJson) {
    const Outcome outcome =
        Ukeyctl({"--json", "pin", "verify"}).With("FAKE_CODES", "VerifyPIN=-401").Run();
    EXPECT_EQ(outcome.status, 1);
    const nlohmann::json result = outcome.Json();
    EXPECT_EQ(result["ok"], false);
    EXPECT_EQ(result["verb"], "pin verify");
    EXPECT_EQ(result["error"]["status"], 1);
    EXPECT_EQ(result["error"]["function"], "VerifyPIN");
    EXPECT_EQ(result["error"]["code"], -401);
    EXPECT_EQ(result["error"]["hex"], "0xFFFFFE6F");
    EXPECT_EQ(result["error"]["name"], "ORVAL_INVALID_ARGUMENT");
    EXPECT_THAT(outcome.err, HasSubstr("ukeyctl pin verify: VerifyPIN failed"));
}

TEST_F(UkeyctlTest, LibraryThatCannotBeLoaded) {
    const Outcome outcome = Ukeyctl({"info", "--library", "/nowhere/library.so"}).Run();
    EXPECT_EQ(outcome.status, 3);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/nowhere/library.so"), HasSubstr("--library PATH")));
}

TEST_F(UkeyctlTest, LibraryOptionWinsOverTheEnvironment) {
    Command command({"--library", FAKE_PRODUCT_PATH, "info"});
    EXPECT_EQ(command.With("ORVAL_LIBRARY", "/nowhere/library.so").Run().status, 0);
}

TEST_F(UkeyctlTest, FileThatCannotBeRead) {
    const Outcome outcome = Ukeyctl({"cert", "import", "/nowhere/file"}).Run();
    EXPECT_EQ(Calls(), "");
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("cannot read /nowhere/file"));
}

TEST_F(UkeyctlTest, FileThatCannotBeWritten) {
    const Outcome outcome =
        Ukeyctl({"cert", "get", "--out", "/nowhere/file"}, "GetCert=QUJD\n").Run();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write /nowhere/file"));
}

struct UsageMistake {
    const char* name;
    std::vector<std::string> words;
};

void PrintTo(const UsageMistake& mistake, std::ostream* out) {
    *out << mistake.name;
}

class UsageMistakeTest : public UkeyctlTest, public testing::WithParamInterface<UsageMistake> {};

const UsageMistake kUsageMistakes[] = {
    {"NoVerb", {}},
    {"UnknownVerb", {"dance"}},
    {"UnknownOption", {"info", "--dance"}},
    {"GroupWithoutVerb", {"pin"}},
    {"MissingDescription", {"request"}},
    {"UnknownFormat", {"request", "--description", "KeyType(2)", "--format", "der"}},
    {"TextAndFile", {"signhash", "--data", "a", "--data-file", "b"}},
    {"NoText", {"signhash"}},
    {"NothingToSign", {"batch-sign", "--flags", "1"}},
    {"TwoBatches", {"batch-sign", "--batch", "a", "--batch-file", "b"}},
    {"IndexIsNoNumber", {"data", "get", "first"}},
    {"CodeIsNoNumber", {"error", "bad code"}},
    {"CodeTooLarge", {"error", "4294967296"}},
    {"CodeTooSmall", {"error", "-2147483649"}},
    {"FunctionWithAVerb", {"call", "VerifyPIN"}},
    {"InitWithoutConsent", {"init"}},
    {"TestInitWithoutConsent", {"call", "TestInitUKey"}},
    {"InitRequestWithoutConsent", {"init-request", "--mode", "1", "--description", "KeyType(2)"}},
    {"DeleteWithoutConsent", {"cert", "delete"}},
    {"CallWithoutItsArgument", {"call", "SetCharset"}},
    {"CallWithAnArgumentTooMany", {"call", "RemovePinCache", "1"}},
    {"CallWithANumberThatIsNone", {"call", "SetCachePinFlag", "on"}},
    {"EmptyNumberOfACall", {"call", "SetCachePinFlag", ""}},
    {"EmptyDescription", {"request", "--description", ""}},
    {"DescriptionOfNoRecord", {"request", "--description", "||"}},
    {"EmptyDescriptionThatWouldErase",
     {"init-request", "--mode", "1", "--yes", "--description", ""}},
    {"EmptyTextToSign", {"signhash", "--data", ""}},
    {"EmptyTextToConfirmAndSign", {"sign", "--data", "", "--warning", "w"}},
    {"EmptyWarning", {"sign", "--data", "d", "--warning", ""}},
    {"EmptyBatch", {"batch-sign", "--batch", ""}},
    {"EmptyTextOfABatch", {"batch-sign", "--batch", "a", "--text", ""}},
    {"EmptyStandardInputToSign", {"signhash", "--data-file", "-"}},
    {"EmptyStandardInputToDecrypt", {"decrypt", "--cipher-file", "-"}},
    {"EmptyFileName", {"signhash", "--data-file", ""}},
    {"EmptyOutputName", {"signhash", "--data", "d", "--out", ""}},
    {"EmptyCipher", {"decrypt", "--cipher", ""}},
    {"EmptyLabel", {"label", "set", ""}},
    {"EmptyItem", {"data", "set", "1", "--data", ""}},
    {"EmptyCertificate", {"cert", "import", "-"}},
    {"EmptyPackage", {"cert", "import-package", "-"}},
    {"EmptyPackageName", {"cert", "import-package", ""}},
    // The word behind "=" is no value of the option.
    {"NothingBehindTheSign", {"signhash", "--data=", "--param1=1"}},
    {"NegativeTimeout", {"wait", "--timeout", "-1"}},
};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, UsageMistakeTest, testing::ValuesIn(kUsageMistakes),
                         [](const auto& mistake) { return std::string(mistake.param.name); });

TEST_P(UsageMistakeTest, ReachesNoLibraryAndIsExplained) {
    const Outcome outcome = Ukeyctl(GetParam().words).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err,
                AllOf(StartsWith("ukeyctl"), HasSubstr("  why:  "), HasSubstr("  next: ")));
    EXPECT_EQ(Calls(), "");
}

TEST_P(UsageMistakeTest, IsJsonToo) {
    std::vector<std::string> words = GetParam().words;
    words.insert(words.begin(), "--json");
    const Outcome outcome = Ukeyctl(words).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.Json()["error"]["status"], 2);
}

// One verb, what it is given, what the product must have been asked, and what comes out.
struct VerbCase {
    const char* name;
    std::vector<std::string> words;
    std::string outputs;
    std::string call;
    std::string out;
};

void PrintTo(const VerbCase& verb, std::ostream* out) {
    *out << verb.name;
}

class VerbTest : public UkeyctlTest, public testing::WithParamInterface<VerbCase> {};

const VerbCase kVerbCases[] = {
    {"PinChange",
     {"pin", "change"},
     "",
     R"(ChangePin("SN0123456789"))",
     "Tries left before: 5\nTries left after:  5\nThe PIN has been changed.\n"},
    {"PinVerify",
     {"pin", "verify"},
     "",
     R"(VerifyPIN("SN0123456789"))",
     "Tries left before: 5\nTries left after:  5\nThe PIN is right.\n"},
    {"PinVerifyOfNamedKey",
     {"pin", "verify", "--sn", "SN9"},
     "",
     R"(VerifyPIN("SN9"))",
     "Tries left before: 5\nTries left after:  5\nThe PIN is right.\n"},
    {"PinInfo",
     {"pin", "info"},
     "",
     R"(GetPinInfo("SN0123456789"))",
     "Tries left:    5\nTries at most: 6\n"},
    {"Init",
     {"init", "--yes"},
     "",
     R"(InitUKey("SN0123456789"))",
     "The key SN0123456789 has been initialised.\n"},
    {"LabelGet", {"label", "get"}, "GetLabel=my key\n", R"(GetLabel("SN0123456789"))", "my key\n"},
    {"LabelSet",
     {"label", "set", "my key"},
     "",
     R"(SetLabel("SN0123456789", "my key"))",
     "The label has been written.\n"},
    {"DataGet", {"data", "get", "3"}, "GetData=item\n", R"(GetData("SN0123456789", 3))", "item\n"},
    {"DataSet",
     {"data", "set", "3", "--data", "item"},
     "",
     R"(SetData("SN0123456789", 3, "item"))",
     "The item has been written.\n"},
    {"Sign",
     {"sign", "--param1", "1", "--param2", "0x10", "--data", "d", "--warning", "w"},
     "Sign=c2ln\n",
     R"(Sign("SN0123456789", 1, 16, "d", "w"))",
     "c2ln\n"},
    {"SignHash",
     {"signhash", "--param1", "-1", "--param2", "2", "--param3", "3", "--data", "d"},
     "SignHash=c2ln\n",
     R"(SignHash("SN0123456789", -1, 2, "d", 3))",
     "c2ln\n"},
    {"BatchSign",
     {"batch-sign", "--flags",  "1",        "--param3", "3",        "--param4",  "4",
      "--text",     "t",        "--param6", "six",      "--param7", "7",         "--param8",
      "8",          "--param9", "9",        "--batch",  "a||b",     "--param11", "11"},
     "Batch_Sign=x||y\n",
     R"(Batch_Sign(1, "SN0123456789", 3, 4, "t", "six", 7, 8, 9, "a||b", 11))",
     "x||y\n"},
    {"BatchSignPlain",
     {"batch-sign", "--batch", "a"},
     "Batch_Sign=x\n",
     R"(Batch_Sign(0, "SN0123456789", 0, 0, null, null, 0, 1, 0, "a", 0))",
     "x\n"},
    {"BatchSignWithoutItems",
     {"batch-sign", "--flags", "1", "--text", "t", "--param6", "six"},
     "Batch_Sign=x\n",
     R"(Batch_Sign(1, "SN0123456789", 0, 0, "t", "six", 0, 1, 0, null, 0))",
     "x\n"},
    {"BatchSignEmpty",
     {"batch-sign", "--batch", "", "--allow-empty"},
     "Batch_Sign=x\n",
     R"(Batch_Sign(0, "SN0123456789", 0, 0, null, null, 0, 1, 0, "", 0))",
     "x\n"},
    {"Decrypt",
     {"decrypt", "--param1", "1", "--param2", "2", "--cipher", "c"},
     "AsymDec=plain\n",
     R"(AsymDec("SN0123456789", 1, 2, "c"))",
     "plain\n"},
    {"CertGetText",
     {"cert", "get", "--param1", "1", "--param2", "2", "--format", "text"},
     "GetCert=QUJD\n",
     R"(GetCert("SN0123456789", 1, 2))",
     "QUJD\n"},
    {"CertGetPem",
     {"cert", "get"},
     "GetCert=QUJD\n",
     R"(GetCert("SN0123456789", 1, 0))",
     "-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n"},
    {"CertDn",
     {"cert", "dn", "--param1", "1"},
     "GetCertDN=CN=A\n",
     R"(GetCertDN("SN0123456789", 1, 0))",
     "CN=A\n"},
    {"CertInfo",
     {"cert", "info", "--selector", "2"},
     "GetCertInfo=subject\n",
     R"(GetCertInfo("SN0123456789", 2))",
     "subject\n"},
    {"CertDelete",
     {"cert", "delete", "--param1", "1", "--yes"},
     "",
     R"(DelCertAndTempKey("SN0123456789", 1, 0))",
     "The certificate has been deleted.\n"},
    {"RequestPem",
     {"request", "--description", "KeyType(2)"},
     "GenerateCertRequest=QUJD||REVG\n",
     R"x(GenerateCertRequest("SN0123456789", "KeyType(2)"))x",
     "-----BEGIN CERTIFICATE REQUEST-----\nQUJD\n-----END CERTIFICATE REQUEST-----\n-----BEGIN "
     "CERTIFICATE REQUEST-----\nREVG\n-----END CERTIFICATE REQUEST-----\n"},
    {"RequestText",
     {"request", "--description", "KeyType(2)", "--format", "text"},
     "GenerateCertRequest=QUJD||REVG\n",
     R"x(GenerateCertRequest("SN0123456789", "KeyType(2)"))x",
     "QUJD||REVG\n"},
    {"InitRequest",
     {"init-request", "--description", "KeyType(2)"},
     "Batch_InitAndGenerateCertRequest=||QUJD\n",
     R"x(Batch_InitAndGenerateCertRequest("SN0123456789", 0, "KeyType(2)"))x",
     "-----BEGIN CERTIFICATE REQUEST-----\nQUJD\n-----END CERTIFICATE REQUEST-----\n"},
    {"InitRequestErasing",
     {"init-request", "--mode", "1", "--yes", "--description", "KeyType(2)"},
     "Batch_InitAndGenerateCertRequest=QUJD\n",
     R"x(Batch_InitAndGenerateCertRequest("SN0123456789", 1, "KeyType(2)"))x",
     "-----BEGIN CERTIFICATE REQUEST-----\nQUJD\n-----END CERTIFICATE REQUEST-----\n"},
    {"Check",
     {"check"},
     "",
     "CheckDriverIntegrity(1)",
     "The installation folder can be read, and the key maker's library in it is complete.\n"},
    {"CallInitialize", {"call", "Initialize"}, "", "Initialize()", "Initialize gave 0.\n"},
    {"CallFinalize", {"call", "Finalize"}, "", "Finalize()", "Finalize gave 0.\n"},
    {"CallGetLastErrCode",
     {"call", "GetLastErrCode"},
     "",
     "GetLastErrCode()",
     "Last error: 0\nGetLastErrCode gave 0.\n"},
    {"CallTestInitUKey",
     {"call", "TestInitUKey", "--yes"},
     "",
     R"(TestInitUKey("SN0123456789", "null"))",
     "TestInitUKey gave 0.\n"},
    {"CallTestVerifyAndCachePin",
     {"call", "TestVerifyAndCachePin", "7"},
     "",
     R"(TestVerifyAndCachePin("SN0123456789", 7))",
     "Tries left before: 5\nTries left after:  5\nTestVerifyAndCachePin gave 0.\n"},
    {"CallSetCachePinFlag",
     {"call", "SetCachePinFlag", "0x10"},
     "",
     R"(SetCachePinFlag("SN0123456789", 16))",
     "SetCachePinFlag gave 0.\n"},
    {"CallRemovePinCache",
     {"call", "RemovePinCache"},
     "",
     "RemovePinCache()",
     "RemovePinCache gave 0.\n"},
    {"CallSetCharset",
     {"call", "SetCharset", "b"},
     "",
     R"(SetCharset("", "b"))",
     "SetCharset gave 0.\n"},
    {"CallSetLanguageOfNamedKey",
     {"call", "SetLanguage", "--sn", "SN9", "b"},
     "",
     R"(SetLanguage("SN9", "b"))",
     "SetLanguage gave 0.\n"},
};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, VerbTest, testing::ValuesIn(kVerbCases),
                         [](const auto& verb) { return std::string(verb.param.name); });

TEST_P(VerbTest, AsksTheProductAndShowsTheAnswer) {
    const Outcome outcome = Ukeyctl(GetParam().words, GetParam().outputs).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, GetParam().out);
    EXPECT_EQ(outcome.err, "");
    EXPECT_THAT("\n" + Calls(), HasSubstr("\n" + GetParam().call + "\n"));
}

TEST_P(VerbTest, SucceedsInJsonToo) {
    std::vector<std::string> words = GetParam().words;
    words.emplace_back("--json");
    const Outcome outcome = Ukeyctl(words, GetParam().outputs).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["ok"], true);
    EXPECT_EQ(outcome.out.find('\n'), outcome.out.size() - 1) << "more than one line";
}

// The verbs that only look at a key, by the names of their cases; the others either take none or do
// something with one.
const std::vector<std::string> kReaders = {"PinInfo",    "LabelGet", "DataGet", "CertGetText",
                                           "CertGetPem", "CertDn",   "CertInfo"};
const std::vector<std::string> kKeyless = {
    "Check",         "CallInitialize", "CallFinalize", "CallGetLastErrCode", "CallRemovePinCache",
    "CallSetCharset"};

// Cases in which a key is asked for something, and the command line names none.
std::vector<VerbCase> CasesWithoutANamedKey(bool reading) {
    const auto has = [](const auto& list, const std::string& name) {
        return std::find(std::begin(list), std::end(list), name) != std::end(list);
    };
    std::vector<VerbCase> cases;
    for (const VerbCase& verb : kVerbCases) {
        if (has(kReaders, verb.name) == reading && !has(kKeyless, verb.name) &&
            !has(verb.words, "--sn")) {
            cases.push_back(verb);
        }
    }
    return cases;
}

std::string NameOf(const testing::TestParamInfo<VerbCase>& verb) {
    return verb.param.name;
}

class ReadingVerbTest : public VerbTest {};
class ChangingVerbTest : public VerbTest {};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, ReadingVerbTest, testing::ValuesIn(CasesWithoutANamedKey(true)),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Ukeyctl, ChangingVerbTest, testing::ValuesIn(CasesWithoutANamedKey(false)),
                         NameOf);

constexpr const char* kTwoKeys = "1:SN0000000001 4:SN0123456789";

TEST_P(ReadingVerbTest, NamesTheKeyThatItTookOfSeveral) {
    std::vector<std::string> words = GetParam().words;
    const Outcome outcome = Ukeyctl(words, GetParam().outputs).With("FAKE_SLOTS", kTwoKeys).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, GetParam().out);
    EXPECT_THAT(outcome.err,
                HasSubstr("took the key SN0123456789 in slot 4, one of 2 that are plugged"));
    words.emplace_back("--json");
    EXPECT_EQ(Ukeyctl(words, GetParam().outputs).Run().Json()["serial_number"], "SN0123456789");
}

TEST_P(ReadingVerbTest, SaysThatTheKeysCannotBeCounted) {
    const Outcome outcome =
        Ukeyctl(GetParam().words, GetParam().outputs).With("FAKE_SLOTS", "?77").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("took the key SN0123456789; "), HasSubstr("VexaT_GetSlotList")));
}

TEST_P(ChangingVerbTest, RefusesToChooseAmongSeveralKeysAndListsThem) {
    const Outcome outcome = Ukeyctl(GetParam().words, GetParam().outputs + "GetLabel=my key\n")
                                .With("FAKE_SLOTS", kTwoKeys)
                                .Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(StartsWith("ukeyctl " + GetParam().words.front()),
                                   HasSubstr("SN0000000001 (slot 1, \"my key\"), "
                                             "SN0123456789 (slot 4, \"my key\")"),
                                   HasSubstr("--sn SN")));
    EXPECT_THAT(Calls(), Not(HasSubstr(GetParam().call)));
}

TEST_P(ChangingVerbTest, RefusesWhenTheKeysCannotBeCounted) {
    for (const char* slots : {"?77", "throw"}) {
        const Outcome outcome =
            Ukeyctl(GetParam().words, GetParam().outputs).With("FAKE_SLOTS", slots).Run();
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, AllOf(HasSubstr("VexaT_GetSlotList"), HasSubstr("--sn SN")));
        EXPECT_THAT(Calls(), Not(HasSubstr(GetParam().call)));
    }
}

TEST_P(ChangingVerbTest, TakesTheOneOfSeveralThatIsNamed) {
    std::vector<std::string> words = GetParam().words;
    words.insert(words.end(), {"--sn", "SN0123456789"});
    const Outcome outcome = Ukeyctl(words, GetParam().outputs).With("FAKE_SLOTS", kTwoKeys).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT("\n" + Calls(), HasSubstr("\n" + GetParam().call + "\n"));
}

TEST_P(ChangingVerbTest, HelpSaysThatTheKeyMustBeNamed) {
    std::vector<std::string> words = GetParam().words;
    words.emplace_back("--help");
    EXPECT_THAT(Ukeyctl(words).Run().out, HasSubstr("needed when several"));
}

// What an unset shell variable leaves of --sn "$SN", --sn=$SN and --sn $SN.
TEST_P(ChangingVerbTest, ReachesNoKeyWithoutASerialNumberBehindSn) {
    for (const std::vector<std::string>& rest :
         {std::vector<std::string>{"--sn", ""}, {"--sn="}, {"--sn", "--json"}}) {
        std::vector<std::string> words = GetParam().words;
        words.insert(words.end(), rest.begin(), rest.end());
        const Outcome outcome = Ukeyctl(words, GetParam().outputs).Run();
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, AllOf(StartsWith("ukeyctl " + GetParam().words.front()),
                                       HasSubstr("a shell variable may be unset")));
        EXPECT_EQ(Calls(), "");
    }
}

TEST_P(ReadingVerbTest, ReachesNoKeyWithoutASerialNumberBehindSn) {
    std::vector<std::string> words = GetParam().words;
    words.insert(words.end(), {"--sn", ""});
    const Outcome outcome = Ukeyctl(words, GetParam().outputs).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("a shell variable may be unset"));
    EXPECT_EQ(Calls(), "");
}

TEST_F(UkeyctlTest, EmptySerialNumberBesideACharsetIsRefused) {
    EXPECT_EQ(Ukeyctl({"call", "SetCharset", "x", "--sn", ""}).Run().status, 2);
    EXPECT_EQ(Calls(), "");
}

TEST_F(UkeyctlTest, KeyThatTellsNoSerialNumberIsNotChanged) {
    const Outcome outcome = Ukeyctl({"init", "--yes"}, "GetPrintNumber=\n").Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("--sn SN"));
    EXPECT_THAT(Calls(), Not(HasSubstr("InitUKey")));
}

TEST_F(UkeyctlTest, ListShowsEveryKeyAndWhatCannotBeTold) {
    const Outcome outcome = Ukeyctl({"list"}, "GetLabel=my key\n")
                                .With("FAKE_SLOTS", "1:SN0000000001 3:?77 12:0123456789ABCDEF")
                                .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "SLOT  SERIAL NUMBER     LABEL\n"
              "1     SN0000000001      my key\n"
              "3     -                 -\n"
              "12    0123456789ABCDEF  my key\n"
              "Slot 3: VexaT_GetDeviceInfo gave 0x0000004D (77): text of 77\n");
}

TEST_F(UkeyctlTest, ListAsJson) {
    const Outcome outcome = Ukeyctl({"list", "--json"}, "GetLabel=\xD6\xD0!\n")
                                .With("FAKE_SLOTS", "1:SN0000000001 3:?77")
                                .Run();
    const nlohmann::json keys = outcome.Json()["keys"];
    ASSERT_EQ(keys.size(), 2U);
    EXPECT_EQ(keys[0]["slot"], 1);
    EXPECT_EQ(keys[0]["serial_number"], "SN0000000001");
    EXPECT_EQ(keys[0]["label_hex"], "D6D021");
    EXPECT_TRUE(keys[0]["problem"].is_null());
    EXPECT_EQ(keys[1]["slot"], 3);
    EXPECT_TRUE(keys[1]["serial_number"].is_null());
    EXPECT_TRUE(keys[1]["label"].is_null());
    EXPECT_THAT(keys[1]["problem"].get<std::string>(), HasSubstr("VexaT_GetDeviceInfo"));
}

TEST_F(UkeyctlTest, ListSaysWhichLabelCannotBeRead) {
    const Outcome outcome = Ukeyctl({"list"}).With("FAKE_CODES", "GetLabel=77").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("1     SN0123456789   -\n"),
                                   HasSubstr("Slot 1: GetLabel gave 0x0000004D")));
}

TEST_F(UkeyctlTest, ListWithoutAKeySaysSo) {
    const Outcome outcome = Ukeyctl({"list"}).With("FAKE_SLOTS", "").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "No key is plugged in.\n");
    EXPECT_EQ(Ukeyctl({"list", "--json"}).With("FAKE_SLOTS", "").Run().Json()["keys"],
              nlohmann::json::array());
}

TEST_F(UkeyctlTest, ListThatCannotBeHadIsAFailure) {
    const Outcome outcome = Ukeyctl({"list", "--json"}).With("FAKE_SLOTS", "?77").Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.Json()["error"]["function"], "VexaT_GetSlotList");
    EXPECT_EQ(outcome.Json()["error"]["code"], 77);
    EXPECT_EQ(Ukeyctl({"list"}).With("FAKE_SLOTS", "throw").Run().status, 1);
}

TEST_F(UkeyctlTest, InfoShowsEveryKey) {
    const Outcome outcome =
        Ukeyctl({"info"}, "GetLabel=my key\n").With("FAKE_SLOTS", kTwoKeys).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("Serial number:    SN0123456789\n"
                                       "Key in slot 1:    SN0000000001, my key\n"
                                       "Key in slot 4:    SN0123456789, my key\n"));
}

TEST_F(UkeyctlTest, InfoShowsTheKeysThatThereAreWhenTheLibraryNamesNone) {
    const Outcome outcome = Ukeyctl({"info", "--json"})
                                .With("FAKE_SLOTS", kTwoKeys)
                                .With("FAKE_CODES", "GetPrintNumber=77")
                                .Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.Json()["keys"].size(), 2U);
}

TEST_F(UkeyctlTest, InfoWithoutAListOfKeysSaysSo) {
    const Outcome outcome = Ukeyctl({"info"}).With("FAKE_SLOTS", "?77").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("The plugged keys cannot be listed: VexaT_GetSlotList"));
    const nlohmann::json object =
        Ukeyctl({"info", "--json"}).With("FAKE_SLOTS", "?77").Run().Json();
    EXPECT_EQ(object["keys"], nlohmann::json::array());
    EXPECT_THAT(object["keys_problem"].get<std::string>(), HasSubstr("VexaT_GetSlotList"));
}

class EmptyTextTest : public UkeyctlTest,
                      public testing::WithParamInterface<std::vector<std::string>> {};

INSTANTIATE_TEST_SUITE_P(
    Ukeyctl, EmptyTextTest,
    testing::Values(std::vector<std::string>{"signhash", "--data", ""},
                    std::vector<std::string>{"signhash", "--data-file", "-"},
                    std::vector<std::string>{"sign", "--data", "", "--warning", ""},
                    std::vector<std::string>{"batch-sign", "--flags", "1", "--text", ""},
                    std::vector<std::string>{"batch-sign", "--batch-file", "-"},
                    std::vector<std::string>{"label", "set", ""},
                    std::vector<std::string>{"data", "set", "1", "--data", ""}));

TEST_P(EmptyTextTest, IsTakenOnlyWhenItIsSaidToBeMeant) {
    const Outcome refused = Ukeyctl(GetParam()).Run();
    EXPECT_EQ(refused.status, 2);
    EXPECT_THAT(refused.err, AllOf(HasSubstr(" is empty"), HasSubstr("--allow-empty")));
    EXPECT_EQ(Calls(), "");
    std::vector<std::string> words = GetParam();
    words.emplace_back("--allow-empty");
    EXPECT_EQ(Ukeyctl(words).Run().status, 0);
    EXPECT_THAT(Calls(), HasSubstr("\"\""));
}

TEST_F(UkeyctlTest, ClosedStandardInputIsNoEmptyText) {
    for (const bool allowed : {false, true}) {
        std::vector<std::string> words = {"signhash", "--data-file", "-"};
        words.resize(allowed ? 4 : 3, "--allow-empty");
        const Outcome outcome = Ukeyctl(words).Closes(STDIN_FILENO).Run();
        EXPECT_EQ(outcome.status, 4);
        EXPECT_THAT(outcome.err, HasSubstr("cannot read standard input\n  why:  it is closed"));
        EXPECT_EQ(Calls(), "");
    }
}

// The file would get what belongs on standard output, behind what it was asked to hold.
TEST_F(UkeyctlTest, NoFileTakesThePlaceOfAClosedOutput) {
    const Outcome outcome =
        Ukeyctl({"decrypt", "--cipher", "c", "--out", Path("out")}, "AsymDec=plain\n")
            .Closes(STDOUT_FILENO)
            .Run();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(FileContents(Path("out")), "plain");
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output"));
}

// What a library keeps open must not be what is signed: the stand-in opens a file first of all.
TEST_F(UkeyctlTest, NoFileTakesThePlaceOfAClosedInput) {
    MakeFile(Path("in"), "not to be signed");
    const Outcome outcome = Ukeyctl({"signhash", "--sn", "S", "--data-file", "-"})
                                .With("FAKE_OPENS", Path("in"))
                                .Closes(STDIN_FILENO)
                                .Run();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_EQ(Calls(), "");
}

TEST_F(UkeyctlTest, RequestThatIsNotMadeIsAFailure) {
    const Outcome outcome = Ukeyctl({"request", "--description", "HashType(3)"}).Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, HasSubstr("no request was made"));
}

struct RetiredVerb {
    std::vector<std::string> words;
    const char* call;
};

class RetiredVerbTest : public UkeyctlTest, public testing::WithParamInterface<RetiredVerb> {};

INSTANTIATE_TEST_SUITE_P(
    Ukeyctl, RetiredVerbTest,
    testing::Values(RetiredVerb{{"pin", "cache", "--param", "600"},
                                "ukeyctl call TestVerifyAndCachePin N"},
                    RetiredVerb{{"pin", "caching", "on"}, "ukeyctl call SetCachePinFlag FLAG"},
                    RetiredVerb{{"pin", "forget"}, "ukeyctl call RemovePinCache"},
                    RetiredVerb{{"charset", "", "GB18030"}, "ukeyctl call SetCharset NAME"},
                    RetiredVerb{{"language", "--help"}, "ukeyctl call SetLanguage NAME"}));

TEST_P(RetiredVerbTest, SaysWhyItIsGoneAndWhatToDo) {
    std::vector<std::string> words = GetParam().words;
    const Outcome outcome = Ukeyctl(words).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err,
                AllOf(StartsWith("ukeyctl " + words.front()),
                      HasSubstr("gone when the command ended"), HasSubstr(GetParam().call)));
    EXPECT_EQ(Calls(), "");
    words.emplace_back("--json");
    EXPECT_EQ(Ukeyctl(words).Run().Json()["error"]["status"], 2);
}

TEST_P(RetiredVerbTest, IsNotOffered) {
    const std::string& word = GetParam().words.front();
    const bool in_group = word == "pin";
    const Outcome help = in_group ? Ukeyctl({"pin", "--help"}).Run() : Ukeyctl({"--help"}).Run();
    EXPECT_THAT(help.out, Not(HasSubstr("\n  " + (in_group ? GetParam().words[1] : word) + " ")));
}

TEST_P(VerbTest, HelpHasAnExample) {
    std::vector<std::string> words = GetParam().words;
    words.emplace_back("--help");
    const Outcome outcome = Ukeyctl(words).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, HasSubstr("Examples:\n  ukeyctl " + words.front()));
    EXPECT_EQ(Calls(), "");
}

class RefusedCallTest : public UkeyctlTest, public testing::WithParamInterface<const char*> {};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, RefusedCallTest,
                         testing::Values("RegisterCert", "UnregisterCert", "RepairDriver"));

TEST_P(RefusedCallTest, IsReportedAsUnsupported) {
    const Outcome outcome = Ukeyctl({"call", GetParam(), "--json"}).Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.Json()["error"]["function"], GetParam());
    EXPECT_EQ(outcome.Json()["error"]["code"], -300);
    EXPECT_THAT(Calls(), StartsWith(std::string(GetParam()) + "()\n"));
}

TEST_F(UkeyctlTest, RequestIsMadeInTwoCalls) {
    Ukeyctl({"request", "--sn", "S", "--description", "d"}, "GenerateCertRequest=QUJD\n").Run();
    EXPECT_EQ(Calls(), "GenerateCertRequest(\"S\", \"d\")\nGenerateCertRequest(\"S\", \"d\")\n");
}

TEST_F(UkeyctlTest, RequestIsWrappedAtSixtyFourColumns) {
    const std::string text(100, 'A');
    const Outcome outcome =
        Ukeyctl({"request", "--description", "d"}, "GenerateCertRequest=" + text + "\n").Run();
    EXPECT_THAT(outcome.out,
                HasSubstr("\n" + std::string(64, 'A') + "\n" + std::string(36, 'A') + "\n"));
}

TEST_F(UkeyctlTest, RequestThatIsNotBase64IsNotMadePem) {
    const Outcome outcome =
        Ukeyctl({"request", "--description", "d"}, "GenerateCertRequest=no base64!\n").Run();
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("--format text"));
}

TEST_F(UkeyctlTest, RequestGoesToAFileOfTheOwnersOnly) {
    const Outcome outcome =
        Ukeyctl({"request", "--description", "d", "--out", Path("out"), "--json"},
                "GenerateCertRequest=QUJD\n")
            .Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["file"], Path("out"));
    EXPECT_EQ(outcome.Json()["count"], 1);
    EXPECT_EQ(FileContents(Path("out")),
              "-----BEGIN CERTIFICATE REQUEST-----\nQUJD\n-----END CERTIFICATE REQUEST-----\n");
    struct stat state {};
    ASSERT_EQ(stat(Path("out").c_str(), &state), 0);
    EXPECT_EQ(state.st_mode & 0777U, 0600U);
}

TEST_F(UkeyctlTest, RequestsAreAListInJson) {
    const Outcome outcome =
        Ukeyctl({"request", "--description", "d", "--json"}, "GenerateCertRequest=QUJD||REVG\n")
            .Run();
    EXPECT_EQ(outcome.Json()["requests"].size(), 2U);
    EXPECT_EQ(outcome.Json()["count"], 2);
}

TEST_F(UkeyctlTest, TextOfAFileArrivesWhole) {
    MakeFile(Path("in"), "two lines\nand no end");
    Ukeyctl({"signhash", "--sn", "S", "--data-file", Path("in")}).Run();
    EXPECT_THAT(Calls(), HasSubstr("SignHash(\"S\", 1, 0, \"two lines\nand no end\", 0)\n"));
}

TEST_F(UkeyctlTest, TextOfStandardInputArrivesWhole) {
    Ukeyctl({"decrypt", "--sn", "S", "--cipher-file", "-"}).Reads("from a pipe\n").Run();
    EXPECT_THAT(Calls(), HasSubstr("AsymDec(\"S\", 2, 0, \"from a pipe\n\")\n"));
}

TEST_F(UkeyctlTest, CertificateArrivesAsBase64) {
    MakeFile(Path("in"), "comment\n-----BEGIN PKCS7-----\nQUJD\nREVG\n-----END PKCS7-----\n");
    EXPECT_EQ(Ukeyctl({"cert", "import", "--sn", "S", Path("in")}).Run().status, 0);
    MakeFile(Path("in"), "\x30\x82\x01\x02\x03");
    EXPECT_EQ(Ukeyctl({"cert", "import", "--sn", "S", Path("in")}).Run().status, 0);
    MakeFile(Path("in"), "QUJD");
    EXPECT_EQ(Ukeyctl({"cert", "import", "--sn", "S", Path("in")}).Run().status, 0);
    EXPECT_EQ(Calls(),
              "ImportX509Cert(\"S\", \"QUJDREVG\")\n"
              "ImportX509Cert(\"S\", \"MIIBAgM=\")\n"
              "ImportX509Cert(\"S\", \"QUJD\")\n");
}

TEST_F(UkeyctlTest, EncryptionCertificateAndKeyArriveTogether) {
    MakeFile(Path("in"), "QUJD");
    EXPECT_EQ(
        Ukeyctl({"cert", "import-enc", "--sn", "S", Path("in"), "-"}).Reads("0001").Run().status,
        0);
    EXPECT_EQ(Calls(), "ImportEncX509Cert(\"S\", \"QUJD\", \"0001\")\n");
}

// As an editor saves it, or as Base64 is broken into lines.
TEST_F(UkeyctlTest, EnvelopedKeyArrivesWithoutLineEnds) {
    MakeFile(Path("in"), "QUJD");
    Ukeyctl({"cert", "import-enc", "--sn", "S", Path("in"), "-"}).Reads("00\r\n01\n").Run();
    EXPECT_EQ(Calls(), "ImportEncX509Cert(\"S\", \"QUJD\", \"0001\")\n");
}

TEST_F(UkeyctlTest, PackageArrivesAsItIs) {
    EXPECT_EQ(
        Ukeyctl({"cert", "import-package", "--sn", "S", "-"}).Reads("SignCert(A)").Run().status, 0);
    EXPECT_EQ(Calls(), "Batch_ImportX509Cert(\"S\", \"SignCert(A)\")\n");
}

TEST_F(UkeyctlTest, DataWithAZeroByteIsRefused) {
    const Outcome outcome =
        Ukeyctl({"signhash", "--sn", "S", "--data-file", "-"}).Reads(std::string("a\0b", 3)).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("a text for SignHash has a zero byte"),
                                   Not(HasSubstr("SignHash failed"))));
    EXPECT_EQ(Calls().find("SignHash"), std::string::npos);
}

TEST_F(UkeyctlTest, TextThatIsNotUtf8StaysValidJson) {
    const Outcome outcome = Ukeyctl({"label", "get", "--json"}, "GetLabel=\xD6\xD0!\n").Run();
    EXPECT_EQ(outcome.Json()["label_hex"], "D6D021");
    EXPECT_TRUE(outcome.Json()["label"].is_string());
}

struct CodeCase {
    const char* text;
    int32_t code;
};

class CodeTest : public UkeyctlTest, public testing::WithParamInterface<CodeCase> {};

INSTANTIATE_TEST_SUITE_P(
    Ukeyctl, CodeTest,
    testing::Values(CodeCase{"-401", -401}, CodeCase{"0", 0}, CodeCase{"FFFFFE6F", -401},
                    CodeCase{"fffffe6f", -401}, CodeCase{"0xFFFFFE6F", -401},
                    CodeCase{"4294966895", -401}, CodeCase{"167772161", 0x0A000001},
                    CodeCase{"0A000001", 0x0A000001}, CodeCase{"0x0A000001", 0x0A000001},
                    CodeCase{"01000001", 0x01000001}, CodeCase{"16777217", 16777217},
                    CodeCase{"0x8007000E", static_cast<int32_t>(0x8007000E)},
                    CodeCase{"-2147483648", INT32_MIN}));

TEST_P(CodeTest, IsUnderstoodInEveryForm) {
    const Outcome outcome = Ukeyctl({"error", GetParam().text, "--json"}).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.Json()["code"], GetParam().code);
    EXPECT_EQ(outcome.Json()["text"], "text of " + std::to_string(GetParam().code));
}

TEST_F(UkeyctlTest, OwnCodesAreExplainedWithoutALibrary) {
    for (const char* code : {"0", "-101", "-109", "-300", "-401", "-404"}) {
        const Outcome outcome =
            Ukeyctl({"error", code, "--json", "--library", "/nowhere/library.so"}).Run();
        EXPECT_EQ(outcome.status, 0) << code;
        EXPECT_TRUE(outcome.Json()["name"].is_string()) << code;
        EXPECT_TRUE(outcome.Json()["meaning"].is_string()) << code;
        EXPECT_TRUE(outcome.Json()["text"].is_null()) << code;
    }
}

// A support engineer's machine need not have the customer's library.
TEST_F(UkeyctlTest, StandardCodesAreExplainedWithoutALibrary) {
    constexpr int32_t kFirst = 0x0A000001;
    constexpr int32_t kLast = 0x0A000032;
    for (int32_t code = kFirst; code <= kLast; ++code) {
        const codes::Row* const known = codes::FindKnown(code);
        ASSERT_NE(known, nullptr) << code;
        EXPECT_THAT(known->name, StartsWith("SAR_")) << code;
        EXPECT_EQ(codes::DefinedBy(code, ""), "GM/T 0016") << code;
    }
    for (const int32_t code : {kFirst, kLast}) {
        const Outcome outcome =
            Ukeyctl({"error", std::to_string(code), "--json", "--library", "/nowhere/library.so"})
                .Run();
        EXPECT_EQ(outcome.status, 0) << code;
        EXPECT_EQ(outcome.Json()["name"], codes::FindKnown(code)->name);
        EXPECT_EQ(outcome.Json()["defined_by"], codes::DefinedBy(code, ""));
        EXPECT_EQ(outcome.Json()["code"], code);
    }
}

TEST_F(UkeyctlTest, StandardCodesComeWithAdviceOfTheirOwn) {
    const Outcome outcome =
        Ukeyctl({"pin", "verify"}).With("FAKE_CODES", "VerifyPIN=167772197").Run();
    EXPECT_EQ(
        outcome.err,
        "ukeyctl pin verify: VerifyPIN failed\n"
        "  why:  0x0A000025 (167772197): text of 167772197\n"
        "  next: only who issued the key can unlock it, or erase it for new use; more tries do "
        "not help\n");
}

TEST_F(UkeyctlTest, WhoDefinesACodeIsTold) {
    EXPECT_EQ(Ukeyctl({"error", "-401", "--json"}).Run().Json()["defined_by"], "the library");
    const nlohmann::json foreign = Ukeyctl({"error", "5", "--json"}).Run().Json();
    EXPECT_EQ(foreign["defined_by"], "the key's maker");
    EXPECT_TRUE(foreign["meaning"].is_null());
}

TEST_F(UkeyctlTest, OtherCodesNeedALibrary) {
    EXPECT_EQ(Ukeyctl({"error", "5", "--library", "/nowhere/library.so"}).Run().status, 3);
}

TEST_F(UkeyctlTest, CharsetAndLanguageAreSetBeforeTheVerb) {
    Ukeyctl({"--charset", "c", "label", "get", "--sn", "S", "--language", "l"}).Run();
    EXPECT_THAT(Calls(),
                StartsWith("SetCharset(\"S\", \"c\")\nSetLanguage(\"S\", \"l\")\nGetLabel("));
}

TEST_F(UkeyctlTest, HelpTeaches) {
    const Outcome outcome = Ukeyctl({"--help"}).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("Examples:"), HasSubstr("Exit status:")));
}

TEST_F(UkeyctlTest, VersionIsTold) {
    const Outcome outcome = Ukeyctl({"--version"}).Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, StartsWith("ukeyctl "));
}

// A line end more would make a decrypted message another one.
TEST_F(UkeyctlTest, FileGetsTheTextByteForByte) {
    const Outcome outcome =
        Ukeyctl({"decrypt", "--cipher", "c", "--out", Path("out")}, "AsymDec=plain\n").Run();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(FileContents(Path("out")), "plain");
}

TEST_F(UkeyctlTest, FullOutputIsAFailure) {
    // /dev/full takes nothing.
    const Outcome outcome = Ukeyctl({"label", "get", "--json"}).WritesTo("/dev/full").Run();
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(outcome.err, HasSubstr("cannot write to standard output"));
}

// What the key or the library answers to a verb, and the class that scripts are told.
struct ClassCase {
    const char* name;
    int32_t code;
    int status;
    const char* class_name;
};

void PrintTo(const ClassCase& one, std::ostream* out) {
    *out << one.name;
}

const ClassCase kClassCases[] = {
    {"NoKey", 0x0A000023, 6, "no_key"},
    {"NoKeyOfThatNumber", 0x0A100015, 6, "no_key"},
    {"PinWrong", 0x0A000024, 7, "pin_wrong"},
    {"PinLocked", 0x0A000025, 8, "pin_locked"},
    {"TooSmallForTheKey", 0x0A000020, 9, "too_small"},
    {"TooSmallForTheLibrary", -404, 9, "too_small"},
    {"TimedOut", 0x0A00000F, 5, "timed_out"},
    {"NoBackend", -101, 3, "library"},
    {"StoreUnreachable", 0x0A100010, 4, "file"},
    {"Cancelled", 0x0A100003, 13, "declined"},
    {"Refused", 0x0A000001, 1, "failed"},
    {"RefusedByTheLibrary", -401, 1, "failed"},
    {"KnownToTheMakerOnly", 0x0B000001, 1, "failed"},
};

class ClassTest : public UkeyctlTest, public testing::WithParamInterface<ClassCase> {};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, ClassTest, testing::ValuesIn(kClassCases),
                         [](const auto& one) { return std::string(one.param.name); });

TEST_P(ClassTest, OfTheCodeIsTheExitStatus) {
    const codes::Row* const known = codes::Find(GetParam().code);
    const std::string text = known != nullptr && known->english != nullptr ? known->english : "";
    const Outcome outcome =
        Ukeyctl({"pin", "verify", "--sn", "SN9", "--json"}, "GetErrorMsg=" + text + "\n")
            .With("FAKE_CODES", "VerifyPIN=" + std::to_string(GetParam().code))
            .Run();
    EXPECT_EQ(outcome.status, GetParam().status);
    const nlohmann::json error = outcome.Json()["error"];
    EXPECT_EQ(error["status"], GetParam().status);
    EXPECT_EQ(error["class"], GetParam().class_name);
}

TEST_F(UkeyctlTest, ClassIsThatOfNoCodeWhereTheNumberIsAMakersOwn) {
    const Outcome outcome = Ukeyctl({"pin", "verify", "--sn", "S"}, "GetErrorMsg=Battery low.\n")
                                .With("FAKE_CODES", "VerifyPIN=" + std::to_string(0x0A100015))
                                .Run();
    EXPECT_EQ(outcome.status, 1);
}

}  // namespace
