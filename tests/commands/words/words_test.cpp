#include "cli/words.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <clocale>
#include <cstdlib>

#include "cli/failure.h"
#include "cli/printable.h"
#include "cli/table.h"
#include "cli/wrapping.h"

// The C library's newlocale keeps what it made of LOCPATH, which only tests set.
// NOLINTNEXTLINE(bugprone-reserved-identifier): the sanitizer's name
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions();
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:argz_add_sep";
}

namespace {

using testing::HasSubstr;

// The program speaks once, so that each case is a process of its own. No words: no --json.
void SpeakIn(const char* locale, std::vector<const char*> words = {"ukeyctl"}) {
    setenv("LOCPATH", TEST_LOCALES, 1);
    setenv("LC_ALL", locale, 1);
    unsetenv("LANGUAGE");
    cli::Speak("ukeyctl", static_cast<int>(words.size()), const_cast<char**>(words.data()));
}

TEST(Words, AreEnglishUntilTheProgramSpeaks) {
    EXPECT_EQ(cli::Say("All is well."), "All is well.");
    EXPECT_FALSE(cli::IsChinese());
}

TEST(Words, AreChineseInAChineseLocale) {
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::Say("All is well."), "一切正常。");
    EXPECT_TRUE(cli::IsChinese());
}

TEST(Words, AreEnglishInAnyOtherLocale) {
    SpeakIn("C");
    EXPECT_EQ(cli::Say("All is well."), "All is well.");
}

TEST(Words, AreEnglishWithJson) {
    SpeakIn("zh_CN.UTF-8", {"ukeyctl", "doctor", "--json"});
    EXPECT_EQ(cli::Say("All is well."), "All is well.");
}

TEST(Words, AreChineseWhenJsonIsAClientsOption) {
    SpeakIn("zh_CN.UTF-8", {"ukeyctl", "record", "--", "client", "--json"});
    EXPECT_EQ(cli::Say("All is well."), "一切正常。");
}

TEST(Words, AreEnglishAsLongAsItIsAskedFor) {
    SpeakIn("zh_CN.UTF-8");
    {
        const cli::InEnglish meanwhile;
        EXPECT_EQ(cli::Say("All is well."), "All is well.");
    }
    EXPECT_EQ(cli::Say("All is well."), "一切正常。");
}

TEST(Words, LeaveTheLocaleOfTheProcessAlone) {
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::Say("All is well."), "一切正常。");
    EXPECT_STREQ(std::setlocale(LC_ALL, nullptr), "C");
}

TEST(Words, PutEachArgumentWhereTheSentenceWantsIt) {
    EXPECT_EQ(cli::Say("{2} of {1}", "a", "b"), "b of a");
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::Say("{1} of {2} tries left", 1, 6), "共 6 次机会，剩余 1 次");
}

TEST(Words, TakeArgumentsAsTheyAre) {
    EXPECT_EQ(cli::Say("{1} and {2}", std::string("{2}"), std::string("b")), "{2} and b");
    EXPECT_EQ(cli::Say("{1} and {3}", std::string("a")), "a and {3}");
    EXPECT_EQ(cli::Say("{x} {} {1", std::string("a")), "{x} {} {1");
}

TEST(Words, SayConstantsInTheSentencesLanguageAndDataAsItIs) {
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::Say("{1}: {2}", "signing", std::string("signing")), "签名：signing");
}

TEST(Words, TellOneFromSeveral) {
    EXPECT_EQ(cli::SayCount("{1} call", "{1} calls", 1), "1 call");
    EXPECT_EQ(cli::SayCount("{1} call", "{1} calls", 0), "0 calls");
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::SayCount("{1} call", "{1} calls", 1), "1 次调用");
    EXPECT_EQ(cli::SayCount("{1} call", "{1} calls", 2), "2 次调用");
}

TEST(Words, TellErrorsOfTheSystem) {
    EXPECT_EQ(cli::SayError(ENOENT), "No such file or directory");
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::SayError(ENOENT), "没有那个文件或目录");
}

TEST(Words, AreEncodedForTheTerminal) {
    SpeakIn("zh_CN.GB18030");
    EXPECT_EQ(cli::Say("English"), "中文");
    EXPECT_EQ(cli::Encoded("中a€"), "\xD6\xD0\x61\xA2\xE3");
    EXPECT_EQ(cli::Decoded("\xD6\xD0\x61\xA2\xE3"), "中a€");
}

TEST(Words, LoseOnlyWhatTheTerminalLacks) {
    SpeakIn("zh_CN.GB2312");
    EXPECT_EQ(cli::Encoded("中€文\xFF."), "\xD6\xD0?\xCE\xC4\xFF.");
}

TEST(Words, StayUtf8WhereTheTerminalTakesThat) {
    SpeakIn("zh_CN.UTF-8");
    EXPECT_EQ(cli::Encoded("中€\xFF"), "中€\xFF");
}

TEST(Words, OfAFailureAreSaidOnce) {
    SpeakIn("zh_CN.UTF-8");
    const cli::Failure failure = cli::MakeFailure(cli::ExitStatus::kFile, "not carried out",
                                                  "it is closed", "check where the output goes");
    EXPECT_EQ(cli::Describe("ukeyctl", failure, cli::Layout::kAligned),
              "ukeyctl: 未执行\n  原因：它已关闭\n  处理：请检查输出去向\n");
}

TEST(Columns, CountsWhatATerminalShows) {
    EXPECT_EQ(cli::Columns("a中，e\u0301\xFF"), 7U);
}

// The first and last of each range that takes two columns or none, and their neighbours.
TEST(Columns, AreTwoOrNoneFromTheFirstOfARangeToItsLast) {
    const auto columns = [](const char* characters) {
        std::string widths;
        for (std::string_view rest = characters; !rest.empty();) {
            const size_t length = cli::CharacterLength(rest);
            widths += std::to_string(cli::Columns(rest.substr(0, length)));
            rest.remove_prefix(length);
        }
        return widths;
    };
    EXPECT_EQ(columns("\u02FF\u0300\u036F\u0370"), "1001");
    EXPECT_EQ(columns("\u10FF\u1100\u115F\u1160"), "1221");
    EXPECT_EQ(columns("\u200A\u200B\u200F\u2010"), "1001");
    EXPECT_EQ(columns("\u2E7F\u2E80\u303E\u303F\u3040\u3041\uA4CF\uA4D0"), "12211221");
    EXPECT_EQ(columns("\uABFF\uAC00\uD7A3\uD7A4"), "1221");
    EXPECT_EQ(columns("\uF8FF\uF900\uFAFF\uFB00"), "1221");
    EXPECT_EQ(columns("\uFDFF\uFE00\uFE0F\uFE10"), "1001");
    EXPECT_EQ(columns("\uFE2F\uFE30\uFE6F\uFE70"), "1221");
    EXPECT_EQ(columns("\uFF00\uFF01\uFF60\uFF61\uFFDF\uFFE0\uFFE6\uFFE7"), "12211221");
    EXPECT_EQ(columns("\U0001F2FF\U0001F300\U0001F64F\U0001F650"), "1221");
    EXPECT_EQ(columns("\U0001F8FF\U0001F900\U0001F9FF\U0001FA00"), "1221");
    EXPECT_EQ(columns("\U0001FFFF\U00020000\U0003FFFD\U0003FFFE"), "1221");
}

TEST(Table, AlignsWideCharacters) {
    EXPECT_EQ(cli::InColumns({"中", "b"}, {{"a", "x"}, {"中文", "y"}}),
              "中    b\na     x\n中文  y\n");
}

TEST(Fill, BreaksChineseBetweenItsCharacters) {
    EXPECT_EQ(cli::Fill("插入钥匙再试", 0, 2, 8), "插入钥匙\n  再试");
}

TEST(Fill, BeginsNoLineWithClosingPunctuation) {
    EXPECT_EQ(cli::Fill("插入钥匙，再试", 0, 2, 8), "插入钥\n  匙，再\n  试");
}

TEST(Fill, KeepsNamesInChineseWhole) {
    EXPECT_EQ(cli::Fill("用 ukeyctl 看", 0, 0, 9), "用\nukeyctl\n看");
}

TEST(Fill, GoesToTheLastColumnAndNoFurther) {
    EXPECT_EQ(cli::Fill("four five", 3, 2, 12), "four five");
    EXPECT_EQ(cli::Fill("four five", 4, 2, 12), "four\n  five");
}

TEST(Fill, BreaksAListThatIsTooLongBehindItsCommasAndBars) {
    EXPECT_EQ(cli::Fill("one,two|three", 0, 2, 8), "one,two|\n  three");
    EXPECT_EQ(cli::Fill("one,two", 4, 2, 10), "one,two") << "there is room for it in a line";
}

TEST(Row, StandsSideBySideWhereThereIsRoomForAGap) {
    EXPECT_EQ(cli::Row("name", "what it is", 2, 8, 40), "  name  what it is\n");
    EXPECT_EQ(cli::Row("names", "what it is", 2, 8, 40), "  names\n        what it is\n");
    EXPECT_EQ(cli::Row("name", "", 2, 8, 40), "  name\n");
}

TEST(Lay, KeepsColumnsThatFit) {
    EXPECT_EQ(cli::Lay("Some prose.\n\n  name  what it is\n", 40),
              "Some prose.\n\n  name  what it is\n");
}

TEST(Lay, FillsTheRightColumnOfALineThatIsTooLong) {
    EXPECT_EQ(cli::Lay("  --out FILE  where the text is written to, and not to the terminal\n", 40),
              "  --out FILE  where the text is written\n"
              "              to, and not to the\n"
              "              terminal\n");
}

TEST(Lay, PutsTheRightColumnBelowWhereItWouldBeNarrow) {
    EXPECT_EQ(cli::Lay("  ukeyctl cert get --out FILE  writes the certificate to a file\n", 40),
              "  ukeyctl cert get --out FILE\n"
              "        writes the certificate to a file\n");
}

TEST(Lay, KeepsAnOptionAndItsValueInALineThatHasRoomForBoth) {
    const std::string value(20, 'A');
    EXPECT_EQ(cli::Lay("  ukeyctl sign --warning " + value + "\n", 40),
              "  ukeyctl sign \\\n        --warning " + value + "\n");
    EXPECT_EQ(cli::Lay("  ukeyctl sign --warning " + value + "A\n", 40),
              "  ukeyctl sign --warning \\\n        " + value + "A\n");
}

TEST(Lay, BreaksNoCommandInsideQuotes) {
    EXPECT_EQ(cli::Lay("  ukeyctl sign --warning \"don't pay 9\" --data 'to 4711'\n", 40),
              "  ukeyctl sign --warning \"don't pay 9\" \\\n        --data 'to 4711'\n");
}

}  // namespace
