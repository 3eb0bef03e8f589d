#include "maker/token.h"
#include "plain_key.h"

#define EXPORTED __attribute__((visibility("default")))

extern "C" {
EXPORTED PlainTokenCall plain_token_called;
}

namespace {

void Tell(const char* function) {
    if (plain_token_called != nullptr) {
        plain_token_called(function);
    }
}

}  // namespace

EXPORTED uint32_t VexaT_ContextInit(uint32_t* /*context*/) {
    Tell("VexaT_ContextInit");
    return 0;
}
EXPORTED uint32_t VexaT_ContextFinal(void) {
    Tell("VexaT_ContextFinal");
    return 0;
}
EXPORTED uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/,
                                     VEXA_EVENT_INFO* /*event*/, uint32_t* /*context*/) {
    Tell("VexaT_WaitForEvent");
    return 1;  // nothing happens
}
EXPORTED uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* slots, uint32_t* count) {
    Tell("VexaT_GetSlotList");
    slots[0] = 7;
    *count = 1;
    return 0;
}
EXPORTED uint32_t VexaT_GetDeviceInfo(uint32_t /*slot*/, uint32_t /*flags*/,
                                      _S_DEV_CONFIG* config) {
    Tell("VexaT_GetDeviceInfo");
    __builtin_memcpy(config->mediaId, "PLAIN00000000001", sizeof(config->mediaId));
    return 0;
}
