// A token library without any key: no slots, and no event ever.
#include "instant_token.h"

#include <chrono>
#include <thread>

#include "maker/token.h"

#define ORVAL_ENTRY __attribute__((visibility("default")))

namespace {

constexpr uint32_t kNoEvent = 1;

}  // namespace

extern "C" ORVAL_ENTRY TokenControl InstantTokenControl;
TokenControl InstantTokenControl;

ORVAL_ENTRY uint32_t VexaT_ContextInit(uint32_t* context) {
    *context = 1;
    return 0;
}

ORVAL_ENTRY uint32_t VexaT_ContextFinal() {
    return 0;
}

ORVAL_ENTRY uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/,
                                        VEXA_EVENT_INFO* /*event*/, uint32_t* /*context*/) {
    ++InstantTokenControl.attempts;
    const uint32_t duration = InstantTokenControl.attempt_duration_us;
    if (duration != 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(duration));
    }
    return kNoEvent;
}

ORVAL_ENTRY uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* /*slots*/, uint32_t* count) {
    *count = 0;
    return 0;
}

ORVAL_ENTRY uint32_t VexaT_GetDeviceInfo(uint32_t /*slot*/, uint32_t /*flags*/,
                                         _S_DEV_CONFIG* /*config*/) {
    return 1;
}
