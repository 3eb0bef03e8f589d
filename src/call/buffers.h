#ifndef ORVAL_CALL_BUFFERS_H
#define ORVAL_CALL_BUFFERS_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

#include "qrv/wipe.h"

// Zeroed buffers for what the back-end writes, each with one byte behind it that the back-end is
// not told of, so that a text filling the whole buffer still ends.
namespace orval {

template <size_t kSize>
struct TextBuffer {
    char text[kSize + 1] = {};
    int32_t Length() const { return static_cast<int32_t>(std::strlen(text)); }
};

inline std::unique_ptr<char[]> ZeroedOutput(int32_t size) {
    return std::make_unique<char[]>(static_cast<size_t>(size) + 1);
}

// The same for a secret: wiped before it is given back.
struct WipingDelete {
    size_t size;
    void operator()(char* buffer) const noexcept {
        QRV::Wipe(buffer, size);
        delete[] buffer;
    }
};
using SecretOutput = std::unique_ptr<char[], WipingDelete>;

inline SecretOutput ZeroedSecretOutput(int32_t size) {
    return SecretOutput(ZeroedOutput(size).release(), {static_cast<size_t>(size) + 1});
}

}  // namespace orval

#endif
