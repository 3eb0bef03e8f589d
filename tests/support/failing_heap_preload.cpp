// For LD_PRELOAD: a command's heap fails from where its main starts, as the environment says.
//
//   ORVAL_HEAP_FAILS=N    the N-th request fails; "N+": all behind it as well; 0: none
//   ORVAL_HEAP_TALLY=FILE the counted requests are written there, 8 bytes, while they are made, and
//                         behind them 8 bytes that are 1 once one has failed
//
// Both are gone from the environment of what the command starts, which then lacks nothing.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "failing_heap.h"

namespace {

using Main = int (*)(int, char**, char**);

Main programs_main = nullptr;

void Arm() {
    const char* const fails = getenv("ORVAL_HEAP_FAILS");
    const char* const tally = getenv("ORVAL_HEAP_TALLY");
    if (fails == nullptr || tally == nullptr) {
        return;
    }
    char* end = nullptr;
    const failing_heap::Failing failing = {std::strtoul(fails, &end, 10), *end == '+'};
    const int file = open(tally, O_RDWR | O_CLOEXEC);
    void* const shared =
        mmap(nullptr, 2 * sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    unsetenv("ORVAL_HEAP_FAILS");
    unsetenv("ORVAL_HEAP_TALLY");
    if (shared == MAP_FAILED) {
        _exit(99);
    }
    failing_heap::TallyIn(static_cast<uint64_t*>(shared));
    failing_heap::Begin(failing_heap::kArrays | failing_heap::kOthers, failing);
}

int ArmedMain(int count, char** words, char** environment) {
    Arm();
    return programs_main(count, words, environment);
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int __libc_start_main(
    Main main, int count, char** words, void (*init)(), void (*fini)(), void (*loader_fini)(),
    void* stack_end) {
    using Start = int (*)(Main, int, char**, void (*)(), void (*)(), void (*)(), void*);
    programs_main = main;
    const auto start = reinterpret_cast<Start>(dlsym(RTLD_NEXT, "__libc_start_main"));
    return start(ArmedMain, count, words, init, fini, loader_fini, stack_end);
}
