#include "qrv/buffer_manager.h"

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
    auto* data = static_cast<CBufferData*>(memory_->Allocate(BlockSize(characters, nCharSize)));
    if (data == nullptr) {
        return nullptr;
    }
    *data = CBufferData{this, 0, CapacityOf(characters), 1};
    return data;
}

void CQrvBufferMgr::Free(CBufferData* data) {
    memory_->Free(data);
}

CBufferData* CQrvBufferMgr::Reallocate(CBufferData* data, int32_t nLength, int32_t nCharSize) {
    const uint32_t characters = CharacterCount(nLength);
    auto* resized =
        static_cast<CBufferData*>(memory_->Reallocate(data, BlockSize(characters, nCharSize)));
    if (resized == nullptr) {
        return nullptr;
    }
    resized->capacity = CapacityOf(characters);
    return resized;
}

CBufferData* CQrvBufferMgr::GetNilBuffer() noexcept {
    ++nil_.header.references;
    return &nil_.header;
}

IQrvBufferMgr* CQrvBufferMgr::Clone() noexcept {
    return this;
}

}  // namespace QRV
