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

// Buffers rounded up to eight characters, from a memory manager. Inline where a string is made and
// gone: that is most of what happens to one.
class ORVAL_QRV_EXPORT CQrvBufferMgr final : public IQrvBufferMgr {
 public:
    explicit CQrvBufferMgr(IQrvMemMgr* memory) noexcept;
    ~CQrvBufferMgr() override;

    ORVAL_QRV_EXPORT CBufferData* Allocate(int32_t nLength, int32_t nCharSize) override {
        // A negative length gets a block without characters: whoever asked finds the length above
        // the capacity and refuses it as such, instead of running out of memory on gigabytes.
        const uint32_t characters = nLength < 0 ? 0 : CharacterCount(nLength);
        const size_t size = BlockSize(characters, nCharSize);
        auto* data = static_cast<CBufferData*>(
            CallMemory(memory_, [size](auto& memory) { return memory.Allocate(size); }));
        if (data != nullptr) {
            *data = CBufferData{this, 0, CapacityOf(characters), 1};
        }
        return data;
    }
    ORVAL_QRV_EXPORT void Free(CBufferData* data) override {
        if (!IsNil(data)) {
            CallMemory(memory_, [data](auto& memory) { memory.Free(data); });
        }
    }
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

    // It lies in here, not on the heap, whatever its count says: threads that use strings at once
    // lose counts, and so does a new manager in the place of one that has ended.
    bool IsNil(const CBufferData* data) const { return data == &nil_.header; }

    // Characters in a block for `length` and a terminator: a multiple of eight. Unsigned, so that
    // no length overflows.
    static uint32_t CharacterCount(int32_t length) {
        return (static_cast<uint32_t>(length) + 8U) & ~7U;
    }
    static size_t BlockSize(uint32_t characters, int32_t character_size) {
        return sizeof(CBufferData) + static_cast<size_t>(character_size) * characters;
    }
    static int32_t CapacityOf(uint32_t characters) { return static_cast<int32_t>(characters - 1U); }

    IQrvMemMgr* memory_;
    NilBuffer nil_;
};

ORVAL_QRV_OBJECT extern CQrvBufferMgr g_bufmgr;

// How the strings call a manager, and the only way. The default one is called by its own type,
// which spares a virtual call. An exception that escapes from another one ends the process here,
// before it meets a string that is half changed.
template <typename Operation>
auto CallManager(IQrvBufferMgr* manager, Operation operation) noexcept {
    return manager == &g_bufmgr ? operation(g_bufmgr) : operation(*manager);
}

}  // namespace QRV

#endif
