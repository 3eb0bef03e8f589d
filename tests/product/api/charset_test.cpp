#include <memory>
#include <tuple>

#include "api_test.h"
#include "common/commonfunction.h"
#include "huge_text.h"
#include "outcome.h"
#include "scarce_memory.h"

namespace {

using namespace scripted;       // NOLINT(google-build-using-namespace)
using namespace std::literals;  // NOLINT(google-build-using-namespace)

constexpr uint32_t kUtf8ToGb18030 = 0;
constexpr uint32_t kCopy = 1;
constexpr uint32_t kEarlierLength = 0x0C0FFEE0;

// A conversion and all that its caller sees of it.
struct Conversion {
    char earlier_buffer[1] = {};
    char* out = earlier_buffer;
    uint32_t length = kEarlierLength;
    std::unique_ptr<char[]> handed_over;

    int32_t Run(uint32_t direction, const char* src, uint32_t src_length) {
        const int32_t result = ORVAL_ComFunc.MB2MB(direction, src, src_length, &out, &length);
        if (OutWasWritten()) {
            handed_over.reset(out);
        }
        return result;
    }
    int32_t Run(uint32_t direction, const std::string& src) {
        return Run(direction, src.data(), static_cast<uint32_t>(src.size()));
    }
    bool OutWasWritten() const { return out != earlier_buffer; }
    std::string Bytes() const { return std::string(out, length); }
};

void ExpectNothingConverted(uint32_t direction, const char* src, uint32_t src_length) {
    Conversion conversion;
    EXPECT_EQ(conversion.Run(direction, src, src_length), -1);
    EXPECT_EQ(conversion.length, 0u);
    EXPECT_TRUE(conversion.OutWasWritten());
    EXPECT_NE(conversion.out, nullptr);
}

// Counts what is opened and closed.
struct Descriptors {
    std::vector<std::string> opened;
    std::vector<iconv_t> results;
    std::vector<iconv_t> closed;

    Descriptors() {
        Libc().iconv_open.replacement = [this](const char* to, const char* from) {
            opened.push_back(std::string(from) + " to " + to);
            results.push_back(Libc().iconv_open.real(to, from));
            return results.back();
        };
        Libc().iconv_close.replacement = [this](iconv_t descriptor) {
            closed.push_back(descriptor);
            return Libc().iconv_close.real(descriptor);
        };
    }
};

TEST(MB2MB, ConvertsUtf8ToGb18030) {
    const std::tuple<std::string, std::string> cases[] = {
        {"abc", "abc"},
        {"\xE4\xB8\xAD\xE6\x96\x87", "\xD6\xD0\xCE\xC4"},  // three bytes become two
        {"\xC3\xA9", "\xA8\xA6"},                          // two become two
        {"\xC3\x80", "\x81\x30\x86\x38"},                  // two become four
        {"\xDF\xBF", "\x81\x31\xB3\x31"},                  // the last of two bytes
        {"\xE2\x82\xAC", "\xA2\xE3"},                      // the euro sign
        {"\xF0\x9F\x98\x80", "\x94\x39\xFC\x36"},          // four become four
        {"x\xE4\xB8\xADy\xC3\x80z", "x\xD6\xD0y\x81\x30\x86\x38z"},
    };
    for (const auto& [utf8, gb18030] : cases) {
        Conversion conversion;
        EXPECT_EQ(conversion.Run(kUtf8ToGb18030, utf8), 0);
        EXPECT_EQ(conversion.Bytes(), gb18030);
    }
}

// Twice the input's size is the whole sizing rule, and nothing grows by more.
TEST(MB2MB, TextOfNothingButDoublingCharactersFits) {
    std::string utf8;
    std::string gb18030;
    for (int i = 0; i < 20000; ++i) {
        utf8 += "\xC3\x80";
        gb18030 += "\x81\x30\x86\x38";
    }
    Conversion conversion;
    EXPECT_EQ(conversion.Run(kUtf8ToGb18030, utf8), 0);
    EXPECT_EQ(conversion.Bytes(), gb18030);
}

TEST(MB2MB, ZeroBytesAreDataInBothDirections) {
    Conversion converted;
    EXPECT_EQ(converted.Run(kUtf8ToGb18030, "\0a\0\xE4\xB8\xAD\0"s), 0);
    EXPECT_EQ(converted.Bytes(), "\0a\0\xD6\xD0\0"s);
    Conversion copied;
    EXPECT_EQ(copied.Run(kCopy, "\0a\0b\0"s), 0);
    EXPECT_EQ(copied.Bytes(), "\0a\0b\0"s);
}

TEST(MB2MB, ReadsNoByteBeyondTheSource) {
    const char source[] = {'a', 'b', 'c', 'd'};
    Conversion converted;
    EXPECT_EQ(converted.Run(kUtf8ToGb18030, source, 3), 0);
    EXPECT_EQ(converted.Bytes(), "abc");
    Conversion copied;
    EXPECT_EQ(copied.Run(kCopy, source, 3), 0);
    EXPECT_EQ(copied.Bytes(), "abc");
}

TEST(MB2MB, CopyIsUnchangedWhateverTheBytes) {
    std::string every_byte;
    for (int byte = 0; byte < 256; ++byte) {
        every_byte += static_cast<char>(byte);
    }
    Conversion conversion;
    EXPECT_EQ(conversion.Run(kCopy, every_byte), 0);
    EXPECT_EQ(conversion.Bytes(), every_byte);
}

TEST(MB2MB, BuffersHaveTenBytesMoreThanTheResult) {
    const std::tuple<uint32_t, std::string, size_t> cases[] = {
        {kCopy, "12345", 15},          {kCopy, "", 10},
        {kUtf8ToGb18030, "12345", 15}, {kUtf8ToGb18030, "\xE4\xB8\xAD\xE6\x96\x87", 14},
        {kUtf8ToGb18030, "", 10},      {kUtf8ToGb18030, "\xFF", 10},
    };
    for (const auto& [direction, source, size] : cases) {
        const ScarceMemory arrays(kArrays);
        Conversion conversion;
        conversion.Run(direction, source);
        EXPECT_THAT(arrays.Requests(), ElementsAre(size));
    }
}

TEST(MB2MB, OtherDirectionsWriteNothing) {
    for (const uint32_t direction : {2u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
        Conversion conversion;
        EXPECT_EQ(conversion.Run(direction, "abc"), -1);
        EXPECT_FALSE(conversion.OutWasWritten());
        EXPECT_EQ(conversion.length, kEarlierLength);
        EXPECT_EQ(ORVAL_ComFunc.MB2MB(direction, nullptr, 5, nullptr, nullptr), -1);
    }
}

// The buffer is handed over all the same, and the caller releases it.
TEST(MB2MB, EmptyInputFailsAndHandsOverABuffer) {
    for (const uint32_t direction : {kUtf8ToGb18030, kCopy}) {
        ExpectNothingConverted(direction, "", 0);
        ExpectNothingConverted(direction, "abc", 0);
        ExpectNothingConverted(direction, nullptr, 0);
    }
}

TEST(MB2MB, InputThatBeginsWithABadSequenceFails) {
    for (const std::string& bad : {"\xFFxyz"s, "\x80"s, "\xC3"s, "\xE4\xB8"s, "\xC0\x80"s}) {
        ExpectNothingConverted(kUtf8ToGb18030, bad.data(), static_cast<uint32_t>(bad.size()));
    }
}

// Nothing tells the caller that the rest is missing.
TEST(MB2MB, BadSequenceFurtherOnDropsTheRestSilently) {
    const std::tuple<std::string, std::string> cases[] = {
        {"xy\xFFz", "xy"},
        {"\xE4\xB8\xAD\xE6\x96", "\xD6\xD0"},
        {"x\xC3", "x"},
        {"\0\x80z"s, "\0"s},
    };
    for (const auto& [utf8, converted] : cases) {
        Conversion conversion;
        EXPECT_EQ(conversion.Run(kUtf8ToGb18030, utf8), 0);
        EXPECT_EQ(conversion.Bytes(), converted);
    }
}

// What is in the buffer then is not defined; only that it is the caller's.
TEST(MB2MB, CopyOfANullSourceCopiesNothingAndSucceeds) {
    Conversion conversion;
    EXPECT_EQ(conversion.Run(kCopy, nullptr, 5), 0);
    EXPECT_EQ(conversion.length, 5u);
    EXPECT_TRUE(conversion.OutWasWritten());
}

// The size is formed in 32 bits; a copy that does not fit into it is not made.
TEST(MB2MB, CopyWhoseSizeWrapsAroundCopiesNothing) {
    const ScarceMemory arrays(kArrays);
    Conversion conversion;
    EXPECT_EQ(conversion.Run(kCopy, "12345", 0xFFFFFFFB), 0);
    EXPECT_EQ(conversion.length, 0xFFFFFFFBu);
    EXPECT_THAT(arrays.Requests(), ElementsAre(5u));
}

TEST(MB2MB, NullSourceWithALengthRaisesInvalidArgument) {
    const Descriptors descriptors;
    for (const uint32_t length : {1u, 5u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        Conversion conversion;
        EXPECT_EQ(RaisedCode([&] { conversion.Run(kUtf8ToGb18030, nullptr, length); }),
                  QRV::kInvalidArgument);
        EXPECT_FALSE(conversion.OutWasWritten());
        EXPECT_EQ(conversion.length, kEarlierLength);
    }
    EXPECT_THAT(descriptors.opened, IsEmpty());
}

TEST(MB2MB, LengthThatIsNegativeAsASignedOneRaisesInvalidArgument) {
    const Descriptors descriptors;
    for (const uint32_t length : {0x80000000u, 0xFFFFFFF8u, 0xFFFFFFFFu}) {
        Conversion conversion;
        EXPECT_EQ(RaisedCode([&] { conversion.Run(kUtf8ToGb18030, "abc", length); }),
                  QRV::kInvalidArgument);
        EXPECT_FALSE(conversion.OutWasWritten());
        EXPECT_EQ(conversion.length, kEarlierLength);
    }
    EXPECT_THAT(descriptors.opened, IsEmpty());
}

// A text could be twice as long in GB18030, and its length would not fit.
TEST(MB2MB, TextWhoseDoubleIsNoLengthRaisesInvalidArgument) {
    const Descriptors descriptors;
    const HugeText huge(kOneGibibyte);
    Conversion conversion;
    EXPECT_EQ(RaisedCode([&] {
                  conversion.Run(kUtf8ToGb18030, huge.Text(), static_cast<uint32_t>(kOneGibibyte));
              }),
              QRV::kInvalidArgument);
    EXPECT_FALSE(conversion.OutWasWritten());
    EXPECT_EQ(conversion.length, kEarlierLength);
    EXPECT_THAT(descriptors.opened, IsEmpty());
}

TEST(MB2MB, OpensOneDescriptorAndClosesIt) {
    const Descriptors descriptors;
    for (const char* text : {"abc", "\xFF", "a\xFF"}) {
        Conversion().Run(kUtf8ToGb18030, text);
    }
    EXPECT_THAT(descriptors.opened,
                ElementsAre("UTF-8 to GB18030", "UTF-8 to GB18030", "UTF-8 to GB18030"));
    EXPECT_EQ(descriptors.closed, descriptors.results);
}

TEST(MB2MB, CopyOpensNoDescriptor) {
    const Descriptors descriptors;
    EXPECT_EQ(Conversion().Run(kCopy, "abc"), 0);
    EXPECT_THAT(descriptors.opened, IsEmpty());
    EXPECT_THAT(descriptors.closed, IsEmpty());
}

TEST(MB2MB, DescriptorThatFailedToOpenConvertsNothingAndIsNotClosed) {
    Libc().iconv_open.replacement = [](const char*, const char*) {
        errno = EINVAL;
        return reinterpret_cast<iconv_t>(-1);
    };
    int closed = 0;
    Libc().iconv_close.replacement = [&](iconv_t) { return ++closed; };
    ExpectNothingConverted(kUtf8ToGb18030, "abc", 3);
    EXPECT_EQ(closed, 0);
}

TEST(MB2MB, NullDescriptorGivesTheUnconvertedBytes) {
    Libc().iconv_open.replacement = [](const char*, const char*) { return iconv_t{}; };
    int closed = 0;
    Libc().iconv_close.replacement = [&](iconv_t) { return ++closed; };
    Conversion conversion;
    EXPECT_EQ(conversion.Run(kUtf8ToGb18030, "\xE4\xB8\xAD\0x"s), 0);
    EXPECT_EQ(conversion.Bytes(), "\xE4\xB8\xAD\0x"s);
    EXPECT_EQ(closed, 0);
}

TEST(MB2MB, TouchesNeitherTheLastErrorNorTheLogNorTheBackend) {
    G_LastError = kEarlierCode;
    EXPECT_EQ(Conversion().Run(kUtf8ToGb18030, "abc"), 0);
    EXPECT_EQ(Conversion().Run(kUtf8ToGb18030, "\xFF"), -1);
    EXPECT_EQ(Conversion().Run(kCopy, "abc"), 0);
    EXPECT_EQ(Conversion().Run(2, "abc"), -1);
    EXPECT_EQ(RaisedCode([] { Conversion().Run(kUtf8ToGb18030, nullptr, 1); }),
              QRV::kInvalidArgument);
    EXPECT_EQ(G_LastError, kEarlierCode);
    EXPECT_EQ(g_initFlag, 0);
    EXPECT_EQ(LogText(), "");
}

TEST(MB2MB, StringLibraryOutOfMemoryLeavesAsItsException) {
    const Descriptors descriptors;
    for (size_t request = 1;; ++request) {
        const ScarceMemory strings(kTexts, {request});
        Conversion conversion;
        const int32_t raised = RaisedCode([&] { conversion.Run(kUtf8ToGb18030, "abc"); });
        EXPECT_EQ(strings.LiveBlocks(), 0U);
        if (!strings.Failed()) {
            EXPECT_GT(request, 2U) << "input and output were not kept apart";
            break;
        }
        EXPECT_EQ(raised, QRV::kOutOfMemory);
        EXPECT_FALSE(conversion.OutWasWritten());
    }
    EXPECT_EQ(descriptors.closed, descriptors.results);
}

TEST(MB2MB, NoBufferForTheResultLeavesAsTheStandardError) {
    const Descriptors descriptors;
    for (const uint32_t direction : {kUtf8ToGb18030, kCopy}) {
        const ScarceMemory arrays(kArrays, {1});
        Conversion conversion;
        EXPECT_THROW(conversion.Run(direction, "abc"), std::bad_alloc);
    }
    EXPECT_EQ(descriptors.closed, descriptors.results);
}

}  // namespace
