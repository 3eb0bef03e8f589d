// libR7Token_ORVAL.so of the scripted key.
#include "scripted_key.h"

using scripted::Token;

#define ORVAL_TOKEN_FUNCTION __attribute__((visibility("default")))

extern "C" {

ORVAL_TOKEN_FUNCTION uint32_t VexaT_ContextInit(uint32_t* context) {
    return Token().ContextInit.Call(context);
}

ORVAL_TOKEN_FUNCTION uint32_t VexaT_ContextFinal(void) {
    return Token().ContextFinal.Call();
}

ORVAL_TOKEN_FUNCTION uint32_t VexaT_WaitForEvent(uint32_t kind, uint32_t flags,
                                                 VEXA_EVENT_INFO* event, uint32_t* context) {
    return Token().WaitForEvent.Call(kind, flags, event, context);
}

ORVAL_TOKEN_FUNCTION uint32_t VexaT_GetSlotList(uint32_t present, uint32_t* slots,
                                                uint32_t* count) {
    return Token().GetSlotList.Call(present, slots, count);
}

ORVAL_TOKEN_FUNCTION uint32_t VexaT_GetDeviceInfo(uint32_t slot, uint32_t flags,
                                                  _S_DEV_CONFIG* config) {
    return Token().GetDeviceInfo.Call(slot, flags, config);
}

}  // extern "C"
