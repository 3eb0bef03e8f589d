// Which name was meant.
#include "lint/suggestion.h"

#include <gmock/gmock.h>

namespace {

const std::vector<std::string_view> kNames = {"CertType", "KeyType", "HashType"};

TEST(Suggestion, IsTheNameThatIsAFewLettersAway) {
    const std::pair<const char*, const char*> cases[] = {
        {"KeyTpye", "KeyType"},    {"keytype", "KeyType"},    {"CertTyp", "CertType"},
        {"HashTypes", "HashType"}, {"Has hType", "HashType"}, {"Cert", "CertType"},
        {"HASH", "HashType"},      {"CretType", "CertType"},  {")KeyType", "KeyType"},
    };
    for (const auto& [name, meant] : cases) {
        EXPECT_EQ(lint::Nearest(name, kNames), meant) << name;
    }
}

TEST(Suggestion, IsNotMadeWhereNoNameIsNear) {
    for (const std::string name : {"", " ", "Foo", "x", "Serial", "CertTypeKeyTypeHashType"}) {
        EXPECT_EQ(lint::Nearest(name, kNames), "") << name;
    }
    EXPECT_EQ(lint::Nearest(std::string(1000000, 'x'), kNames), "");
}

TEST(Suggestion, IsMadeOfThreeLettersOfABeginningAndNoFewer) {
    EXPECT_EQ(lint::Nearest("Cer", kNames), "CertType");
    EXPECT_EQ(lint::Nearest("Ce", kNames), "");
}

TEST(Suggestion, CountsASwapAsOneChange) {
    EXPECT_EQ(lint::Distance("KeyTpye", "KeyType"), 1U);
    EXPECT_EQ(lint::Distance("", "abc"), 3U);
    EXPECT_EQ(lint::Distance("abc", ""), 3U);
    EXPECT_EQ(lint::Distance("ABC", "abc"), 0U);
    EXPECT_EQ(lint::Distance("kitten", "sitting"), 3U);
}

TEST(Suggestion, KnowsTheFullWidthForms) {
    EXPECT_EQ(lint::FindFullWidth("a\xEF\xBC\x88").meant, "(");
    EXPECT_EQ(lint::FindFullWidth("a\xEF\xBC\x89").meant, ")");
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBD\x9C").meant, "|");
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBC\x99").meant, "9");
    EXPECT_EQ(lint::FindFullWidth("ab\xEF\xBC\x91").at, 2U);
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBC\x90").meant, "0");
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBC\x8C").meant, ",");
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBC\xA1\xEF\xBC\x91").at, 3U);
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBB\x88").at, std::string_view::npos);
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBE\x9C").at, std::string_view::npos);
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBC").at, std::string_view::npos);
    EXPECT_EQ(lint::FindFullWidth("plain").at, std::string_view::npos);
    EXPECT_EQ(lint::FindFullWidth("\xEF\xBC\xA1").at, std::string_view::npos) << "a letter";
}

}  // namespace
