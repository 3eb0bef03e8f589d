#include <stdexcept>
#include <tuple>

#include "api_test.h"
#include "estimate.h"
#include "outcome.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)

// The arguments of AsymDec that a test does not care about.
struct Decryption {
    const char* szSN = "SN0123456789";
    int32_t nParam1 = 1;
    uint32_t nParam2 = 2;
    const char* szCipher = "c1ph3r";
    bool with_length = true;
    int32_t length = 100;
    Canary plain{100};

    int32_t Run(bool with_buffer = true) {
        return AsymDec(szSN, nParam1, nParam2, szCipher,
                       with_buffer ? static_cast<char*>(plain) : nullptr,
                       with_length ? &length : nullptr);
    }
    int32_t AskLength() { return Run(false); }
};

constexpr TextCall<Decryption> kDecryption{&Decryption::szCipher, &Decryption::plain};

TEST(AsymDec, BindsTheBackendBeforeItLooksAtArguments) {
    EXPECT_TRUE(Gives(AsymDec(nullptr, 0, 0, nullptr, nullptr, nullptr), -401));
    EXPECT_EQ(g_initFlag, 1);
}

TEST(AsymDec, RefusesNullCiphertextAndLength) {
    ExpectNullTextAndLengthAreRefused(kDecryption);
}

TEST(AsymDec, LengthQueryAnswersTheEstimateWithoutTheKey) {
    ExpectEstimates(
        kDecryption,
        {{"", 8192}, {"abc", 8198}, {"a\r\nb\r\n", 8204}, {std::string(1000, 'd'), 10192}});
}

TEST(AsymDec, LengthQueryNeedsNoBackend) {
    ExpectEstimateWithoutABackend<Decryption>(8204);
}

TEST(AsymDec, EstimateOfAHugeTextWrapsAroundIn32Bits) {
    ExpectEstimateToWrapAround(kDecryption);
}

TEST(AsymDec, NoBufferOfANegativeEstimateCanBeHad) {
    ExpectNoBufferOfANegativeEstimate(kDecryption);
}

TEST(AsymDec, DecryptsIntoAClearedBufferOfTheEstimatesSize) {
    Key().GMUSBKeyAsymDec2.Writes("plaintext");
    Decryption call;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 9);
    EXPECT_TRUE(call.plain.Holds("plaintext\0"s));
    EXPECT_THAT(Calls(), ElementsAre("GMUSBKeyAsymDec2(\"SN0123456789\", 1, 2, \"c1ph3r\", "
                                     "zeroed[8204], &8204)"));
    EXPECT_EQ(LogText(), "");
}

TEST(AsymDec, GivesTheKeyCopiesAndALengthOfItsOwn) {
    Decryption call;
    call.length = 9000;
    call.plain = Canary(9000);
    call.Run();
    const auto decryption = Key().GMUSBKeyAsymDec2.Arguments().at(0);
    EXPECT_NE(std::get<0>(decryption), call.szSN);
    EXPECT_NE(std::get<3>(decryption), call.szCipher);
    EXPECT_NE(std::get<4>(decryption), static_cast<char*>(call.plain));
    EXPECT_NE(std::get<5>(decryption), &call.length);
}

TEST(AsymDec, WidensTheFirstSelectorWithItsSignAndKeepsTheSecondUnsigned) {
    Decryption call;
    call.nParam1 = kLowest;
    call.nParam2 = 0xFFFFFFFF;
    call.Run();
    EXPECT_THAT(Calls(), ElementsAre("GMUSBKeyAsymDec2(\"SN0123456789\", -2147483648, 4294967295, "
                                     "\"c1ph3r\", zeroed[8204], &8204)"));
}

TEST(AsymDec, NullSerialNumberCountsAsAnEmptyText) {
    Key().GMUSBKeyAsymDec2.Writes("p");
    Decryption call;
    call.szSN = nullptr;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_THAT(Calls(),
                ElementsAre("GMUSBKeyAsymDec2(\"\", 1, 2, \"c1ph3r\", zeroed[8204], &8204)"));
}

// The estimate still goes by the text as given, with its line breaks.
TEST(AsymDec, RemovesLineBreaksAndNothingElseFromTheCiphertext) {
    const struct {
        std::string cipher;
        std::string reaches_key;
    } texts[] = {
        {"ab\r\ncd\r\n", "\"abcd\""},
        {"\r\r\n\nab\n\r", "\"ab\""},
        {"\r\n", "\"\""},
        {"", "\"\""},
        {" a,b\t|c ", "\" a,b\\t|c \""},
    };
    for (const auto& text : texts) {
        Decryption call;
        call.szCipher = text.cipher.c_str();
        call.Run();
        const std::string size = std::to_string((text.cipher.size() + 4096) * 2);
        EXPECT_EQ(Calls().back(), "GMUSBKeyAsymDec2(\"SN0123456789\", 1, 2, " + text.reaches_key +
                                      ", zeroed[" + size + "], &" + size + ")");
    }
}

TEST(AsymDec, LeavesTheCallersCiphertextAsItIs) {
    char cipher[] = "ab\r\ncd";
    Decryption call;
    call.szCipher = cipher;
    call.Run();
    EXPECT_STREQ(cipher, "ab\r\ncd");
}

TEST(AsymDec, LargerCapacityReceivesTextAndLength) {
    Key().GMUSBKeyAsymDec2.Writes("plaintext");
    for (const int32_t capacity : {10, 11, INT32_MAX}) {
        Decryption call;
        call.length = capacity;
        EXPECT_TRUE(Gives(call.Run(), 0));
        EXPECT_EQ(call.length, 9);
        EXPECT_TRUE(call.plain.Holds("plaintext\0"s));
    }
}

// Clients pass exactly the length that was reported, in a buffer with room for one byte more.
TEST(AsymDec, CapacityOfTheLengthSucceedsAndTheTerminatorLiesBehindIt) {
    Key().GMUSBKeyAsymDec2.Writes("plaintext");
    Decryption call;
    call.length = 9;
    call.plain = Canary(9);
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 9);
    EXPECT_TRUE(call.plain.Holds("plaintext\0"s));
}

TEST(AsymDec, TooSmallBufferReportsTheLengthWithoutTheTerminator) {
    Key().GMUSBKeyAsymDec2.Writes("plaintext");
    for (const int32_t capacity : {8, 0, -1, kLowest}) {
        Decryption call;
        call.length = capacity;
        EXPECT_TRUE(Gives(call.Run(), -404));
        EXPECT_EQ(call.length, 9);
        EXPECT_TRUE(call.plain.Untouched());
    }
}

TEST(AsymDec, EmptyPlaintextNeedsNoCapacity) {
    Key().GMUSBKeyAsymDec2.Writes("");
    Decryption call;
    call.length = 0;
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 0);
    EXPECT_TRUE(call.plain.Holds("\0"s));
    call.length = -1;
    EXPECT_TRUE(Gives(call.Run(), -404));
    EXPECT_EQ(call.length, 0);
}

// The length is the key's; what is copied is a text.
TEST(AsymDec, CopyEndsAtTheFirstZeroByteWhateverTheLength) {
    const struct {
        std::string written;
        int32_t told;
        std::string copied;
    } cases[] = {
        {"ab\0cd"s, 5, "ab\0"s},
        {"abcdef", 3, "abcdef\0"s},
        {"ab", -7, "ab\0"s},
    };
    for (const auto& one : cases) {
        Key().GMUSBKeyAsymDec2.DoesOnce([&](auto, auto, auto, auto, char* plain, int32_t* length) {
            std::memcpy(plain, one.written.c_str(), one.written.size() + 1);
            *length = one.told;
            return 0;
        });
        Decryption call;
        call.length = one.told;
        EXPECT_TRUE(Gives(call.Run(), 0));
        EXPECT_EQ(call.length, one.told);
        EXPECT_TRUE(call.plain.Holds(one.copied));
    }
}

TEST(AsymDec, KeyThatSetsNoLengthAsksForTheWholeEstimate) {
    Key().GMUSBKeyAsymDec2.Does([](auto, auto, auto, auto, char* plain, auto) {
        std::memcpy(plain, "plaintext", 10);
        return 0;
    });
    Decryption call;
    call.length = 8203;
    EXPECT_TRUE(Gives(call.Run(), -404));
    EXPECT_EQ(call.length, 8204);
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_EQ(call.length, 8204);
    EXPECT_TRUE(call.plain.Holds("plaintext\0"s));
}

TEST(AsymDec, PlaintextThatFillsTheBufferStillEnds) {
    Key().GMUSBKeyAsymDec2.Does([](auto, auto, auto, auto, char* plain, int32_t* length) {
        std::memset(plain, 'P', static_cast<size_t>(*length));
        return 0;
    });
    Decryption call;
    call.length = 8204;
    call.plain = Canary(8205);
    EXPECT_TRUE(Gives(call.Run(), 0));
    EXPECT_TRUE(call.plain.Holds(WithTerminator(std::string(8204, 'P'))));
}

TEST(AsymDec, FailingKeyLeavesBufferAndLengthAlone) {
    for (const int32_t code : {kKeyRefuses, 1, -1, -404, kLowest, INT32_MAX}) {
        Key().GMUSBKeyAsymDec2.Writes("half", code);
        Decryption call;
        EXPECT_TRUE(Gives(call.Run(), code));
        EXPECT_EQ(call.length, 100);
        EXPECT_TRUE(call.plain.Untouched());
    }
}

TEST(AsymDec, ResetsTheLastErrorBeforeTheKeyWorks) {
    LeaveEarlierCode();
    const auto during_decryption = NoteLastError(Key().GMUSBKeyAsymDec2);
    Decryption().Run();
    EXPECT_EQ(*during_decryption, 0);
}

TEST(AsymDec, MissingBackendGivesItsCode) {
    ExpectTheCodeOfAMissingBackend(kDecryption);
}

TEST(AsymDec, LetsAnExceptionOfTheKeyOut) {
    LeaveEarlierCode();
    Key().GMUSBKeyAsymDec2.ThrowsOnce(std::runtime_error("torn out"));
    Decryption call;
    EXPECT_THROW(call.Run(), std::runtime_error);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_EQ(call.length, 100);
}

TEST(AsymDec, StringLibraryOutOfMemoryLeavesAsItsException) {
    ExpectOutOfMemoryOfBothCopies(kDecryption, "ab\r\ncd");
}

TEST(AsymDec, NoTemporaryBufferLeavesAsTheStandardError) {
    ExpectStandardErrorWithoutABuffer(kDecryption);
}

// Both work in a buffer of the same estimate; only the decryption looks at the caller's capacity.
TEST(AsymDec, UnlikeSignHashTestsTheCapacity) {
    Key().GMUSBKeyAsymDec2.Writes("result");
    Key().GMUsbKeyCommonSign.Writes("result");
    Decryption decryption;
    decryption.length = 5;
    EXPECT_TRUE(Gives(decryption.Run(), -404));
    EXPECT_TRUE(decryption.plain.Untouched());

    Canary signature(100);
    int32_t length = 5;
    EXPECT_TRUE(Gives(SignHash("SN0123456789", 1, 2, "c1ph3r", 3, signature, &length), 0));
    EXPECT_TRUE(signature.Holds("result\0"s));
    EXPECT_EQ(length, decryption.length);
}

}  // namespace
