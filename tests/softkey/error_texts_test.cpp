#include <cstring>
#include <fstream>
#include <regex>
#include <set>

#include "codes/catalogue.h"
#include "codes/notation.h"
#include "codes/texts.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

bool HasChinese(const std::string& text) {
    for (const char c : text) {
        if ((static_cast<unsigned char>(c) & 0x80) != 0) return true;
    }
    return false;
}

TEST(ErrorTexts, EveryCodeHasOneTextInEachLanguage) {
    std::set<int32_t> seen;
    for (const codes::Row& row : codes::All()) {
        if (row.english == nullptr) continue;
        const std::string code = codes::Hexadecimal(row.code);
        EXPECT_TRUE(seen.insert(row.code).second) << code;
        EXPECT_FALSE(HasChinese(row.english)) << code;
        EXPECT_TRUE(HasChinese(row.chinese)) << code;
        EXPECT_GT(std::strlen(row.english), 5U);
        // GetErrorMsg tells its callers that 200 bytes are enough.
        EXPECT_LT(std::strlen(row.english), 200U);
        EXPECT_LT(std::strlen(row.chinese), 200U);
    }
    for (const int32_t own : {-101, -109, -300, -401, -404, 0}) EXPECT_EQ(1U, seen.count(own));
}

TEST(ErrorTexts, EveryCodeThatAnEntryAnswersHasOne) {
    std::ifstream header(SOFTKEY_CODES);
    const std::regex enumerator(R"( +(k\w+) = (\w+),)");
    int seen = 0;
    std::smatch code;
    for (std::string line; std::getline(header, line);) {
        if (!std::regex_match(line, code, enumerator)) continue;
        ++seen;
        const codes::Row* const row = codes::Find(std::stoi(code[2], nullptr, 0));
        EXPECT_TRUE(row != nullptr && row->english != nullptr)
            << code[1] << " has no row with texts in codes/catalogue.cpp";
    }
    EXPECT_GT(seen, 0);
}

TEST(ErrorTexts, AnUnknownCodeShowsItsNumber) {
    EXPECT_EQ("Unknown code 0xDEADBEEF.",
              codes::TextOf(static_cast<int32_t>(0xDEADBEEF), codes::Language::kEnglish));
    EXPECT_EQ("未知错误码 0x00000007。", codes::TextOf(7, codes::Language::kChinese));
}

}  // namespace
}  // namespace softkey::testing
