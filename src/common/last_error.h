#ifndef ORVAL_COMMON_LAST_ERROR_H
#define ORVAL_COMMON_LAST_ERROR_H

#include "orval_unified_kpxukey.h"

// Stores the outcome of the call that is running and returns it.
inline int32_t Finish(int32_t code) {
    G_LastError = code;
    return code;
}

#endif
