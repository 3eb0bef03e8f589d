#include "cli/last_resort.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <string>

namespace cli {
namespace {

constexpr const char* kWhat = "there is not enough memory";
constexpr const char* kNext = "close other programs, or give a shorter input";

// What is said, ready beforehand; empty when there was no memory for that either.
char said[1024];
const char* program_name = "";
std::terminate_handler usual_end = nullptr;
bool memory_ran_out = false;

[[noreturn]] void NoteLackOfMemory() {
    memory_ran_out = true;
    throw std::bad_alloc();
}

void Write(std::initializer_list<const char*> texts) noexcept {
    for (const char* const text : texts) {
        static_cast<void>(!write(STDERR_FILENO, text, std::strlen(text)));
    }
}

// Where an exception cannot go on: out of a destructor, say, or where the C++ library lets none
// through, which it then ends without telling which it was.
[[noreturn]] void End() noexcept {
    bool is_lack_of_memory = memory_ran_out;
    try {
        if (const std::exception_ptr thrown = std::current_exception()) {
            std::rethrow_exception(thrown);
        }
    } catch (const std::bad_alloc&) {
        is_lack_of_memory = true;
    } catch (...) {
        is_lack_of_memory = false;
    }
    if (is_lack_of_memory) {
        // What is being written is left as a power cut would leave it.
        _exit(static_cast<int>(TellLackOfMemory()));
    }
    usual_end();
    std::abort();
}

}  // namespace

Failure LackOfMemory() {
    return MakeFailure(ExitStatus::kFailed, kWhat, {}, kNext);
}

void PrepareForLackOfMemory(const char* program, Layout layout) {
    program_name = program;
    std::set_new_handler(NoteLackOfMemory);
    const std::terminate_handler before = std::set_terminate(End);
    usual_end = before == End ? usual_end : before;
    try {
        const std::string text = Describe(program, LackOfMemory(), layout);
        said[text.copy(said, sizeof said - 1)] = '\0';
    } catch (const std::bad_alloc&) {
        // It is said in English.
    }
}

ExitStatus TellLackOfMemory() noexcept {
    if (said[0] != '\0') {
        Write({said});
    } else {
        Write({program_name, ": ", kWhat, "\n  next: ", kNext, "\n"});
    }
    return ExitStatus::kFailed;
}

ExitStatus TellOwnFault(const char* why) noexcept {
    Write({program_name, ": ", kOwnFault, "\n  why: ", why, "\n  next: ", kNextForOwnFault, "\n"});
    return ExitStatus::kInternal;
}

}  // namespace cli
