#ifndef ORVAL_CALL_INIT_FLAG_H
#define ORVAL_CALL_INIT_FLAG_H

#include <cstdint>

#include "orval_unified_kpxukey.h"

// g_initFlag is a plain byte, as the C header declares it; every access of ours is atomic.
namespace orval {

// Whether the back-end is bound. Every exported call asks.
inline bool IsInitialized() {
    return __atomic_load_n(&g_initFlag, __ATOMIC_ACQUIRE) != 0;
}

inline void SetInitialized(bool value) {
    __atomic_store_n(&g_initFlag, static_cast<uint8_t>(value), __ATOMIC_RELEASE);
}

// What the exported Initialize does.
int32_t InitializeLibrary();

}  // namespace orval

#endif
