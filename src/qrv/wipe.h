#ifndef ORVAL_QRV_WIPE_H
#define ORVAL_QRV_WIPE_H

#include <cstddef>
#include <cstring>

#include "qrv/string.h"

namespace QRV {

// Overwrites what held a secret. The compiler may not leave it out, although it sees that nobody
// reads the memory any more: for all it knows, the empty instruction does.
inline void Wipe(void* memory, size_t size) noexcept {
    std::memset(memory, 0, size);
    asm volatile("" : : "r"(memory) : "memory");
}

// Wipes the block of a string that holds a secret before the string gives it back, with what an
// earlier, longer text has left behind the present one. The string stands still in memory while
// this lives: it may shrink, but what it grew out of would not be wiped. A block that others still
// share is left to them.
class WipesAtEnd final {
 public:
    explicit WipesAtEnd(CString& text) noexcept : text_(text) {}
    ~WipesAtEnd() {
        CBufferData* const data = text_.Data();
        if (data->references <= 1) {
            Wipe(data->Characters(), static_cast<size_t>(data->capacity) + 1);
        }
    }
    WipesAtEnd(const WipesAtEnd&) = delete;
    WipesAtEnd& operator=(const WipesAtEnd&) = delete;

 private:
    CString& text_;
};

}  // namespace QRV

#endif
