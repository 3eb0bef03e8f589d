// The token library's stand-in in a client's process.
#include "stand_in.h"

#define RECORDER_TOKEN(name, arguments) \
    RECORDER_STAND_IN(calls::IndexOf("VexaT_" #name), VexaT_##name, uint32_t, arguments)
ORVAL_TOKEN_FUNCTIONS(RECORDER_TOKEN)
