#include "base/secret_pages.h"

#include <openssl/crypto.h>
#include <pthread.h>
#include <sanitizer/asan_interface.h>
#include <sys/mman.h>

#include <array>
#include <new>

#include "base/process_lock.h"

namespace softkey {
namespace {

// Pieces of powers of two, from room for a pointer upwards. What is larger, such as a long text
// that was decrypted, has pages of its own.
constexpr size_t kSmallest = 32;
constexpr size_t kKinds = 8;
constexpr size_t kLargest = kSmallest << (kKinds - 1);

// Few enough at a time for the least that a process may usually lock, 64 KiB.
constexpr size_t kChunk = size_t{16} << 10;

struct Piece {
    Piece* next;
};

// What a chunk begins with: the list of all of them.
struct Chunk {
    Chunk* next;
};

// Trivially constructed and never destroyed: clients call as late as from exit handlers. Used under
// the lock of the process, with which a fork waits.
struct Pool {
    std::array<Piece*, kKinds> free;
    Chunk* chunks;
    char* rest;
    char* end;
};
Pool pool;

void* MapPages(size_t size) {
    void* const pages =
        mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) {
        throw std::bad_alloc();
    }
    // Either may be refused, and the secret is then as safe as before.
    madvise(pages, size, MADV_DONTDUMP);
    mlock(pages, size);
    return pages;
}

// Locks end with a fork; that the pages are left out of core files does not.
void LockInChild() {
    for (Chunk* chunk = pool.chunks; chunk != nullptr; chunk = chunk->next) {
        mlock(chunk, kChunk);
    }
}

__attribute__((constructor)) void LockInEachChild() {
    pthread_atfork(nullptr, nullptr, LockInChild);
}

void MapChunk() {
    auto* const chunk = static_cast<Chunk*>(MapPages(kChunk));
    chunk->next = pool.chunks;
    pool.chunks = chunk;
    // What is left of the last chunk is too small for whom it was asked, and stays unused.
    pool.rest = reinterpret_cast<char*>(chunk) + kSmallest;
    pool.end = reinterpret_cast<char*>(chunk) + kChunk;
}

size_t KindFor(size_t size) {
    size_t kind = 0;
    while (kSmallest << kind < size) {
        ++kind;
    }
    return kind;
}

void* TakePiece(size_t kind) {
    const ProcessLock lock;
    Piece*& first = pool.free[kind];
    if (first != nullptr) {
        Piece* const taken = first;
        ASAN_UNPOISON_MEMORY_REGION(taken, sizeof *taken);
        first = taken->next;
        return taken;
    }
    const size_t size = kSmallest << kind;
    if (static_cast<size_t>(pool.end - pool.rest) < size) {
        MapChunk();
    }
    void* const taken = pool.rest;
    pool.rest += size;
    return taken;
}

}  // namespace

void* TakeSecretMemory(size_t size) {
    if (size > kLargest) {
        return MapPages(size);
    }
    const size_t kind = KindFor(size);
    void* const taken = TakePiece(kind);
    // For a sanitizer, what was not asked for is not there.
    ASAN_POISON_MEMORY_REGION(taken, kSmallest << kind);
    ASAN_UNPOISON_MEMORY_REGION(taken, size);
    return taken;
}

void GiveSecretMemory(void* memory, size_t size) noexcept {
    OPENSSL_cleanse(memory, size);
    if (size > kLargest) {
        munmap(memory, size);
        return;
    }
    const size_t kind = KindFor(size);
    ASAN_UNPOISON_MEMORY_REGION(memory, kSmallest);
    const ProcessLock lock;
    auto* const piece = new (memory) Piece{pool.free[kind]};
    pool.free[kind] = piece;
    ASAN_POISON_MEMORY_REGION(piece, kSmallest << kind);
}

}  // namespace softkey
