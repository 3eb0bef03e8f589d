// The key as a device: presence, texts, settings, label, data items, faults, the boundary itself.
#include <array>
#include <chrono>
#include <cstring>
#include <set>
#include <sstream>

#include "entry/faults.h"
#include "softkey_test.h"

namespace softkey::testing {
namespace {

using DeviceEntries = EntriesTest;

TEST_F(DeviceEntries, CheckDeviceExFillsTheRecordAndTheSerialNumber) {
    uint32_t value = 0;
    _S_DEV_CONFIG config{};
    char serial[1024] = {};
    ASSERT_EQ(kSuccess, key_.CheckDeviceEx(&value, &config, 1, serial));
    EXPECT_STREQ(kSerial, serial);
    EXPECT_EQ(0, std::memcmp(config.mediaId, kSerial, 16));
    EXPECT_EQ(1U, value);
    for (const unsigned char byte : config.uninterpreted2) EXPECT_EQ(0, byte);
}

TEST_F(DeviceEntries, CheckDeviceExTakesTheKeyInTheLowestSlot) {
    CreateKey(kOtherSerial);
    PlugWithDialog(kOtherSerial);
    Unplug(kSerial);
    uint32_t value = 0;
    _S_DEV_CONFIG config{};
    char serial[1024] = {};
    ASSERT_EQ(kSuccess, key_.CheckDeviceEx(&value, &config, 1, serial));
    EXPECT_STREQ(kOtherSerial, serial);
    EXPECT_EQ(2U, value);
}

TEST_F(DeviceEntries, AnUnpluggedKeyIsGoneForEveryEntryThatNamesIt) {
    Unplug();
    const int32_t gone = Number(Code::kDeviceRemoved);
    char buffer[4096] = {};
    int32_t length = sizeof buffer;
    char* text = nullptr;
    char serial[] = "OR00000000000001";
    RequestEntry entry{1, 2, 3, 0, {}};
    EXPECT_EQ(gone, key_.VerifyPIN(kSerial));
    EXPECT_EQ(gone, key_.VerifyAndCachePin(kSerial, 0));
    EXPECT_EQ(gone, key_.ChangePin(kSerial));
    EXPECT_EQ(gone, key_.GetPinInfo(kSerial, buffer, &length));
    EXPECT_EQ(gone, key_.SetCachePinFlag(kSerial, 1));
    EXPECT_EQ(gone, key_.CustInitCard(kSerial, 0, nullptr, 0));
    EXPECT_EQ(gone, key_.GetLabel(serial, buffer));
    EXPECT_EQ(gone, key_.SetLabel(kSerial, "label"));
    EXPECT_EQ(gone, key_.SetData(kSerial, 0, "x"));
    EXPECT_EQ(gone, key_.GetData(kSerial, 0, buffer));
    EXPECT_EQ(gone, key_.GMCreatePKCS10(kSerial, 1, 2, 3, &text, nullptr, 0));
    EXPECT_EQ(gone, key_.GMCreatePKCS10Ex(kSerial, &entry, &text, 1, nullptr, 0));
    EXPECT_EQ(gone, WritePkcs7("AAAA"));
    EXPECT_EQ(gone, ImportKey("30"));
    EXPECT_EQ(gone, key_.GetCertInfo(kSerial, 1, 0, buffer, &length));
    EXPECT_EQ(gone, key_.GM_GetCertDN(kSerial, 1, 0, buffer));
    EXPECT_EQ(gone, key_.GetCertInfo_UOS(kSerial, 1, buffer, &length));
    EXPECT_EQ(gone, key_.DelCertAndTempKey(kSerial, 1, 0));
    EXPECT_EQ(gone, key_.SetWarningMsg(kSerial, "warning"));
    EXPECT_EQ(gone, key_.GMUsbKeyCriticalSign(kSerial, 1, 0, "x", buffer, &length));
    EXPECT_EQ(gone, key_.GMUsbKeyCommonSign(kSerial, 1, 0, "x", 0, buffer, &length));
    EXPECT_EQ(gone, key_.GMUSBKeyAsymDec2(kSerial, 2, 0, "AAAA", buffer, &length));
    EXPECT_EQ(gone, key_.Batch_Sign(0, kSerial, 0, 0, nullptr, nullptr, 0, 1, 0, "a||", 0, buffer,
                                    &length));
    EXPECT_EQ(gone, key_.UOS_SetCharset("UTF-8", kSerial));
    EXPECT_EQ(gone, key_.UOS_SetLanguage("en", kSerial));
    EXPECT_EQ(gone, key_.GetMediaID());
    EXPECT_EQ(nullptr, text);
}

TEST_F(DeviceEntries, NullAndEmptySerialNumbersAreInvalid) {
    EXPECT_EQ(Number(Code::kInvalidParameter), key_.VerifyPIN(nullptr));
    EXPECT_EQ(Number(Code::kInvalidParameter), key_.VerifyPIN(""));
    EXPECT_EQ(Number(Code::kDeviceRemoved), key_.VerifyPIN("'; DROP TABLE plugged; --"));
    EXPECT_EQ(kSuccess, key_.GetMediaID());
}

TEST_F(DeviceEntries, TextsFollowLanguageAndCharacterSet) {
    const auto locked = static_cast<int64_t>(Number(Code::kPinLocked));
    EXPECT_STREQ("The PIN is locked.", key_.X_ErrorConvert_UOS(locked));
    ASSERT_EQ(kSuccess, key_.UOS_SetLanguage("zh_CN", kSerial));
    EXPECT_STREQ("PIN 码已锁定。", key_.X_ErrorConvert_UOS(locked));
    ASSERT_EQ(kSuccess, key_.UOS_SetCharset("GB18030", ""));
    EXPECT_STREQ("PIN \xC2\xEB\xD2\xD1\xCB\xF8\xB6\xA8\xA1\xA3", key_.X_ErrorConvert_UOS(locked));
    EXPECT_EQ(Number(Code::kSelector), key_.UOS_SetLanguage("fr", kSerial));
    EXPECT_EQ(Number(Code::kSelector), key_.UOS_SetCharset("EBCDIC", kSerial));
    EXPECT_EQ(Number(Code::kInvalidParameter), key_.UOS_SetCharset(nullptr, kSerial));
}

TEST_F(DeviceEntries, LabelsAreKeptInTheClientsCharacterSet) {
    char serial[] = "OR00000000000001";
    char label[512] = {};
    ASSERT_EQ(kSuccess, key_.SetLabel(kSerial, "我的密钥"));
    ASSERT_EQ(kSuccess, key_.GetLabel(serial, label));
    EXPECT_STREQ("我的密钥", label);
    ASSERT_EQ(kSuccess, key_.UOS_SetCharset("GB18030", ""));
    ASSERT_EQ(kSuccess, key_.GetLabel(serial, label));
    EXPECT_STREQ("\xCE\xD2\xB5\xC4\xC3\xDC\xD4\xBF", label);
}

TEST_F(DeviceEntries, LabelsAreBoundedSoThatReadingFits) {
    char serial[] = "OR00000000000001";
    char label[512] = {};
    EXPECT_EQ(kSuccess, key_.SetLabel(kSerial, std::string(255, 'x').c_str()));
    EXPECT_EQ(Number(Code::kNameLength), key_.SetLabel(kSerial, std::string(256, 'x').c_str()));
    EXPECT_EQ(Number(Code::kData), key_.SetLabel(kSerial, "\xFF"));
    // Two bytes in UTF-8, four in GB18030: the longest that a label can become.
    std::string longest;
    for (int i = 0; i < 127; ++i) longest += "\xC3\xA6";
    ASSERT_EQ(kSuccess, key_.SetLabel(kSerial, longest.c_str()));
    ASSERT_EQ(kSuccess, key_.UOS_SetCharset("GB18030", ""));
    EXPECT_EQ(kSuccess, key_.GetLabel(serial, label));
    EXPECT_LT(std::strlen(label), sizeof label);
}

TEST_F(DeviceEntries, DataItemsAreBoundedSoThatReadingFits) {
    std::array<char, 264> buffer;
    buffer.fill('#');
    ASSERT_EQ(kSuccess, key_.SetData(kSerial, 63, std::string(259, 'x').c_str()));
    ASSERT_EQ(kSuccess, key_.GetData(kSerial, 63, buffer.data()));
    EXPECT_EQ(std::string(259, 'x'), buffer.data());
    EXPECT_EQ('#', buffer[260]);
    EXPECT_EQ(Number(Code::kDataLength), key_.SetData(kSerial, 63, std::string(260, 'x').c_str()));
    EXPECT_EQ(Number(Code::kSelector), key_.SetData(kSerial, 64, "x"));
    EXPECT_EQ(Number(Code::kSelector), key_.GetData(kSerial, -1, buffer.data()));
    EXPECT_EQ(Number(Code::kDataItemNotFound), key_.GetData(kSerial, 0, buffer.data()));
    ASSERT_EQ(kSuccess, key_.SetData(kSerial, 0, ""));
    ASSERT_EQ(kSuccess, key_.GetData(kSerial, 0, buffer.data()));
    EXPECT_STREQ("", buffer.data());
}

TEST_F(DeviceEntries, InitializationErasesAndTakesANewLabel) {
    ASSERT_EQ(kSuccess, key_.SetData(kSerial, 0, "x"));
    Request(1, 2);
    char label_argument[] = "fresh";
    ASSERT_EQ(kSuccess, key_.CustInitCard(kSerial, 0, label_argument, 0));
    EXPECT_EQ(Kind::kFixture, KeyStore(kSerial).WhatKind());  // as it was made
    char serial[] = "OR00000000000001";
    char buffer[512] = {};
    EXPECT_EQ(Number(Code::kDataItemNotFound), key_.GetData(kSerial, 0, buffer));
    ASSERT_EQ(kSuccess, key_.GetLabel(serial, buffer));
    EXPECT_STREQ("fresh", buffer);
    ASSERT_EQ(kSuccess, key_.CustInitCard(kSerial, 1, nullptr, 0));
    ASSERT_EQ(kSuccess, key_.GetLabel(serial, buffer));
    EXPECT_STREQ("fresh", buffer);
    EXPECT_EQ(Number(Code::kSelector), key_.CustInitCard(kSerial, 2, nullptr, 0));
    EXPECT_EQ(Number(Code::kSelector), key_.CustInitCard(kSerial, 0, nullptr, 1));
}

TEST_F(DeviceEntries, EntriesThatTakeTextsAnswerNullWithACode) {
    const int32_t invalid = Number(Code::kInvalidParameter);
    char buffer[4096] = {};
    int32_t length = sizeof buffer;
    EXPECT_EQ(invalid, key_.SetLabel(kSerial, nullptr));
    EXPECT_EQ(invalid, key_.SetData(kSerial, 0, nullptr));
    EXPECT_EQ(invalid, key_.SetWarningMsg(kSerial, nullptr));
    EXPECT_EQ(invalid, key_.GMImportPriKey(kSerial, nullptr, 0));
    EXPECT_EQ(invalid, key_.GMUsbKeyCommonSign(kSerial, 1, 0, nullptr, 0, buffer, &length));
    EXPECT_EQ(invalid, key_.GMUsbKeyCommonSign(kSerial, 1, 0, "x", 0, nullptr, nullptr));
    EXPECT_EQ(invalid, key_.GMUsbKeyCriticalSign(kSerial, 1, 0, nullptr, buffer, &length));
    EXPECT_EQ(invalid, key_.GMUSBKeyAsymDec2(kSerial, 2, 0, nullptr, buffer, &length));
    EXPECT_EQ(invalid, key_.GMCreatePKCS10Ex(kSerial, nullptr, nullptr, 1, nullptr, 0));
    EXPECT_EQ(invalid, key_.CheckDeviceEx(nullptr, nullptr, 1, buffer));
    EXPECT_EQ(invalid, key_.GetPinInfo(kSerial, buffer, nullptr));
}

TEST_F(DeviceEntries, AnOrderedFaultComesAfterTheGoodCallsAsOftenAsOrdered) {
    OrderFault({"GetMediaID", -401, 2, 1, 0});
    EXPECT_EQ(kSuccess, key_.GetMediaID());
    EXPECT_EQ(-401, key_.GetMediaID());
    EXPECT_EQ(-401, key_.GetMediaID());
    EXPECT_EQ(kSuccess, key_.GetMediaID());
    EXPECT_TRUE(OrderedFaults().empty());
}

TEST_F(DeviceEntries, AFaultWithoutEndLastsUntilItIsCleared) {
    OrderFault({"GetMediaID", 7, -1, 0, 0});
    OrderFault({"VerifyPIN", 8, -1, 0, 0});
    for (int i = 0; i < 5; ++i) EXPECT_EQ(7, key_.GetMediaID());
    ClearFaults("GetMediaID");
    EXPECT_EQ(kSuccess, key_.GetMediaID());
    EXPECT_EQ(8, key_.VerifyPIN(kSerial));
    ClearFaults("");
    EXPECT_EQ(kSuccess, key_.VerifyPIN(kSerial));
}

TEST_F(DeviceEntries, CodeZeroOnlyDelays) {
    OrderFault({"GetMediaID", 0, 1, 0, 200});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(kSuccess, key_.GetMediaID());
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(200));
}

TEST_F(DeviceEntries, AFaultedErrorConversionGivesNoText) {
    OrderFault({"X_ErrorConvert_UOS", 1, 1, 0, 0});
    EXPECT_EQ(nullptr, key_.X_ErrorConvert_UOS(0));
    EXPECT_STREQ("Success.", key_.X_ErrorConvert_UOS(0));
}

TEST_F(DeviceEntries, AHomeThatDoesNotExistHoldsNoKeys) {
    setenv("ORVAL_SOFTKEY_HOME", "/nonexistent/home", 1);
    EXPECT_EQ(Number(Code::kDeviceRemoved), key_.VerifyPIN(kSerial));
}

TEST_F(DeviceEntries, TheLibrariesExportTheirEntriesOnly) {
    for (const char* const library : {"libOrvalKPX.so", "libR7Token_ORVAL.so"}) {
        const CommandResult symbols = RunShell(ExportsCommand(library));
        ASSERT_EQ(0, symbols.status) << symbols.output;
        std::set<std::string> expected;
        if (std::string(library) == "libOrvalKPX.so") {
#define SOFTKEY_NAME(slot, name, result, arguments) expected.insert(#name);
            ORVAL_BACKEND_ENTRIES(SOFTKEY_NAME)
#undef SOFTKEY_NAME
        } else {
            expected = {"VexaT_ContextInit", "VexaT_ContextFinal", "VexaT_WaitForEvent",
                        "VexaT_GetSlotList", "VexaT_GetDeviceInfo"};
        }
        std::istringstream lines(symbols.output);
        std::set<std::string> found;
        for (std::string line; std::getline(lines, line);) {
            found.insert(line.substr(line.rfind(' ') + 1));
        }
        EXPECT_EQ(expected, found) << library;
    }
}

}  // namespace
}  // namespace softkey::testing
