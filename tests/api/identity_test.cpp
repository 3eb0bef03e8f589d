#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "api_test.h"

namespace {

constexpr const char* kChineseName = "马洛文科技股份有限公司";
constexpr const char* kEnglishName = "Marlowen Corporation";

// The three queries of a fixed text differ in the text, in the tag and in the Begin line.
struct FixedText {
    const char* name;
    int32_t (*query)(char*, int32_t*);
    const char* text;
    const char* begin;   // the Begin line up to the length; null: none is written
    const char* answer;  // the line that shows the buffer, up to the buffer
};

void PrintTo(const FixedText& fixed, std::ostream* out) {
    *out << fixed.name;
}

class FixedTextQuery : public testing::TestWithParam<FixedText> {
 protected:
    static std::string Begin(const std::string& length) {
        return GetParam().begin == nullptr ? ""
                                           : TextRecord(GetParam().name, GetParam().begin + length);
    }
    static std::string Answer(const std::string& shown) {
        return TextRecord(GetParam().name, GetParam().answer + shown);
    }
    static std::string End() { return TextRecord(GetParam().name, "End G_LastError: 00000000"); }
    static int32_t Length() { return static_cast<int32_t>(std::strlen(GetParam().text)); }
};

INSTANTIATE_TEST_SUITE_P(Identity, FixedTextQuery,
                         testing::Values(FixedText{"GetDriverVersion", GetDriverVersion,
                                                   "9.2025.0731.3", nullptr, "pszVersion: "},
                                         FixedText{"GetDllVersion", GetDllVersion, "9.2025.0731.3",
                                                   "Begin pnVersionLen = ", "pszVersion: "},
                                         FixedText{"GetVidAndPid", GetVidAndPid, "1780&0301",
                                                   "Begin pnVidPidLen = ", "pszVidPid: "}),
                         [](const auto& param) { return std::string(param.param.name); });

TEST_P(FixedTextQuery, NullBufferReportsTheTextLength) {
    int32_t length = -1;
    G_LastError = 77;
    EXPECT_EQ(GetParam().query(nullptr, &length), 0);
    EXPECT_EQ(length, Length());
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), Begin("ffffffff") + End());
}

TEST_P(FixedTextQuery, WritesTheTextWithoutTerminator) {
    Canary out(20);
    out[Length()] = '\0';  // for the log, which shows the buffer as a text
    int32_t length = 20;
    EXPECT_EQ(GetParam().query(out, &length), 0);
    EXPECT_EQ(length, Length());
    EXPECT_TRUE(out.Holds(std::string(GetParam().text) + '\0'));
    EXPECT_EQ(LogText(), Begin("00000014") + Answer(GetParam().text) + End());
}

TEST_P(FixedTextQuery, LeavesTheByteBehindTheTextAlone) {
    std::string out(20, 'x');
    int32_t length = 20;
    EXPECT_EQ(GetParam().query(out.data(), &length), 0);
    const std::string expected = GetParam().text + std::string(20 - strlen(GetParam().text), 'x');
    EXPECT_EQ(out, expected);
    EXPECT_EQ(LogText(), Begin("00000014") + Answer(expected) + End());
}

TEST_P(FixedTextQuery, ZeroedBufferHoldsTheTextAndZeros) {
    std::string out(20, '\0');
    int32_t length = 20;
    EXPECT_EQ(GetParam().query(out.data(), &length), 0);
    EXPECT_EQ(out, GetParam().text + std::string(20 - strlen(GetParam().text), '\0'));
}

TEST_P(FixedTextQuery, CapacityIsNotChecked) {
    std::string out(20, '\0');
    int32_t length = 1;
    EXPECT_EQ(GetParam().query(out.data(), &length), 0);
    EXPECT_EQ(length, Length());
    EXPECT_EQ(out, GetParam().text + std::string(20 - strlen(GetParam().text), '\0'));
    EXPECT_EQ(LogText(), Begin("00000001") + Answer(GetParam().text) + End());
}

// A buffer with nothing behind it that may be read.
class BufferAtTheEnd final {
 public:
    explicit BufferAtTheEnd(size_t size)
        : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))), size_(size) {
        void* pages =
            mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (pages == MAP_FAILED) {
            throw std::runtime_error("no memory could be mapped");
        }
        pages_ = static_cast<char*>(pages);
        mprotect(pages_ + page_, page_, PROT_NONE);
    }
    BufferAtTheEnd(const BufferAtTheEnd&) = delete;
    BufferAtTheEnd& operator=(const BufferAtTheEnd&) = delete;
    ~BufferAtTheEnd() { munmap(pages_, 2 * page_); }

    char* Start() const { return pages_ + page_ - size_; }

 private:
    size_t page_;
    size_t size_;
    char* pages_;
};

TEST_P(FixedTextQuery, ReadsNothingBehindABufferOfTheReportedLength) {
    const BufferAtTheEnd out(static_cast<size_t>(Length()));
    for (const int32_t capacity : {Length(), Length() - 1, 0, -1, INT32_MIN}) {
        std::remove(scripted::kLogPath);
        int32_t length = capacity;
        EXPECT_EQ(GetParam().query(out.Start(), &length), 0);
        EXPECT_EQ(length, Length());
        EXPECT_EQ(std::string(out.Start(), static_cast<size_t>(length)), GetParam().text);
        EXPECT_THAT(LogText(), testing::HasSubstr(Answer(GetParam().text))) << capacity;
    }
}

TEST_P(FixedTextQuery, ReadsNothingBehindTheStatedCapacity) {
    const BufferAtTheEnd out(20);
    memset(out.Start(), 'x', 20);
    int32_t length = 20;
    EXPECT_EQ(GetParam().query(out.Start(), &length), 0);
    EXPECT_EQ(LogText(), Begin("00000014") + Answer(std::string(out.Start(), 20)) + End());
}

TEST_P(FixedTextQuery, NeighboursOfTheBufferStayOutOfTheLog) {
    for (const int32_t capacity : {15, Length(), 1, -1}) {
        std::remove(scripted::kLogPath);
        std::string memory(20, 's');
        int32_t length = capacity;
        EXPECT_EQ(GetParam().query(memory.data(), &length), 0);
        const int32_t shown = std::max(capacity, Length());
        EXPECT_THAT(LogText(),
                    testing::HasSubstr(Answer(memory.substr(0, static_cast<size_t>(shown)))))
            << capacity;
    }
}

TEST_P(FixedTextQuery, LargestCapacityShowsTheBufferUpToItsEnd) {
    std::string out(20, 'x');
    int32_t length = INT32_MAX;
    EXPECT_EQ(GetParam().query(out.data(), &length), 0);
    EXPECT_EQ(LogText(), Begin("7fffffff") + Answer(out) + End());
}

TEST_P(FixedTextQuery, AnswersWithoutABackend) {
    scripted::RemoveBackend();
    int32_t length = 0;
    EXPECT_EQ(GetParam().query(nullptr, &length), 0);
    EXPECT_EQ(length, Length());
    EXPECT_EQ(G_LastError, 0);
}

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

TEST(GetPrintNumber, NullBufferReportsNoRoomForATerminator) {
    Key().CheckDeviceEx.Writes("SN0123456789");
    int32_t length = 0;
    EXPECT_EQ(GetPrintNumber(nullptr, &length), 0);
    EXPECT_EQ(length, 12);
    EXPECT_EQ(G_LastError, 0);
    EXPECT_THAT(Calls(), ElementsAre("CheckDeviceEx(&0, zeroed[396], 1, zeroed[1024])"));
    EXPECT_EQ(LogText(), TextRecord("GetPrintNumber", "Begin pnSNLen = 00000000") +
                             TextRecord("GetPrintNumber", "End G_LastError: 00000000"));
}

TEST(GetPrintNumber, CapacityIsNotChecked) {
    Key().CheckDeviceEx.Writes("SN0123456789");
    Canary number(16);
    int32_t length = 3;
    EXPECT_EQ(GetPrintNumber(number, &length), 0);
    EXPECT_EQ(length, 12);
    EXPECT_TRUE(number.Holds("SN0123456789\0"s));
}

TEST(GetPrintNumber, EmptySerialNumberIsATerminator) {
    Canary number(8);
    int32_t length = 8;
    EXPECT_EQ(GetPrintNumber(number, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_TRUE(number.Holds("\0"s));
}

TEST(GetPrintNumber, LongestSerialNumber) {
    const std::string longest(1023, 'N');
    Key().CheckDeviceEx.Writes(longest);
    Canary number(1024);
    int32_t length = 1024;
    EXPECT_EQ(GetPrintNumber(number, &length), 0);
    EXPECT_EQ(length, 1023);
    EXPECT_TRUE(number.Holds(longest + '\0'));
}

TEST(GetPrintNumber, NumberThatFillsTheBufferStillEnds) {
    Key().CheckDeviceEx.Does([](uint32_t*, _S_DEV_CONFIG*, int32_t, char* number) {
        memset(number, 'N', 1024);
        return 0;
    });
    Canary number(1025);
    int32_t length = 1025;
    EXPECT_EQ(GetPrintNumber(number, &length), 0);
    EXPECT_EQ(length, 1024);
    EXPECT_TRUE(number.Holds(std::string(1024, 'N') + '\0'));
}

TEST(GetPrintNumber, FailureLogsTheCallersUnchangedBuffer) {
    Key().CheckDeviceEx.Writes("never shown", 0x0A000001);
    Canary number(8);
    strcpy(number, "before");
    int32_t length = 8;
    EXPECT_EQ(GetPrintNumber(number, &length), 0x0A000001);
    EXPECT_EQ(length, 8);
    EXPECT_TRUE(number.Holds("before\0"s));
    EXPECT_EQ(G_LastError, 0x0A000001);
    EXPECT_EQ(LogText(), TextRecord("GetPrintNumber", "Begin pnSNLen = 00000008") +
                             TextRecord("GetPrintNumber", "m_SN: before") +
                             TextRecord("GetPrintNumber", "End G_LastError: 0A000001"));
}

TEST(GetPrintNumber, FailureOfALengthQueryLogsNoNumber) {
    Key().CheckDeviceEx.Returns(-5);
    int32_t length = 8;
    EXPECT_EQ(GetPrintNumber(nullptr, &length), -5);
    EXPECT_EQ(length, 8);
    EXPECT_EQ(G_LastError, -5);
    EXPECT_EQ(LogText(), TextRecord("GetPrintNumber", "Begin pnSNLen = 00000008") +
                             TextRecord("GetPrintNumber", "End G_LastError: FFFFFFFB"));
}

TEST(GetPrintNumber, EachCallHandsOverCleanRecords) {
    Key().CheckDeviceEx.Does([](uint32_t* value, _S_DEV_CONFIG* config, int32_t, char* number) {
        *value = 7;
        memset(config, 0xEE, sizeof(*config));
        memset(number, 'N', 1023);
        return 0;
    });
    int32_t length = 0;
    EXPECT_EQ(GetPrintNumber(nullptr, &length), 0);
    EXPECT_EQ(GetPrintNumber(nullptr, &length), 0);
    const std::string call = "CheckDeviceEx(&0, zeroed[396], 1, zeroed[1024])";
    EXPECT_THAT(Calls(), ElementsAre(call, call));
}

TEST(GetPrintNumber, WithoutABackendAnswersUnavailable) {
    scripted::RemoveBackend();
    int32_t length = 8;
    EXPECT_EQ(GetPrintNumber(nullptr, &length), -101);
    EXPECT_EQ(length, 8);
    EXPECT_EQ(G_LastError, -101);
    EXPECT_EQ(LogText(), TextRecord("GetPrintNumber", "Begin pnSNLen = 00000008") +
                             TextRecord("GetPrintNumber", "End G_LastError: FFFFFF9B"));
}

TEST(GetVendorInfo, NullBufferReportsTheByteLength) {
    const int32_t expected[] = {33, 33, 20};
    for (const int32_t type : {0, 1, 2}) {
        int32_t length = -1;
        G_LastError = 77;
        EXPECT_EQ(GetVendorInfo(type, nullptr, &length), 0) << type;
        EXPECT_EQ(length, expected[type]) << type;
        EXPECT_EQ(G_LastError, 0) << type;
    }
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(LogText(), "");
}

TEST(GetVendorInfo, WritesTheNameWithItsTerminatorAndNoLength) {
    const char* const expected[] = {kChineseName, kChineseName, kEnglishName};
    for (const int32_t type : {0, 1, 2}) {
        Canary name(40);
        int32_t length = 5;
        EXPECT_EQ(GetVendorInfo(type, name, &length), 0) << type;
        EXPECT_EQ(length, 5) << type;
        EXPECT_TRUE(name.Holds(expected[type] + "\0"s)) << type;
        EXPECT_EQ(G_LastError, 0) << type;
    }
    EXPECT_EQ(LogText(), "");
}

TEST(GetVendorInfo, WithABufferTheLengthMayBeNull) {
    Canary name(40);
    EXPECT_EQ(GetVendorInfo(2, name, nullptr), 0);
    EXPECT_TRUE(name.Holds("Marlowen Corporation\0"s));
}

TEST(GetVendorInfo, OtherTypesAreUnsupported) {
    for (const int32_t type : {3, -1, 256, INT32_MIN, INT32_MAX}) {
        Canary name(40);
        int32_t length = 5;
        G_LastError = 77;
        EXPECT_EQ(GetVendorInfo(type, name, &length), -300) << type;
        EXPECT_EQ(G_LastError, -300) << type;
        EXPECT_EQ(length, 5) << type;
        EXPECT_TRUE(name.Untouched()) << type;
    }
}

TEST(GetVendorInfo, UnsupportedTypeWinsOverALengthQuery) {
    int32_t length = 5;
    EXPECT_EQ(GetVendorInfo(3, nullptr, &length), -300);
    EXPECT_EQ(length, 5);
}

TEST(GetVendorInfo, AnswersWithoutABackend) {
    scripted::RemoveBackend();
    int32_t length = 0;
    EXPECT_EQ(GetVendorInfo(1, nullptr, &length), 0);
    EXPECT_EQ(length, 33);
    EXPECT_EQ(G_LastError, 0);
}

}  // namespace
