// What reaches a terminal: texts of a key, the help, and usage errors.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "cli/printable.h"
#include "ukeyctl_fixture.h"

namespace {

using testing::AllOf;
using testing::Each;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr unsigned short kColumns = 60;

// An escape sequence, a bell, DEL, a C1 control (the one that opens a sequence), a byte that is no
// UTF-8; a tab and characters beyond ASCII are fit for a terminal.
constexpr const char* kHostile = "A\x1B[2J\x07\x7F\xC2\x9B\xFF\t\xE6\xB5\x8B";
constexpr const char* kShown = "A\\x1B[2J\\x07\\x7F\\xC2\\x9B\\xFF\t\xE6\xB5\x8B";
constexpr const char* kShownInALine = "A\\x1B[2J\\x07\\x7F\\xC2\\x9B\\xFF\\x09\xE6\xB5\x8B";

std::string Giving(const std::string& function) {
    return function + "=" + kHostile + "\n";
}

class OutputTest : public UkeyctlTest {};

struct RawVerb {
    std::vector<std::string> words;
    std::string function;
};

// The verbs whose output is the key's text and nothing else.
const RawVerb kRawVerbs[] = {
    {{"label", "get"}, "GetLabel"},
    {{"data", "get", "1"}, "GetData"},
    {{"cert", "get", "--format", "text"}, "GetCert"},
    {{"cert", "dn"}, "GetCertDN"},
    {{"decrypt", "--cipher", "c"}, "AsymDec"},
    {{"signhash", "--data", "d"}, "SignHash"},
};

TEST_F(OutputTest, KeysTextsOnATerminalAreEscaped) {
    for (const RawVerb& verb : kRawVerbs) {
        const Outcome outcome =
            Ukeyctl(verb.words, Giving(verb.function)).OnTerminal(kColumns).Run();
        EXPECT_EQ(outcome.status, 0) << verb.function;
        EXPECT_EQ(outcome.out, std::string(kShown) + "\n") << verb.function;
    }
}

TEST_F(OutputTest, KeysTextsInAPipeAreThereByteForByte) {
    for (const RawVerb& verb : kRawVerbs) {
        EXPECT_EQ(Ukeyctl(verb.words, Giving(verb.function)).Run().out,
                  std::string(kHostile) + "\n")
            << verb.function;
    }
}

TEST_F(OutputTest, KeysTextsInAFileAreThereByteForByte) {
    Ukeyctl({"decrypt", "--cipher", "c", "--out", Path("out")}, Giving("AsymDec"))
        .OnTerminal(kColumns)
        .Run();
    EXPECT_EQ(FileContents(Path("out")), kHostile);
}

TEST_F(OutputTest, LineEndsOfAnOutputStayOnATerminal) {
    EXPECT_EQ(Ukeyctl({"cert", "get"}, "GetCert=QUJD\n").OnTerminal(kColumns).Run().out,
              "-----BEGIN CERTIFICATE-----\nQUJD\n-----END CERTIFICATE-----\n");
}

TEST_F(OutputTest, TablesAndSentencesAreEscapedEverywhere) {
    EXPECT_THAT(Ukeyctl({"info"}, Giving("GetPrintNumber")).Run().out,
                HasSubstr(std::string(": ") + "   " + kShownInALine + "\n"));
    EXPECT_EQ(Ukeyctl({"init", "--yes"}, Giving("GetPrintNumber")).Run().out,
              std::string("The key ") + kShownInALine + " has been initialised.\n");
    EXPECT_THAT(Ukeyctl({"wait"}).With("FAKE_EVENTS", "1:S\x1B[2J\xC2\x9B").Run().out,
                HasSubstr("S\\x1B[2J\\xC2\\x9B\n"));
}

TEST_F(OutputTest, ErrorsAreEscaped) {
    const Outcome outcome =
        Ukeyctl({"pin", "verify"}, Giving("GetErrorMsg")).With("FAKE_CODES", "VerifyPIN=5").Run();
    EXPECT_THAT(outcome.err, HasSubstr(std::string("(5): ") + kShownInALine + "\n"));
    EXPECT_THAT(Ukeyctl({"a\x1B[2J\nb"}).Run().err, HasSubstr("no verb \"a\\x1B[2J\\x0Ab\"\n"));
    EXPECT_THAT(Ukeyctl({"cert", "import", "/no\x1B/file"}).Run().err,
                HasSubstr("cannot read /no\\x1B/file\n"));
}

TEST_F(OutputTest, JsonHoldsNoControlCharacterAndMeansTheSame) {
    const std::string text = "A\x1B[2J\x7F\xC2\x9B\xE6\xB5\x8B";
    const Outcome outcome = Ukeyctl({"label", "get", "--json"}, "GetLabel=" + text + "\n").Run();
    EXPECT_TRUE(cli::IsPrintable(outcome.out.substr(0, outcome.out.size() - 1))) << outcome.out;
    EXPECT_EQ(outcome.Json()["label"], text);
}

std::vector<std::string> LinesOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

// Lines that are too long although a blank, a comma or a bar would have let them be broken. A text
// in quotes has no such place.
std::vector<std::string> TooLong(const std::string& text, size_t columns) {
    std::vector<std::string> found;
    for (const std::string& line : LinesOf(text)) {
        const std::string plain = std::regex_replace(line, std::regex("'[^']*'|\"[^\"]*\""), "Q");
        const size_t first = plain.find_first_not_of(' ');
        const size_t place = plain.find_first_of(" ,|", first);
        const bool breakable = place != std::string::npos && place + 3 < plain.size();
        if (cli::Columns(line) > columns && breakable) {
            found.push_back(line);
        }
    }
    return found;
}

// The help of the command and of every verb below these words.
void CheckHelp(const std::function<Outcome(std::vector<std::string>)>& ask, size_t columns,
               const std::vector<std::string>& words, size_t& pages) {
    std::vector<std::string> question = words;
    question.emplace_back("--help");
    const Outcome outcome = ask(question);
    ASSERT_EQ(outcome.status, 0) << testing::PrintToString(words);
    EXPECT_THAT(TooLong(outcome.out, columns), SizeIs(0)) << testing::PrintToString(words);
    ++pages;
    bool listed = false;
    for (const std::string& line : LinesOf(outcome.out)) {
        listed = line == "Subcommands:" || (listed && !line.empty());
        std::smatch verb;
        if (listed && std::regex_search(line, verb, std::regex("^  ([a-z][a-z-]*)"))) {
            std::vector<std::string> deeper = words;
            deeper.push_back(verb[1]);
            CheckHelp(ask, columns, deeper, pages);
        }
    }
}

constexpr size_t kPagesAtLeast = 25;

TEST_F(OutputTest, HelpIsEightyColumnsWideWhereTheWidthIsUnknown) {
    size_t pages = 0;
    CheckHelp([&](auto words) { return Ukeyctl(words).With("COLUMNS", "").Run(); }, 80, {}, pages);
    EXPECT_GT(pages, kPagesAtLeast);
}

TEST_F(OutputTest, HelpIsAsWideAsColumnsSays) {
    size_t pages = 0;
    CheckHelp([&](auto words) { return Ukeyctl(words).With("COLUMNS", "50").Run(); }, 50, {},
              pages);
    EXPECT_GT(pages, kPagesAtLeast);
}

TEST_F(OutputTest, HelpIsAsWideAsTheTerminal) {
    const auto help = [&](unsigned short columns) {
        return Ukeyctl({"--help"}).With("COLUMNS", "").OnTerminal(columns).Run().out;
    };
    EXPECT_THAT(TooLong(help(45), 45), SizeIs(0));
    EXPECT_THAT(TooLong(help(200), 80), Not(SizeIs(0))) << "a wide terminal is not used";
}

TEST_F(OutputTest, LongExampleGoesOnAsAShellReadsIt) {
    EXPECT_THAT(Ukeyctl({"cert", "get", "--help"}).With("COLUMNS", "45").Run().out,
                HasSubstr("  ukeyctl cert get --param1 2 \\\n        --out encryption.pem\n"));
}

struct Mistake {
    const char* name;
    std::vector<std::string> words;
    const char* why;
    const char* next;
};

void PrintTo(const Mistake& mistake, std::ostream* out) {
    *out << mistake.name;
}

class MistakeTest : public UkeyctlTest, public testing::WithParamInterface<Mistake> {};

const Mistake kMistakes[] = {
    {"NoVerb", {}, "a verb is missing", "ukeyctl --help"},
    {"UnknownVerb", {"dance", "--help-me"}, "there is no verb \"dance\"", "ukeyctl --help"},
    {"EmptyVerb", {""}, "there is no verb \"\"", "ukeyctl --help"},
    {"UnknownVerbOfAGroup",
     {"pin", "dance"},
     "there is no verb \"pin dance\"",
     "ukeyctl pin --help"},
    {"GroupAlone", {"pin"}, "a verb is missing", "ukeyctl pin --help"},
    {"UnknownOption", {"--dance"}, "there is no option \"--dance\"", "ukeyctl --help"},
    {"UnknownOptionOfAVerb",
     {"label", "get", "--dance"},
     "there is no option \"--dance\"",
     "ukeyctl label get --help"},
    {"WordTooMany", {"check", "it"}, "\"it\" is one word too many", "ukeyctl check --help"},
    {"MissingOption", {"request"}, "the option --description is missing", "ukeyctl request --help"},
    {"MissingOptionAndAWordTooMany",
     {"request", "dance"},
     "the option --description is missing",
     "ukeyctl request --help"},
    {"MissingArgument", {"cert", "import"}, "PKCS7 is missing", "ukeyctl cert import --help"},
    {"MissingValue",
     {"request", "--description"},
     "--description needs a value: TEXT",
     "ukeyctl request --help"},
    {"NeitherOfTwo", {"signhash"}, "--data or --data-file is missing", "ukeyctl signhash --help"},
    {"BothOfTwo",
     {"signhash", "--data", "a", "--data-file", "b"},
     "--data and --data-file exclude each other: give one of them",
     "ukeyctl signhash --help"},
    {"BothOfTwoThatNeedNotBe",
     {"batch-sign", "--batch", "a", "--batch-file", "b"},
     "--batch and --batch-file exclude each other: give one of them",
     "ukeyctl batch-sign --help"},
    {"Twice",
     {"label", "get", "--sn", "S", "--sn", "T"},
     "--sn is given more than once",
     "ukeyctl label get --help"},
    {"NotOneOf",
     {"cert", "get", "--format", "der"},
     "--format takes one of pem,text, not \"der\"",
     "ukeyctl cert get --help"},
    {"NoNumber",
     {"data", "get", "bad"},
     "INDEX takes a whole number, not \"bad\"",
     "ukeyctl data get --help"},
    {"NumberTooLarge",
     {"data", "get", "99999999999"},
     "INDEX does not go as far as \"99999999999\"",
     "ukeyctl data get --help"},
    {"NegativeCount",
     {"wait", "--count", "-1"},
     "--count takes a whole number from 0 to 2147483647, not \"-1\"",
     "ukeyctl wait --help"},
    {"TimeoutNan",
     {"wait", "--timeout", "nan"},
     "--timeout takes 0 to 1000000 seconds, not \"nan\"",
     "ukeyctl wait --help"},
    {"TimeoutInfinite",
     {"wait", "--timeout", "inf"},
     "--timeout takes 0 to 1000000 seconds, not \"inf\"",
     "ukeyctl wait --help"},
    {"TimeoutNegative",
     {"wait", "--timeout", "-0.5"},
     "--timeout takes 0 to 1000000 seconds, not \"-0.5\"",
     "ukeyctl wait --help"},
    {"TimeoutTooLong",
     {"wait", "--timeout", "1000001"},
     "--timeout takes 0 to 1000000 seconds, not \"1000001\"",
     "ukeyctl wait --help"},
    {"FlagWithAValue", {"info", "--json=7"}, "--json takes no value", "ukeyctl info --help"},
};

INSTANTIATE_TEST_SUITE_P(Ukeyctl, MistakeTest, testing::ValuesIn(kMistakes),
                         [](const auto& mistake) { return std::string(mistake.param.name); });

TEST_P(MistakeTest, IsToldInPlainWordsWithTheVerbsOwnHelp) {
    const Outcome outcome = Ukeyctl(GetParam().words).Run();
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(
        outcome.err,
        AllOf(StartsWith("ukeyctl"), HasSubstr(std::string("\n  why:  ") + GetParam().why + "\n"),
              HasSubstr(std::string("\n  next: see '") + GetParam().next + "'\n")));
    EXPECT_EQ(Calls(), "");
}

TEST_F(OutputTest, MistakeNamesTheVerbInJsonToo) {
    EXPECT_EQ(Ukeyctl({"cert", "get", "--param1", "x", "--json"}).Run().Json()["verb"], "cert get");
}

// The stand-in's call notes itself and stays at work until the test has seen that for long enough.
TEST_F(OutputTest, LongWorkOfAKeyShowsAClockOnATerminal) {
    const auto let_it_work = [&](pid_t /*process*/) {
        for (int looks = 0; Calls().empty() && looks < 6000; ++looks) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        MakeFile(Path("in"), "");
    };
    const auto sign = [&](bool as_json) {
        unlink(Path("in").c_str());
        unlink(Path("calls").c_str());
        std::vector<std::string> words = {"signhash", "--sn", "1234567890123456", "--data", "d"};
        words.insert(words.end(), as_json ? 1 : 0, "--json");
        return Ukeyctl(words, "SignHash=signature\n")
            .With("FAKE_WORKS_UNTIL", Path("in"))
            .ComplainsToTerminal()
            .Meanwhile(let_it_work)
            .Run();
    };
    const Outcome told = sign(false);
    EXPECT_EQ(told.status, 0);
    EXPECT_THAT(told.err, AllOf(StartsWith("\rthe key is at work: 1 s"), EndsWith("\r\x1B[K")));
    EXPECT_EQ(told.out, "signature\n");
    const Outcome for_scripts = sign(true);
    EXPECT_EQ(for_scripts.status, 0);
    EXPECT_EQ(for_scripts.err, "");
}

}  // namespace
