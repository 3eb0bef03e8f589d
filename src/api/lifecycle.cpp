#include "call/frame.h"
#include "call/init_flag.h"

// A plain byte, as the C header declares it; every access here is atomic.
ORVAL_API uint8_t g_initFlag = 0;

namespace {

void SetInitialized(uint8_t value) {
    __atomic_store_n(&g_initFlag, value, __ATOMIC_RELEASE);
}

}  // namespace

bool IsInitialized() {
    return __atomic_load_n(&g_initFlag, __ATOMIC_ACQUIRE) != 0;
}

int32_t InitializeLibrary() {
    G_LastError = ORVAL_OK;
    const int32_t code = Finish(ORVAL_ComFunc.init());
    if (code != ORVAL_OK) {
        // The flag stays as it was: a client that was bound before goes on with what is bound.
        return code;
    }
    SetInitialized(1);
    return G_LastError;
}

int32_t Initialize() {
    return InitializeLibrary();
}

void Finalize() {
    // The back-end stays loaded; the next call binds again.
    SetInitialized(0);
    G_LastError = ORVAL_OK;
}
