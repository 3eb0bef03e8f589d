#include "token/token_access.h"

#define EXPORTED __attribute__((visibility("default")))

EXPORTED uint32_t VexaT_ContextInit(uint32_t* /*context*/) {
    return 0;
}
EXPORTED uint32_t VexaT_ContextFinal(void) {
    return 0;
}
EXPORTED uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/,
                                     VEXA_EVENT_INFO* /*event*/, uint32_t* /*context*/) {
    return 1;  // nothing happens
}
EXPORTED uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* slots, uint32_t* count) {
    slots[0] = 7;
    *count = 1;
    return 0;
}
EXPORTED uint32_t VexaT_GetDeviceInfo(uint32_t /*slot*/, uint32_t /*flags*/,
                                      _S_DEV_CONFIG* config) {
    __builtin_memcpy(config->mediaId, "PLAIN00000000001", sizeof(config->mediaId));
    return 0;
}
