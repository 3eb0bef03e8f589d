#ifndef ORVAL_BENCH_HEAP_COUNT_H
#define ORVAL_BENCH_HEAP_COUNT_H

#include <cstddef>

// The heap of a program that is linked with heap_count.cpp, which counts what malloc and its like
// hand out.
namespace bench {

// How many bytes more than now were in use at once while `work` ran.
size_t PeakDuring(void (*work)(void* argument), void* argument);

}  // namespace bench

#endif
