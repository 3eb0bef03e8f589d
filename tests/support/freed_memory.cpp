#include "freed_memory.h"

#include <malloc.h>
#include <pthread.h>
#include <sys/mman.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVAL_FOREIGN_HEAP
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVAL_FOREIGN_HEAP
#endif
#endif

namespace scripted {
namespace {

constexpr size_t kPiece = 16;

// Nothing here may take memory: it is asked from within free.
char secret_text[256];
size_t secret_size = 0;
std::atomic<bool> is_watching{false};
std::atomic<size_t> blocks{0};
std::atomic<size_t> leaks{0};

bool HoldsPiece(const void* memory, size_t size) {
    for (size_t at = 0; at + kPiece <= secret_size; at += kPiece) {
        if (memmem(memory, size, secret_text + at, kPiece) != nullptr) {
            return true;
        }
    }
    return false;
}

void Look(const void* block, size_t size) {
    if (block == nullptr || !is_watching) {
        return;
    }
    ++blocks;
    if (HoldsPiece(block, size)) {
        ++leaks;
    }
}

void SetSecret(const std::string& secret) {
    if (secret.size() < 2 * kPiece || secret.size() > sizeof(secret_text)) {
        throw std::invalid_argument("too short or too long to be looked for");
    }
    secret_size = secret.copy(secret_text, secret.size());
}

#ifdef ORVAL_FOREIGN_HEAP
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*allocated)(const volatile void*,
                                                                           size_t),
                                                         void (*given_back)(const volatile void*));
extern "C" size_t __sanitizer_get_allocated_size(const volatile void* block);

__attribute__((constructor)) void WatchForeignHeap() {
    __sanitizer_install_malloc_and_free_hooks([](const volatile void*, size_t) {},
                                              [](const volatile void* block) {
                                                  if (is_watching && block != nullptr) {
                                                      Look(const_cast<const void*>(block),
                                                           __sanitizer_get_allocated_size(block));
                                                  }
                                              });
}
#endif

}  // namespace

FreedMemory::FreedMemory(const std::string& secret) {
    SetSecret(secret);
    blocks = 0;
    leaks = 0;
    is_watching = true;
}

FreedMemory::~FreedMemory() {
    is_watching = false;
}

size_t FreedMemory::Blocks() const {
    return blocks;
}

size_t FreedMemory::Leaks() const {
    return leaks;
}

bool LeavesOnStack(const std::string& secret, const std::function<void()>& work) {
    constexpr size_t kStack = size_t{1} << 20U;
    void* const stack = mmap(nullptr, kStack, PROT_READ | PROT_WRITE,
                             MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, kStack);
    pthread_t thread{};
    const int failed = pthread_create(
        &thread, &attributes,
        [](void* argument) -> void* {
            (*static_cast<const std::function<void()>*>(argument))();
            return nullptr;
        },
        const_cast<std::function<void()>*>(&work));
    pthread_attr_destroy(&attributes);
    if (failed != 0) {
        throw std::runtime_error("no thread");
    }
    pthread_join(thread, nullptr);
    SetSecret(secret);
    const bool held = HoldsPiece(stack, kStack);
    munmap(stack, kStack);
    return held;
}

}  // namespace scripted

#ifndef ORVAL_FOREIGN_HEAP

// Replaced for the whole process.
extern "C" {

void __libc_free(void* block);

__attribute__((visibility("default"))) void free(void* block) noexcept {
    if (block != nullptr) {
        scripted::Look(block, malloc_usable_size(block));
    }
    __libc_free(block);
}

// Moves each time, which the C library may do any time.
__attribute__((visibility("default"))) void* realloc(void* block, size_t size) noexcept {
    if (block != nullptr && size == 0) {
        free(block);
        return nullptr;
    }
    void* const moved = malloc(size);
    if (block != nullptr && moved != nullptr) {
        const size_t held = malloc_usable_size(block);
        std::memcpy(moved, block, held < size ? held : size);
        free(block);
    }
    return moved;
}
}

#endif
