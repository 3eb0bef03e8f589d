#include "qrv/buffer_manager.h"

namespace QRV {
namespace {

// Two, so that no number of balanced releases ever gives the nil buffer back: it lives inside its
// manager.
constexpr int64_t kNilReferences = 2;

}  // namespace

IQrvBufferMgr::~IQrvBufferMgr() = default;

CQrvBufferMgr::CQrvBufferMgr(IQrvMemMgr* memory) noexcept
    : memory_(memory), nil_{{this, 0, 0, kNilReferences}, {}} {
    static_assert(sizeof(CQrvBufferMgr) == 2 * sizeof(void*) + sizeof(CBufferData) + 8,
                  "the nil buffer's characters must follow its header directly");
}

CQrvBufferMgr::~CQrvBufferMgr() = default;

CBufferData* CQrvBufferMgr::Reallocate(CBufferData* data, int32_t nLength, int32_t nCharSize) {
    if (IsNil(data)) {
        return Allocate(nLength, nCharSize);
    }
    const uint32_t characters = CharacterCount(nLength);
    const size_t size = BlockSize(characters, nCharSize);
    auto* resized = static_cast<CBufferData*>(
        CallMemory(memory_, [data, size](auto& memory) { return memory.Reallocate(data, size); }));
    if (resized != nullptr) {
        resized->capacity = CapacityOf(characters);
    }
    return resized;
}

}  // namespace QRV
