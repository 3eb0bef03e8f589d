// libR7Token_ORVAL.so of the scripted key.
#include "scripted_forward.h"

#define ORVAL_DOUBLE(name, arguments)                                                      \
    ORVAL_FORWARD(&scripted::Token, &scripted::TokenLibrary::name, VexaT_##name, uint32_t, \
                  arguments)
ORVAL_TOKEN_FUNCTIONS(ORVAL_DOUBLE)
