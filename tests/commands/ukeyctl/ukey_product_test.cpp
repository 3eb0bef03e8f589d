// The wrapper over the product itself, with the scripted key behind it.

#include <unistd.h>

#include <random>

#include "api_test.h"
#include "code_of.h"
#include "stop_rounds.h"
#include "ukey.hpp"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";
constexpr int32_t kKeyCode = 0x0A000001;

class UkeyOnProduct : public testing::Test {
 protected:
    ukey::Library library_{PRODUCT_PATH};
    ukey::Key key_ = library_.KeyOf(kSerialNumber);
};

TEST_F(UkeyOnProduct, FixedTexts) {
    EXPECT_EQ(library_.GetDriverVersion(), "9.2025.0731.3");
    EXPECT_EQ(library_.GetDllVersion(), "9.2025.0731.3");
    EXPECT_EQ(library_.GetVidAndPid(), "1780&0301");
    EXPECT_EQ(library_.GetVendorInfo(2), "Marlowen Corporation");
    EXPECT_EQ(library_.GetVendorInfo(1), "马洛文科技股份有限公司");
}

TEST_F(UkeyOnProduct, SerialNumberOfAnyLength) {
    for (const size_t length : {1U, 16U, 17U, 1023U}) {
        Key().CheckDeviceEx.Writes(std::string(length, 'S'));
        EXPECT_EQ(library_.GetPrintNumber(), std::string(length, 'S'));
    }
}

TEST_F(UkeyOnProduct, CopiedOutTextsOfAnyLength) {
    for (const size_t length : {0U, 1U, 7U, 255U}) {
        const std::string text(length, 't');
        Key().GetLabel.Writes(text);
        Key().GetData.Writes(text);
        Key().GetCertInfo.Writes(text);
        Key().GM_GetCertDN.Writes(text);
        EXPECT_EQ(key_.GetLabel(), text);
        EXPECT_EQ(key_.GetData(1), text);
        EXPECT_EQ(key_.GetCert(1, 2), text);
        EXPECT_EQ(key_.GetCertDN(1, 2), text);
    }
}

TEST_F(UkeyOnProduct, TextThatGrowsBetweenQueryAndFetch) {
    const std::string grown(300, 'g');
    Key().GetLabel.Writes(grown);
    Key().GetLabel.WritesOnce("short");
    EXPECT_EQ(key_.GetLabel(), grown);
    Key().GetData.Writes(grown.substr(0, 200));
    Key().GetData.WritesOnce("short");
    EXPECT_EQ(key_.GetData(1), grown.substr(0, 200));
    Key().GetCertInfo.Writes(grown);
    Key().GetCertInfo.WritesOnce("short");
    EXPECT_EQ(key_.GetCert(1, 2), grown);
    Key().GM_GetCertDN.Writes(grown);
    Key().GM_GetCertDN.WritesOnce("short");
    EXPECT_EQ(key_.GetCertDN(1, 2), grown);
}

TEST_F(UkeyOnProduct, ErrorTextOfAnyLength) {
    for (const size_t length : {1U, 199U, 200U, 201U, 5000U}) {
        const std::string text(length, 'e');
        Key().X_ErrorConvert_UOS.Does([&text](int64_t) { return text.c_str(); });
        EXPECT_EQ(library_.GetErrorMsg(kKeyCode), text);
        EXPECT_EQ(ukey::Category().message(kKeyCode), text);
    }
}

TEST_F(UkeyOnProduct, RequestIsMadeOnce) {
    Key().GMCreatePKCS10.HandsOver("request");
    EXPECT_EQ(key_.GenerateCertRequest("KeyType(2)|KeyType(2)"), "request||request");
    EXPECT_EQ(Key().VerifyPIN.Arguments().size(), 2U);
    EXPECT_EQ(Key().GMCreatePKCS10.Arguments().size(), 2U);
}

TEST_F(UkeyOnProduct, BatchRequestIsMadeOnce) {
    Key().GMCreatePKCS10Ex.HandsOver("request");
    EXPECT_EQ(key_.Batch_InitAndGenerateCertRequest(0, "CertType(1)KeyType(2)"), "request");
    EXPECT_EQ(Key().VerifyPIN.Arguments().size(), 1U);
}

TEST_F(UkeyOnProduct, MalformedDescriptionIsAnError) {
    try {
        key_.GenerateCertRequest("CertType(1)HashType");
        FAIL() << "no error";
    } catch (const ukey::Error& error) {
        EXPECT_TRUE(error.code() == ukey::Errc::kTextMalformed);
    }
}

TEST_F(UkeyOnProduct, SignaturesArriveWhole) {
    const std::string signature(900, 's');
    Key().GMUsbKeyCriticalSign.Writes(signature);
    Key().GMUsbKeyCommonSign.Writes(signature);
    Key().Batch_Sign.Writes(signature);
    EXPECT_EQ(key_.Sign(1, 2, "data", "warning"), signature);
    EXPECT_EQ(key_.SignHash(1, 2, "data", 3), signature);
    ukey::BatchSignInput input;
    input.batch = "one item";
    EXPECT_EQ(key_.Batch_Sign(input), signature);
}

TEST_F(UkeyOnProduct, DecryptedTextArrivesWhole) {
    Key().GMUSBKeyAsymDec2.Writes(std::string(3000, 'p'));
    EXPECT_EQ(key_.AsymDec(1, 2, "cipher").View(), std::string(3000, 'p'));
}

TEST_F(UkeyOnProduct, BatchSignCanGoWithoutItems) {
    Key().Batch_Sign.Writes("signature");
    ukey::BatchSignInput input;
    input.flags = 1;
    input.text = "critical text";
    input.param6 = "six";
    EXPECT_EQ(key_.Batch_Sign(input), "signature");
}

// Explaining a code asks the key's library; the last error stays that of the call explained.
TEST_F(UkeyOnProduct, ExplainingACodeKeepsTheLastError) {
    scripted::RemoveBackend();
    EXPECT_EQ(CodeOf([&] { library_.CheckDriverIntegrity(7); }), ORVAL_UNSUPPORTED);
    EXPECT_EQ(library_.GetLastErrCode(), ORVAL_UNSUPPORTED);
    EXPECT_EQ(ukey::Category().message(ORVAL_INVALID_ARGUMENT),
              ukey::OwnText(ORVAL_INVALID_ARGUMENT));
    EXPECT_EQ(library_.GetLastErrCode(), ORVAL_UNSUPPORTED);
}

TEST_F(UkeyOnProduct, KeysCodeIsAnError) {
    Key().VerifyPIN.Returns(kKeyCode);
    EXPECT_EQ(CodeOf([&] { key_.VerifyPIN(); }), kKeyCode);
    EXPECT_EQ(library_.GetLastErrCode(), kKeyCode);
}

TEST_F(UkeyOnProduct, EverythingFailsWithoutABackend) {
    scripted::RemoveBackend();
    EXPECT_EQ(CodeOf([&] { key_.VerifyPIN(); }), ORVAL_BACKEND_UNAVAILABLE);
    EXPECT_EQ(CodeOf([&] { key_.InitUKey(); }), ORVAL_BACKEND_UNAVAILABLE);
    EXPECT_EQ(CodeOf([&] { key_.SetCachePinFlag(1); }), ORVAL_BACKEND_UNAVAILABLE);
}

TEST_F(UkeyOnProduct, ArrivalIsAnEvent) {
    Token().WaitForEvent.Returns(1);
    Token().WaitForEvent.DoesOnce([](uint32_t, uint32_t, VEXA_EVENT_INFO* event, uint32_t*) {
        event->u32EventKind = SLOT_DEVICEARRIVAL;
        return 0U;
    });
    Token().GetDeviceInfo.Does([](uint32_t, uint32_t, _S_DEV_CONFIG* config) {
        memcpy(config->mediaId, "0123456789ABCDEF", sizeof config->mediaId);
        return 0U;
    });
    ukey::EventSource events(library_);
    const auto event = events.Next();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->kind, ukey::KeyEvent::Kind::kInserted);
    EXPECT_EQ(event->serial_number, "0123456789ABCDEF");
}

TEST_F(UkeyOnProduct, ContextThatCannotBeOpenedEndsTheSource) {
    Token().ContextInit.Returns(77);
    ukey::EventSource events(library_);
    EXPECT_EQ(CodeOf([&] { events.Next(); }), 77);
}

// UKEY_STOP_ROUNDS sets the number of rounds.
TEST_F(UkeyOnProduct, StopAtRandomMoments) {
    Token().WaitForEvent.Returns(1);
    const std::optional<int> rounds = StopRounds(100);
    ASSERT_TRUE(rounds) << "UKEY_STOP_ROUNDS is not a positive number";
    const unsigned seed = std::random_device()();
    std::mt19937 random(seed);
    for (int round = 0; round < *rounds; ++round) {
        ukey::EventSource events(library_);
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 2000));
        events.Stop();
        EXPECT_FALSE(events.Next()) << "round " << round << " of seed " << seed;
    }
}

}  // namespace
