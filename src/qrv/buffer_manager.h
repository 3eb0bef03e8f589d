#ifndef ORVAL_QRV_BUFFER_MANAGER_H
#define ORVAL_QRV_BUFFER_MANAGER_H

#include <cstddef>
#include <cstdint>

#include "qrv/export.h"
#include "qrv/memory_manager.h"

namespace QRV {

class IQrvBufferMgr;

// The record in front of every buffer's characters.
struct CBufferData {
    IQrvBufferMgr* manager;  // who allocated the block and must free it
    int32_t length;          // characters in use, without the terminator
    int32_t capacity;        // characters that fit, without the terminator
    int64_t references;      // strings sharing the block; negative: never shared, copied instead

    void* Characters() noexcept { return this + 1; }
    bool MayBeShared() const noexcept { return references >= 0; }
};

static_assert(sizeof(CBufferData) == 24 && offsetof(CBufferData, length) == 8 &&
                  offsetof(CBufferData, capacity) == 12 && offsetof(CBufferData, references) == 16,
              "the back-end library reads buffers of this layout");

// Where buffers come from. The operations do not throw, but are not declared so: a client's own
// manager may come from a class that does not say it. See CallManager.
class ORVAL_QRV_EXPORT IQrvBufferMgr {
 public:
    IQrvBufferMgr() = default;
    IQrvBufferMgr(const IQrvBufferMgr&) = delete;
    IQrvBufferMgr& operator=(const IQrvBufferMgr&) = delete;
    virtual ~IQrvBufferMgr();

    // A block for at least nLength characters of nCharSize bytes and a terminator, or null.
    virtual CBufferData* Allocate(int32_t nLength, int32_t nCharSize) = 0;
    virtual void Free(CBufferData* data) = 0;
    // The block resized; null leaves the old block valid.
    virtual CBufferData* Reallocate(CBufferData* data, int32_t nLength, int32_t nCharSize) = 0;
    // The shared empty buffer, with one reference more.
    virtual CBufferData* GetNilBuffer() = 0;
    // The manager for a string made from one of this manager's strings.
    virtual IQrvBufferMgr* Clone() = 0;
};

// Buffers rounded up to eight characters, from a memory manager.
class ORVAL_QRV_EXPORT CQrvBufferMgr final : public IQrvBufferMgr {
 public:
    explicit CQrvBufferMgr(IQrvMemMgr* memory) noexcept;
    ~CQrvBufferMgr() override;

    CBufferData* Allocate(int32_t nLength, int32_t nCharSize) override;
    void Free(CBufferData* data) override;
    CBufferData* Reallocate(CBufferData* data, int32_t nLength, int32_t nCharSize) override;
    ORVAL_QRV_EXPORT CBufferData* GetNilBuffer() noexcept override {
        ++nil_.header.references;
        return &nil_.header;
    }
    ORVAL_QRV_EXPORT IQrvBufferMgr* Clone() noexcept override { return this; }

 private:
    struct NilBuffer {
        CBufferData header;
        char characters[8];  // reached through the header
    };

    IQrvMemMgr* memory_;
    NilBuffer nil_;
};

}  // namespace QRV

#endif
