#include "doubles/silent.h"
#include "maker/token.h"

__attribute__((weak)) void silent::FunctionReached(const char* /*name*/) {}

// The list names the arguments for its readers.
#pragma GCC diagnostic ignored "-Wunused-parameter"

#define ORVAL_SILENT(name, arguments)                       \
    __attribute__((weak)) uint32_t VexaT_##name arguments { \
        silent::FunctionReached("VexaT_" #name);            \
        return 0;                                           \
    }
ORVAL_TOKEN_FUNCTIONS(ORVAL_SILENT)
#undef ORVAL_SILENT
