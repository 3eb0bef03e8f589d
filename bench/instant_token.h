#ifndef ORVAL_BENCH_INSTANT_TOKEN_H
#define ORVAL_BENCH_INSTANT_TOKEN_H

#include <atomic>
#include <cstdint>

// What the benchmark and its token library tell each other. Found by name, as the library is
// loaded from the application directory.
struct TokenControl {
    std::atomic<uint32_t> attempts{0};             // at waiting for an event
    std::atomic<uint32_t> attempt_duration_us{0};  // of each
};

constexpr const char* kTokenControlName = "InstantTokenControl";

#endif
