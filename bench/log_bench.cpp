#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "benchmarks.h"
#include "log/vexa_log.h"

namespace {

constexpr const char* kLog = "/tmp/VexaPinpad_ORVAL.log";
constexpr const char* kPlainFile = "/tmp/plain.log";
// As long as the record below.
constexpr char kRecord[] =
    "[21,12:00:00.000] GetDllVersion: (Process is 1000, thread is -1000000000)\r\n"
    "\t[End G_LastError: 00000000]\r\n";

void WriteRecord(benchmark::State& state) {
    for ([[maybe_unused]] auto unused : state) {
        orval::LogEntry("GetDllVersion", "End G_LastError: %08X", 0U);
    }
    std::remove(kLog);
}

// What a record cannot do without: the size, the opened file, the written bytes, the closed file.
void MakeBareSystemCalls(benchmark::State& state) {
    for ([[maybe_unused]] auto unused : state) {
        struct stat status = {};
        if (stat(kPlainFile, &status) == 0 && status.st_size > 104857600) {
            unlink(kPlainFile);
        }
        const int file = open(kPlainFile, O_WRONLY | O_CREAT | O_APPEND, 0666);
        if (write(file, kRecord, sizeof(kRecord) - 1) != sizeof(kRecord) - 1) {
            state.SkipWithError("the record could not be written");
        }
        close(file);
    }
    std::remove(kPlainFile);
}

}  // namespace

void RegisterLogBenchmarks() {
    benchmark::RegisterBenchmark("log record/ours", WriteRecord);
    benchmark::RegisterBenchmark("log record/plain", MakeBareSystemCalls);
}
