#include <tuple>

#include "api_test.h"
#include "common/commonfunction.h"
#include "outcome.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)

// The arguments of Batch_Sign that a test does not care about.
struct BatchSignCall {
    int32_t nFlags = 1;
    const char* szSN = "SN0123456789";
    const char* szText = "abc";
    const void* pParam6 = "six";
    const char* szBatch = "x||y||z";
    int32_t length = 100;
    Canary output{100};

    int32_t Run(bool with_buffer = true) {
        return Batch_Sign(nFlags, szSN, 3, 4, szText, pParam6, 7, 8, 9, szBatch, 11,
                          with_buffer ? static_cast<char*>(output) : nullptr, &length);
    }
    int32_t AskLength() { return Run(false); }
};

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
    for (const int32_t flags : {1, 3, -1, INT32_MAX}) {
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
    for (const int32_t flags : {0, 2, -2, INT32_MIN}) {
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
