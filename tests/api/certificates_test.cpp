#include <stdexcept>

#include "api_test.h"
#include "outcome.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)

const std::string kCertificate(1000, 'C');
const std::string kName = "CN=A Customer,O=The Bank,C=CN";

// GetCert and GetCertDN have the same arguments.
struct Reading {
    int32_t (*function)(const char*, int32_t, int32_t, char*, int32_t*);
    const char* szSN = "SN0123456789";
    int32_t nParam1 = 1;
    int32_t nParam2 = 2;
    bool with_length = true;
    int32_t length = 2000;
    Canary text{2000};

    int32_t Run(bool with_buffer = true) {
        return function(szSN, nParam1, nParam2, with_buffer ? static_cast<char*>(text) : nullptr,
                        with_length ? &length : nullptr);
    }
    int32_t AskLength() { return Run(false); }
    int32_t RunWithCapacity(int32_t capacity) {
        length = capacity;
        return Run();
    }
};

void ExpectNullSerialNumberAndLengthAreRefused(Reading call) {
    LeaveEarlierCode();
    for (const bool with_buffer : {true, false}) {
        Reading without_serial_number = call;
        without_serial_number.szSN = nullptr;
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(without_serial_number.Run(with_buffer), -401));
        EXPECT_EQ(without_serial_number.length, 2000);
        EXPECT_TRUE(without_serial_number.text.Untouched());

        Reading without_length = call;
        without_length.with_length = false;
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(without_length.Run(with_buffer), -401));
        EXPECT_TRUE(without_length.text.Untouched());
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

// Every capacity on a text that the key delivers; both functions report the same lengths.
void ExpectLengthProtocol(const Reading& call, const std::string& text) {
    const auto length = static_cast<int32_t>(text.size());
    Reading query = call;
    query.length = -1;
    EXPECT_TRUE(Gives(query.AskLength(), 0));
    EXPECT_EQ(query.length, length + 1);

    for (const int32_t capacity : {length, length + 1, length + 2, kHighest}) {
        Reading fetch = call;
        EXPECT_TRUE(Gives(fetch.RunWithCapacity(capacity), 0)) << capacity;
        EXPECT_EQ(fetch.length, length);
        EXPECT_TRUE(fetch.text.Holds(WithTerminator(text)));
    }
    for (const int32_t capacity : {length - 1, 0, -1, kLowest}) {
        Reading fetch = call;
        EXPECT_TRUE(Gives(fetch.RunWithCapacity(capacity), -404)) << capacity;
        EXPECT_EQ(fetch.length, length);
        EXPECT_TRUE(fetch.text.Untouched());
    }
}

void ExpectEmptyTextNeedsNoCapacity(Reading call) {
    EXPECT_TRUE(Gives(call.RunWithCapacity(0), 0));
    EXPECT_EQ(call.length, 0);
    EXPECT_TRUE(call.text.Holds("\0"s));
    EXPECT_TRUE(Gives(call.RunWithCapacity(-1), -404));
    EXPECT_EQ(call.length, 0);
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, 1);
}

template <typename Entry>
void ExpectCodesPassThrough(const Reading& call, Entry& entry) {
    for (const int32_t code : {kKeyRefuses, 1, -1, -404, kLowest, kHighest}) {
        entry.Writes("half", code);
        for (const bool with_buffer : {true, false}) {
            Reading failing = call;
            EXPECT_TRUE(Gives(failing.Run(with_buffer), code));
            EXPECT_EQ(failing.length, 2000);
            EXPECT_TRUE(failing.text.Untouched());
        }
    }
}

void ExpectMissingBackendGivesItsCode(Reading call) {
    RemoveBackend();
    EXPECT_TRUE(Gives(call.Run(), -101));
    EXPECT_TRUE(Gives(call.AskLength(), -101));
    EXPECT_EQ(call.length, 2000);
    EXPECT_TRUE(call.text.Untouched());
}

TEST(GetCert, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(Gives(GetCert(nullptr, 0, 0, nullptr, nullptr), -401));
    EXPECT_EQ(g_initFlag, 1);
}

TEST(GetCert, RefusesNullSerialNumberAndLength) {
    ExpectNullSerialNumberAndLengthAreRefused({GetCert});
}

TEST(GetCert, ReadsIntoAClearedBufferOf4096Bytes) {
    Key().GetCertInfo.Writes(kCertificate);
    Reading call = {GetCert};
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_THAT(Calls(), ElementsAre("GetCertInfo(\"SN0123456789\", 1, 2, zeroed[4096], &4096)"));
    const auto reading = Key().GetCertInfo.Arguments().at(0);
    EXPECT_EQ(std::get<0>(reading), call.szSN);
    EXPECT_NE(std::get<3>(reading), static_cast<char*>(call.text));
    EXPECT_NE(std::get<4>(reading), &call.length);
    EXPECT_EQ(LogText(), "");
}

TEST(GetCert, PassesSelectorsUnchanged) {
    Reading call = {GetCert};
    call.nParam1 = kLowest;
    call.nParam2 = -1;
    call.Run();
    EXPECT_THAT(Calls(), ElementsAre("GetCertInfo(\"SN0123456789\", -2147483648, -1, "
                                     "zeroed[4096], &4096)"));
}

TEST(GetCert, LengthQueryCountsTheTerminatorAndTooSmallBufferDoesNot) {
    Key().GetCertInfo.Writes(kCertificate);
    Reading call = {GetCert};
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, 1001);
    EXPECT_TRUE(Gives(call.RunWithCapacity(999), -404));
    EXPECT_EQ(call.length, 1000);
}

TEST(GetCert, KeepsTheLengthRuleAtEveryCapacity) {
    Key().GetCertInfo.Writes(kCertificate);
    ExpectLengthProtocol({GetCert}, kCertificate);
}

// Clients pass exactly the length that was reported, in a buffer with room for one byte more.
TEST(GetCert, CapacityOfTheLengthSucceedsAndTheTerminatorLiesBehindIt) {
    Key().GetCertInfo.Writes(kCertificate);
    Reading call = {GetCert};
    call.text = Canary(1000);
    EXPECT_TRUE(Gives(call.RunWithCapacity(1000), 0));
    EXPECT_EQ(call.length, 1000);
    EXPECT_TRUE(call.text.Holds(WithTerminator(kCertificate)));
}

TEST(GetCert, EmptyCertificateNeedsNoCapacity) {
    Key().GetCertInfo.Writes("");
    ExpectEmptyTextNeedsNoCapacity({GetCert});
}

// The length is the key's; what is copied is a text.
TEST(GetCert, ReportsTheKeysLengthAndCopiesUpToTheFirstZeroByte) {
    const struct {
        std::string written;
        int32_t told;
        std::string copied;
    } cases[] = {{"ab\0cd"s, 5, "ab\0"s}, {"abcdef", 3, "abcdef\0"s}, {"ab", -7, "ab\0"s}};
    for (const auto& one : cases) {
        Key().GetCertInfo.Does([&](auto, auto, auto, char* certificate, int32_t* length) {
            std::memcpy(certificate, one.written.c_str(), one.written.size() + 1);
            *length = one.told;
            return 0;
        });
        Reading call = {GetCert};
        EXPECT_TRUE(Gives(call.AskLength(), 0));
        EXPECT_EQ(call.length, one.told + 1);
        EXPECT_TRUE(Gives(call.RunWithCapacity(one.told - 1), -404));
        EXPECT_EQ(call.length, one.told);
        EXPECT_TRUE(call.text.Untouched());
        EXPECT_TRUE(Gives(call.RunWithCapacity(one.told), 0));
        EXPECT_EQ(call.length, one.told);
        EXPECT_TRUE(call.text.Holds(one.copied));
    }
}

TEST(GetCert, LargestLengthWrapsWhenTheTerminatorIsAdded) {
    Key().GetCertInfo.Does([](auto, auto, auto, char* certificate, int32_t* length) {
        std::strcpy(certificate, "certificate");
        *length = kHighest;
        return 0;
    });
    Reading call = {GetCert};
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, kLowest);
    EXPECT_TRUE(Gives(call.RunWithCapacity(2000), -404));
    EXPECT_EQ(call.length, kHighest);
}

TEST(GetCert, KeyThatSetsNoLengthReportsTheWholeBuffer) {
    Reading call = {GetCert};
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, 4097);
}

TEST(GetCert, CertificateThatFillsTheBufferStillEnds) {
    Key().GetCertInfo.Does([](auto, auto, auto, char* certificate, int32_t* length) {
        std::memset(certificate, 'C', static_cast<size_t>(*length));
        return 0;
    });
    Reading call = {GetCert};
    call.text = Canary(4097);
    EXPECT_TRUE(Gives(call.RunWithCapacity(4096), 0));
    EXPECT_EQ(call.length, 4096);
    EXPECT_TRUE(call.text.Holds(WithTerminator(std::string(4096, 'C'))));
}

TEST(GetCert, FailingKeyLeavesBufferAndLengthAlone) {
    ExpectCodesPassThrough({GetCert}, Key().GetCertInfo);
}

TEST(GetCert, MissingBackendGivesItsCode) {
    ExpectMissingBackendGivesItsCode({GetCert});
}

TEST(GetCert, LetsAnExceptionOfTheKeyOut) {
    LeaveEarlierCode();
    Key().GetCertInfo.ThrowsOnce(std::runtime_error("torn out"));
    Reading call = {GetCert};
    EXPECT_THROW(call.Run(), std::runtime_error);
    EXPECT_EQ(G_LastError, kEarlierCode);
    EXPECT_EQ(call.length, 2000);
}

TEST(GetCertDN, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(Gives(GetCertDN(nullptr, 0, 0, nullptr, nullptr), -401));
    EXPECT_EQ(g_initFlag, 1);
}

TEST(GetCertDN, RefusesNullSerialNumberAndLength) {
    ExpectNullSerialNumberAndLengthAreRefused({GetCertDN});
}

TEST(GetCertDN, ReadsIntoAClearedBufferOf1024Bytes) {
    Key().GM_GetCertDN.Writes(kName);
    Reading call = {GetCertDN};
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_THAT(Calls(), ElementsAre("GM_GetCertDN(\"SN0123456789\", 1, 2, zeroed[1024])"));
    const auto reading = Key().GM_GetCertDN.Arguments().at(0);
    EXPECT_EQ(std::get<0>(reading), call.szSN);
    EXPECT_NE(std::get<3>(reading), static_cast<char*>(call.text));
    EXPECT_EQ(LogText(), "");
}

TEST(GetCertDN, PassesSelectorsUnchanged) {
    Reading call = {GetCertDN};
    call.nParam1 = kLowest;
    call.nParam2 = -1;
    call.Run();
    EXPECT_THAT(Calls(),
                ElementsAre("GM_GetCertDN(\"SN0123456789\", -2147483648, -1, zeroed[1024])"));
}

TEST(GetCertDN, LengthQueryCountsTheTerminatorAndTooSmallBufferDoesNot) {
    Key().GM_GetCertDN.Writes(kName);
    const auto length = static_cast<int32_t>(kName.size());
    Reading call = {GetCertDN};
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, length + 1);
    EXPECT_TRUE(Gives(call.RunWithCapacity(length - 1), -404));
    EXPECT_EQ(call.length, length);
}

TEST(GetCertDN, KeepsTheLengthRuleAtEveryCapacity) {
    Key().GM_GetCertDN.Writes(kName);
    ExpectLengthProtocol({GetCertDN}, kName);
}

// Clients pass exactly the length that was reported, in a buffer with room for one byte more.
TEST(GetCertDN, CapacityOfTheLengthSucceedsAndTheTerminatorLiesBehindIt) {
    Key().GM_GetCertDN.Writes(kName);
    Reading call = {GetCertDN};
    call.text = Canary(kName.size());
    EXPECT_TRUE(Gives(call.RunWithCapacity(static_cast<int32_t>(kName.size())), 0));
    EXPECT_TRUE(call.text.Holds(WithTerminator(kName)));
}

TEST(GetCertDN, EmptyNameNeedsNoCapacity) {
    ExpectEmptyTextNeedsNoCapacity({GetCertDN});
}

TEST(GetCertDN, NameThatFillsTheBufferStillEnds) {
    Key().GM_GetCertDN.Does([](auto, auto, auto, char* name) {
        std::memset(name, 'N', 1024);
        return 0;
    });
    Reading call = {GetCertDN};
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 1024);
    EXPECT_TRUE(call.text.Holds(WithTerminator(std::string(1024, 'N'))));
}

TEST(GetCertDN, FailingKeyLeavesBufferAndLengthAlone) {
    ExpectCodesPassThrough({GetCertDN}, Key().GM_GetCertDN);
}

TEST(GetCertDN, MissingBackendGivesItsCode) {
    ExpectMissingBackendGivesItsCode({GetCertDN});
}

TEST(GetCertDN, LetsAnExceptionOfTheKeyOut) {
    LeaveEarlierCode();
    Key().GM_GetCertDN.ThrowsOnce(std::runtime_error("torn out"));
    Reading call = {GetCertDN};
    EXPECT_THROW(call.Run(), std::runtime_error);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(call.length, 2000);
}

TEST(GetCertDN, UnlikeGetCertResetsTheLastErrorBeforeTheKeyWorks) {
    LeaveEarlierCode();
    const auto during_certificate = NoteLastError(Key().GetCertInfo);
    Reading{GetCert}.Run();
    EXPECT_EQ(*during_certificate, kEarlierCode);
    G_LastError = kEarlierCode;
    const auto during_name = NoteLastError(Key().GM_GetCertDN);
    Reading{GetCertDN}.Run();
    EXPECT_EQ(*during_name, 0);
}

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
    Reading certificate = {GetCert};
    Reading name = {GetCertDN};
    EXPECT_TRUE(Gives(certificate.Run(), 0));
    EXPECT_TRUE(Gives(name.Run(), 0));
    EXPECT_EQ(certificate.length, 5);
    EXPECT_EQ(name.length, 2);
    EXPECT_TRUE(certificate.text.Holds("ab\0"s));
    EXPECT_TRUE(name.text.Holds("ab\0"s));
}

TEST(GetCertInfo, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(Gives(GetCertInfo(nullptr, 0, nullptr, nullptr), -401));
    EXPECT_EQ(g_initFlag, 1);
}

TEST(GetCertInfo, RefusesANullLength) {
    LeaveEarlierCode();
    Canary info(100);
    EXPECT_TRUE(Gives(GetCertInfo("SN0123456789", 1, info, nullptr), -401));
    EXPECT_TRUE(Gives(GetCertInfo("SN0123456789", 1, nullptr, nullptr), -401));
    EXPECT_TRUE(info.Untouched());
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(GetCertInfo, LengthQueryAnswersAFixedBoundWithoutTheKey) {
    LeaveEarlierCode();
    for (const char* serial_number : {"SN0123456789", static_cast<const char*>(nullptr)}) {
        G_LastError = kEarlierCode;
        int32_t length = -1;
        EXPECT_TRUE(Gives(GetCertInfo(serial_number, 7, nullptr, &length), 0));
        EXPECT_EQ(length, 1280);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(GetCertInfo, LengthQueryNeedsNoBackend) {
    RemoveBackend();
    int32_t length = 0;
    EXPECT_TRUE(Gives(GetCertInfo("SN0123456789", 7, nullptr, &length), 0));
    EXPECT_EQ(length, 1280);
}

TEST(GetCertInfo, PassesAllFourArgumentsUnchanged) {
    const char* serial_number = "SN0123456789";
    Canary info(100);
    int32_t length = 10;
    EXPECT_TRUE(Gives(GetCertInfo(serial_number, INTPTR_MIN + 1, info, &length), 0));
    EXPECT_THAT(Calls(), ElementsAre("GetCertInfo_UOS(\"SN0123456789\", -9223372036854775807, "
                                     "pointer, &10)"));
    const auto reading = Key().GetCertInfo_UOS.Arguments().at(0);
    EXPECT_EQ(std::get<0>(reading), serial_number);
    EXPECT_EQ(std::get<2>(reading), static_cast<char*>(info));
    EXPECT_EQ(std::get<3>(reading), &length);
    EXPECT_EQ(length, 10);
    EXPECT_TRUE(info.Untouched());
    EXPECT_EQ(LogText(), "");
}

TEST(GetCertInfo, LeavesBufferAndCapacityToTheKey) {
    Key().GetCertInfo_UOS.Does([](auto, auto, void* info, int32_t* length) {
        std::memcpy(info, "info", 4);
        *length = 4;
        return 0;
    });
    Canary info(100);
    int32_t length = 1;
    EXPECT_TRUE(Gives(GetCertInfo(nullptr, 0, info, &length), 0));
    EXPECT_EQ(length, 4);
    EXPECT_TRUE(info.Holds("info"));
    EXPECT_THAT(Calls(), ElementsAre("GetCertInfo_UOS(null, 0, pointer, &1)"));
}

TEST(GetCertInfo, PassesTheKeysCodesThroughUnchanged) {
    for (const int32_t code : {kKeyRefuses, 1, -1, -404, kLowest, kHighest}) {
        Key().GetCertInfo_UOS.Returns(code);
        Canary info(100);
        int32_t length = 100;
        EXPECT_TRUE(Gives(GetCertInfo("SN0123456789", 1, info, &length), code));
        EXPECT_EQ(length, 100);
    }
}

TEST(GetCertInfo, LeavesTheLastErrorAloneUntilTheKeyHasAnswered) {
    LeaveEarlierCode();
    const auto during_reading = NoteLastError(Key().GetCertInfo_UOS);
    Canary info(100);
    int32_t length = 100;
    EXPECT_TRUE(Gives(GetCertInfo("SN0123456789", 1, info, &length), 0));
    EXPECT_EQ(*during_reading, kEarlierCode);
}

TEST(GetCertInfo, MissingBackendGivesItsCode) {
    RemoveBackend();
    Canary info(100);
    int32_t length = 100;
    EXPECT_TRUE(Gives(GetCertInfo("SN0123456789", 1, info, &length), -101));
    EXPECT_EQ(length, 100);
}

TEST(DelCertAndTempKey, BindsTheBackendAndPassesArgumentsUnchanged) {
    const char* serial_number = "SN0123456789";
    EXPECT_TRUE(Gives(DelCertAndTempKey(serial_number, -1, kLowest), 0));
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(Calls(), ElementsAre("DelCertAndTempKey(\"SN0123456789\", -1, -2147483648)"));
    EXPECT_EQ(std::get<0>(Key().DelCertAndTempKey.Arguments().at(0)), serial_number);
    EXPECT_EQ(LogText(), "");
}

TEST(DelCertAndTempKey, TestsNoArgument) {
    EXPECT_TRUE(Gives(DelCertAndTempKey(nullptr, 0, kHighest), 0));
    EXPECT_THAT(Calls(), ElementsAre("DelCertAndTempKey(null, 0, 2147483647)"));
}

TEST(DelCertAndTempKey, PassesTheKeysCodesThroughUnchanged) {
    for (const int32_t code : {kKeyRefuses, 1, -1, -404, kLowest, kHighest}) {
        Key().DelCertAndTempKey.Returns(code);
        EXPECT_TRUE(Gives(DelCertAndTempKey("SN0123456789", 1, 2), code));
    }
}

TEST(DelCertAndTempKey, LeavesTheLastErrorAloneUntilTheKeyHasAnswered) {
    LeaveEarlierCode();
    const auto during_removal = NoteLastError(Key().DelCertAndTempKey);
    EXPECT_TRUE(Gives(DelCertAndTempKey("SN0123456789", 1, 2), 0));
    EXPECT_EQ(*during_removal, kEarlierCode);
}

TEST(DelCertAndTempKey, MissingBackendGivesItsCode) {
    RemoveBackend();
    EXPECT_TRUE(Gives(DelCertAndTempKey("SN0123456789", 1, 2), -101));
}

// Clients look these up and treat -300 as "nothing to do"; the code of the call before stays.
void ExpectRefusal(int32_t (*function)()) {
    G_LastError = kEarlierCode;
    EXPECT_EQ(function(), -300);
    EXPECT_EQ(G_LastError, kEarlierCode);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_FALSE(BackendIsLoaded());

    LeaveEarlierCode();
    EXPECT_EQ(function(), -300);
    EXPECT_EQ(G_LastError, kEarlierCode);
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(RegisterCert, RefusesAndLeavesTheLastErrorAsItWas) {
    ExpectRefusal(RegisterCert);
}

TEST(UnregisterCert, RefusesAndLeavesTheLastErrorAsItWas) {
    ExpectRefusal(UnregisterCert);
}

TEST(RepairDriver, RefusesAndLeavesTheLastErrorAsItWas) {
    ExpectRefusal(RepairDriver);
}

}  // namespace
