#include <stdexcept>
#include <tuple>

#include "api_test.h"
#include "common/commonfunction.h"
#include "estimate.h"
#include "outcome.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)

// The arguments of Sign that a test does not care about.
struct SignCall {
    const char* szSN = "SN0123456789";
    int32_t nParam1 = 1;
    int32_t nParam2 = 2;
    const char* szData = "abc";
    const char* szWarning = "Pay 5?";
    bool with_length = true;
    int32_t length = 100;
    Canary signature{100};

    int32_t Run(bool with_buffer = true) {
        return Sign(szSN, nParam1, nParam2, szData, szWarning,
                    with_buffer ? static_cast<char*>(signature) : nullptr,
                    with_length ? &length : nullptr);
    }
    int32_t AskLength() { return Run(false); }
};

constexpr TextCall<SignCall> kSign{&SignCall::szData, &SignCall::signature};

TEST(Sign, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(Gives(Sign(nullptr, 0, 0, nullptr, nullptr, nullptr, nullptr), -401));
    EXPECT_EQ(g_initFlag, 1);
    EXPECT_TRUE(BackendIsLoaded());
}

TEST(Sign, RefusesNullDataWarningAndLength) {
    LeaveEarlierCode();
    for (const char* which : {"data", "warning", "length"}) {
        SCOPED_TRACE(which);
        SignCall call;
        call.szData = which == "data"s ? nullptr : call.szData;
        call.szWarning = which == "warning"s ? nullptr : call.szWarning;
        call.with_length = which != "length"s;
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(call.Run(), -401));
        EXPECT_EQ(call.length, 100);
        EXPECT_TRUE(call.signature.Untouched());
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(Sign, RefusesNullArgumentsInALengthQueryToo) {
    LeaveEarlierCode();
    SignCall without_data;
    without_data.szData = nullptr;
    EXPECT_TRUE(Gives(without_data.AskLength(), -401));
    SignCall without_warning;
    without_warning.szWarning = nullptr;
    EXPECT_TRUE(Gives(without_warning.AskLength(), -401));
    EXPECT_EQ(without_data.length, 100);
    EXPECT_EQ(without_warning.length, 100);
}

TEST(Sign, LengthQueryAnswersTheEstimateWithoutTheKey) {
    ExpectEstimates(kSign, {{"", 8192}, {"abc", 8198}, {std::string(1000, 'd'), 10192}});
}

TEST(Sign, LengthQueryNeedsNoBackend) {
    ExpectEstimateWithoutABackend<SignCall>(8198);
}

TEST(Sign, EstimateOfAHugeTextWrapsAroundIn32Bits) {
    ExpectEstimateToWrapAround(kSign);
}

TEST(Sign, ShowsTheWarningThenSigns) {
    Key().GMUsbKeyCriticalSign.Writes("SIGNATURE");
    SignCall call;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 9);
    EXPECT_TRUE(call.signature.Holds("SIGNATURE\0"s));
    EXPECT_THAT(Calls(),
                ElementsAre("SetWarningMsg(\"SN0123456789\", \"Pay 5?\")",
                            "GMUsbKeyCriticalSign(\"SN0123456789\", 1, 2, \"abc\", buffer, &100)"));
    EXPECT_EQ(LogText(), "");
}

TEST(Sign, GivesTheKeyTheCallersOwnPointers) {
    SignCall call;
    call.Run();
    const auto warning = Key().SetWarningMsg.Arguments().at(0);
    EXPECT_EQ(std::get<0>(warning), call.szSN);
    EXPECT_EQ(std::get<1>(warning), call.szWarning);
    const auto signing = Key().GMUsbKeyCriticalSign.Arguments().at(0);
    EXPECT_EQ(std::get<0>(signing), call.szSN);
    EXPECT_EQ(std::get<3>(signing), call.szData);
    EXPECT_EQ(std::get<4>(signing), static_cast<char*>(call.signature));
    EXPECT_EQ(std::get<5>(signing), &call.length);
}

TEST(Sign, WidensSelectorsWithTheirSign) {
    SignCall call;
    call.nParam1 = -1;
    call.nParam2 = kLowest;
    call.Run();
    call.nParam1 = kHighest;
    call.nParam2 = 0;
    call.Run();
    EXPECT_EQ(Calls().at(1),
              "GMUsbKeyCriticalSign(\"SN0123456789\", -1, -2147483648, \"abc\", buffer, &100)");
    EXPECT_EQ(Calls().at(3),
              "GMUsbKeyCriticalSign(\"SN0123456789\", 2147483647, 0, \"abc\", buffer, &100)");
}

TEST(Sign, PassesANullSerialNumberOn) {
    SignCall call;
    call.szSN = nullptr;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_THAT(Calls(), ElementsAre("SetWarningMsg(null, \"Pay 5?\")",
                                     "GMUsbKeyCriticalSign(null, 1, 2, \"abc\", buffer, &100)"));
}

TEST(Sign, LeavesTheCapacityToTheKey) {
    Key().GMUsbKeyCriticalSign.Writes("SIGNATURE");
    SignCall call;
    call.length = -7;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(Calls().at(1), "GMUsbKeyCriticalSign(\"SN0123456789\", 1, 2, \"abc\", buffer, &-7)");
    EXPECT_EQ(call.length, 9);
}

TEST(Sign, RefusedWarningStopsBeforeAnySigning) {
    Key().SetWarningMsg.Returns(kKeyRefuses);
    SignCall call;
    EXPECT_TRUE(Gives(call.Run(), kKeyRefuses));
    EXPECT_THAT(Calls(), ElementsAre("SetWarningMsg(\"SN0123456789\", \"Pay 5?\")"));
    EXPECT_EQ(call.length, 100);
    EXPECT_TRUE(call.signature.Untouched());
}

TEST(Sign, PassesTheKeysCodesThroughUnchanged) {
    for (const int32_t code : {kKeyRefuses, 1, -1, -404, kLowest, kHighest}) {
        Key().SetWarningMsg.ReturnsOnce(code);
        EXPECT_TRUE(Gives(SignCall().Run(), code));
        Key().GMUsbKeyCriticalSign.ReturnsOnce(code);
        EXPECT_TRUE(Gives(SignCall().Run(), code));
    }
}

TEST(Sign, KeepsWhatAFailingKeyHasWritten) {
    Key().GMUsbKeyCriticalSign.Writes("half", kKeyRefuses);
    SignCall call;
    EXPECT_TRUE(Gives(call.Run(), kKeyRefuses));
    EXPECT_EQ(call.length, 4);
    EXPECT_TRUE(call.signature.Holds("half\0"s));
}

TEST(Sign, LeavesTheLastErrorAloneUntilTheKeyHasAnswered) {
    LeaveEarlierCode();
    const auto during_warning = NoteLastError(Key().SetWarningMsg);
    const auto during_signing = NoteLastError(Key().GMUsbKeyCriticalSign);
    SignCall().Run();
    EXPECT_EQ(*during_warning, kEarlierCode);
    EXPECT_EQ(*during_signing, 0);
}

TEST(Sign, MissingBackendGivesItsCode) {
    ExpectTheCodeOfAMissingBackend(kSign);
}

TEST(Sign, EmptySlotGivesItsCode) {
    LeaveEarlierCode();
    ORVAL_ComFunc.GMUsbKeyCriticalSign = nullptr;
    EXPECT_TRUE(Gives(SignCall().Run(), -101));
    EXPECT_THAT(Calls(), ElementsAre("SetWarningMsg(\"SN0123456789\", \"Pay 5?\")"));
    ORVAL_ComFunc.SetWarningMsg = nullptr;
    EXPECT_TRUE(Gives(SignCall().Run(), -101));
    EXPECT_EQ(Calls().size(), 1u);
}

TEST(Sign, LetsAnExceptionOfTheKeyOut) {
    Key().GMUsbKeyCriticalSign.ThrowsOnce(std::runtime_error("torn out"));
    EXPECT_THROW(SignCall().Run(), std::runtime_error);
    EXPECT_EQ(G_LastError, 0);
}

// The arguments of SignHash that a test does not care about.
struct SignHashCall {
    const char* szSN = "SN0123456789";
    int32_t nParam1 = 1;
    int32_t nParam2 = 2;
    const char* szData = "abc";
    int32_t nParam3 = 3;
    bool with_length = true;
    int32_t length = 100;
    Canary signature{100};

    int32_t Run(bool with_buffer = true) {
        return SignHash(szSN, nParam1, nParam2, szData, nParam3,
                        with_buffer ? static_cast<char*>(signature) : nullptr,
                        with_length ? &length : nullptr);
    }
    int32_t AskLength() { return Run(false); }
};

constexpr TextCall<SignHashCall> kSignHash{&SignHashCall::szData, &SignHashCall::signature};

TEST(SignHash, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(Gives(SignHash(nullptr, 0, 0, nullptr, 0, nullptr, nullptr), -401));
    EXPECT_EQ(g_initFlag, 1);
}

TEST(SignHash, RefusesNullDataAndLength) {
    ExpectNullTextAndLengthAreRefused(kSignHash);
}

TEST(SignHash, LengthQueryAnswersTheEstimateWithoutTheKey) {
    ExpectEstimates(kSignHash, {{"", 8192}, {"abc", 8198}, {std::string(1000, 'd'), 10192}});
}

TEST(SignHash, LengthQueryNeedsNoBackend) {
    ExpectEstimateWithoutABackend<SignHashCall>(8198);
}

TEST(SignHash, EstimateOfAHugeTextWrapsAroundIn32Bits) {
    ExpectEstimateToWrapAround(kSignHash);
}

TEST(SignHash, NoBufferOfANegativeEstimateCanBeHad) {
    ExpectNoBufferOfANegativeEstimate(kSignHash);
}

TEST(SignHash, SignsIntoAClearedBufferOfTheEstimatesSize) {
    Key().GMUsbKeyCommonSign.Writes("SIGNATURE");
    SignHashCall call;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 9);
    EXPECT_TRUE(call.signature.Holds("SIGNATURE\0"s));
    EXPECT_THAT(Calls(), ElementsAre("GMUsbKeyCommonSign(\"SN0123456789\", 1, 2, \"abc\", 3, "
                                     "zeroed[8198], &100)"));
    EXPECT_EQ(LogText(), "");
}

TEST(SignHash, GivesTheKeyCopiesAndTheCallersLength) {
    SignHashCall call;
    call.Run();
    const auto signing = Key().GMUsbKeyCommonSign.Arguments().at(0);
    EXPECT_NE(std::get<0>(signing), call.szSN);
    EXPECT_NE(std::get<3>(signing), call.szData);
    EXPECT_NE(std::get<5>(signing), static_cast<char*>(call.signature));
    EXPECT_EQ(std::get<6>(signing), &call.length);
}

TEST(SignHash, WidensSelectorsWithTheirSign) {
    SignHashCall call;
    call.nParam1 = -1;
    call.nParam2 = kLowest;
    call.nParam3 = -401;
    call.Run();
    EXPECT_THAT(Calls(), ElementsAre("GMUsbKeyCommonSign(\"SN0123456789\", -1, -2147483648, "
                                     "\"abc\", -401, zeroed[8198], &100)"));
}

TEST(SignHash, NullSerialNumberCountsAsAnEmptyText) {
    SignHashCall call;
    call.szSN = nullptr;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_THAT(Calls(),
                ElementsAre("GMUsbKeyCommonSign(\"\", 1, 2, \"abc\", 3, zeroed[8198], &100)"));
}

// Clients pass a buffer of the estimate's size and whatever length they like.
TEST(SignHash, CapacityIsNotTested) {
    Key().GMUsbKeyCommonSign.Writes("SIGNATURE");
    for (const int32_t capacity : {0, 1, 8, -100}) {
        SignHashCall call;
        call.length = capacity;
        EXPECT_TRUE(Gives(call.Run(), 0));
        EXPECT_EQ(call.length, 9);
        EXPECT_TRUE(call.signature.Holds("SIGNATURE\0"s));
    }
}

// The length is the key's alone: nothing here counts the text that is copied.
TEST(SignHash, ReportsTheKeysLengthWhateverTheTextsLength) {
    Key().GMUsbKeyCommonSign.Does([](auto, auto, auto, auto, auto, char* signature, int32_t* n) {
        std::memcpy(signature, "ab\0cd", 6);
        *n = 5;
        return 0;
    });
    SignHashCall call;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 5);
    EXPECT_TRUE(call.signature.Holds("ab\0"s));
}

TEST(SignHash, LengthStaysWhereTheKeyDoesNotSetIt) {
    SignHashCall call;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 100);
    EXPECT_TRUE(call.signature.Holds("\0"s));
}

TEST(SignHash, SignatureThatFillsTheBufferStillEnds) {
    Key().GMUsbKeyCommonSign.Does([](auto, auto, auto, auto, auto, char* signature, auto) {
        std::memset(signature, 'S', 8198);
        return 0;
    });
    SignHashCall call;
    call.signature = Canary(8199);
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_TRUE(call.signature.Holds(WithTerminator(std::string(8198, 'S'))));
}

TEST(SignHash, FailingKeyLeavesTheCallersBufferAlone) {
    Key().GMUsbKeyCommonSign.Writes("half", kKeyRefuses);
    SignHashCall call;
    EXPECT_TRUE(Gives(call.Run(), kKeyRefuses));
    EXPECT_EQ(call.length, 4);  // written by the key itself
    EXPECT_TRUE(call.signature.Untouched());
    for (const int32_t code : {1, -1, -404, kLowest, kHighest}) {
        Key().GMUsbKeyCommonSign.Returns(code);
        EXPECT_TRUE(Gives(SignHashCall().Run(), code));
    }
}

TEST(SignHash, ResetsTheLastErrorBeforeTheKeyWorks) {
    LeaveEarlierCode();
    const auto during_signing = NoteLastError(Key().GMUsbKeyCommonSign);
    SignHashCall().Run();
    EXPECT_EQ(*during_signing, 0);
}

TEST(SignHash, MissingBackendGivesItsCode) {
    ExpectTheCodeOfAMissingBackend(kSignHash);
}

TEST(SignHash, LetsAnExceptionOfTheKeyOut) {
    LeaveEarlierCode();
    Key().GMUsbKeyCommonSign.ThrowsOnce(std::runtime_error("torn out"));
    SignHashCall call;
    EXPECT_THROW(call.Run(), std::runtime_error);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_TRUE(call.signature.Untouched());
}

TEST(SignHash, StringLibraryOutOfMemoryLeavesAsItsException) {
    ExpectOutOfMemoryOfBothCopies(kSignHash, "abc");
}

TEST(SignHash, NoTemporaryBufferLeavesAsTheStandardError) {
    ExpectStandardErrorWithoutABuffer(kSignHash);
}

// Sign hands over the caller's buffer, SignHash one of its own.
TEST(SignHash, UnlikeSignFillsTheCallersBufferOnlyOnSuccess) {
    Key().GMUsbKeyCriticalSign.Writes("half", kKeyRefuses);
    Key().GMUsbKeyCommonSign.Writes("half", kKeyRefuses);
    SignCall sign;
    SignHashCall sign_hash;
    EXPECT_TRUE(Gives(sign.Run(), kKeyRefuses));
    EXPECT_TRUE(Gives(sign_hash.Run(), kKeyRefuses));
    EXPECT_TRUE(sign.signature.Holds("half\0"s));
    EXPECT_TRUE(sign_hash.signature.Untouched());
}

// The arguments of Batch_Sign that a test does not care about.
struct BatchSignCall {
    int32_t nFlags = 1;
    const char* szSN = "SN0123456789";
    const char* szText = "abc";
    const void* pParam6 = "six";
    const char* szBatch = "x||y||z";
    bool with_length = true;
    int32_t length = 100;
    Canary output{100};

    int32_t Run(bool with_buffer = true) {
        return Batch_Sign(nFlags, szSN, 3, 4, szText, pParam6, 7, 8, 9, szBatch, 11,
                          with_buffer ? static_cast<char*>(output) : nullptr,
                          with_length ? &length : nullptr);
    }
    int32_t AskLength() { return Run(false); }
};

constexpr TextCall<BatchSignCall> kBatchSign{&BatchSignCall::szText, &BatchSignCall::output};

TEST(Batch_Sign, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(
        Gives(Batch_Sign(0, nullptr, 0, 0, nullptr, nullptr, 0, 0, 0, nullptr, 0, nullptr, nullptr),
              -401));
    EXPECT_EQ(g_initFlag, 1);
}

TEST(Batch_Sign, RefusesANullLength) {
    LeaveEarlierCode();
    BatchSignCall call;
    call.with_length = false;
    EXPECT_TRUE(Gives(call.Run(), -401));
    EXPECT_TRUE(Gives(call.AskLength(), -401));
    EXPECT_TRUE(call.output.Untouched());
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

// The factor is the number of separators and not of items: a batch of one item adds nothing.
TEST(Batch_Sign, LengthQueryCountsSeparatorsAndNotItems) {
    LeaveEarlierCode();
    const std::tuple<const char*, const char*, int32_t> cases[] = {
        {nullptr, nullptr, 0},      {nullptr, "", 0},         {nullptr, "xyz", 0},
        {"", nullptr, 4096},        {"abc", nullptr, 4102},   {"abc", "", 4102},
        {"abc", "xyz", 4102},       {"abc", "x|y|z", 4102},   {"abc", "x||y||z", 12322},
        {nullptr, "x||y||z", 8220}, {nullptr, "||", 4100},    {nullptr, "|||", 4102},
        {nullptr, "||||", 8208},    {"abc", "a||||b", 12318},
    };
    for (const auto& [text, batch, expected] : cases) {
        BatchSignCall call;
        call.szText = text;
        call.szBatch = batch;
        call.length = -1;
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(call.AskLength(), 0));
        EXPECT_EQ(call.length, expected) << (batch == nullptr ? "null" : batch);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(Batch_Sign, LengthQueryNeedsNoBackend) {
    ExpectEstimateWithoutABackend<BatchSignCall>(12322);
}

TEST(Batch_Sign, EstimateWrapsAroundIn32Bits) {
    const std::string batch(65536, '|');
    BatchSignCall call;
    call.szText = nullptr;
    call.szBatch = batch.c_str();
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    // (65536 + 2048) * 32768 * 2 is 2^32 + 134217728.
    EXPECT_EQ(call.length, 134217728);
}

// A length query is answered before the required arguments are looked at.
TEST(Batch_Sign, LengthQueryAsksForNoRequiredArgument) {
    LeaveEarlierCode();
    int32_t length = -1;
    EXPECT_TRUE(Gives(
        Batch_Sign(1, nullptr, 0, 0, nullptr, nullptr, 0, 0, 0, nullptr, 0, nullptr, &length), 0));
    EXPECT_EQ(length, 0);
}

TEST(Batch_Sign, BitZeroDemandsSerialNumberTextAndSixthArgument) {
    LeaveEarlierCode();
    for (const int32_t flags : {1, 3, -1, kHighest}) {
        for (const int missing : {2, 5, 6}) {
            BatchSignCall call;
            call.nFlags = flags;
            call.szSN = missing == 2 ? nullptr : call.szSN;
            call.szText = missing == 5 ? nullptr : call.szText;
            call.pParam6 = missing == 6 ? nullptr : call.pParam6;
            G_LastError = kEarlierCode;
            EXPECT_TRUE(Gives(call.Run(), -401)) << flags << ", argument " << missing;
            EXPECT_EQ(call.length, 100);
            EXPECT_TRUE(call.output.Untouched());
        }
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(Batch_Sign, OtherBitsDemandNothing) {
    for (const int32_t flags : {0, 2, -2, kLowest}) {
        BatchSignCall call;
        call.nFlags = flags;
        call.szSN = nullptr;
        call.szText = nullptr;
        call.pParam6 = nullptr;
        call.szBatch = nullptr;
        EXPECT_TRUE(Gives(call.Run(), 0));
        EXPECT_EQ(Calls().back(), "Batch_Sign(" + std::to_string(flags) +
                                      ", null, 3, 4, null, null, 7, 8, 9, null, 11, buffer, &100)");
    }
}

TEST(Batch_Sign, ABatchIsNeverRequired) {
    BatchSignCall call;
    call.szBatch = nullptr;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_THAT(Calls(), ElementsAre("Batch_Sign(1, \"SN0123456789\", 3, 4, \"abc\", pointer, 7, "
                                     "8, 9, null, 11, buffer, &100)"));
}

TEST(Batch_Sign, PassesAllArgumentsOnUnchanged) {
    Key().Batch_Sign.Writes("S1||S2||S3");
    Canary output(100);
    int32_t length = 100;
    const char* serial_number = "SN0123456789";
    const char* text = "abc";
    const char* batch = "x||y||z";
    EXPECT_TRUE(Gives(Batch_Sign(kHighest, serial_number, -3, kLowest, text, &length, INT64_MIN + 7,
                                 -8, kHighest, batch, -11, output, &length),
                      0));
    EXPECT_EQ(length, 10);
    EXPECT_TRUE(output.Holds("S1||S2||S3\0"s));
    EXPECT_THAT(Calls(), ElementsAre("Batch_Sign(2147483647, \"SN0123456789\", -3, -2147483648, "
                                     "\"abc\", pointer, -9223372036854775801, -8, 2147483647, "
                                     "\"x||y||z\", -11, buffer, &100)"));
    const auto signing = Key().Batch_Sign.Arguments().at(0);
    EXPECT_EQ(std::get<1>(signing), serial_number);
    EXPECT_EQ(std::get<4>(signing), text);
    EXPECT_EQ(std::get<5>(signing), &length);
    EXPECT_EQ(std::get<9>(signing), batch);
    EXPECT_EQ(std::get<11>(signing), static_cast<char*>(output));
    EXPECT_EQ(std::get<12>(signing), &length);
    EXPECT_EQ(LogText(), "");
}

TEST(Batch_Sign, LeavesTheCapacityToTheKey) {
    Key().Batch_Sign.Writes("S1||S2||S3");
    BatchSignCall call;
    call.length = 1;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 10);
    EXPECT_TRUE(call.output.Holds("S1||S2||S3\0"s));
}

TEST(Batch_Sign, PassesTheKeysCodesThroughUnchanged) {
    for (const int32_t code : {kKeyRefuses, 1, -1, -404, kLowest, kHighest}) {
        Key().Batch_Sign.Returns(code);
        BatchSignCall call;
        EXPECT_TRUE(Gives(call.Run(), code));
        EXPECT_EQ(call.length, 100);
        EXPECT_TRUE(call.output.Untouched());
    }
}

TEST(Batch_Sign, LeavesTheLastErrorAloneUntilTheKeyHasAnswered) {
    LeaveEarlierCode();
    const auto during_signing = NoteLastError(Key().Batch_Sign);
    EXPECT_TRUE(Gives(BatchSignCall().Run(), 0));
    EXPECT_EQ(*during_signing, kEarlierCode);
}

TEST(Batch_Sign, MissingBackendGivesItsCode) {
    ExpectTheCodeOfAMissingBackend(kBatchSign);
}

TEST(Batch_Sign, LetsAnExceptionOfTheKeyOut) {
    LeaveEarlierCode();
    Key().Batch_Sign.ThrowsOnce(std::runtime_error("torn out"));
    EXPECT_THROW(BatchSignCall().Run(), std::runtime_error);
    EXPECT_EQ(G_LastError, kEarlierCode);
}

TEST(GetSubStringCount, CountsOccurrencesThatDoNotOverlap) {
    const std::tuple<std::string, std::string, int32_t> cases[] = {
        {"a||||b", "||", 2},  {"aaa", "aa", 1},   {"x||y||z", "||", 2}, {"|||", "||", 1},
        {"||", "||", 1},      {"|", "||", 0},     {"", "||", 0},        {"xyz", "||", 0},
        {"abcabc", "abc", 2}, {"abc", "abcd", 0}, {"ababa", "aba", 1},  {"aaaa", "a", 4},
        {"A|a", "a", 1},
    };
    for (const auto& [text, part, expected] : cases) {
        EXPECT_EQ(ORVAL_ComFunc.GetSubStringCount(text, part), expected) << text << ", " << part;
    }
}

TEST(GetSubStringCount, FindsTheEmptyTextAtEveryPositionAndAtTheEnd) {
    EXPECT_EQ(ORVAL_ComFunc.GetSubStringCount("", ""), 1);
    EXPECT_EQ(ORVAL_ComFunc.GetSubStringCount("abc", ""), 4);
}

TEST(GetSubStringCount, CountsBeyondAZeroByte) {
    EXPECT_EQ(ORVAL_ComFunc.GetSubStringCount("a||\0||b"s, "||"), 2);
    EXPECT_EQ(ORVAL_ComFunc.GetSubStringCount("\0\0\0"s, "\0"s), 3);
}

}  // namespace
