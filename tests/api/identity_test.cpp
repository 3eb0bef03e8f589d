#include "api_test.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)
using testing::ElementsAre;

TEST(GetPrintNumber, ReportsTheSerialNumber) {
    Key().CheckDeviceEx.Writes("SN0123456789");
    Canary number(32);
    int32_t length = 32;
    EXPECT_EQ(GetPrintNumber(number, &length), 0);
    EXPECT_EQ(length, 12);
    EXPECT_TRUE(number.Holds("SN0123456789\0"s));
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), ElementsAre("CheckDeviceEx(&0, zeroed[396], 1, zeroed[1024])"));
    EXPECT_EQ(LogText(), TextRecord("GetPrintNumber", "Begin pnSNLen = 00000020") +
                             TextRecord("GetPrintNumber", "m_SN: SN0123456789") +
                             TextRecord("GetPrintNumber", "End G_LastError: 00000000"));
}

}  // namespace
