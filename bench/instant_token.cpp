// A token library without any key: no slots, and no event ever.
#include "instant_token.h"

#include <chrono>
#include <thread>

#include "maker/token.h"

namespace {

constexpr uint32_t kNoEvent = 1;

}  // namespace

extern "C" __attribute__((visibility("default"))) TokenControl InstantTokenControl;
TokenControl InstantTokenControl;

uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/, VEXA_EVENT_INFO* /*event*/,
                            uint32_t* /*context*/) {
    ++InstantTokenControl.attempts;
    const uint32_t duration = InstantTokenControl.attempt_duration_us;
    if (duration != 0) {
        std::this_thread::sleep_for(std::chrono::microseconds(duration));
    }
    return kNoEvent;
}

uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* /*slots*/, uint32_t* count) {
    *count = 0;
    return 0;
}
