#include "api_test.h"
#include "scarce_memory.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";
constexpr const char* kSerialNumberInHex = "534E30313233343536373839";

TEST(InitUKey, UninitializedIsRefusedAfterTheDump) {
    G_LastError = 77;
    EXPECT_EQ(InitUKey(kSerialNumber), -109);
    EXPECT_EQ(G_LastError, 77);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), TextRecord("InitUKey", "Begin") + HexRecord("szSN:", kSerialNumberInHex));
}

TEST(InitUKey, ReachesTheKeyOnceInitialized) {
    ASSERT_EQ(Initialize(), 0);
    int32_t seen = 77;
    Key().CustInitCard.Does([&](auto, auto, auto, auto) {
        GetLastErrCode(&seen);
        return 0x0A000004;
    });
    G_LastError = 77;
    EXPECT_EQ(InitUKey(kSerialNumber), 0x0A000004);
    EXPECT_EQ(G_LastError, 0x0A000004);
    EXPECT_EQ(seen, 0);
    EXPECT_THAT(Calls(), ElementsAre("CustInitCard(\"SN0123456789\", 0, null, 0)"));
    EXPECT_EQ(std::get<0>(Key().CustInitCard.Arguments()[0]), kSerialNumber);
    EXPECT_EQ(LogText(), TextRecord("InitUKey", "Begin") + HexRecord("szSN:", kSerialNumberInHex) +
                             TextRecord("InitUKey", "End G_LastError: 0A000004"));
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

TEST(TestInitUKey, PassesItsPointerOn) {
    int parameter = 0;
    Key().CustInitCard.Returns(-5);
    EXPECT_EQ(TestInitUKey(kSerialNumber, &parameter), -5);
    EXPECT_EQ(G_LastError, -5);
    EXPECT_THAT(Calls(), ElementsAre("CustInitCard(\"SN0123456789\", 0, pointer, 0)"));
    EXPECT_EQ(std::get<2>(Key().CustInitCard.Arguments()[0]), &parameter);
    EXPECT_EQ(LogText(), TextRecord("TestInitUKey", "Begin") +
                             TextRecord("TestInitUKey", "End G_LastError: FFFFFFFB"));
}

TEST(TestInitUKey, InitializesAndTakesANullPointer) {
    G_LastError = 77;
    EXPECT_EQ(TestInitUKey(kSerialNumber, nullptr), 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(Calls(), ElementsAre("CustInitCard(\"SN0123456789\", 0, null, 0)"));
}

// --- Label -------------------------------------------------------------------------------------

TEST(GetLabel, NullArgumentsAreRefused) {
    Canary label(8);
    int32_t length = 8;
    EXPECT_EQ(GetLabel(nullptr, label, &length), -401);
    EXPECT_EQ(G_LastError, -401);
    EXPECT_EQ(GetLabel(kSerialNumber, label, nullptr), -401);
    EXPECT_EQ(GetLabel(nullptr, nullptr, &length), -401);
    EXPECT_EQ(length, 8);
    EXPECT_TRUE(label.Untouched());
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(GetLabel, EmptySerialNumberIsRefused) {
    Canary label(8);
    int32_t length = 8;
    EXPECT_EQ(GetLabel("", label, &length), -401);
    EXPECT_EQ(G_LastError, -401);
    EXPECT_EQ(length, 8);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(GetLabel, NullBufferReportsTheTerminator) {
    Key().GetLabel.Writes("My key");
    int32_t length = -1;
    G_LastError = 77;
    EXPECT_EQ(GetLabel(kSerialNumber, nullptr, &length), 0);
    EXPECT_EQ(length, 7);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), ElementsAre("GetLabel(\"SN0123456789\", zeroed[512])"));
    EXPECT_EQ(LogText(), "");
}

TEST(GetLabel, CapacityOfTheTextLengthSuffices) {
    Key().GetLabel.Writes("My key");
    for (const int32_t capacity : {6, 7, 100}) {
        Canary label(6);
        int32_t length = capacity;
        EXPECT_EQ(GetLabel(kSerialNumber, label, &length), 0) << capacity;
        EXPECT_EQ(length, 6) << capacity;
        EXPECT_TRUE(label.Holds("My key\0"s)) << capacity;
        EXPECT_EQ(G_LastError, 0) << capacity;
    }
}

TEST(GetLabel, SmallerBuffersAreToldTheTextLength) {
    Key().GetLabel.Writes("My key");
    for (const int32_t capacity : {5, 0, -1}) {
        Canary label(16);
        int32_t length = capacity;
        EXPECT_EQ(GetLabel(kSerialNumber, label, &length), -404) << capacity;
        EXPECT_EQ(length, 6) << capacity;
        EXPECT_TRUE(label.Untouched()) << capacity;
        EXPECT_EQ(G_LastError, -404) << capacity;
    }
}

TEST(GetLabel, EmptyLabel) {
    Canary label(8);
    int32_t length = 0;
    EXPECT_EQ(GetLabel(kSerialNumber, label, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(label.Holds("\0"s));
    EXPECT_EQ(GetLabel(kSerialNumber, nullptr, &length), 0);
    EXPECT_EQ(length, 1);
}

TEST(GetLabel, LongestLabel) {
    const std::string longest(511, 'L');
    Key().GetLabel.Writes(longest);
    Canary label(512);
    int32_t length = 512;
    EXPECT_EQ(GetLabel(kSerialNumber, label, &length), 0);
    EXPECT_EQ(length, 511);
    EXPECT_TRUE(label.Holds(longest + '\0'));
}

TEST(GetLabel, LabelThatFillsTheBufferStillEnds) {
    Key().GetLabel.Does([](char*, char* label) {
        memset(label, 'L', 512);
        return 0;
    });
    Canary label(513);
    int32_t length = 512;
    EXPECT_EQ(GetLabel(kSerialNumber, label, &length), 0);
    EXPECT_EQ(length, 512);
    EXPECT_TRUE(label.Holds(std::string(512, 'L') + '\0'));
}

TEST(GetLabel, ResetsTheLastErrorBeforeTheKeyWorks) {
    Initialize();
    G_LastError = 77;
    int32_t seen = -1;
    Key().GetLabel.Does([&](char*, char*) {
        seen = G_LastError;
        return 0;
    });
    int32_t length = 0;
    EXPECT_EQ(GetLabel(kSerialNumber, nullptr, &length), 0);
    EXPECT_EQ(seen, 0);
}

TEST(GetLabel, StringLibraryOutOfMemoryLeavesAsItsException) {
    G_LastError = 5;
    Canary label(8);
    int32_t length = 8;
    const scripted::ScarceStrings scarce(1);
    EXPECT_EQ(scripted::RaisedCode([&] { GetLabel("SN0123456789", label, &length); }),
              QRV::kOutOfMemory);
    EXPECT_TRUE(label.Untouched());
    EXPECT_EQ(length, 8);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(GetLabel, FailureLeavesBufferAndLength) {
    Key().GetLabel.Writes("My key", 5);
    Canary label(8);
    int32_t length = 8;
    EXPECT_EQ(GetLabel(kSerialNumber, label, &length), 5);
    EXPECT_EQ(length, 8);
    EXPECT_TRUE(label.Untouched());
    EXPECT_EQ(G_LastError, 5);
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
    EXPECT_NE(std::get<0>(Key().GetLabel.Arguments()[0]), serial_number.c_str());
}

// --- Texts that are handed on ------------------------------------------------------------------

struct TextPair {
    const char* name;
    int32_t (*call)(const char*, const char*);
    void (*answer)(int32_t);
    const char* expected;  // the key's call for ("first", "second")
};

class TextPairCall : public testing::TestWithParam<TextPair> {};

INSTANTIATE_TEST_SUITE_P(
    KeyStorage, TextPairCall,
    testing::Values(TextPair{"SetLabel", SetLabel,
                             [](int32_t code) { Key().SetLabel.Returns(code); },
                             "SetLabel(\"first\", \"second\")"},
                    TextPair{"SetCharset", SetCharset,
                             [](int32_t code) { Key().UOS_SetCharset.Returns(code); },
                             "UOS_SetCharset(\"second\", \"first\")"},
                    TextPair{"SetLanguage", SetLanguage,
                             [](int32_t code) { Key().UOS_SetLanguage.Returns(code); },
                             "UOS_SetLanguage(\"second\", \"first\")"}),
    [](const auto& pair) { return std::string(pair.param.name); });

TEST_P(TextPairCall, NullTextsAreRefused) {
    for (const auto& [first, second] : std::vector<std::pair<const char*, const char*>>{
             {nullptr, "second"}, {"first", nullptr}, {nullptr, nullptr}}) {
        G_LastError = 77;
        EXPECT_EQ(GetParam().call(first, second), -401);
        EXPECT_EQ(G_LastError, -401);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST_P(TextPairCall, ReachesTheKeyInItsOrder) {
    for (const int32_t code : {0, 5, -5}) {
        GetParam().answer(code);
        G_LastError = 77;
        EXPECT_EQ(GetParam().call("first", "second"), code);
        EXPECT_EQ(G_LastError, code);
        EXPECT_EQ(Calls().back(), GetParam().expected);
    }
    EXPECT_EQ(LogText(), "");
}

TEST_P(TextPairCall, EmptyTextsAreTheKeysAffair) {
    EXPECT_EQ(GetParam().call("", ""), 0);
    EXPECT_EQ(Calls().size(), 1U);
}

TEST(SetLabel, HandsTheCallersOwnTextsOn) {
    SetLabel(kSerialNumber, kSerialNumberInHex);
    EXPECT_EQ(Key().SetLabel.Arguments()[0], std::make_tuple(kSerialNumber, kSerialNumberInHex));
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

TEST(SetData, HandsTheCallersOwnTextsOn) {
    Key().SetData.Returns(-5);
    EXPECT_EQ(SetData(kSerialNumber, INT32_MIN, kSerialNumberInHex), -5);
    EXPECT_EQ(G_LastError, -5);
    EXPECT_EQ(Key().SetData.Arguments()[0],
              std::make_tuple(kSerialNumber, INT32_MIN, kSerialNumberInHex));
}

TEST(SetData, LastErrorStaysUntilTheKeyHasAnswered) {
    ASSERT_EQ(Initialize(), 0);
    int32_t seen = 0;
    Key().SetData.Does([&](auto, auto, auto) {
        GetLastErrCode(&seen);
        return 0;
    });
    G_LastError = 77;
    EXPECT_EQ(SetData(kSerialNumber, 1, "data"), 0);
    EXPECT_EQ(seen, 77);
    EXPECT_EQ(G_LastError, 0);
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

TEST(GetData, NullLengthIsRefused) {
    Canary data(8);
    EXPECT_EQ(GetData(kSerialNumber, 1, data, nullptr), -401);
    EXPECT_EQ(G_LastError, -401);
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(GetData, NullBufferReportsTheTerminator) {
    Key().GetData.Writes("my data");
    int32_t length = -1;
    G_LastError = 77;
    EXPECT_EQ(GetData(kSerialNumber, 1, nullptr, &length), 0);
    EXPECT_EQ(length, 8);
    EXPECT_EQ(G_LastError, 0);
}

TEST(GetData, CapacityOfTheTextLengthSuffices) {
    Key().GetData.Writes("my data");
    for (const int32_t capacity : {7, 8, 100}) {
        Canary data(7);
        int32_t length = capacity;
        EXPECT_EQ(GetData(kSerialNumber, 1, data, &length), 0) << capacity;
        EXPECT_EQ(length, 7) << capacity;
        EXPECT_TRUE(data.Holds("my data\0"s)) << capacity;
        EXPECT_EQ(G_LastError, 0) << capacity;
    }
}

TEST(GetData, SmallerBuffersAreToldTheLengthWithTerminator) {
    Key().GetData.Writes("my data");
    for (const int32_t capacity : {6, 0, -1}) {
        Canary data(16);
        int32_t length = capacity;
        EXPECT_EQ(GetData(kSerialNumber, 1, data, &length), -404) << capacity;
        EXPECT_EQ(length, 8) << capacity;
        EXPECT_TRUE(data.Untouched()) << capacity;
        EXPECT_EQ(G_LastError, -404) << capacity;
    }
}

TEST(GetData, LongestData) {
    const std::string longest(259, 'd');
    Key().GetData.Writes(longest);
    Canary data(260);
    int32_t length = 260;
    EXPECT_EQ(GetData(kSerialNumber, 1, data, &length), 0);
    EXPECT_EQ(length, 259);
    EXPECT_TRUE(data.Holds(longest + '\0'));
}

TEST(GetData, DataThatFillsTheBufferStillEnds) {
    Key().GetData.Does([](const char*, int32_t, char* data) {
        memset(data, 'D', 260);
        return 0;
    });
    Canary data(261);
    int32_t length = 260;
    EXPECT_EQ(GetData(kSerialNumber, 1, data, &length), 0);
    EXPECT_EQ(length, 260);
    EXPECT_TRUE(data.Holds(std::string(260, 'D') + '\0'));
}

TEST(GetData, EmptyData) {
    Canary data(8);
    int32_t length = 0;
    EXPECT_EQ(GetData(kSerialNumber, 1, data, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(data.Holds("\0"s));
}

TEST(GetData, FailureLeavesBufferAndLength) {
    Key().GetData.Writes("my data", -5);
    Canary data(8);
    int32_t length = 8;
    EXPECT_EQ(GetData(kSerialNumber, 1, data, &length), -5);
    EXPECT_EQ(length, 8);
    EXPECT_TRUE(data.Untouched());
    EXPECT_EQ(G_LastError, -5);
}

TEST(GetData, HandsTheCallersOwnKeyTextOn) {
    int32_t length = 0;
    GetData(kSerialNumber, 1, nullptr, &length);
    EXPECT_EQ(std::get<0>(Key().GetData.Arguments()[0]), kSerialNumber);
}

}  // namespace
