#include "api_test.h"

namespace {

TEST(ChangePin, EmptySerialNumberIsTheKeysAffair) {
    EXPECT_EQ(ChangePin(""), 0);
    EXPECT_THAT(Calls(), ElementsAre("ChangePin(\"\")"));
    EXPECT_EQ(LogText(), TextRecord("ChangePin", "Begin") + HexRecord("szSN:", "") +
                             TextRecord("ChangePin", "End G_LastError: 00000000"));
}

TEST(ChangePin, DumpsTheSerialNumberBeforeItInitializes) {
    std::string before;
    Libc().dlopen.replacement = [&](const char* path, int mode) {
        before = LogText();
        return Libc().dlopen.real(path, mode);
    };
    EXPECT_EQ(ChangePin("AB"), 0);
    EXPECT_EQ(before, TextRecord("ChangePin", "Begin") + HexRecord("szSN:", "4142"));
}

}  // namespace
