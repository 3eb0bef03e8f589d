#include "failing_heap.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVAL_SANITIZERS_HEAP
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVAL_SANITIZERS_HEAP
#endif
#endif

// The C library's heap under its other names: the usual ones are replaced below.
#ifndef ORVAL_SANITIZERS_HEAP
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);
void __libc_free(void* block);
}
#endif

namespace failing_heap {
namespace {

// Nothing here asks the heap for anything, and nothing has to be constructed: the first request
// comes before main.
std::atomic<unsigned> counted_kinds{0};
std::atomic<size_t> requests{0};
std::atomic<size_t> first_failing{0};
std::atomic<bool> all_behind_fail{false};
std::atomic<bool> has_failed{false};
std::atomic<uint64_t*> tally{nullptr};
std::atomic<int> pauses{0};
std::atomic<const std::atomic<int>*> other_pauses{nullptr};
std::atomic<size_t> sizes[kKeptSizes];

// The blocks that were given and not taken back: an open hash table.
constexpr size_t kPlaces = size_t{1} << 16;
std::atomic<void*> places[kPlaces];
std::atomic<size_t> live_blocks{0};

std::atomic<void*>* const kEnd = places + kPlaces;
// In the place of a block that is gone; what was put behind it is still looked for.
void* const kGone = &live_blocks;

bool IsPaused() {
    const std::atomic<int>* const others = other_pauses;
    return pauses != 0 || (others != nullptr && *others != 0);
}

size_t PlaceOf(const void* block) {
    return (reinterpret_cast<uintptr_t>(block) >> 4) * 0x9E3779B97F4A7C15U >> 48;
}

}  // namespace

void Begin(unsigned kinds, Failing failing) {
    for (std::atomic<void*>* place = places; place != kEnd; ++place) {
        place->store(nullptr, std::memory_order_relaxed);
    }
    live_blocks = 0;
    requests = 0;
    has_failed = false;
    first_failing = failing.first;
    all_behind_fail = failing.all_behind;
    counted_kinds = kinds;
}

void End() {
    counted_kinds = 0;
}

size_t Requests() {
    return requests;
}

bool HasFailed() {
    return has_failed;
}

size_t LiveBlocks() {
    return live_blocks;
}

size_t SizeOfRequest(size_t index) {
    return sizes[index];
}

bool Grants(unsigned kind, size_t size) {
    if ((counted_kinds & kind) == 0 || IsPaused()) {
        return true;
    }
    const size_t number = ++requests;
    uint64_t* const shared = tally;
    if (shared != nullptr) {
        shared[0] = number;
    }
    if (number <= kKeptSizes) {
        sizes[number - 1] = size;
    }
    const size_t first = first_failing;
    if (first == 0 || number < first || (number > first && !all_behind_fail)) {
        return true;
    }
    has_failed = true;
    if (shared != nullptr) {
        shared[1] = 1;
    }
    return false;
}

void NoteGiven(void* block) {
    for (size_t i = PlaceOf(block), tries = 0; tries < kPlaces; i = (i + 1) % kPlaces, ++tries) {
        void* free_place = places[i];
        if ((free_place == nullptr || free_place == kGone) &&
            places[i].compare_exchange_strong(free_place, block)) {
            ++live_blocks;
            return;
        }
    }
    std::abort();  // more blocks than places
}

bool NoteTakenBack(void* block) {
    if (live_blocks == 0 || block == nullptr) {
        return false;
    }
    for (size_t i = PlaceOf(block), tries = 0; tries < kPlaces && places[i] != nullptr;
         i = (i + 1) % kPlaces, ++tries) {
        void* found = block;
        if (places[i].compare_exchange_strong(found, kGone)) {
            --live_blocks;
            return true;
        }
    }
    return false;
}

Pause::Pause() {
    ++pauses;
}

Pause::~Pause() {
    --pauses;
}

void TallyIn(uint64_t* shared) {
    tally = shared;
}

void PauseWith(const std::atomic<int>& counter) {
    other_pauses = &counter;
}

bool IsWhole() {
#ifdef ORVAL_SANITIZERS_HEAP
    return false;
#else
    return true;
#endif
}

namespace {

void NoteGivenAs(unsigned kind, void* block) {
    const bool is_known = kind == kArrays || !IsPaused();
    if ((counted_kinds & kind) != 0 && is_known && block != nullptr && tally == nullptr) {
        NoteGiven(block);
    }
}

#ifdef ORVAL_SANITIZERS_HEAP
void* Take(size_t size) {
    return std::malloc(size);
}
void GiveBack(void* block) {
    std::free(block);
}
#else
void* Take(size_t size) {
    return __libc_malloc(size);
}
void GiveBack(void* block) {
    __libc_free(block);
}
#endif

void* NewBlock(unsigned kind, size_t size) {
    // A sanitizer's heap ends the process over a size that no object can have.
    void* block = nullptr;
    if (Grants(kind, size) && size <= PTRDIFF_MAX) {
        block = Take(size == 0 ? 1 : size);
    }
    if (block == nullptr) {
        // As the C++ library does; a handler that returns has freed nothing here.
        if (std::new_handler const handler = std::get_new_handler()) {
            handler();
        }
        throw std::bad_alloc();
    }
    NoteGivenAs(kind, block);
    return block;
}

void DeleteBlock(void* block) {
    NoteTakenBack(block);
    GiveBack(block);
}

}  // namespace
}  // namespace failing_heap

#define ORVAL_REPLACED __attribute__((visibility("default")))

using failing_heap::kArrays;
using failing_heap::kOthers;

// Past the address sanitizer's own, which cannot fail; its heap is underneath all the same.
ORVAL_REPLACED void* operator new[](size_t size) {
    return failing_heap::NewBlock(kArrays, size);
}
ORVAL_REPLACED void operator delete[](void* block) noexcept {
    failing_heap::DeleteBlock(block);
}
ORVAL_REPLACED void operator delete[](void* block, size_t /*size*/) noexcept {
    failing_heap::DeleteBlock(block);
}
ORVAL_REPLACED void* operator new(size_t size) {
    return failing_heap::NewBlock(kOthers, size);
}
ORVAL_REPLACED void operator delete(void* block) noexcept {
    failing_heap::DeleteBlock(block);
}
ORVAL_REPLACED void operator delete(void* block, size_t /*size*/) noexcept {
    failing_heap::DeleteBlock(block);
}

#ifndef ORVAL_SANITIZERS_HEAP

namespace {

bool Grants(size_t size) {
    const bool grants = failing_heap::Grants(kOthers, size);
    errno = grants ? errno : ENOMEM;
    return grants;
}

void* Noted(void* block) {
    failing_heap::NoteGivenAs(kOthers, block);
    return block;
}

}  // namespace

extern "C" {

ORVAL_REPLACED void* malloc(size_t size) noexcept {
    return Grants(size) ? Noted(__libc_malloc(size)) : nullptr;
}

ORVAL_REPLACED void* calloc(size_t count, size_t size) noexcept {
    return Grants(count * size) ? Noted(__libc_calloc(count, size)) : nullptr;
}

ORVAL_REPLACED void* realloc(void* block, size_t size) noexcept {
    if (!Grants(size)) {
        return nullptr;
    }
    // One that was there before is not counted when it grows.
    const bool is_counted = block == nullptr || failing_heap::NoteTakenBack(block);
    void* const larger = __libc_realloc(block, size);
    return is_counted ? Noted(larger) : larger;
}

ORVAL_REPLACED void free(void* block) noexcept {
    failing_heap::NoteTakenBack(block);
    __libc_free(block);
}

}  // extern "C"

#endif
