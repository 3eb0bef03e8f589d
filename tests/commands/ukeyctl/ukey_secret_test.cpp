#include <malloc.h>

#include <cstdlib>
#include <cstring>
#include <new>

#include "ukey_fixture.h"

namespace {

// Watches released memory for a text that must not be found there.
const char* watched = nullptr;
size_t watched_length = 0;
bool was_found = false;

void Watch(void* memory) {
    if (watched != nullptr && memory != nullptr &&
        memmem(memory, malloc_usable_size(memory), watched, watched_length) != nullptr) {
        was_found = true;
    }
}

TEST_F(Ukey, DecryptedTextLeavesNoTrace) {
    constexpr const char* kPlain = "the plain text of a secret message, long enough for the heap";
    fake_.outputs["AsymDec"] = {kPlain};
    watched = kPlain;
    watched_length = std::strlen(kPlain);
    {
        const ukey::Secret plain = key_.AsymDec(0, 0, "cipher");
        EXPECT_EQ(plain.View(), kPlain);
    }
    EXPECT_FALSE(was_found);
    // The watch itself works: a copy that nobody wipes is found.
    { const std::string copy(kPlain); }
    EXPECT_TRUE(was_found);
    was_found = false;
    {
        std::string copy(kPlain);
        ukey::Wipe(copy);
        EXPECT_EQ(copy, "");
    }
    EXPECT_FALSE(was_found);
    watched = nullptr;
}

}  // namespace

void* operator new(size_t size) {
    void* memory = std::malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void operator delete(void* memory) noexcept {
    Watch(memory);
    std::free(memory);
}

void operator delete(void* memory, size_t /*size*/) noexcept {
    operator delete(memory);
}
