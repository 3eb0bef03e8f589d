#include <cstring>

#include "doubles/silent.h"
#include "maker/token.h"
#include "plain_key.h"

extern "C" {
__attribute__((visibility("default"))) PlainTokenCall plain_token_called;
}

void silent::FunctionReached(const char* name) {
    if (plain_token_called != nullptr) {
        plain_token_called(name);
    }
}

uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/, VEXA_EVENT_INFO* /*event*/,
                            uint32_t* /*context*/) {
    silent::FunctionReached("VexaT_WaitForEvent");
    return 1;  // nothing happens
}

uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* slots, uint32_t* count) {
    silent::FunctionReached("VexaT_GetSlotList");
    slots[0] = 7;
    *count = 1;
    return 0;
}

uint32_t VexaT_GetDeviceInfo(uint32_t /*slot*/, uint32_t /*flags*/, _S_DEV_CONFIG* config) {
    silent::FunctionReached("VexaT_GetDeviceInfo");
    std::memcpy(config->mediaId, "PLAIN00000000001", sizeof(config->mediaId));
    return 0;
}
