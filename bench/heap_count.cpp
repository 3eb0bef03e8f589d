#include "heap_count.h"

#include <malloc.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

// The C library's own functions behind the names that this program takes over.
extern "C" {
void* __libc_malloc(size_t size);                      // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(size_t count, size_t size);        // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* block, size_t size);        // NOLINT(bugprone-reserved-identifier)
void* __libc_memalign(size_t alignment, size_t size);  // NOLINT(bugprone-reserved-identifier)
void __libc_free(void* block);                         // NOLINT(bugprone-reserved-identifier)
}

namespace {

std::atomic<size_t> in_use{0};
std::atomic<size_t> peak{0};

void* Counted(void* block) {
    if (block != nullptr) {
        in_use += malloc_usable_size(block);
        peak = std::max(peak.load(), in_use.load());
    }
    return block;
}

void Uncount(void* block) {
    if (block != nullptr) {
        in_use -= malloc_usable_size(block);
    }
}

}  // namespace

size_t bench::PeakDuring(void (*work)(void* argument), void* argument) {
    const size_t before = in_use;
    peak = before;
    work(argument);
    return peak - before;
}

extern "C" {

void* malloc(size_t size) {
    return Counted(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) {
    return Counted(__libc_calloc(count, size));
}

// The old block is in use until the new one holds its bytes, unless it could grow where it stands.
void* realloc(void* block, size_t size) {
    const size_t old = block == nullptr ? 0 : malloc_usable_size(block);
    void* const resized = __libc_realloc(block, size);
    if (resized == nullptr) {
        in_use -= size == 0 ? old : 0;
        return nullptr;
    }
    if (resized == block) {
        in_use -= old;
        return Counted(resized);
    }
    Counted(resized);
    in_use -= old;
    return resized;
}

void* memalign(size_t alignment, size_t size) {
    return Counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(size_t alignment, size_t size) {
    return memalign(alignment, size);
}

int posix_memalign(void** block, size_t alignment, size_t size) {
    *block = memalign(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) {
    Uncount(block);
    __libc_free(block);
}
}
