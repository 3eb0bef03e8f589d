#include <benchmark/benchmark.h>
#include <dlfcn.h>

#include "benchmarks.h"
#include "maker/places.h"
#include "orval_unified_kpxukey.h"

namespace {

constexpr const char* kSerialNumber = "0123456789ABCDEF";

using VerifyPinEntry = int32_t (*)(const char*);

// Both sides are called through a pointer that the compiler cannot see through.
void CallVerifyPin(benchmark::State& state, VerifyPinEntry entry) {
    benchmark::DoNotOptimize(entry);
    for ([[maybe_unused]] auto unused : state) {
        benchmark::DoNotOptimize(entry(kSerialNumber));
    }
}

}  // namespace

void* BackendEntry(const char* name) {
    static void* const library = dlopen(maker::kBackendPath, RTLD_LAZY);
    return library == nullptr ? nullptr : dlsym(library, name);
}

void RegisterCallBenchmarks() {
    benchmark::RegisterBenchmark("quiet call, VerifyPIN/ours", CallVerifyPin, &VerifyPIN);
    benchmark::RegisterBenchmark("quiet call, VerifyPIN/plain", CallVerifyPin,
                                 reinterpret_cast<VerifyPinEntry>(BackendEntry("VerifyPIN")));
}
