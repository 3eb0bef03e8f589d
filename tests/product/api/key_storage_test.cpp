#include "api_test.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";

TEST(InitUKey, UninitializedIsRefusedAfterTheDump) {
    G_LastError = 77;
    EXPECT_EQ(InitUKey(kSerialNumber), -109);
    EXPECT_EQ(G_LastError, 77);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(),
              TextRecord("InitUKey", "Begin") + HexRecord("szSN:", "534E30313233343536373839"));
}

TEST(InitUKey, AnyInitializingCallBeforeWillDo) {
    VerifyPIN(kSerialNumber);
    EXPECT_EQ(InitUKey(kSerialNumber), 0);
}

TEST(InitUKey, AfterFinalizeIsRefusedAgain) {
    ASSERT_EQ(Initialize(), 0);
    Finalize();
    EXPECT_EQ(InitUKey(kSerialNumber), -109);
    EXPECT_THAT(Calls(), IsEmpty());
}

// --- Label -------------------------------------------------------------------------------------

TEST(GetLabel, EmptySerialNumberIsRefused) {
    Canary label(8);
    int32_t length = 8;
    EXPECT_EQ(GetLabel("", label, &length), -401);
    EXPECT_EQ(G_LastError, -401);
    EXPECT_EQ(length, 8);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(GetLabel, KeyMayWriteIntoItsCopyOfTheSerialNumber) {
    Key().GetLabel.Does([](char* serial_number, char* label) {
        memset(serial_number, 'x', strlen(serial_number));
        strcpy(label, "My key");
        return 0;
    });
    std::string serial_number = kSerialNumber;
    int32_t length = 0;
    EXPECT_EQ(GetLabel(serial_number.c_str(), nullptr, &length), 0);
    EXPECT_EQ(serial_number, kSerialNumber);
}

// --- Texts that are handed on ------------------------------------------------------------------

TEST(TextPairs, EmptyTextsAreTheKeysAffair) {
    EXPECT_EQ(SetLabel("", ""), 0);
    EXPECT_EQ(SetCharset("", ""), 0);
    EXPECT_EQ(SetLanguage("", ""), 0);
    EXPECT_EQ(Calls().size(), 3U);
}

// --- Data --------------------------------------------------------------------------------------

constexpr const char* kRefusedKeyTexts[] = {nullptr, "", "K", "123456789", "12345678901234567"};
constexpr const char* kAcceptedKeyTexts[] = {"1234567890", "1234567890123456"};

std::string Text(const char* text) {
    return text == nullptr ? "null" : text;
}

TEST(SetData, KeyTextsHaveTenToSixteenCharacters) {
    for (const char* text : kRefusedKeyTexts) {
        G_LastError = 77;
        EXPECT_EQ(SetData(text, 1, "data"), -401) << Text(text);
        EXPECT_EQ(G_LastError, -401) << Text(text);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    for (const char* text : kAcceptedKeyTexts) {
        EXPECT_EQ(SetData(text, 1, "data"), 0) << text;
        EXPECT_EQ(G_LastError, 0) << text;
    }
    EXPECT_THAT(Calls(), ElementsAre("SetData(\"1234567890\", 1, \"data\")",
                                     "SetData(\"1234567890123456\", 1, \"data\")"));
    EXPECT_EQ(LogText(), "");
}

TEST(SetData, DataHasAtMostThreeHundredCharacters) {
    EXPECT_EQ(SetData(kSerialNumber, 1, nullptr), -401);
    EXPECT_EQ(SetData(kSerialNumber, 1, std::string(301, 'd').c_str()), -401);
    EXPECT_EQ(G_LastError, -401);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(SetData(kSerialNumber, 1, std::string(300, 'd').c_str()), 0);
    EXPECT_EQ(SetData(kSerialNumber, 1, ""), 0);
    EXPECT_EQ(Calls().size(), 2U);
}

TEST(GetData, KeyTextsHaveTenToSixteenCharacters) {
    for (const char* text : kRefusedKeyTexts) {
        Canary data(8);
        int32_t length = 8;
        G_LastError = 77;
        EXPECT_EQ(GetData(text, 1, data, &length), -401) << Text(text);
        EXPECT_EQ(G_LastError, -401) << Text(text);
        EXPECT_EQ(length, 8) << Text(text);
        EXPECT_TRUE(data.Untouched()) << Text(text);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    for (const char* text : kAcceptedKeyTexts) {
        int32_t length = 0;
        EXPECT_EQ(GetData(text, -7, nullptr, &length), 0) << text;
    }
    EXPECT_THAT(Calls(), ElementsAre("GetData(\"1234567890\", -7, zeroed[260])",
                                     "GetData(\"1234567890123456\", -7, zeroed[260])"));
    EXPECT_EQ(LogText(), "");
}

}  // namespace
