#include "bundle/system.h"

#include <fcntl.h>
#include <gnu/libc-version.h>
#include <spawn.h>
#include <sys/utsname.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>

#include "doctor/elf_file.h"

namespace bundle {
namespace {

constexpr const char* kPackages[] = {
    "liborval-unified-kpxukey",
    "liborval-unified-kpxukey-dev",
    "liborval-lint1",
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

// Standard output goes into the pipe, complaints nowhere. False where there is no such program.
bool Start(std::vector<std::string> words, int pipe, pid_t& child) {
    std::vector<char*> arguments;
    arguments.reserve(words.size() + 1);
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipe, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    const int refused =
        posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return refused == 0;
}

// What a program prints; nothing where there is none.
std::string OutputOf(const std::vector<std::string>& words) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        return {};
    }
    pid_t child = 0;
    const bool is_started = Start(words, ends[1], child);
    close(ends[1]);
    std::string output;
    char chunk[4096];
    for (ssize_t count = 0; (count = read(ends[0], chunk, sizeof chunk)) > 0;) {
        output.append(chunk, static_cast<size_t>(count));
    }
    close(ends[0]);
    if (is_started) {
        waitpid(child, nullptr, 0);
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
    std::vector<std::string> words = {
        "dpkg-query", "--show", "--showformat",
        "${binary:Package} ${Version} ${Architecture} ${db:Status-Status}\\n"};
    words.insert(words.end(), std::begin(kPackages), std::end(kPackages));
    std::istringstream lines(OutputOf(words));
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
