#ifndef ORVAL_FORMATS_BOUNDED_COPY_H
#define ORVAL_FORMATS_BOUNDED_COPY_H

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace orval {

// Copies `count` bytes into `dst`, which holds `dst_size`. Returns 0; 1 when count is larger than
// dst_size, whatever the pointers; 2 for a null source; 3 for a null destination.
inline int32_t CopyBounded(void* dst, size_t dst_size, const void* src, size_t count) {
    if (count > dst_size) {
        return 1;
    }
    if (src == nullptr) {
        return 2;
    }
    if (dst == nullptr) {
        return 3;
    }
    std::memcpy(dst, src, count);
    return 0;
}

}  // namespace orval

#endif
