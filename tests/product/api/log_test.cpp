#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "api_test.h"
#include "log/vexa_log.h"

// The log's two functions are not exported: this program has them compiled in.
namespace {

using orval::LogEntry;
using orval::LogHex;
using scripted::kLogPath;

constexpr off_t kSizeLimit = 104857600;

off_t LogSize() {
    struct stat status = {};
    return stat(kLogPath, &status) == 0 ? status.st_size : -1;
}

// A log file of that size that takes no room.
void MakeLog(off_t size) {
    const int file = open(kLogPath, O_CREAT | O_WRONLY, 0600);
    ASSERT_GE(file, 0);
    ASSERT_EQ(ftruncate(file, size), 0);
    close(file);
}

std::string LogTail(size_t size) {
    std::ifstream file(kLogPath, std::ios::binary);
    file.seekg(-static_cast<off_t>(size), std::ios::end);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// The header of a record written by this process and thread, from the fraction on.
std::string Behind(const std::string& time, const std::string& rest) {
    const auto thread = static_cast<int32_t>(static_cast<uint32_t>(pthread_self()));
    return time + "(Process is " + std::to_string(getpid()) + ", thread is " +
           std::to_string(thread) + ")\r\n\t[" + rest + "]\r\n";
}

TEST(LogEntry, WritesARecordOfTwoLines) {
    LogEntry("VerifyPIN", "Begin");
    // 8 March, 23:05:03 UTC, is the next morning in the tests' time zone.
    EXPECT_EQ(LogText(), Behind("[09,07:50:03.004] VerifyPIN: ", "Begin"));
}

TEST(LogEntry, FollowsPrintfsRules) {
    LogEntry("Name", "%s=%d %08X %5.1f%%", "text", -7, 0xABCDU, 2.5);
    EXPECT_EQ(LogText(), TextRecord("Name", "text=-7 0000ABCD   2.5%"));
}

TEST(LogEntry, ArgumentsAndNamesAreNoFormats) {
    LogEntry("%s%n", "%s", "%d%n");
    EXPECT_EQ(LogText(), TextRecord("%s%n", "%d%n"));
}

TEST(LogEntry, EmptyTextGivesEmptyBrackets) {
    LogEntry("", "%s", "");
    EXPECT_EQ(LogText(), TextRecord("", ""));
}

TEST(LogEntry, LongTextsAreWrittenWhole) {
    const std::string text(200000, 't');
    LogEntry("Name", "%s", text.c_str());
    EXPECT_EQ(LogText(), TextRecord("Name", text));
}

TEST(LogEntry, AppendsToWhatIsThere) {
    std::ofstream(kLogPath) << "before";
    LogEntry("First", "1");
    LogHex("Second", "2", 1);
    LogEntry("Third", "3");
    EXPECT_EQ(LogText(), "before" + TextRecord("First", "1") + HexRecord("Second", "32") +
                             TextRecord("Third", "3"));
}

TEST(LogEntry, KeepsNothingOpen) {
    LogEntry("First", "1");
    ASSERT_EQ(std::remove(kLogPath), 0);
    LogEntry("Second", "2");
    EXPECT_EQ(LogText(), TextRecord("Second", "2"));
}

// How many records stand one behind the other, each with a text of one character alone.
int WholeRecords(const std::string& log) {
    static const std::string kOpening = ")\r\n\t[";
    static const std::string kEnd = "]\r\n";
    int records = 0;
    for (size_t at = 0; at < log.size(); ++records) {
        const size_t text = log.find(kOpening, at) + kOpening.size();
        const size_t end = log.find_first_not_of(log[text], text);
        if (log[at] != '[' || text - at > 100 || log.compare(end, kEnd.size(), kEnd) != 0) {
            ADD_FAILURE() << "mixed behind " << at << ": " << log.substr(at, 200);
            break;
        }
        at = end + kEnd.size();
    }
    return records;
}

constexpr int kWriters = 8;  // processes, and as many threads
constexpr int kRecordsOfEach = 100;

// Texts of one character, and as much in hexadecimal, up to what the log's buffer holds.
void WriteRecordsOfAllLengths(char character) {
    for (int i = 1; i <= kRecordsOfEach; ++i) {
        const std::string text(static_cast<size_t>(160 * i), character);
        LogEntry("Text", "%s", text.c_str());
        const std::string bytes(text.size() / 2, '\x11');
        LogHex("Hex", bytes.data(), static_cast<int32_t>(bytes.size()));
    }
}

// Processes that begin together, when this is told to let them.
class Writers final {
 public:
    Writers() {
        EXPECT_EQ(pipe(gate_), 0);
        for (int writer = 0; writer < kWriters; ++writer) {
            if (fork() == 0) {
                char nothing = 0;
                close(gate_[1]);
                // Returns when the last writer's end is closed.
                if (read(gate_[0], &nothing, 1) == 0) {
                    WriteRecordsOfAllLengths(static_cast<char>('a' + writer));
                }
                _exit(0);
            }
        }
    }
    void Begin() { close(gate_[1]); }
    bool AreDone() {
        while (running_ > 0 && waitpid(-1, nullptr, WNOHANG) > 0) {
            --running_;
        }
        return running_ == 0;
    }

 private:
    int gate_[2] = {};
    int running_ = kWriters;
};

TEST(LogEntry, RecordsOfEightProcessesAndEightThreadsDoNotMix) {
    Writers processes;
    processes.Begin();
    std::vector<std::thread> threads;
    for (int writer = 0; writer < kWriters; ++writer) {
        threads.emplace_back(WriteRecordsOfAllLengths, static_cast<char>('A' + writer));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    while (!processes.AreDone()) {
        std::this_thread::yield();
    }
    EXPECT_EQ(WholeRecords(LogText()), 2 * kWriters * kRecordsOfEach * 2);
}

TEST(LogEntry, OpensTheFileForAppendingOncePerRecord) {
    std::vector<std::string> opened;
    Libc().fopen.replacement = [&](const char* path, const char* mode) {
        opened.push_back(path + " "s + mode);
        return Libc().fopen.real(path, mode);
    };
    LogEntry("First", "1");
    LogHex("Second", "2", 1);
    EXPECT_THAT(opened, ElementsAre("/tmp/VexaPinpad_ORVAL.log a", "/tmp/VexaPinpad_ORVAL.log a"));
}

TEST(LogEntry, MillisecondsAreTruncated) {
    const std::pair<long, const char*> cases[] = {
        {0, "000"}, {999, "000"}, {1000, "001"}, {59999, "059"}, {999999, "999"}};
    for (const auto& [microseconds, shown] : cases) {
        std::remove(kLogPath);
        Libc().now.tv_usec = microseconds;
        LogEntry("Name", "text");
        EXPECT_EQ(LogText(), Behind("[09,07:50:03."s + shown + "] Name: ", "text"));
    }
}

TEST(LogHex, ShowsRawMicroseconds) {
    const std::pair<long, const char*> cases[] = {
        {0, "000"}, {7, "007"}, {999, "999"}, {1000, "1000"}, {59999, "59999"}, {999999, "999999"}};
    for (const auto& [microseconds, shown] : cases) {
        std::remove(kLogPath);
        Libc().now.tv_usec = microseconds;
        LogHex("Name", "A", 1);
        EXPECT_EQ(LogText(), Behind("[09,07:50:03."s + shown + "] Name: ", "41"));
    }
}

TEST(LogEntry, DayAndTimeHaveTwoDigits) {
    Libc().now = {1735719909, 0};  // 1 January, 08:25:09 UTC
    LogEntry("Name", "text");
    EXPECT_EQ(LogText(), Behind("[01,17:10:09.000] Name: ", "text"));
}

TEST(LogEntry, TimeZoneThatChangedSinceTheLastRecordCounts) {
    LogEntry("Name", "before");
    setenv("TZ", "<-0330>3:30", 1);
    LogEntry("Name", "after");
    EXPECT_EQ(LogText(), Behind("[09,07:50:03.004] Name: ", "before") +
                             Behind("[08,19:35:03.004] Name: ", "after"));
}

TEST(LogEntry, TimeZoneThatTheClientUsedMeanwhileDoesNot) {
    LogEntry("Name", "before");
    const std::string zone = getenv("TZ");
    setenv("TZ", "<-0330>3:30", 1);
    tzset();
    setenv("TZ", zone.c_str(), 1);
    LogEntry("Name", "after");
    EXPECT_EQ(LogText(), Behind("[09,07:50:03.004] Name: ", "before") +
                             Behind("[09,07:50:03.004] Name: ", "after"));
}

TEST(LogEntry, TimeZoneWithALongNameCountsAtOnce) {
    const std::string west = "<-0330" + std::string(100, '0') + ">3:30";
    const std::string east = "<+0845" + std::string(100, '0') + ">-8:45";
    setenv("TZ", west.c_str(), 1);
    LogEntry("Name", "west");
    setenv("TZ", east.c_str(), 1);
    LogEntry("Name", "east");
    setenv("TZ", "", 1);
    LogEntry("Name", "nowhere");
    EXPECT_EQ(LogText(), Behind("[08,19:35:03.004] Name: ", "west") +
                             Behind("[09,07:50:03.004] Name: ", "east") +
                             Behind("[08,23:05:03.004] Name: ", "nowhere"));
}

TEST(LogEntry, TimeZoneWhoseNameBeginsAnotherIsAZoneOfItsOwn) {
    setenv("TZ", "UTC-1:30", 1);
    LogEntry("Name", "half past");
    setenv("TZ", "UTC-1", 1);
    LogEntry("Name", "whole");
    setenv("TZ", "UTC-1:30", 1);
    LogEntry("Name", "half past");
    EXPECT_EQ(LogText(), Behind("[09,00:35:03.004] Name: ", "half past") +
                             Behind("[09,00:05:03.004] Name: ", "whole") +
                             Behind("[09,00:35:03.004] Name: ", "half past"));
}

// The C library looks at the zone's file when it is asked for the zone; how often is ours to say.
TEST(LogEntry, LooksForAReplacedTimeZoneInEachSecond) {
    int looks = 0;
    Libc().tzset.replacement = [&] {
        ++looks;
        Libc().tzset.real();
    };
    LogEntry("Name", "text");
    EXPECT_EQ(looks, 1);
    LogHex("Name", "A", 1);
    EXPECT_EQ(looks, 1);
    for (const time_t step : {1, 1, -5}) {
        looks = 0;
        Libc().now.tv_sec += step;
        LogEntry("Name", "text");
        EXPECT_EQ(looks, 1) << step;
    }
}

TEST(LogEntry, ShowsTheWritingThread) {
    std::string expected;
    std::thread([&] {
        LogEntry("Name", "text");
        expected = TextRecord("Name", "text", pthread_self());
    }).join();
    EXPECT_EQ(LogText(), expected);
    EXPECT_NE(LogText(), TextRecord("Name", "text"));
}

TEST(LogHex, WritesUpperCaseDigitsForEveryByte) {
    std::string bytes;
    std::string digits;
    for (int byte = 0; byte < 256; ++byte) {
        bytes += static_cast<char>(byte);
        digits += "0123456789ABCDEF"[byte / 16];
        digits += "0123456789ABCDEF"[byte % 16];
    }
    LogHex("bytes", bytes.data(), 256);
    EXPECT_EQ(LogText(), HexRecord("bytes", digits));
}

TEST(LogHex, WritesBytesOfAnyNumber) {
    for (const size_t size : {511U, 512U, 513U, 1024U, 5000U}) {
        std::remove(kLogPath);
        std::string bytes;
        std::string digits;
        for (size_t i = 0; i < size; ++i) {
            bytes += static_cast<char>(i % 251);
            digits += "0123456789ABCDEF"[i % 251 / 16];
            digits += "0123456789ABCDEF"[i % 251 % 16];
        }
        LogHex("bytes", bytes.data(), static_cast<int32_t>(size));
        EXPECT_EQ(LogText(), HexRecord("bytes", digits)) << size;
    }
}

TEST(LogHex, LabelWithAColonShowsTwo) {
    LogHex("szSN:", "AB", 2);
    EXPECT_EQ(LogText(), Behind("[09,07:50:03.4321] szSN:: ", "4142"));
}

TEST(LogHex, NoBytesGiveEmptyBrackets) {
    LogHex("none", "AB", 0);
    LogHex("fewer", "AB", -1);
    LogHex("fewest", nullptr, INT32_MIN);
    EXPECT_EQ(LogText(), HexRecord("none", "") + HexRecord("fewer", "") + HexRecord("fewest", ""));
}

class LogLimit : public testing::TestWithParam<void (*)()> {};

INSTANTIATE_TEST_SUITE_P(Log, LogLimit,
                         testing::Values([] { LogEntry("Name", "text"); },
                                         [] { LogHex("Name", "A", 1); }));

std::string WrittenAlone() {
    const std::string text = LogText();
    std::remove(kLogPath);
    return text;
}

TEST_P(LogLimit, FileOfExactlyTheLimitIsKept) {
    GetParam()();
    const std::string record = WrittenAlone();
    MakeLog(kSizeLimit);
    GetParam()();
    EXPECT_EQ(LogSize(), kSizeLimit + static_cast<off_t>(record.size()));
    EXPECT_EQ(LogTail(record.size()), record);
}

TEST_P(LogLimit, FileOneByteLargerIsDeleted) {
    GetParam()();
    const std::string record = WrittenAlone();
    MakeLog(kSizeLimit + 1);
    GetParam()();
    // First the size: a file that was kept is too large to be compared.
    ASSERT_EQ(LogSize(), static_cast<off_t>(record.size()));
    EXPECT_EQ(LogText(), record);
}

TEST_P(LogLimit, DeletesNothingElse) {
    std::vector<std::string> removed;
    Libc().remove.replacement = [&](const char* path) {
        removed.emplace_back(path);
        return Libc().remove.real(path);
    };
    GetParam()();
    MakeLog(kSizeLimit);
    GetParam()();
    EXPECT_THAT(removed, IsEmpty());
    MakeLog(kSizeLimit + 1);
    GetParam()();
    EXPECT_THAT(removed, ElementsAre(kLogPath));
}

// The size that is looked at and the file that is deleted may not be the same: records may be lost
// between them, none is cut, and the file outgrows its limit by a record of each writer at most.
TEST(LogLimit, CrossedByEightProcessesLeavesWholeRecords) {
    constexpr off_t kLongestRecord = 16384;
    constexpr off_t kAll = off_t{kWriters} * kRecordsOfEach * kLongestRecord;
    for (int round = 0; round < 3; ++round) {
        std::remove(kLogPath);
        MakeLog(kSizeLimit - kAll / 4);
        Writers processes;
        processes.Begin();
        off_t largest = 0;
        while (!processes.AreDone()) {
            largest = std::max(largest, LogSize());
        }
        EXPECT_LE(largest, kSizeLimit + kWriters * kLongestRecord);
        ASSERT_LT(LogSize(), kAll);
        EXPECT_GT(WholeRecords(LogText()), 0);
    }
}

TEST(Log, UnwritableDirectoryMakesItSilent) {
    ASSERT_EQ(chmod("/tmp", 0555), 0);
    LogEntry("Name", "text");
    LogHex("Name", "A", 1);
    EXPECT_EQ(LogSize(), -1);
}

TEST(Log, UnwritableFileMakesItSilent) {
    std::ofstream(kLogPath) << "before";
    ASSERT_EQ(chmod(kLogPath, 0444), 0);
    LogEntry("Name", "text");
    LogHex("Name", "A", 1);
    EXPECT_EQ(LogText(), "before");
}

TEST(Log, ExportedFunctionsAnswerTheSameWithoutIt) {
    ASSERT_EQ(chmod("/tmp", 0555), 0);
    Key().ChangePin.Returns(5);
    EXPECT_EQ(ChangePin("SN0123456789"), 5);
    EXPECT_EQ(G_LastError, 5);
    EXPECT_THAT(Calls(), ElementsAre("ChangePin(\"SN0123456789\")"));
    EXPECT_EQ(LogSize(), -1);
}

}  // namespace
