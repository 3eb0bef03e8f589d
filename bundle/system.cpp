#include "bundle/system.h"

#include <gnu/libc-version.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "doctor/elf_file.h"

namespace bundle {
namespace {

constexpr const char* kPackages[] = {
    "liborval-unified-kpxukey",
    "liborval-unified-kpxukey-dev",
    "ukeyctl",
    "orval-softkey",
    "com.kpx.orvalunified",
    "com.kpx.uosorval",
    "libc6",
    "libgcc-s1",
    "libstdc++6",
    "zlib1g",
    "libpcsclite1",
    "pcscd",
    "libusb-1.0-0",
    "udev",
    "bubblewrap",
    "tzdata",
};

// "Debian GNU/Linux 12 (bookworm)"
std::string Release() {
    std::ifstream file("/etc/os-release");
    const std::string name = "PRETTY_NAME=";
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, name.size(), name) == 0) {
            const std::string value = line.substr(name.size());
            const bool is_quoted = value.size() > 1 && value.front() == '"';
            return is_quoted ? value.substr(1, value.size() - 2) : value;
        }
    }
    return "unknown";
}

std::string Variable(const char* name) {
    const char* const value = std::getenv(name);
    return value != nullptr && *value != '\0' ? std::string(name) + "=" + value : "";
}

std::string Variables(std::initializer_list<const char*> names) {
    std::string all;
    for (const char* const name : names) {
        const std::string one = Variable(name);
        all += (all.empty() || one.empty() ? "" : ", ") + one;
    }
    return all.empty() ? "not set" : all;
}

std::string Zone(std::time_t now) {
    std::tm local{};
    char offset[64];
    localtime_r(&now, &local);
    const size_t size = std::strftime(offset, sizeof offset, "%Z, UTC%z", &local);
    char link[256];
    const ssize_t length = readlink("/etc/localtime", link, sizeof link);
    const std::string set = Variable("TZ");
    return std::string(offset, size) + (!set.empty() ? ", " + set
                                        : length > 0
                                            ? ", " + std::string(link, static_cast<size_t>(length))
                                            : "");
}

std::string LocalTime(std::time_t now) {
    std::tm local{};
    char text[64];
    localtime_r(&now, &local);
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
}

struct Closing {
    void operator()(FILE* stream) const { pclose(stream); }
};

// What a command prints. Nothing of what a user gave is in it.
std::string OutputOf(const std::string& command) {
    const std::unique_ptr<FILE, Closing> stream(popen(command.c_str(), "re"));
    std::string output;
    char chunk[4096];
    for (size_t count = 0;
         stream && (count = std::fread(chunk, 1, sizeof chunk, stream.get())) > 0;) {
        output.append(chunk, count);
    }
    return output;
}

}  // namespace

std::vector<Fact> SystemFacts(std::time_t now) {
    utsname kernel{};
    uname(&kernel);
    return {
        {"System", Release()},
        {"Kernel", std::string(kernel.sysname) + " " + kernel.release + " " + kernel.version},
        {"Processor",
         std::string(kernel.machine) + "; this command is built for " + doctor::OwnCpu()},
        {"C library", std::string("glibc ") + gnu_get_libc_version()},
        {"Local time", LocalTime(now)},
        {"Time zone", Zone(now)},
        {"Locale", Variables({"LC_ALL", "LC_CTYPE", "LC_MESSAGES", "LANG", "LANGUAGE"})},
        {"Desktop", Variables({"XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE"})},
    };
}

std::vector<Package> Packages() {
    std::string command =
        "LC_ALL=C dpkg-query --show --showformat "
        "'${binary:Package} ${Version} ${Architecture} ${db:Status-Status}\\n'";
    for (const char* const name : kPackages) {
        command += std::string(" ") + name;
    }
    std::istringstream lines(OutputOf(command + " 2>/dev/null"));
    std::vector<Package> installed;
    for (std::string line; std::getline(lines, line);) {
        // One that is only known has an empty version.
        Package one;
        std::string status;
        if (std::istringstream(line) >> one.name >> one.version >> one.architecture >> status &&
            status == "installed") {
            installed.push_back(one);
        }
    }
    return installed;
}

}  // namespace bundle
