#include "processes.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

namespace lifecycle {
namespace {

// Emulated and with other work on the machine, a key derivation alone takes seconds.
constexpr std::chrono::seconds kPatience{120};
constexpr std::chrono::milliseconds kBetweenLooks{10};

[[noreturn]] void WorkAndExit(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
    }
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? 1 : 0);
}

}  // namespace

ProgramResult RunProgram(const std::string& name, const std::string& arguments) {
    const std::string command = "exec 2>&1 </dev/null; exec " ORVAL_EMULATOR " " ORVAL_PROGRAMS
                                "/" +
                                name + " " + arguments;
    FILE* const pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        throw std::runtime_error("cannot run " + command);
    }
    std::string output;
    char chunk[4096];
    for (size_t count = 0; (count = fread(chunk, 1, sizeof chunk, pipe)) > 0;) {
        output.append(chunk, count);
    }
    const int status = pclose(pipe);
    while (!output.empty() && output.back() == '\n') {
        output.pop_back();
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

std::string Program(const std::string& name, const std::string& arguments) {
    const ProgramResult result = RunProgram(name, arguments);
    if (result.status != 0) {
        throw std::runtime_error(name + " " + arguments + ": " + result.output);
    }
    return result.output;
}

OtherProcess::OtherProcess(const std::function<void()>& work) {
    std::fflush(nullptr);
    id_ = fork();
    if (id_ < 0) {
        throw std::runtime_error("cannot fork");
    }
    if (id_ == 0) {
        WorkAndExit(work);
    }
}

OtherProcess::~OtherProcess() {
    Join();
}

int OtherProcess::Join() {
    if (id_ > 0) {
        waitpid(id_, &status_, 0);
        id_ = 0;
    }
    return status_;
}

void InOtherProcess(const std::function<void()>& work) {
    const int status = OtherProcess(work).Join();
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error("the other process failed");
    }
}

bool Eventually(const std::function<bool()>& is_so) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!is_so()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(kBetweenLooks);
    }
    return true;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFile(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

void WriteSecretFile(const std::string& path, const std::string& text) {
    const mode_t mask = umask(077);
    WriteFile(path, text);
    umask(mask);
}

}  // namespace lifecycle
