#ifndef ORVAL_COMMON_LAST_ERROR_H
#define ORVAL_COMMON_LAST_ERROR_H

#include "orval_unified_kpxukey.h"

// The one place that reads and writes G_LastError.
namespace orval {

// What the last call, or the one that is running, has left there: plain, and any thread's.
inline int32_t LastError() {
    return G_LastError;
}

inline void ClearLastError() {
    G_LastError = ORVAL_OK;
}

// Stores the outcome of the call that is running and returns it.
inline int32_t Finish(int32_t code) {
    G_LastError = code;
    return code;
}

}  // namespace orval

#endif
