#include "log_file.h"

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>

#include "libc_hooks.h"

namespace scripted {

namespace {

std::string Digits(int width, int64_t number) {
    const std::string digits = std::to_string(number);
    const auto room = static_cast<size_t>(width);
    return std::string(digits.size() < room ? room - digits.size() : 0, '0') + digits;
}

std::string Record(const std::string& name, const std::string& fraction, const std::string& text,
                   pthread_t thread) {
    tm local = {};
    localtime_r(&Libc().now.tv_sec, &local);
    const auto thread_number = static_cast<int32_t>(static_cast<uint32_t>(thread));
    return "[" + Digits(2, local.tm_mday) + "," + Digits(2, local.tm_hour) + ":" +
           Digits(2, local.tm_min) + ":" + Digits(2, local.tm_sec) + "." + fraction + "] " + name +
           ": (Process is " + std::to_string(getpid()) + ", thread is " +
           std::to_string(thread_number) + ")\r\n\t[" + text + "]\r\n";
}

}  // namespace

std::string LogText() {
    std::ifstream file(kLogPath, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

std::string TextRecord(const std::string& name, const std::string& text, pthread_t thread) {
    return Record(name, Digits(3, Libc().now.tv_usec / 1000), text, thread);
}

std::string HexRecord(const std::string& name, const std::string& digits, pthread_t thread) {
    return Record(name, Digits(3, Libc().now.tv_usec), digits, thread);
}

}  // namespace scripted
