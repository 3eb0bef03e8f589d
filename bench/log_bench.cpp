// Records of the diagnostic log, on the file system that /tmp is.
#include <linux/magic.h>
#include <sys/vfs.h>

#include <cstdio>

#include "families.h"
#include "least/calls.h"
#include "log/vexa_log.h"
#include "rows.h"

namespace {

// As long as what a record has in front of its text.
constexpr const char* kHead =
    "[21,12:00:00.000] GetDllVersion: (Process is 1000, thread is -1000000000)\r\n\t[";
constexpr int64_t kTextSizes[] = {32, 1 << 10, 64 << 10, 1 << 20};
constexpr int64_t kDataSizes[] = {16, 1 << 10, 64 << 10};

const char* FileSystem() {
    struct statfs status = {};
    return statfs("/tmp", &status) == 0 && status.f_type == TMPFS_MAGIC ? "in memory" : "on disk";
}

// What was logged is thrown away behind each measurement: the log's own limit is not the subject.
template <typename Write>
void WriteRecords(benchmark::State& state, Write write) {
    bench::Repeat(state, [&] {
        write();
        return 0;
    });
    std::remove("/tmp/VexaPinpad_ORVAL.log");
    std::remove("/tmp/limit.log");
}

template <typename Ours, typename Limit>
void AddRecord(const std::string& row, Ours ours, Limit limit) {
    bench::Add(row, bench::kOurs, WriteRecords<Ours>, ours);
    bench::Add(row, bench::kLimit, WriteRecords<Limit>, limit);
}

void AddText(int64_t size) {
    const std::string text(static_cast<size_t>(size), 'x');
    const std::string record = kHead + text + "]\r\n";
    AddRecord(
        bench::Sized("log record " + std::string(FileSystem()) + ", text", size),
        [text] { orval::LogEntry("GetDllVersion", "%s", text.c_str()); },
        [record] { least::WriteRecord(record.data(), record.size()); });
}

void AddHex(int64_t size) {
    const std::string data(static_cast<size_t>(size), '\x5A');
    AddRecord(
        bench::Sized("log record " + std::string(FileSystem()) + ", hex", size),
        [data] { orval::LogHex("GetDllVersion", data.data(), static_cast<int32_t>(data.size())); },
        [data] { least::WriteHexRecord(kHead, data.data(), data.size()); });
}

}  // namespace

void bench::AddLogRows() {
    for (const int64_t size : kTextSizes) {
        AddText(size);
    }
    for (const int64_t size : kDataSizes) {
        AddHex(size);
    }
}
