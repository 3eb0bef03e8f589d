// Failures that were ordered with `softkey fault`: a client reaches its error paths with them.
#include <gmock/gmock.h>

#include <chrono>
#include <iterator>

#include "key_wait.h"
#include "maker/entries.h"
#include "software_key.h"

namespace lifecycle {
namespace {

using Faults = SoftwareKeyTest;

constexpr auto kFault = static_cast<Code>(0x0BADC0DE);
constexpr char kFaultText[] = " 0x0BADC0DE";

// An entry and a call that uses it.
struct Use {
    const char* entry;
    Code (*call)(const std::string& key);
};

constexpr Use kUses[] = {
    {"CheckDeviceEx", [](const auto&) { return AskForText(GetPrintNumber).code; }},
    {"GetLabel", [](const auto& key) { return LabelOf(key).code; }},
    {"SetLabel", [](const auto& key) { return Checked(SetLabel(key.c_str(), "Label")); }},
    {"ChangePin", [](const auto& key) { return Checked(ChangePin(key.c_str())); }},
    {"CustInitCard", [](const auto& key) { return Checked(InitUKey(key.c_str())); }},
    {"GMCreatePKCS10", [](const auto& key) { return Request(key, kSm2Signing1).code; }},
    {"GMCreatePKCS10Ex",
     [](const auto& key) { return BatchRequest(key, kKeep, kSm2Signing1).code; }},
    {"GMWritePKCS7", [](const auto& key) { return Checked(ImportX509Cert(key.c_str(), "A")); }},
    {"GMImportPriKey",
     [](const auto& key) { return Checked(ImportEncX509Cert(key.c_str(), "A", "A")); }},
    {"GetCertInfo", [](const auto& key) { return CertificateOf(key, kSigning).code; }},
    {"GM_GetCertDN", [](const auto& key) { return CertificateName(key, kSigning, kSubject).code; }},
    {"GetCertInfo_UOS", [](const auto& key) { return CertificateDetails(key, kSigning).code; }},
    {"UOS_SetCharset", [](const auto& key) { return Checked(SetCharset(key.c_str(), "UTF-8")); }},
    {"UOS_SetLanguage", [](const auto& key) { return Checked(SetLanguage(key.c_str(), "en_US")); }},
    {"SetWarningMsg",
     [](const auto& key) { return ConfirmedSignature(key, "order", "Pay?").code; }},
    {"GMUsbKeyCriticalSign",
     [](const auto& key) { return ConfirmedSignature(key, "order", "Pay?").code; }},
    {"GMUsbKeyCommonSign", [](const auto& key) { return Signature(key, "order").code; }},
    {"Batch_Sign", [](const auto& key) { return BatchSignatures(key, "one||two").code; }},
    {"GMUSBKeyAsymDec2", [](const auto& key) { return Decrypted(key, "AAAA").code; }},
    {"GM_RemoveUserPin", [](const auto&) { return Checked(RemovePinCache()); }},
    {"DelCertAndTempKey",
     [](const auto& key) {
         return Checked(DelCertAndTempKey(key.c_str(), kSigning, kEverything));
     }},
    {"VerifyPIN", [](const auto& key) { return Checked(VerifyPIN(key.c_str())); }},
    {"VerifyAndCachePin",
     [](const auto& key) { return Checked(TestVerifyAndCachePin(key.c_str(), 0)); }},
    {"GetPinInfo",
     [](const auto& key) {
         int64_t info = 0;
         int32_t length = sizeof info;
         return Checked(GetPinInfo(key.c_str(), &info, &length));
     }},
    {"SetData", [](const auto& key) { return Checked(SetData(key.c_str(), 0, "text")); }},
    {"GetData", [](const auto& key) { return DataOf(key, 0).code; }},
    {"SetCachePinFlag", [](const auto& key) { return Checked(SetCachePinFlag(key.c_str(), 0)); }},
};
static_assert(
    std::size(kUses) == maker::kEntryCount - 2,
    "every entry has a use here, but GetMediaID, which the library binds and never calls, "
    "and X_ErrorConvert_UOS, which answers with a text");

TEST_F(Faults, TheCodeOfEachEntryReachesTheClient) {
    const std::string key = NewSigningKey();
    const std::string certificate = Given(CertificateOf(key, kSigning));
    for (const Use& use : kUses) {
        OrderFault(use.entry, kFaultText);
        EXPECT_EQ(kFault, use.call(key)) << use.entry;
        EXPECT_EQ("No faults are ordered.", Program("softkey", "fault --list")) << use.entry;
    }
    EXPECT_EQ(certificate, Given(CertificateOf(key, kSigning))) << "a fault changed something";
    EXPECT_EQ(kOk, Signature(key, "order").code);
}

TEST_F(Faults, AFaultMayComeLateLastAndBeWithdrawn) {
    const std::string key = NewPluggedKey();
    OrderFault("GetLabel", "0x0A00000E --after 2 --times 2");
    // An answer is two calls of the entry: one for the length, one for the text.
    EXPECT_EQ(kOk, LabelOf(key).code);
    EXPECT_EQ(Code::kMemory, LabelOf(key).code);
    EXPECT_EQ(Code::kMemory, LabelOf(key).code);
    EXPECT_EQ(kOk, LabelOf(key).code);
    OrderFault("GetLabel", "-401 --always");
    EXPECT_EQ(Code::kInvalidArgument, LabelOf(key).code);
    EXPECT_EQ(Code::kInvalidArgument, LabelOf(key).code);
    Program("softkey", "fault GetLabel --clear");
    EXPECT_EQ(kOk, LabelOf(key).code);
}

TEST_F(Faults, ADelayOnlyTakesTime) {
    const std::string key = NewPluggedKey();
    OrderFault("SetLabel", "0 --delay 300");
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(kOk, Checked(SetLabel(key.c_str(), "Late")));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(300));
    EXPECT_EQ("Late", Given(LabelOf(key)));
}

TEST_F(Faults, AFailedSignatureWritesNothing) {
    const std::string key = NewSigningKey();
    OrderFault("GMUsbKeyCommonSign", kFaultText);
    char buffer[8192] = "before";
    int32_t length = sizeof buffer;
    EXPECT_EQ(kFault, Checked(SignHash(key.c_str(), kSigning, kBase64Value, "order", kAsItIs,
                                       buffer, &length)));
    EXPECT_STREQ("before", buffer);
}

TEST_F(Faults, AWarningThatIsRefusedIsNotSigned) {
    const std::string key = NewSigningKey();
    OrderFault("SetWarningMsg", kFaultText);
    // Were the signature made, it would meet this fault.
    OrderFault("GMUsbKeyCriticalSign", "0x0A00000E");
    EXPECT_EQ(kFault, ConfirmedSignature(key, "order", "Pay?").code);
    EXPECT_EQ(Code::kMemory, ConfirmedSignature(key, "order", "Pay?").code);
    EXPECT_EQ(kOk, ConfirmedSignature(key, "order", "Pay?").code);
}

TEST_F(Faults, AnImportThatBreaksOffIsRepeated) {
    const std::string key = NewPluggedKey();
    const std::string package = Issue(Given(BatchRequest(key, kKeep, kBothInOne)));
    OrderFault("GMWritePKCS7", std::string(kFaultText) + " --after 1");
    EXPECT_EQ(kFault, Checked(Batch_ImportX509Cert(key.c_str(), package.c_str())));
    EXPECT_EQ(kOk, CertificateOf(key, kSigning).code);
    EXPECT_EQ(Code::kCertificateNotFound, CertificateOf(key, kEncryption).code);
    EXPECT_EQ(kOk, Checked(Batch_ImportX509Cert(key.c_str(), package.c_str())));
    const Certificate certificate(Given(CertificateOf(key, kEncryption)));
    EXPECT_EQ("secret", Given(Decrypted(key, ToBase64(certificate.Encrypt("secret")))));
}

TEST_F(Faults, ARequestThatFailsIsNotRemembered) {
    const std::string key = NewPluggedKey();
    OrderFault("GMCreatePKCS10", std::string(kFaultText) + " --after 1");
    const std::string both = std::string(kSm2Signing1) + "|" + kSm2Signing1;
    EXPECT_EQ(kFault, Request(key, both).code);
    EXPECT_EQ(2U, Split(Given(Request(key, both)), "||").size());
}

TEST_F(Faults, ATextThatIsMissingIsEmpty) {
    const std::string key = NewPluggedKey();
    EXPECT_EQ("Test", Given(LabelOf(key)));
    OrderFault("X_ErrorConvert_UOS", "1");
    EXPECT_EQ("", ErrorText(Code::kPinLocked));
    EXPECT_EQ("The PIN is locked.", ErrorText(Code::kPinLocked));
}

TEST_F(Faults, AWaitThatCannotBeginSaysSo) {
    const std::string key = NewKey();
    OrderFault("VexaT_ContextInit", kFaultText);
    EXPECT_EQ(kFault, WaitForKey().code);
    int32_t last = 0;
    GetLastErrCode(&last);
    EXPECT_EQ(kFault, static_cast<Code>(last));
    KeyWait wait;
    Plug(key);
    EXPECT_EQ(Inserted(key), wait.Result());
}

TEST_F(Faults, AWaitOutlastsFailuresOfTheTokenLibrary) {
    const std::string key = NewKey();
    OrderFault("VexaT_WaitForEvent", std::string(kFaultText) + " --times 3");
    KeyWait wait;
    Plug(key);
    EXPECT_EQ(Inserted(key), wait.Result());
}

TEST_F(Faults, AnArrivalThatCannotBeReadIsStillAnArrival) {
    const std::string key = NewKey();
    KeyWait wait;
    OrderFault("VexaT_GetDeviceInfo", kFaultText);
    Plug(key);
    EXPECT_EQ((KeyEvent{kFault, ORVAL_KEY_INSERTED, ""}), wait.Result());
}

TEST_F(Faults, ARemovalOfAKeyThatWasNotListedHasNoSerialNumber) {
    const std::string key = NewPluggedKey();
    OrderFault("VexaT_GetSlotList", kFaultText);
    KeyWait wait;
    Unplug(key);
    EXPECT_EQ(Removed(""), wait.Result());
}

}  // namespace
}  // namespace lifecycle
