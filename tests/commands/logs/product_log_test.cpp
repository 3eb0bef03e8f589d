// The product's own log, read: what one writes the other must understand.

#include <thread>

#include "api_test.h"
#include "logs/forms.h"
#include "logs/scrub.h"
#include "made_log.h"

namespace {

using logs::Ending;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

constexpr const char* kSerialNumber = "OR6F1C31D1B4C0A2";

// Whatever a test has the product write, each record of it has a form that is known.
class ProductLog : public testing::Test {
 protected:
    void TearDown() override {
        const Told told = Read(LogText());
        EXPECT_THAT(told.damage, IsEmpty());
        for (const Told::Kept& record : told.records) {
            EXPECT_NE(logs::FindForm(record.name, record.text), nullptr)
                << record.name << ": " << record.text;
        }
    }
};

std::vector<logs::Call> LoggedCalls() {
    return CallsOf(LogText(), logs::Secrets::kShown);
}

TEST_F(ProductLog, IsWhereItIsLookedFor) {
    EXPECT_STREQ(logs::kPath, scripted::kLogPath);
}

TEST_F(ProductLog, EachLoggedCallIsOneCall) {
    char text[64] = {};
    int32_t length = sizeof text;
    GetDriverVersion(text, &length);
    length = sizeof text;
    GetDriverVersion(nullptr, &length);
    length = sizeof text;
    GetDllVersion(text, &length);
    length = sizeof text;
    std::memset(text, 0, sizeof text);
    GetVidAndPid(text, &length);
    length = sizeof text;
    GetPrintNumber(text, &length);
    ChangePin(kSerialNumber);
    InitUKey(kSerialNumber);
    TestInitUKey(kSerialNumber, nullptr);
    std::vector<std::string> functions;
    for (const logs::Call& call : LoggedCalls()) {
        functions.push_back(call.function);
        EXPECT_EQ(call.ending, Ending::kTold) << call.function;
        EXPECT_EQ(call.code, 0) << call.function;
    }
    EXPECT_THAT(functions,
                ElementsAre("GetDriverVersion", "GetDriverVersion", "GetDllVersion", "GetVidAndPid",
                            "GetPrintNumber", "ChangePin", "InitUKey", "TestInitUKey"));
}

TEST_F(ProductLog, CodesAndSerialNumbersAreTheCallers) {
    Key().ChangePin.Returns(0x0A000025);
    ChangePin(kSerialNumber);
    const std::vector<logs::Call> calls = LoggedCalls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].code, 0x0A000025);
    EXPECT_EQ(DetailOf(calls[0], "serial_number"), kSerialNumber);
    EXPECT_EQ(calls[0].records, 3);
    EXPECT_NE(calls[0].Duration(), std::nullopt);
}

TEST_F(ProductLog, AnInitialisationBeforeInitialiseHasNoEnd) {
    EXPECT_EQ(InitUKey(kSerialNumber), -109);
    const std::vector<logs::Call> calls = LoggedCalls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].ending, Ending::kMissing);
}

TEST_F(ProductLog, AWaitsSizeQueryIsAWait) {
    uint32_t event = 0;
    uint32_t length = 0;
    WaitForKeyEvent(&event, nullptr, &length);
    const std::vector<logs::Call> calls = LoggedCalls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_EQ(calls[0].function, "WaitForKeyEvent");
    EXPECT_EQ(calls[0].code, 0);
    EXPECT_EQ(DetailOf(calls[0], "step"), "560: size query");
}

// Has the token library tell the event once.
void Tell(uint32_t kind, uint32_t slot) {
    Token().WaitForEvent.Does([kind, slot](uint32_t, uint32_t, VEXA_EVENT_INFO* event, uint32_t*) {
        event->u32EventKind = kind;
        event->ei.slotEvent.u32SlotID = slot;
        return 0U;
    });
}

TEST_F(ProductLog, AWaitTellsItsEvent) {
    uint32_t event = 0;
    char text[64] = {};
    uint32_t length = sizeof text;
    Tell(SLOT_DEVICEARRIVAL, 3);
    Token().GetDeviceInfo.Returns(5);
    WaitForKeyEvent(&event, text, &length);
    Tell(SLOT_DEVICEREMOVE, 3);
    WaitForKeyEvent(&event, text, &length);
    Token().ContextInit.Returns(9);
    WaitForKeyEvent(&event, text, &length);
    const std::vector<logs::Call> calls = LoggedCalls();
    ASSERT_THAT(calls, SizeIs(3));
    EXPECT_EQ(DetailOf(calls[0], "event"), "inserted");
    EXPECT_EQ(DetailOf(calls[0], "slot"), "3");
    EXPECT_EQ(DetailOf(calls[0], "step"),
              "603: the inserted key was asked for its serial number, code 5");
    EXPECT_EQ(DetailOf(calls[1], "event"), "removed");
    EXPECT_EQ(DetailOf(calls[2], "step"), "571: the token library could not be opened");
    EXPECT_EQ(calls[2].code, 9);
}

TEST_F(ProductLog, EachFailureOfAPackageEndsItsCall) {
    Key().GMImportPriKey.Returns(11);
    Batch_ImportX509Cert(kSerialNumber, "EncPriKey(00AB)");
    Key().GMWritePKCS7.Returns(12);
    Batch_ImportX509Cert(kSerialNumber, "EncCert(QUJD)");
    Batch_ImportX509Cert(kSerialNumber, "QUJD");
    Batch_ImportX509Cert(kSerialNumber, "Nothing(QUJD)");
    const std::vector<logs::Call> calls = LoggedCalls();
    ASSERT_THAT(calls, SizeIs(4));
    EXPECT_EQ(calls[0].code, 11);
    EXPECT_EQ(calls[1].code, 12);
    EXPECT_EQ(calls[2].code, 12);
    EXPECT_EQ(calls[3].ending, Ending::kUntold);
}

TEST_F(ProductLog, ImportsAndRequestsAreRead) {
    Key().GMWritePKCS7.Returns(7);
    Batch_ImportX509Cert(kSerialNumber, "SignCert(QUJD)");
    ImportEncX509Cert(kSerialNumber, "QUJD", "00AB\r\nCD");
    int32_t length = 0;
    Batch_InitAndGenerateCertRequest(kSerialNumber, 0, "CertType(1)\r\n]\r\n[", nullptr, &length);
    const std::vector<logs::Call> calls = LoggedCalls();
    ASSERT_THAT(calls, SizeIs(3));
    EXPECT_EQ(calls[0].function, "Batch_ImportX509Cert");
    EXPECT_EQ(calls[0].code, 7);
    EXPECT_EQ(DetailOf(calls[0], "package"), "SignCert(QUJD)");
    EXPECT_EQ(DetailOf(calls[1], "key_text"), "00AB\r\nCD");
    EXPECT_EQ(DetailOf(calls[2], "request"), "CertType(1)\r\n]\r\n[");
    EXPECT_THAT(logs::Scrubbed(LogText()), Not(HasSubstr("QUJD")));
}

TEST_F(ProductLog, ThreadsAtOnceGiveAllTheirCalls) {
    constexpr int kCalls = 200;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int call = 0; call < kCalls; ++call) {
                TestInitUKey(kSerialNumber, nullptr);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::vector<logs::Call> calls = LoggedCalls();
    EXPECT_THAT(calls, SizeIs(4 * kCalls));
    EXPECT_THAT(calls, Not(Contains(testing::Field(&logs::Call::ending, Ending::kMissing))));
}

}  // namespace
