// Looking at a text before it is handed over: no key and no library is asked.

#include <gmock/gmock.h>

#include "ukeyctl_fixture.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr const char* kSound = "CertType(1)KeyType(2)HashType(3)";

class LintVerbTest : public UkeyctlTest {
 protected:
    Outcome Lint(std::vector<std::string> words, const std::string& input = {}) {
        Command command(std::move(words));
        command.With("ORVAL_LIBRARY", "/nowhere/library.so");
        return command.Reads(input).Run();
    }
};

TEST_F(LintVerbTest, MisspeltFieldIsPointedToBelowTheText) {
    const Outcome outcome = Lint({"request", "lint", "CertType(1)KeyTpye(2)HashType(3)"});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_EQ(outcome.out,
              "column 12: \"KeyTpye\" is no field; did you mean KeyType?\n"
              "    CertType(1)KeyTpye(2)HashType(3)\n"
              "               ^~~~~~~\n"
              "  record 1; expected: CertType, KeyType or HashType\n"
              "  the library refuses the call with -401\n"
              "GenerateCertRequest refuses it with -401, before the key is asked for anything\n"
              "Batch_InitAndGenerateCertRequest refuses it with -401, before the key is asked for "
              "anything\n"
              "Verdict: refused\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(LintVerbTest, SoundDescriptionSaysWhatTheKeyIsAskedFor) {
    const Outcome outcome = Lint({"request", "lint", std::string(kSound) + "|CertType(3)"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "GenerateCertRequest asks the key for 2 requests\n"
              "  CertType 1, KeyType 2, HashType 3\n"
              "  CertType 3, KeyType 2, HashType 3\n"
              "Batch_InitAndGenerateCertRequest asks the key for 1 request\n"
              "  CertType 1, KeyType 2, HashType 3, for a pair of certificates\n"
              "Verdict: sound\n");
}

TEST_F(LintVerbTest, SuspiciousDescriptionHasAStatusOfItsOwn) {
    const Outcome outcome = Lint({"request", "lint", "CertType(x)KeyType(2)HashType(3)"});
    EXPECT_EQ(outcome.status, 10);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("column 10: \"x\" is no digit\n"),
                                   HasSubstr("  the library silently takes 72\n")));
}

TEST_F(LintVerbTest, VerdictGoesByTheVerbThatIsMeant) {
    const std::string four = std::string(kSound) + "|HashType(4)|HashType(5)|HashType(6)";
    EXPECT_EQ(Lint({"request", "lint", "--for", "request", four}).status, 0);
    EXPECT_EQ(Lint({"request", "lint", "--for", "init-request", four}).status, 11);
    EXPECT_EQ(Lint({"request", "lint", four}).status, 10);
}

TEST_F(LintVerbTest, LineEndOfStandardInputCounts) {
    EXPECT_EQ(Lint({"request", "lint", "-"}, kSound).status, 0);
    const Outcome outcome = Lint({"request", "lint", "-"}, std::string(kSound) + "\n");
    EXPECT_EQ(outcome.status, 11);
    EXPECT_THAT(outcome.out, HasSubstr("column 33: white space behind the last field\n"));
}

TEST_F(LintVerbTest, LongDescriptionIsShownAroundThePlace) {
    std::string text = kSound;
    for (int i = 0; i < 20; ++i) {
        text += "|HashType(1)";
    }
    const Outcome outcome = Lint({"request", "lint", text + "|Hash(2)" + text});
    EXPECT_THAT(
        outcome.out,
        HasSubstr("    "
                  "...)|HashType(1)|HashType(1)|HashType(1)|HashType(1)|Hash(2)CertType(1)KeyType(."
                  "..\n                                                         ^~~~\n"));
}

TEST_F(LintVerbTest, WhatATerminalWouldObeyIsShown) {
    const Outcome outcome = Lint({"request", "lint", std::string(kSound) + "\x1B[2J(1)"});
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("\"\\x1B[2J\" is no field"), Not(HasSubstr("\x1B"))));
}

TEST_F(LintVerbTest, FindingsAreAListInJson) {
    const Outcome outcome = Lint({"request", "lint", "--json", "CertType(1)KeyTpye(2)HashType(3)"});
    const nlohmann::json finding = {{"rule", "unknown-field"},
                                    {"severity", "refused"},
                                    {"function", nullptr},
                                    {"record", 1},
                                    {"line", 1},
                                    {"column", 12},
                                    {"byte_column", 12},
                                    {"offset", 11},
                                    {"length", 7},
                                    {"found", "KeyTpye"},
                                    {"message", "\"KeyTpye\" is no field"},
                                    {"expected", "CertType, KeyType or HashType"},
                                    {"effect", "refuses"},
                                    {"does", "refuses the call with -401"},
                                    {"value", nullptr},
                                    {"suggestion", "KeyType"}};
    const auto call = [](const char* function) -> nlohmann::json {
        return {{"function", function}, {"outcome", "refuses"}, {"code", -401}, {"requests", 0}};
    };
    const nlohmann::json expected = {
        {"schema", 1},
        {"ok", true},
        {"verb", "request lint"},
        {"findings", {finding}},
        {"calls", {call("GenerateCertRequest"), call("Batch_InitAndGenerateCertRequest")}},
        {"requests", nlohmann::json::array()},
        {"verdict", "refused"}};
    EXPECT_EQ(outcome.status, 11);
    EXPECT_EQ(outcome.Json(), expected);
}

TEST_F(LintVerbTest, RaisedExceptionHasItsCodeInJson) {
    const nlohmann::json result =
        Lint({"request", "lint", "--json", "CertType(1)KeyType(2)HashType"}).Json();
    EXPECT_EQ(result["calls"][0]["outcome"], "raises");
    EXPECT_EQ(result["calls"][0]["code"], static_cast<int32_t>(0x80070057));
}

TEST_F(LintVerbTest, OptionsOfRequestDoNotGoWithLint) {
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"request", "lint", kSound, "--out", "file"},
          std::vector<std::string>{"request", "--description", kSound, "lint", kSound}}) {
        const Outcome outcome = Lint(words);
        EXPECT_EQ(outcome.status, 2);
        EXPECT_THAT(outcome.err, HasSubstr("does not go with lint"));
    }
}

TEST_F(LintVerbTest, EmptyTextIsWrongUsage) {
    EXPECT_EQ(Lint({"request", "lint", ""}).status, 2);
    EXPECT_EQ(Lint({"request", "lint", "-"}).status, 2);
    EXPECT_EQ(Lint({"cert", "lint-package", "-"}).status, 2);
}

TEST_F(LintVerbTest, PackageSaysWhatIsImportedInWhichOrder) {
    const Outcome outcome =
        Lint({"cert", "lint-package", "-"}, "EncCert(ZZ)|\nEncPriKey(YYY)|\nSignCert(X)\n");
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out,
              "Batch_ImportX509Cert leaves the rest to the key, after these have been handed to "
              "it in this order:\n"
              "  SignCert, 1 character\n"
              "  EncPriKey, 3 characters\n"
              "  EncCert, 2 characters\n"
              "Verdict: sound\n");
}

TEST_F(LintVerbTest, PackageOfAFileIsPointedToByLineAndColumn) {
    MakeFile(Path("in"), "SignCert(X)|\nEncCret(Z)\n");
    const Outcome outcome = Lint({"cert", "lint-package", Path("in")});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_EQ(outcome.out,
              "line 2, column 1: \"EncCret\" is no item's name; did you mean EncCert?\n"
              "  item 2; expected: SignCert, EncPriKey or EncCert\n"
              "  the library refuses the package with -401, and imports nothing\n"
              "Batch_ImportX509Cert refuses it with -401\n"
              "Verdict: refused\n");
}

TEST_F(LintVerbTest, KeyTextOfAPackageIsInNoOutput) {
    const std::string package = "SignCert(X)|EncPriKey(" + std::string(1020, 'A') + "SECRET)";
    for (const std::vector<std::string>& words :
         {std::vector<std::string>{"cert", "lint-package", "-"},
          std::vector<std::string>{"cert", "lint-package", "-", "--json"}}) {
        const Outcome outcome = Lint(words, package);
        EXPECT_EQ(outcome.status, 11);
        EXPECT_THAT(outcome.out, Not(HasSubstr("SECRET")));
        EXPECT_THAT(outcome.out, Not(HasSubstr("AAAA")));
    }
}

TEST_F(LintVerbTest, PackageAsJson) {
    const Outcome outcome = Lint({"cert", "lint-package", "-", "--json"}, "SignCert(X)");
    const nlohmann::json expected = {{"schema", 1},
                                     {"ok", true},
                                     {"verb", "cert lint-package"},
                                     {"findings", nlohmann::json::array()},
                                     {"code", 0},
                                     {"imports", {{{"item", "SignCert"}, {"length", 1}}}},
                                     {"verdict", "sound"}};
    EXPECT_EQ(outcome.Json(), expected);
}

TEST_F(LintVerbTest, FileThatCannotBeReadIsNoVerdict) {
    EXPECT_EQ(Lint({"cert", "lint-package", "/nowhere/file"}).status, 4);
}

TEST_F(LintVerbTest, HelpHasExamples) {
    EXPECT_THAT(Lint({"request", "lint", "--help"}).out,
                HasSubstr("Examples:\n  ukeyctl request lint"));
    EXPECT_THAT(Lint({"cert", "lint-package", "--help"}).out,
                HasSubstr("Examples:\n  ukeyctl cert lint-package"));
    EXPECT_THAT(Lint({"request", "--help"}).out, HasSubstr("\n  lint "));
}

}  // namespace
