// What the product is linked against in place of the token library: its name and its functions,
// nothing behind them. It is never installed and never loaded; at run time the maker's library is
// found in the application directory.
#include "token/token_access.h"

#define STUB __attribute__((visibility("default")))

STUB uint32_t VexaT_ContextInit(uint32_t* /*context*/) {
    return 1;
}
STUB uint32_t VexaT_ContextFinal(void) {
    return 1;
}
STUB uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/, VEXA_EVENT_INFO* /*event*/,
                                 uint32_t* /*context*/) {
    return 1;
}
STUB uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* /*slots*/, uint32_t* /*count*/) {
    return 1;
}
STUB uint32_t VexaT_GetDeviceInfo(uint32_t /*slot*/, uint32_t /*flags*/,
                                  _S_DEV_CONFIG* /*config*/) {
    return 1;
}
