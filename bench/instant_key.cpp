// Every entry of the back-end, returning 0 at once. Weak, so that an entry that must hand over
// something is simply written beside this file.
#include "maker/entries.h"

#pragma GCC diagnostic ignored "-Wunused-parameter"

#define ORVAL_INSTANT_ENTRY(slot, name, result, arguments)                         \
    extern "C" __attribute__((visibility("default"), weak)) result name arguments; \
    extern "C" result name arguments {                                             \
        return {};                                                                 \
    }

ORVAL_BACKEND_ENTRIES(ORVAL_INSTANT_ENTRY)
