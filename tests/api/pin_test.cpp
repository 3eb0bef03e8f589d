#include "api_test.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";
constexpr const char* kSerialNumberInHex = "534E30313233343536373839";

TEST(ChangePin, LogsAroundTheCall) {
    Key().ChangePin.Returns(0x0A000003);
    G_LastError = 77;
    EXPECT_EQ(ChangePin(kSerialNumber), 0x0A000003);
    EXPECT_EQ(G_LastError, 0x0A000003);
    EXPECT_THAT(Calls(), ElementsAre("ChangePin(\"SN0123456789\")"));
    EXPECT_EQ(std::get<0>(Key().ChangePin.Arguments()[0]), kSerialNumber);
    EXPECT_EQ(LogText(), TextRecord("ChangePin", "Begin") + HexRecord("szSN:", kSerialNumberInHex) +
                             TextRecord("ChangePin", "End G_LastError: 0A000003"));
}

TEST(ChangePin, SuccessClearsTheLastError) {
    G_LastError = 77;
    EXPECT_EQ(ChangePin("AB"), 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(LogText(), TextRecord("ChangePin", "Begin") + HexRecord("szSN:", "4142") +
                             TextRecord("ChangePin", "End G_LastError: 00000000"));
}

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

TEST(ChangePin, LastErrorIsClearWhileTheKeyWorks) {
    int32_t seen = 77;
    Key().ChangePin.Does([&](const char*) {
        GetLastErrCode(&seen);
        return 5;
    });
    G_LastError = 77;
    EXPECT_EQ(ChangePin(kSerialNumber), 5);
    EXPECT_EQ(seen, 0);
}

TEST(ChangePin, WithoutABackendLogsUnavailable) {
    scripted::RemoveBackend();
    EXPECT_EQ(ChangePin("AB"), -101);
    EXPECT_EQ(LogText(), TextRecord("ChangePin", "Begin") + HexRecord("szSN:", "4142") +
                             TextRecord("ChangePin", "End G_LastError: FFFFFF9B"));
}

TEST(VerifyPIN, PassesTheKeysAnswerOn) {
    for (const int32_t code : {0, 5, -5, INT32_MIN, INT32_MAX}) {
        Key().VerifyPIN.Returns(code);
        G_LastError = 77;
        EXPECT_EQ(VerifyPIN(kSerialNumber), code);
        EXPECT_EQ(G_LastError, code);
    }
    EXPECT_EQ(std::get<0>(Key().VerifyPIN.Arguments()[0]), kSerialNumber);
    EXPECT_EQ(LogText(), "");
}

TEST(VerifyPIN, NullSerialNumberIsTheKeysAffair) {
    Key().VerifyPIN.Returns(5);
    EXPECT_EQ(VerifyPIN(nullptr), 5);
    EXPECT_THAT(Calls(), ElementsAre("VerifyPIN(null)"));
}

TEST(VerifyPIN, LastErrorStaysUntilTheKeyHasAnswered) {
    Initialize();
    int32_t seen = 0;
    Key().VerifyPIN.Does([&](const char*) {
        GetLastErrCode(&seen);
        return 0;
    });
    G_LastError = 77;
    EXPECT_EQ(VerifyPIN(kSerialNumber), 0);
    EXPECT_EQ(seen, 77);
    EXPECT_EQ(G_LastError, 0);
}

TEST(TestVerifyAndCachePin, PassesBothArgumentsOn) {
    Key().VerifyAndCachePin.Returns(-5);
    EXPECT_EQ(TestVerifyAndCachePin(kSerialNumber, INT64_MIN), -5);
    EXPECT_EQ(G_LastError, -5);
    EXPECT_EQ(TestVerifyAndCachePin(nullptr, 1), -5);
    EXPECT_THAT(Calls(), ElementsAre("VerifyAndCachePin(\"SN0123456789\", -9223372036854775808)",
                                     "VerifyAndCachePin(null, 1)"));
    EXPECT_EQ(LogText(), "");
}

TEST(TestVerifyAndCachePin, SuccessClearsTheLastError) {
    G_LastError = 77;
    EXPECT_EQ(TestVerifyAndCachePin(kSerialNumber, 0), 0);
    EXPECT_EQ(G_LastError, 0);
}

TEST(GetPinInfo, NullLengthIsRefused) {
    Canary info(8);
    G_LastError = 77;
    EXPECT_EQ(GetPinInfo(kSerialNumber, info, nullptr), -401);
    EXPECT_EQ(G_LastError, -401);
    EXPECT_EQ(GetPinInfo(kSerialNumber, nullptr, nullptr), -401);
    EXPECT_TRUE(info.Untouched());
    EXPECT_THAT(Calls(), IsEmpty());
}

TEST(GetPinInfo, NullBufferReportsTheBoundWithoutTheKey) {
    int32_t length = -1;
    G_LastError = 77;
    EXPECT_EQ(GetPinInfo(kSerialNumber, nullptr, &length), 0);
    EXPECT_EQ(length, 8);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(GetPinInfo, LeavesBufferAndLengthToTheKey) {
    Key().GetPinInfo.Does([](const char*, void* info, int32_t* length) {
        memcpy(info, "info", 4);
        *length = 4;
        return 5;
    });
    Canary info(8);
    int32_t length = 2;
    EXPECT_EQ(GetPinInfo(kSerialNumber, info, &length), 5);
    EXPECT_EQ(length, 4);
    EXPECT_TRUE(info.Holds("info"));
    EXPECT_EQ(G_LastError, 5);
    EXPECT_THAT(Calls(), ElementsAre("GetPinInfo(\"SN0123456789\", pointer, &2)"));
    EXPECT_EQ(Key().GetPinInfo.Arguments()[0],
              std::make_tuple(kSerialNumber, static_cast<void*>(info), &length));
    EXPECT_EQ(LogText(), "");
}

TEST(GetPinInfo, NullSerialNumberIsTheKeysAffair) {
    Canary info(8);
    int32_t length = 8;
    EXPECT_EQ(GetPinInfo(nullptr, info, &length), 0);
    EXPECT_THAT(Calls(), ElementsAre("GetPinInfo(null, pointer, &8)"));
}

TEST(RemovePinCache, PassesTheKeysAnswerOn) {
    int32_t seen = 77;
    Key().GM_RemoveUserPin.Does([&] {
        GetLastErrCode(&seen);
        return -5;
    });
    G_LastError = 77;
    EXPECT_EQ(RemovePinCache(), -5);
    EXPECT_EQ(G_LastError, -5);
    EXPECT_EQ(seen, 0);
    EXPECT_THAT(Calls(), ElementsAre("GM_RemoveUserPin()"));
    EXPECT_EQ(LogText(), "");
}

TEST(SetCachePinFlag, PassesBothArgumentsOn) {
    ASSERT_EQ(Initialize(), 0);
    int32_t seen = 77;
    Key().SetCachePinFlag.DoesOnce([&](const char*, intptr_t) {
        GetLastErrCode(&seen);
        return 5;
    });
    G_LastError = 77;
    EXPECT_EQ(SetCachePinFlag(kSerialNumber, INT64_MAX), 5);
    EXPECT_EQ(G_LastError, 5);
    EXPECT_EQ(seen, 0);
    EXPECT_EQ(SetCachePinFlag(nullptr, -1), 0);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), ElementsAre("SetCachePinFlag(\"SN0123456789\", 9223372036854775807)",
                                     "SetCachePinFlag(null, -1)"));
    EXPECT_EQ(LogText(), "");
}

}  // namespace
