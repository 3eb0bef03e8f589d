#include "qrv/buffer_manager.h"

#include "qrv/process_objects.h"

namespace QRV {
namespace {

// Two, so that no number of balanced releases ever gives the nil buffer back: it lives inside its
// manager.
constexpr int64_t kNilReferences = 2;

// Characters in a block for `length` and a terminator: a multiple of eight. Unsigned, so that no
// length overflows.
uint32_t CharacterCount(int32_t length) {
    return (static_cast<uint32_t>(length) + 8U) & ~7U;
}

size_t BlockSize(uint32_t characters, int32_t character_size) {
    return sizeof(CBufferData) + static_cast<size_t>(character_size) * characters;
}

int32_t CapacityOf(uint32_t characters) {
    return static_cast<int32_t>(characters - 1U);
}

// The process heap is called by its own type, which spares a virtual call.
template <typename Operation>
auto CallMemory(IQrvMemMgr* memory, Operation operation) {
    return memory == &g_heapmgr ? operation(g_heapmgr) : operation(*memory);
}

}  // namespace

IQrvBufferMgr::~IQrvBufferMgr() = default;

CQrvBufferMgr::CQrvBufferMgr(IQrvMemMgr* memory) noexcept
    : memory_(memory), nil_{{this, 0, 0, kNilReferences}, {}} {
    static_assert(sizeof(CQrvBufferMgr) == 2 * sizeof(void*) + sizeof(CBufferData) + 8,
                  "the nil buffer's characters must follow its header directly");
}

CQrvBufferMgr::~CQrvBufferMgr() = default;

CBufferData* CQrvBufferMgr::Allocate(int32_t nLength, int32_t nCharSize) {
    // A negative length gets a block without characters: whoever asked finds the length above the
    // capacity and refuses it as such, instead of running out of memory on gigabytes.
    const uint32_t characters = nLength < 0 ? 0 : CharacterCount(nLength);
    const size_t size = BlockSize(characters, nCharSize);
    auto* data = static_cast<CBufferData*>(
        CallMemory(memory_, [size](auto& memory) { return memory.Allocate(size); }));
    if (data == nullptr) {
        return nullptr;
    }
    *data = CBufferData{this, 0, CapacityOf(characters), 1};
    return data;
}

void CQrvBufferMgr::Free(CBufferData* data) {
    CallMemory(memory_, [data](auto& memory) { memory.Free(data); });
}

CBufferData* CQrvBufferMgr::Reallocate(CBufferData* data, int32_t nLength, int32_t nCharSize) {
    const uint32_t characters = CharacterCount(nLength);
    const size_t size = BlockSize(characters, nCharSize);
    auto* resized = static_cast<CBufferData*>(
        CallMemory(memory_, [data, size](auto& memory) { return memory.Reallocate(data, size); }));
    if (resized == nullptr) {
        return nullptr;
    }
    resized->capacity = CapacityOf(characters);
    return resized;
}

}  // namespace QRV
