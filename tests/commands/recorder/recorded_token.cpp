// An arrival after a few looks, then nothing any more.
#include <atomic>
#include <cstring>

#include "doubles/silent.h"
#include "maker/token.h"
#include "recorded_key.h"

uint32_t VexaT_WaitForEvent(uint32_t /*kind*/, uint32_t /*flags*/, VEXA_EVENT_INFO* event,
                            uint32_t* /*context*/) {
    static std::atomic<int> looks{0};
    if (++looks != 4) {
        return recorded::kNoEvent;
    }
    event->u32EventKind = SLOT_DEVICEARRIVAL;
    event->ei.slotEvent.u32SlotID = recorded::kSlot;
    return 0;
}

uint32_t VexaT_GetSlotList(uint32_t /*present*/, uint32_t* slots, uint32_t* count) {
    slots[0] = recorded::kSlot;
    *count = 1;
    return 0;
}

uint32_t VexaT_GetDeviceInfo(uint32_t /*slot*/, uint32_t /*flags*/, _S_DEV_CONFIG* config) {
    std::memcpy(config->mediaId, recorded::kSerialNumber, sizeof(config->mediaId));
    return 0;
}
