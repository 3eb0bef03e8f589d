#include "call/init_flag.h"

#include "common/commonfunction.h"
#include "common/last_error.h"

ORVAL_API uint8_t g_initFlag = 0;

namespace orval {

int32_t InitializeLibrary() {
    ClearLastError();
    const int32_t code = Finish(ORVAL_ComFunc.init());
    // After a failure the flag stays as it was: a client that was bound before goes on with what is
    // bound.
    if (code == ORVAL_OK) {
        SetInitialized(true);
    }
    return code;
}

}  // namespace orval
