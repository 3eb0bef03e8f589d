#include "codes/texts.h"

#include <cstring>
#include <set>

#include "softkey_test.h"

namespace softkey::testing {
namespace {

std::string Hex(int32_t code) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(code));
    return text;
}

bool HasChinese(const std::string& text) {
    for (const char c : text) {
        if ((static_cast<unsigned char>(c) & 0x80) != 0) return true;
    }
    return false;
}

TEST(ErrorTexts, EveryCodeHasOneTextInEachLanguage) {
    size_t count = 0;
    const ErrorText* const texts = ErrorTexts(&count);
    std::set<int32_t> seen;
    for (size_t i = 0; i < count; ++i) {
        EXPECT_TRUE(seen.insert(texts[i].code).second) << Hex(texts[i].code);
        EXPECT_FALSE(HasChinese(texts[i].english)) << Hex(texts[i].code);
        EXPECT_TRUE(HasChinese(texts[i].chinese)) << Hex(texts[i].code);
        EXPECT_GT(std::strlen(texts[i].english), 5U);
        // GetErrorMsg tells its callers that 200 bytes are enough.
        EXPECT_LT(std::strlen(texts[i].english), 200U);
        EXPECT_LT(std::strlen(texts[i].chinese), 200U);
    }
    for (const int32_t own : {-101, -109, -300, -401, -404, 0}) EXPECT_EQ(1U, seen.count(own));
}

TEST(ErrorTexts, ThePageNamesEveryCodeWithItsText) {
    const std::string page = ReadFile(SOFTKEY_PAGE);
    ASSERT_FALSE(page.empty());
    size_t count = 0;
    const ErrorText* const texts = ErrorTexts(&count);
    for (size_t i = 0; i < count; ++i) {
        if (texts[i].code <= 0) continue;
        const std::string row = "| " + Hex(texts[i].code) + " | " + texts[i].english + " |";
        EXPECT_NE(std::string::npos, page.find(row)) << row;
    }
}

TEST(ErrorTexts, AnUnknownCodeShowsItsNumber) {
    EXPECT_EQ("Unknown code 0xDEADBEEF.",
              TextOf(static_cast<int32_t>(0xDEADBEEF), Language::kEnglish));
    EXPECT_EQ("未知错误码 0x00000007。", TextOf(7, Language::kChinese));
}

}  // namespace
}  // namespace softkey::testing
