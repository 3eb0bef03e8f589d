#ifndef ORVAL_TESTS_SUPPORT_FAILING_HEAP_H
#define ORVAL_TESTS_SUPPORT_FAILING_HEAP_H

#include <atomic>
#include <cstddef>
#include <cstdint>

// The heap of the whole process, the C library's own requests included, which counts and fails when
// told to. A program or a library to be preloaded that has failing_heap.cpp has it. Under a
// sanitizer, which is the heap itself there, only what operator new gives is counted.
namespace failing_heap {

// Kinds of requests, as a set: array new, what a test counts as texts, and all others.
enum Kinds : unsigned { kArrays = 1, kTexts = 2, kOthers = 4, kAll = 7 };

// Which requests fail: the n-th, counted from 1, and perhaps all behind it. 0: none.
struct Failing {
    size_t first = 0;
    bool all_behind = false;
};

// From here to End() requests of these kinds, of every thread, are counted, fail as told, and what
// they give is known until it is given back.
void Begin(unsigned kinds, Failing failing);
void End();

// Whether all that the process asks for is counted, or only what operator new gives.
bool IsWhole();

// Since the last Begin(): how many were counted, whether one has failed, how many blocks have not
// been given back, and the sizes of the first requests.
size_t Requests();
bool HasFailed();
size_t LiveBlocks();
constexpr size_t kKeptSizes = 64;
size_t SizeOfRequest(size_t index);

// Whether a request may be served. For a source of memory that is not the heap, which counts here.
bool Grants(unsigned kind, size_t size);
void NoteGiven(void* block);
// Whether it was given since the last Begin().
bool NoteTakenBack(void* block);

// From now on, the number of requests and whether one has failed, 1 or 0, are written there too,
// for another process to read. The blocks are not followed then: there may be any number of them.
void TallyIn(uint64_t* shared);

// As long as it lives, nothing fails: what is requested belongs to a test and not to what is tried.
// Array new is known all the same, because what a test hands over is for others to give back.
class Pause final {
 public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
};

// While this counter is not 0, it is as if there were a pause.
void PauseWith(const std::atomic<int>& counter);

}  // namespace failing_heap

#endif
