#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <stdexcept>

#include "api_test.h"

namespace {

constexpr const char* kChineseName = "马洛文科技股份有限公司";
constexpr const char* kEnglishName = "Marlowen Corporation";

// The three queries of a fixed text differ in the text and in the line that shows the buffer.
struct FixedText {
    const char* name;
    int32_t (*query)(char*, int32_t*);
    const char* text;
    const char* answer;
};

void PrintTo(const FixedText& fixed, std::ostream* out) {
    *out << fixed.name;
}

class FixedTextQuery : public testing::TestWithParam<FixedText> {
 protected:
    static std::string Answer(const std::string& shown) {
        return TextRecord(GetParam().name, GetParam().answer + shown);
    }
    static int32_t Length() { return static_cast<int32_t>(std::strlen(GetParam().text)); }
};

INSTANTIATE_TEST_SUITE_P(
    Identity, FixedTextQuery,
    testing::Values(FixedText{"GetDriverVersion", GetDriverVersion, "9.2025.0731.3",
                              "pszVersion: "},
                    FixedText{"GetDllVersion", GetDllVersion, "9.2025.0731.3", "pszVersion: "},
                    FixedText{"GetVidAndPid", GetVidAndPid, "1780&0301", "pszVidPid: "}),
    [](const auto& param) { return std::string(param.param.name); });

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
    EXPECT_THAT(LogText(), testing::HasSubstr(Answer(std::string(out.Start(), 20))));
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
    EXPECT_THAT(LogText(), testing::HasSubstr(Answer(out)));
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

TEST(GetVendorInfo, NameGoesByTheType) {
    const char* const names[] = {kChineseName, kChineseName, kEnglishName};
    const int32_t lengths[] = {33, 33, 20};
    for (const int32_t type : {0, 1, 2}) {
        int32_t length = -1;
        EXPECT_EQ(GetVendorInfo(type, nullptr, &length), 0) << type;
        EXPECT_EQ(length, lengths[type]) << type;
        Canary name(40);
        EXPECT_EQ(GetVendorInfo(type, name, &length), 0) << type;
        EXPECT_TRUE(name.Holds(names[type] + "\0"s)) << type;
    }
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

}  // namespace
