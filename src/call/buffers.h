#ifndef ORVAL_CALL_BUFFERS_H
#define ORVAL_CALL_BUFFERS_H

#include <cstdint>
#include <cstring>
#include <memory>

// The generous bound by which signing and decryption answer a length query, computed from the
// input text in 32 bits: (length + 4096) * 2.
inline int32_t OutputEstimate(const char* input) {
    constexpr uint32_t kAllowance = 4096;
    return static_cast<int32_t>((static_cast<uint32_t>(std::strlen(input)) + kAllowance) * 2);
}

// A zeroed buffer of the estimated size for the back-end, with one byte behind it that the back-end
// is not told of, so that an output filling the whole buffer still ends.
inline std::unique_ptr<char[]> ZeroedOutput(int32_t estimate) {
    return std::make_unique<char[]>(static_cast<size_t>(estimate) + 1);
}

#endif
