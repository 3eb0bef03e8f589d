#ifndef ORVAL_QRV_MEMORY_MANAGER_H
#define ORVAL_QRV_MEMORY_MANAGER_H

#include <cstddef>
#include <cstdlib>

#include "qrv/export.h"

namespace QRV {

// Where raw memory comes from. As with IQrvBufferMgr, the operations do not throw.
class ORVAL_QRV_EXPORT IQrvMemMgr {
 public:
    IQrvMemMgr() = default;
    IQrvMemMgr(const IQrvMemMgr&) = delete;
    IQrvMemMgr& operator=(const IQrvMemMgr&) = delete;
    virtual ~IQrvMemMgr();

    virtual void* Allocate(size_t size) = 0;
    virtual void Free(void* block) = 0;
    virtual void* Reallocate(void* block, size_t size) = 0;
    virtual size_t GetSize(void* block) = 0;
};

// The process heap. Not synchronised: last_size_ is a plain field.
class ORVAL_QRV_EXPORT CCRTHeap final : public IQrvMemMgr {
 public:
    ~CCRTHeap() override;

    ORVAL_QRV_EXPORT void* Allocate(size_t size) noexcept override {
        last_size_ = size;
        return std::malloc(size);
    }
    ORVAL_QRV_EXPORT void Free(void* block) noexcept override {
        last_size_ = 0;
        // NOLINTNEXTLINE(clang-analyzer-unix.Malloc): the nil buffer is never freed
        std::free(block);
    }
    ORVAL_QRV_EXPORT void* Reallocate(void* block, size_t size) noexcept override {
        last_size_ = size;
        return std::realloc(block, size);
    }
    // The size of the most recent request, whatever `block` is: callers compare it with the
    // request they have just made.
    ORVAL_QRV_EXPORT size_t GetSize(void* /*block*/) noexcept override { return last_size_; }

 private:
    size_t last_size_ = 0;
};

ORVAL_QRV_OBJECT extern CCRTHeap g_heapmgr;

// How a buffer manager calls a memory manager: the process heap by its own type, which spares a
// virtual call.
template <typename Operation>
auto CallMemory(IQrvMemMgr* memory, Operation operation) {
    return memory == &g_heapmgr ? operation(g_heapmgr) : operation(*memory);
}

}  // namespace QRV

#endif
