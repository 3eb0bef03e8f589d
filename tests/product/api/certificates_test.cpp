#include "api_test.h"
#include "outcome.h"

namespace {

using namespace scripted;  // NOLINT(google-build-using-namespace)

// The key tells a certificate's length and tells none for a name.
TEST(GetCertDN, UnlikeGetCertMeasuresTheTextItself) {
    Key().GetCertInfo.Does([](auto, auto, auto, char* certificate, int32_t* length) {
        std::memcpy(certificate, "ab\0cd", 6);
        *length = 5;
        return 0;
    });
    Key().GM_GetCertDN.Does([](auto, auto, auto, char* name) {
        std::memcpy(name, "ab\0cd", 6);
        return 0;
    });
    char text[16];
    int32_t length = 16;
    EXPECT_TRUE(Gives(GetCert("SN0123456789", 1, 2, text, &length), 0));
    EXPECT_EQ(length, 5);
    EXPECT_TRUE(Gives(GetCertDN("SN0123456789", 1, 2, text, &length), 0));
    EXPECT_EQ(length, 2);
}

// Unlike its siblings it looks at no serial number: the key decides, and is not asked here.
TEST(GetCertInfo, LengthQueryNeedsNoSerialNumber) {
    int32_t length = -1;
    EXPECT_TRUE(Gives(GetCertInfo(nullptr, 7, nullptr, &length), 0));
    EXPECT_EQ(length, 1280);
    EXPECT_THAT(Calls(), IsEmpty());
}

// Clients look these up and treat -300 as "nothing to do"; the code of the call before stays.
TEST(RetiredFunctions, RefuseAndLeaveTheLastErrorAsItWas) {
    G_LastError = kEarlierCode;
    EXPECT_EQ(RegisterCert(), -300);
    EXPECT_EQ(UnregisterCert(), -300);
    EXPECT_EQ(RepairDriver(), -300);
    EXPECT_EQ(G_LastError, kEarlierCode);
}

}  // namespace
