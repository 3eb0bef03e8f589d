#include "common/last_error.h"

ORVAL_API int32_t G_LastError = 0;
