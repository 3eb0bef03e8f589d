#include "scarce_memory.h"

#include <dlfcn.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <stdexcept>

namespace scripted {

namespace {

ScarceArrays* scarce_arrays = nullptr;

}  // namespace

// Looked up, because the linker lets no program refer to the objects of one copy of the library.
QRV::IQrvBufferMgr** DefaultManager() {
    void* pointer = dlsym(RTLD_DEFAULT, "_ZN3QRV17_qrvBufferManagerE");
    if (pointer == nullptr) {
        throw std::runtime_error("the product's buffer manager was not found");
    }
    return static_cast<QRV::IQrvBufferMgr**>(pointer);
}

ScarceArrays::ScarceArrays(size_t failing_request) : failing_request_(failing_request) {
    requests_.reserve(64);
    scarce_arrays = this;
}

ScarceArrays::~ScarceArrays() {
    scarce_arrays = nullptr;
}

bool ScarceArrays::Grants(size_t size) {
    requests_.push_back(size);
    const bool granted = requests_.size() != failing_request_;
    live_blocks_ += granted ? 1 : 0;
    return granted;
}

ScarceStrings::ScarceStrings(int failing_request)
    : default_manager_(DefaultManager()), usual_manager_(*default_manager_) {
    heap_.failing_request = failing_request;
    *default_manager_ = &manager_;
}

ScarceStrings::~ScarceStrings() {
    *default_manager_ = usual_manager_;
}

void* ScarceStrings::Heap::Allocate(size_t size) noexcept {
    if (!Grants()) {
        return nullptr;
    }
    ++live_blocks;
    return std::malloc(size);
}

void ScarceStrings::Heap::Free(void* block) noexcept {
    --live_blocks;
    std::free(block);
}

void* ScarceStrings::Heap::Reallocate(void* block, size_t size) noexcept {
    return Grants() ? std::realloc(block, size) : nullptr;
}

size_t ScarceStrings::Heap::GetSize(void* /*block*/) noexcept {
    return 0;
}

}  // namespace scripted

// Replaced for the whole process. Past the address sanitizer's own array new, which cannot fail;
// its heap is underneath all the same.
void* operator new[](size_t size) {
    if (scripted::scarce_arrays != nullptr && !scripted::scarce_arrays->Grants(size)) {
        throw std::bad_alloc();
    }
    // The sanitizer's heap ends the process over a size that no object can have.
    void* block = size > PTRDIFF_MAX ? nullptr : std::malloc(size == 0 ? 1 : size);
    if (block == nullptr) {
        throw std::bad_alloc();
    }
    return block;
}

void operator delete[](void* block) noexcept {
    if (scripted::scarce_arrays != nullptr && block != nullptr) {
        scripted::scarce_arrays->Release();
    }
    std::free(block);
}

void operator delete[](void* block, size_t /*size*/) noexcept {
    operator delete[](block);
}
