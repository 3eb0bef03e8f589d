// Calls, joined from the records of a thread.

#include <gmock/gmock.h>

#include "logs/summary.h"
#include "made_log.h"

namespace {

using logs::Ending;
using testing::SizeIs;

logs::Call OnlyCall(const std::string& log) {
    const std::vector<logs::Call> calls = CallsOf(log);
    EXPECT_THAT(calls, SizeIs(1));
    return calls.empty() ? logs::Call{} : calls.front();
}

TEST(Calls, BeginHexAndEndAreOneCall) {
    const logs::Call call =
        OnlyCall(MadeRecord("21,09:00:00.100", "ChangePin", "Begin") +
                 MadeRecord("21,09:00:00.100200", "szSN:", "4F52") +
                 MadeRecord("21,09:00:01.350", "ChangePin", "End G_LastError: FFFFFE6F"));
    EXPECT_EQ(call.function, "ChangePin");
    EXPECT_EQ(call.ending, Ending::kTold);
    EXPECT_EQ(call.code, -401);
    EXPECT_EQ(call.Duration(), 1250000);
    EXPECT_EQ(DetailOf(call, "serial_number"), "SN#1");
    EXPECT_EQ(call.records, 3);
    EXPECT_TRUE(call.HasFailed());
}

TEST(Calls, ThreadsDoNotMix) {
    const Writer one{1, 10};
    const Writer other{1, 11};
    const std::vector<logs::Call> calls =
        CallsOf(At9("ChangePin", "Begin", one) + At9("InitUKey", "Begin", other) +
                At9("szSN:", "4142", other) + At9("szSN:", "4344", one) +
                At9("InitUKey", "End G_LastError: 00000000", other) +
                At9("ChangePin", "End G_LastError: 0A000001", one));
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].function, "InitUKey");
    EXPECT_EQ(calls[0].code, 0);
    EXPECT_EQ(calls[1].function, "ChangePin");
    EXPECT_EQ(calls[1].code, 0x0A000001);
    EXPECT_NE(DetailOf(calls[0], "serial_number"), DetailOf(calls[1], "serial_number"));
}

TEST(Calls, GetDriverVersionBeginsWithoutABeginRecord) {
    const logs::Call call =
        OnlyCall(MadeRecord("21,09:00:00.100", "GetDriverVersion", "pszVersion: 9.2025.0731.3") +
                 MadeRecord("21,09:00:00.101", "GetDriverVersion", "End G_LastError: 00000000"));
    EXPECT_EQ(call.Duration(), 1000);
    EXPECT_EQ(DetailOf(call, "version"), "9.2025.0731.3");
}

TEST(Calls, AnEndAloneIsACallWithoutADuration) {
    const logs::Call call = OnlyCall(At9("GetDriverVersion", "End G_LastError: 00000000"));
    EXPECT_EQ(call.code, 0);
    EXPECT_EQ(call.Duration(), std::nullopt);
    EXPECT_FALSE(call.HasFailed());
}

TEST(Calls, AMissingEndIsAFailureAndSaysWhatItMayMean) {
    const std::vector<logs::Call> calls =
        CallsOf(At9("InitUKey", "Begin") + At9("szSN:", "4142") + At9("ChangePin", "Begin"));
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_EQ(calls[0].ending, Ending::kMissing);
    EXPECT_TRUE(calls[0].HasFailed());
    EXPECT_THAT(calls[0].WithoutEnd(), testing::HasSubstr("-109"));
    EXPECT_EQ(calls[1].ending, Ending::kMissing);
}

TEST(Calls, AWaitTellsItsEventInWords) {
    const logs::Call call =
        OnlyCall(At9("SKF_WaitForDevEvent", "begin") + At9("X_getCurrentSlots", "before") +
                 At9("X_getCurrentSlots", "after") +
                 At9("SKF_WaitForDevEvent", " end in catch ,G_LastError = 0, line = 582") +
                 At9("VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ", " G_LastError = 0, line = 596") +
                 At9("VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ",
                     " event.ei.slotEvent.u32SlotID = 3, line = 600") +
                 At9("VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ", " G_LastError = 5, line = 603") +
                 At9("SKF_WaitForDevEvent", "end, G_LastError = 5, line = 616"));
    EXPECT_EQ(call.function, "WaitForKeyEvent");
    EXPECT_EQ(call.code, 5);
    EXPECT_EQ(DetailOf(call, "event"), "inserted");
    EXPECT_EQ(DetailOf(call, "slot"), "3");
    EXPECT_THAT(DetailOf(call, "step"), testing::StartsWith("582: the token library's wait threw"));
    EXPECT_EQ(call.details.back().value,
              "603: the inserted key was asked for its serial number, code 5");
}

TEST(Calls, AWaitWithoutAnEndIsNoFailure) {
    const logs::Call call = OnlyCall(At9("SKF_WaitForDevEvent", "begin"));
    EXPECT_EQ(call.ending, Ending::kUntold);
    EXPECT_FALSE(call.HasFailed());
}

TEST(Calls, AnImportEndsUnderTheTagOfItsFailure) {
    const logs::Call call =
        OnlyCall(At9("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: EncCert(A)") +
                 At9("CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", "strPriKeyTemp:00AB") +
                 At9("CGMUsbKeyCommonEx", "end, err: 167772161, Cert GMWritePKCS7 error."));
    EXPECT_EQ(call.function, "Batch_ImportX509Cert");
    EXPECT_EQ(call.code, 167772161);
    EXPECT_EQ(DetailOf(call, "key_text"), "KEY#1 (4 characters)");
}

TEST(Calls, CallsThatAreLoggedWithOneRecordEndWithIt) {
    const std::vector<logs::Call> calls = CallsOf(
        At9("CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", "strPriKeyTemp:00AB") +
        At9("Batch_InitAndGenerateCertRequest",
            "Begin szSN = OR6F1C31D1B4C0A2,requestInfo = CertType(1)KeyType(2)|CertType(3)") +
        At9("GetDllVersion", "Begin pnVersionLen = 00000014"));
    ASSERT_THAT(calls, SizeIs(3));
    EXPECT_EQ(calls[0].ending, Ending::kUntold);
    EXPECT_EQ(DetailOf(calls[1], "request"), "CertType(1)KeyType(2)|CertType(3)");
    EXPECT_EQ(DetailOf(calls[1], "serial_number"), "SN#1");
}

TEST(Calls, ARecordThatNobodyKnowsIsToldByItsNameToWhoMaySeeIt) {
    const std::string log = At9("NewFunction", "secret");
    const logs::Call masked = OnlyCall(log);
    EXPECT_EQ(masked.function, "TEXT#1 (11 characters)");
    EXPECT_EQ(DetailOf(masked, "text"), "TEXT#2 (6 characters)");
    const logs::Call shown = CallsOf(log, logs::Secrets::kShown).at(0);
    EXPECT_EQ(shown.function, "NewFunction");
    EXPECT_EQ(DetailOf(shown, "text"), "secret");
}

TEST(Calls, AClockSetBackLeavesNoDuration) {
    EXPECT_EQ(OnlyCall(MadeRecord("21,09:00:05.000", "TestInitUKey", "Begin") +
                       MadeRecord("21,09:00:04.000", "TestInitUKey", "End G_LastError: 00000000"))
                  .Duration(),
              std::nullopt);
}

TEST(Summary, CountsCallsAndFailuresAndRanksDurations) {
    logs::Summary summary;
    for (const logs::Call& call :
         CallsOf(MadeRecord("21,09:00:00.000", "ChangePin", "Begin") +
                 MadeRecord("21,09:00:03.000", "ChangePin", "End G_LastError: 0A000001") +
                 MadeRecord("21,09:00:03.000", "ChangePin", "Begin") +
                 MadeRecord("21,09:00:04.000", "ChangePin", "End G_LastError: 0A000001") +
                 MadeRecord("21,09:00:04.000", "SKF_WaitForDevEvent", "begin") +
                 MadeRecord("21,10:00:04.000", "SKF_WaitForDevEvent",
                            "end, G_LastError = 0, line = 616") +
                 At9("InitUKey", "Begin", {9, 9}))) {
        summary.Take(call);
    }
    EXPECT_EQ(summary.calls, 4);
    EXPECT_EQ(summary.failures, 3);
    EXPECT_EQ(summary.processes.size(), 2);
    EXPECT_EQ((summary.failed[{"ChangePin", 0x0A000001}]), 2);
    EXPECT_EQ((summary.failed[{"InitUKey", std::nullopt}]), 1);
    ASSERT_THAT(summary.slowest, SizeIs(2)) << "a wait is none";
    EXPECT_EQ(summary.slowest[0].Duration(), 3000000);
}

}  // namespace
