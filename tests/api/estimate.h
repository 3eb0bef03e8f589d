#ifndef ORVAL_TESTS_API_ESTIMATE_H
#define ORVAL_TESTS_API_ESTIMATE_H

#include <new>
#include <string>
#include <utility>
#include <vector>

#include "api_test.h"
#include "huge_text.h"
#include "outcome.h"
#include "scarce_memory.h"

// What the signing functions and the decryption have in common: a length query is answered with an
// estimate, without the key, and what comes out goes into a buffer of that size.
namespace scripted {

// A struct with the arguments of a call, and where in it the text lies that the call works on, and
// the caller's buffer. It has members `length`, `with_length`, Run() and AskLength() too.
template <typename Call>
struct TextCall {
    const char* Call::*text;
    Canary Call::*output;

    Call With(const char* other_text) const {
        Call call;
        call.*text = other_text;
        return call;
    }
    testing::AssertionResult LeftAlone(const Call& call) const {
        if (call.length != 100) {
            return testing::AssertionFailure() << "the length became " << call.length;
        }
        return (call.*output).Untouched();
    }
};

template <typename Call>
void ExpectNullTextAndLengthAreRefused(const TextCall<Call>& kind) {
    LeaveEarlierCode();
    for (const bool with_buffer : {true, false}) {
        Call without_text = kind.With(nullptr);
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(without_text.Run(with_buffer), -401));
        EXPECT_TRUE(kind.LeftAlone(without_text));

        Call without_length;
        without_length.with_length = false;
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(without_length.Run(with_buffer), -401));
        EXPECT_TRUE(kind.LeftAlone(without_length));
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

template <typename Call>
void ExpectEstimates(const TextCall<Call>& kind,
                     const std::vector<std::pair<std::string, int32_t>>& estimates) {
    LeaveEarlierCode();
    for (const auto& [text, expected] : estimates) {
        Call call = kind.With(text.c_str());
        call.length = -1;
        G_LastError = kEarlierCode;
        EXPECT_TRUE(Gives(call.AskLength(), 0));
        EXPECT_EQ(call.length, expected);
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

template <typename Call>
void ExpectEstimateWithoutABackend(int32_t expected) {
    RemoveBackend();
    Call call;
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, expected);
}

template <typename Call>
void ExpectEstimateToWrapAround(const TextCall<Call>& kind) {
    const HugeText text(kOneGibibyte);
    Call call = kind.With(text.Text());
    EXPECT_TRUE(Gives(call.AskLength(), 0));
    EXPECT_EQ(call.length, kLowest + 8192);
}

template <typename Call>
void ExpectNoBufferOfANegativeEstimate(const TextCall<Call>& kind) {
    const HugeText text(kOneGibibyte);
    Call call = kind.With(text.Text());
    EXPECT_THROW(call.Run(), std::bad_alloc);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_TRUE(kind.LeftAlone(call));
}

template <typename Call>
void ExpectTheCodeOfAMissingBackend(const TextCall<Call>& kind) {
    RemoveBackend();
    Call call;
    EXPECT_TRUE(Gives(call.Run(), -101));
    EXPECT_TRUE(kind.LeftAlone(call));
}

// Both the serial number and the text are copied before the key is called.
template <typename Call>
void ExpectOutOfMemoryOfBothCopies(const TextCall<Call>& kind, const char* text) {
    LeaveEarlierCode();
    for (int request = 1;; ++request) {
        ScarceStrings strings(request);
        Call call = kind.With(text);
        const size_t calls = Calls().size();
        const int32_t raised = RaisedCode([&] { call.Run(); });
        EXPECT_EQ(strings.LiveBlocks(), 0);
        if (!strings.Failed()) {
            EXPECT_GT(request, 2) << "neither the serial number nor the text was copied";
            break;
        }
        EXPECT_EQ(raised, QRV::kOutOfMemory);
        EXPECT_EQ(Calls().size(), calls);
        EXPECT_TRUE(kind.LeftAlone(call));
    }
}

template <typename Call>
void ExpectStandardErrorWithoutABuffer(const TextCall<Call>& kind) {
    LeaveEarlierCode();
    Call call;
    const ScarceArrays arrays(1);
    EXPECT_THROW(call.Run(), std::bad_alloc);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_TRUE(kind.LeftAlone(call));
}

}  // namespace scripted

#endif
