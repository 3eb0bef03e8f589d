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
    EXPECT_EQ(call.WithoutEnd(), nullptr) << "it has one";
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

TEST(Calls, WhatAMissingEndMayMeanGoesByTheFunction) {
    constexpr const char* kProcessEnded = "no end in the log: the process ended in the call";
    const std::string import = "CKPXUSBKey::Batch_ImportX509Cert";
    const std::string key_text = "CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:";
    const std::string request = "Batch_InitAndGenerateCertRequest";
    struct {
        std::string name;
        std::string text;
        Ending ending;
        const char* meaning;
    } const cases[] = {
        {"GetDriverVersion", "pszVersion: 9", Ending::kMissing, kProcessEnded},
        {"GetDllVersion", "Begin pnVersionLen = 00000014", Ending::kMissing, kProcessEnded},
        {"GetVidAndPid", "Begin pnVidPidLen = 00000014", Ending::kMissing, kProcessEnded},
        {"GetPrintNumber", "Begin pnSNLen = 00000014", Ending::kMissing, kProcessEnded},
        {"ChangePin", "Begin", Ending::kMissing, kProcessEnded},
        {"InitUKey", "Begin", Ending::kMissing,
         "no end in the log: the library was not initialised (-109), or"},
        {"TestInitUKey", "Begin", Ending::kMissing, kProcessEnded},
        {"SKF_WaitForDevEvent", "begin", Ending::kUntold, "no end in the log: the wait goes on"},
        {key_text, "strPriKeyTemp:00", Ending::kUntold, "the log never tells how this call ends"},
        {import, "begin, strP7: EncCert(A)", Ending::kUntold,
         "no end in the log, as after a success"},
        {request, "Begin szSN = A,requestInfo = B", Ending::kUntold,
         "the log never tells how this call ends"},
    };
    for (const auto& [name, text, ending, meaning] : cases) {
        const logs::Call call = OnlyCall(At9(name, text));
        EXPECT_EQ(call.ending, ending) << name;
        EXPECT_THAT(call.WithoutEnd(), testing::StartsWith(meaning)) << name;
    }
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

TEST(Calls, AWaitTellsARemovalAndWhatCameOfIt) {
    const std::string removal = "VEXA_EVENT_INFO::SLOT_DEVICEREMOVE ";
    const logs::Call call =
        OnlyCall(At9("SKF_WaitForDevEvent", "begin") + At9(removal, "G_LastError = 7, line = 606") +
                 At9(removal, " G_LastError = 0, line = 609") +
                 At9("SKF_WaitForDevEvent", "end, G_LastError = 0, line = 616"));
    EXPECT_EQ(DetailOf(call, "event"), "removed");
    EXPECT_EQ(DetailOf(call, "step"), "606: a key was removed, code 7");
    EXPECT_EQ(call.details.back().value, "606: a key was removed, code 7");
    EXPECT_EQ(call.code, 0);
}

TEST(Calls, AStepIsToldOnceAndItsCodeIsNotTheCalls) {
    const logs::Call call =
        OnlyCall(At9("SKF_WaitForDevEvent", "begin") +
                 At9("SKF_WaitForDevEvent", " end in catch ,G_LastError = 5, line = 582") +
                 At9("SKF_WaitForDevEvent", " end in catch ,G_LastError = 6") +
                 At9("VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ",
                     " event.ei.slotEvent.u32SlotID = 3, line = 600"));
    std::vector<std::string> keys;
    for (const logs::Detail& detail : call.details) {
        keys.emplace_back(detail.key);
    }
    EXPECT_THAT(keys, testing::ElementsAre("step", "text", "slot"));
    EXPECT_EQ(call.code, std::nullopt);
    EXPECT_EQ(call.ending, Ending::kUntold);
}

TEST(Calls, EachStepOfAWaitHasItsWords) {
    const std::pair<int, const char*> steps[] = {
        {560, "560: size query"},
        {571, "571: the token library could not be opened"},
        {582, "582: the token library's wait threw an exception; the wait goes on"},
        {596, "596: a key was inserted, code 1"},
        {600, "600: the slot of the insertion"},
        {603, "603: the inserted key was asked for its serial number, code 1"},
        {606, "606: a key was removed, code 1"},
        {609, "609: the removed key's serial number was looked up, code 1"},
        {700, "700"},
    };
    for (const auto& [line, words] : steps) {
        const logs::Call call =
            OnlyCall(At9("SKF_WaitForDevEvent", "begin") +
                     At9("SKF_WaitForDevEvent",
                         " end in catch ,G_LastError = 1, line = " + std::to_string(line)));
        EXPECT_EQ(DetailOf(call, "step"), words);
    }
}

TEST(Calls, TellTheCapacityAndWhatStoodInTheBuffer) {
    const std::vector<logs::Call> calls =
        CallsOf(At9("GetVidAndPid", "Begin pnVidPidLen = 00000014") +
                At9("GetVidAndPid", "pszVidPid: 1780&0301") +
                At9("GetVidAndPid", "End G_LastError: 00000000") +
                At9("GetPrintNumber", "Begin pnSNLen = 0000000A") +
                At9("GetPrintNumber", "End G_LastError: 0A00000") +
                At9("GetPrintNumber", "End G_LastError: 0A000001"));
    ASSERT_THAT(calls, SizeIs(3));
    EXPECT_EQ(DetailOf(calls[0], "capacity"), "20");
    EXPECT_EQ(DetailOf(calls[0], "usb_ids"), "1780&0301");
    EXPECT_EQ(DetailOf(calls[1], "capacity"), "10");
    EXPECT_EQ(calls[1].ending, Ending::kMissing) << "a code has eight digits";
    EXPECT_EQ(DetailOf(calls[1], "text"), "TEXT#1 (7 characters)");
    EXPECT_EQ(calls[2].code, 0x0A000001);
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
    EXPECT_EQ(calls[1].ending, Ending::kUntold);
    EXPECT_FALSE(calls[1].HasFailed());
    EXPECT_EQ(DetailOf(calls[1], "request"), "CertType(1)KeyType(2)|CertType(3)");
    EXPECT_EQ(DetailOf(calls[1], "serial_number"), "SN#1");
}

// Who follows a log goes on with the file that takes its place.
TEST(Calls, WhatALogLeavesOpenIsToldOnceAtItsEnd) {
    logs::Masks masks(logs::Secrets::kMasked);
    int told = 0;
    logs::Joiner joiner(masks, [&told](const logs::Call& call) {
        ++told;
        EXPECT_EQ(call.ending, Ending::kMissing);
    });
    logs::Record record;
    record.header.name = "ChangePin";
    record.text = "Begin";
    joiner.Take(record, 0);
    EXPECT_EQ(told, 0);
    joiner.Finish();
    EXPECT_EQ(told, 1);
    joiner.Finish();
    EXPECT_EQ(told, 1);
}

TEST(Calls, ARecordThatNobodyKnowsIsToldByItsNameToWhoMaySeeIt) {
    const std::string log = At9("NewFunction", "secret");
    const logs::Call masked = OnlyCall(log);
    EXPECT_EQ(masked.function, "TEXT#1 (11 characters)");
    EXPECT_EQ(DetailOf(masked, "text"), "TEXT#2 (6 characters)");
    EXPECT_EQ(masked.WithoutEnd(), nullptr) << "nobody knows how such a call ends";
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
    const logs::Summary::Function& change = summary.functions["ChangePin"];
    EXPECT_EQ(change.calls, 2);
    EXPECT_EQ(change.failures, 2);
    EXPECT_EQ(change.timed, 2);
    EXPECT_EQ(change.duration, 4000000);
    EXPECT_EQ(change.slowest, 3000000);
    EXPECT_EQ(summary.functions["InitUKey"].timed, 0);
    EXPECT_EQ(logs::ShowMoment(summary.first, ' ').substr(11), "09:00:00.000");
    EXPECT_EQ(logs::ShowMoment(summary.last, ' ').substr(11), "10:00:04.000");
}

TEST(Summary, KeepsTheTenSlowestCalls) {
    logs::Summary summary;
    const auto lasting = [](int seconds) {
        logs::Call call;
        call.function = "ChangePin";
        call.is_begin_known = true;
        call.ending = Ending::kTold;
        call.first = 0;
        call.last = seconds * 1000000;
        return call;
    };
    for (const int seconds : {3, 12, 1, 7, 5, 9, 11, 2, 10, 4, 8, 6}) {
        summary.Take(lasting(seconds));
    }
    ASSERT_THAT(summary.slowest, SizeIs(10));
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(summary.slowest[static_cast<size_t>(i)].Duration(), (12 - i) * 1000000);
    }
}

}  // namespace
