#include "call/init_flag.h"
#include "common/last_error.h"
#include "orval_unified_kpxukey.h"

int32_t Initialize() {
    return orval::InitializeLibrary();
}

void Finalize() {
    // The back-end stays loaded; the next call binds again.
    orval::SetInitialized(false);
    orval::ClearLastError();
}
