// The back-end library's stand-in in a client's process.
#include "stand_in.h"

#define RECORDER_ENTRY(slot, name, result, arguments) \
    RECORDER_STAND_IN(slot, name, result, arguments)
ORVAL_BACKEND_ENTRIES(RECORDER_ENTRY)
