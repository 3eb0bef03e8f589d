#ifndef ORVAL_TOKEN_TOKEN_ACCESS_H
#define ORVAL_TOKEN_TOKEN_ACCESS_H

#include <cstddef>
#include <cstdint>

// The token access library libR7Token_ORVAL, as this library calls it. Every function returns 0 or
// an unsigned 32-bit code of that library; any of them may throw.

extern "C" {

constexpr uint32_t SLOT_DEVICEARRIVAL = 1;
constexpr uint32_t SLOT_DEVICEREMOVE = 2;

// The device record. Only the media identifier is read here; the rest belongs to the token library.
struct _S_DEV_CONFIG {  // NOLINT(bugprone-reserved-identifier): the token library's own name
    unsigned char uninterpreted1[248];
    char mediaId[16];  // NUL-padded, not terminated when all 16 are used
    unsigned char uninterpreted2[132];
};

// The event record.
struct VEXA_EVENT_INFO {
    uint32_t u32EventKind;  // SLOT_DEVICEARRIVAL, SLOT_DEVICEREMOVE or a kind not acted on
    uint32_t uninterpreted1[2];
    union {
        struct {
            uint32_t u32SlotID;
        } slotEvent;
        unsigned char uninterpreted2[320];
    } ei;
};

uint32_t VexaT_ContextInit(uint32_t* context);
uint32_t VexaT_ContextFinal(void);
uint32_t VexaT_WaitForEvent(uint32_t kind, uint32_t flags, VEXA_EVENT_INFO* event,
                            uint32_t* context);
uint32_t VexaT_GetSlotList(uint32_t present, uint32_t* slots, uint32_t* count);
uint32_t VexaT_GetDeviceInfo(uint32_t slot, uint32_t flags, _S_DEV_CONFIG* config);

}  // extern "C"

static_assert(sizeof(_S_DEV_CONFIG) == 396 && offsetof(_S_DEV_CONFIG, mediaId) == 248,
              "fixed by the token library");
static_assert(sizeof(VEXA_EVENT_INFO) == 332 && offsetof(VEXA_EVENT_INFO, ei) == 12,
              "fixed by the token library");

#endif
