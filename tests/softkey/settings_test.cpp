#include "base/settings.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "base/error.h"

namespace softkey {
namespace {

TEST(Settings, TheLocaleGivesTheFirstLanguage) {
    setenv("LC_ALL", "zh_CN.UTF-8", 1);
    EXPECT_EQ(Language::kChinese, CurrentLanguage());
}

TEST(Settings, AnotherLocaleMeansEnglish) {
    setenv("LC_ALL", "de_DE.UTF-8", 1);
    EXPECT_EQ(Language::kEnglish, CurrentLanguage());
}

TEST(Settings, LanguagesAndCharacterSetsAreChosenByTheirNames) {
    for (const char* const name : {"zh", "zh_CN", "ZH-cn"}) {
        SelectLanguage(name);
        EXPECT_EQ(Language::kChinese, CurrentLanguage()) << name;
        SelectLanguage("en_US");
        EXPECT_EQ(Language::kEnglish, CurrentLanguage());
    }
    SelectCharset("gb18030");
    EXPECT_EQ(Charset::kGb18030, CurrentCharset());
    SelectCharset("UTF-8");
    EXPECT_EQ(Charset::kUtf8, CurrentCharset());
}

TEST(Settings, OtherNamesAreRefusedAndChangeNothing) {
    SelectLanguage("zh");
    for (const char* const name : {"", "fr", "zh_TW", "english"}) {
        EXPECT_THROW(SelectLanguage(name), Error) << name;
    }
    for (const char* const name : {"", "GBK", "latin1"}) {
        EXPECT_THROW(SelectCharset(name), Error) << name;
    }
    EXPECT_EQ(Language::kChinese, CurrentLanguage());
    EXPECT_EQ(Charset::kUtf8, CurrentCharset());
}

TEST(Settings, TextsAreConvertedBothWays) {
    SelectCharset("GB18030");
    EXPECT_EQ("\xC3\xDC\xD4\xBF", ToClient("密钥"));
    EXPECT_EQ("密钥", FromClient("\xC3\xDC\xD4\xBF"));
    EXPECT_EQ("", ToClient(""));
}

TEST(Settings, BytesThatAreNoTextAreRefused) {
    EXPECT_THROW(FromClient("\xFF\xFE"), Error);
    SelectCharset("GB18030");
    EXPECT_THROW(FromClient("\xFF"), Error);
}

}  // namespace
}  // namespace softkey
