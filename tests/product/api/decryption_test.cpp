#include "api_test.h"

namespace {

void Decrypt(const char* cipher) {
    Canary plain(100);
    int32_t length = 100;
    AsymDec("SN0123456789", 1, 2, cipher, plain, &length);
}

// The estimate still goes by the text as given, with its line breaks.
TEST(AsymDec, RemovesLineBreaksAndNothingElseFromTheCiphertext) {
    const struct {
        std::string cipher;
        std::string reaches_key;
    } texts[] = {
        {"ab\r\ncd\r\n", "\"abcd\""},
        {"\r\r\n\nab\n\r", "\"ab\""},
        {"\r\n", "\"\""},
        {"", "\"\""},
        {" a,b\t|c ", "\" a,b\\t|c \""},
    };
    for (const auto& text : texts) {
        Decrypt(text.cipher.c_str());
        const std::string size = std::to_string((text.cipher.size() + 4096) * 2);
        EXPECT_EQ(Calls().back(), "GMUSBKeyAsymDec2(\"SN0123456789\", 1, 2, " + text.reaches_key +
                                      ", zeroed[" + size + "], &" + size + ")");
    }
}

TEST(AsymDec, LeavesTheCallersCiphertextAsItIs) {
    char cipher[] = "ab\r\ncd";
    Decrypt(cipher);
    EXPECT_STREQ(cipher, "ab\r\ncd");
}

}  // namespace
