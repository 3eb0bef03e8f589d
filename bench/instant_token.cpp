// A token library without any key: no slots, and no event ever.
#include "maker/token.h"

namespace {

constexpr uint32_t kNoEvent = 1;

}  // namespace

uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/, VEXA_EVENT_INFO* /*event*/,
                            uint32_t* /*context*/) {
    return kNoEvent;
}

uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* /*slots*/, uint32_t* count) {
    *count = 0;
    return 0;
}
