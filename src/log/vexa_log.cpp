#include "log/vexa_log.h"

#include <pthread.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <ctime>
#include <memory>

namespace orval {
namespace {

constexpr const char* kPath = "/tmp/VexaPinpad_ORVAL.log";
// A larger file is deleted, not kept beside the new one.
constexpr off_t kSizeLimit = 104857600;

using LogFile = std::unique_ptr<FILE, int (*)(FILE*)>;

LogFile OpenLog() {
    struct stat status = {};
    if (stat(kPath, &status) == 0 && status.st_size > kSizeLimit) {
        std::remove(kPath);
    }
    return LogFile(std::fopen(kPath, "a"), std::fclose);
}

struct Moment {
    tm local = {};
    long microseconds = 0;
};

Moment Now() {
    timeval time = {};
    gettimeofday(&time, nullptr);
    Moment now;
    // localtime without its shared result, which belongs to the client; like localtime it honours
    // a time zone changed since the last record.
    tzset();
    localtime_r(&time.tv_sec, &now.local);
    now.microseconds = static_cast<long>(time.tv_usec);
    return now;
}

void WriteHeader(FILE* file, const char* name, const Moment& now, long fraction) {
    // The fraction has at least three digits: a hex record passes microseconds and shows up to six.
    std::fprintf(file, "[%02d,%02d:%02d:%02d.%03ld] %s: ", now.local.tm_mday, now.local.tm_hour,
                 now.local.tm_min, now.local.tm_sec, fraction, name);
    // The low 32 bits of the thread's identifier, shown as a signed number.
    const auto thread = static_cast<int32_t>(static_cast<uint32_t>(pthread_self()));
    std::fprintf(file, "(Process is %d, thread is %d)\r\n\t[", getpid(), thread);
}

void WriteEnd(FILE* file) {
    std::fputs("]\r\n", file);
}

}  // namespace

void LogEntry(const char* pszName, const char* pszFormat, ...) {
    const LogFile file = OpenLog();
    if (file == nullptr) {
        return;
    }
    const Moment now = Now();
    WriteHeader(file.get(), pszName, now, now.microseconds / 1000);
    va_list arguments;
    va_start(arguments, pszFormat);
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): va_start is two lines up
    std::vfprintf(file.get(), pszFormat, arguments);
    va_end(arguments);
    WriteEnd(file.get());
}

void LogHex(const char* pszName, const void* pData, int32_t nLen) {
    const LogFile file = OpenLog();
    if (file == nullptr) {
        return;
    }
    const Moment now = Now();
    // Raw microseconds, where a text record shows milliseconds: tools that read the log tell the
    // two kinds apart by it.
    WriteHeader(file.get(), pszName, now, now.microseconds);
    const auto* bytes = static_cast<const unsigned char*>(pData);
    for (int32_t i = 0; i < nLen; ++i) {
        std::fprintf(file.get(), "%02X", static_cast<unsigned>(bytes[i]));
    }
    WriteEnd(file.get());
}

}  // namespace orval
