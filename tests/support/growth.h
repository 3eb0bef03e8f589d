#ifndef ORVAL_TESTS_SUPPORT_GROWTH_H
#define ORVAL_TESTS_SUPPORT_GROWTH_H

#include <gtest/gtest.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

// Whether a process that does the same for a long time stays as large as it is. The suite looks for
// seconds; with SOAK=long in the environment, see scripts/release-check, it is the long form.
namespace growth {

// A sanitizer and an emulator have a heap of their own, and are ten times as slow.
#ifdef ORVAL_FORKS_HANG
constexpr bool kHeapIsAnothers = true;
#else
constexpr bool kHeapIsAnothers = false;
#endif

inline int Rounds(int bounded, int all) {
    const char* const soak = std::getenv("SOAK");
    if (soak != nullptr && std::strcmp(soak, "long") == 0) {
        return all;
    }
    return kHeapIsAnothers ? bounded / 10 : bounded;
}

inline long EntriesOf(const char* directory) {
    const std::filesystem::directory_iterator entries(directory);
    return std::distance(begin(entries), end(entries));
}

inline long ResidentKib() {
    long all = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * sysconf(_SC_PAGESIZE) / 1024;
}

inline long AllocatedBytes() {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"  // its successor came with glibc 2.33
    return mallinfo().uordblks;
#pragma GCC diagnostic pop
}

struct Size {
    long resident = ResidentKib();
    long allocated = AllocatedBytes();
    long descriptors = EntriesOf("/proc/self/fd");
    long threads = EntriesOf("/proc/self/task");
};

// Another thread may have the log open, for one record.
inline Size SettledSize(const Size& before) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    Size now;
    while (now.descriptors > before.descriptors && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        now = Size();
    }
    return now;
}

inline void Tell(const char* what, int rounds, double seconds, const Size& before,
                 const Size& after) {
    std::cout << "soak: " << rounds << ' ' << what << ", " << static_cast<int>(rounds / seconds)
              << " a second; resident " << before.resident << " -> " << after.resident
              << " KiB, allocated " << before.allocated << " -> " << after.allocated
              << " bytes, descriptors " << before.descriptors << " -> " << after.descriptors
              << ", threads " << before.threads << " -> " << after.threads << '\n';
}

// Pages that the C library keeps for what comes.
constexpr long kKeptKib = 1024;
// Less than the smallest block of each round.
constexpr long kKeptBytes = 1024;

// A tenth of the rounds comes first, until caches and heap have their size. `kept` is what caches
// may still take afterwards.
template <typename Round>
void ExpectNone(const char* what, int rounds, const Round& round, long kept = kKeptBytes) {
    static_cast<void>(Size());  // what looking takes itself
    for (int i = 0; i < std::max(rounds / 10, 1); ++i) {
        round();
    }
    const Size before;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        round();
    }
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    const Size after = SettledSize(before);
    Tell(what, rounds, took.count(), before, after);
    EXPECT_LE(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    if (!kHeapIsAnothers) {
        EXPECT_LT(after.resident - before.resident, kKeptKib);
        EXPECT_LT(after.allocated - before.allocated, kept);
    }
}

}  // namespace growth

#endif
