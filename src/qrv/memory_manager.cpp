#include "qrv/memory_manager.h"

namespace QRV {

IQrvMemMgr::~IQrvMemMgr() = default;

CCRTHeap::~CCRTHeap() = default;

void* CCRTHeap::Allocate(size_t size) noexcept {
    last_size_ = size;
    return std::malloc(size);
}

void CCRTHeap::Free(void* block) noexcept {
    last_size_ = 0;
    std::free(block);
}

void* CCRTHeap::Reallocate(void* block, size_t size) noexcept {
    last_size_ = size;
    return std::realloc(block, size);
}

size_t CCRTHeap::GetSize(void* /*block*/) noexcept {
    return last_size_;
}

}  // namespace QRV
