#include "scarce_memory.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>

#include "scripted_key.h"

namespace scripted {

// Looked up, because the linker lets no program refer to the objects of one copy of the library.
QRV::IQrvBufferMgr** DefaultManager() {
    void* pointer = dlsym(RTLD_DEFAULT, "_ZN3QRV17_qrvBufferManagerE");
    if (pointer == nullptr) {
        throw std::runtime_error("the product's buffer manager was not found");
    }
    return static_cast<QRV::IQrvBufferMgr**>(pointer);
}

ScarceMemory::ScarceMemory(unsigned kinds, Failing failing)
    : default_manager_(DefaultManager()), usual_manager_(*default_manager_) {
    // Otherwise texts come from the product's own manager, and are not told from what is no array.
    if ((kinds & kTexts) != 0) {
        *default_manager_ = &manager_;
    }
    failing_heap::PauseWith(CallsAtWork());
    failing_heap::Begin(kinds, failing);
}

ScarceMemory::~ScarceMemory() {
    failing_heap::End();
    *default_manager_ = usual_manager_;
}

std::vector<size_t> ScarceMemory::Requests() const {
    const failing_heap::Pause pause;
    std::vector<size_t> sizes;
    const size_t known = std::min(failing_heap::Requests(), failing_heap::kKeptSizes);
    for (size_t i = 0; i < known; ++i) {
        sizes.push_back(failing_heap::SizeOfRequest(i));
    }
    return sizes;
}

// The blocks of texts are known as such; the heap below is not asked as one that may fail again.

void* ScarceMemory::Heap::Allocate(size_t size) noexcept {
    if (!failing_heap::Grants(kTexts, size)) {
        return nullptr;
    }
    const failing_heap::Pause pause;
    void* const block = std::malloc(size);
    failing_heap::NoteGiven(block);
    return block;
}

void ScarceMemory::Heap::Free(void* block) noexcept {
    failing_heap::NoteTakenBack(block);
    std::free(block);
}

void* ScarceMemory::Heap::Reallocate(void* block, size_t size) noexcept {
    if (!failing_heap::Grants(kTexts, size)) {
        return nullptr;
    }
    const failing_heap::Pause pause;
    failing_heap::NoteTakenBack(block);
    void* const larger = std::realloc(block, size);
    failing_heap::NoteGiven(larger);
    return larger;
}

size_t ScarceMemory::Heap::GetSize(void* /*block*/) noexcept {
    return 0;
}

}  // namespace scripted
