#ifndef ORVAL_MAKER_TOKEN_H
#define ORVAL_MAKER_TOKEN_H

#include <cstddef>
#include <cstdint>

#include "maker/rooms.h"

// The token access library libR7Token_ORVAL, as this library calls it. Every function returns 0 or
// an unsigned 32-bit code of that library; any of them may throw.

extern "C" {

constexpr uint32_t SLOT_DEVICEARRIVAL = 1;
constexpr uint32_t SLOT_DEVICEREMOVE = 2;

// The device record. Only the media identifier is read here; the rest belongs to the token library.
struct _S_DEV_CONFIG {  // NOLINT(bugprone-reserved-identifier): the token library's own name
    unsigned char uninterpreted1[248];
    char mediaId[maker::kMediaIdRoom];  // NUL-padded, not terminated when all are used
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

// The functions, without the prefix that all names have: X(name, arguments).
#define ORVAL_TOKEN_FUNCTIONS(X)                                                                  \
    X(ContextInit, (uint32_t * context))                                                          \
    X(ContextFinal, (void))                                                                       \
    X(WaitForEvent, (uint32_t kind, uint32_t flags, VEXA_EVENT_INFO * event, uint32_t * context)) \
    X(GetSlotList, (uint32_t present, uint32_t slots[maker::kSlotArrayRoom], uint32_t * count))   \
    X(GetDeviceInfo, (uint32_t slot, uint32_t flags, _S_DEV_CONFIG * config))

#define ORVAL_TOKEN_DECLARATION(name, arguments) \
    __attribute__((visibility("default"))) uint32_t VexaT_##name arguments;
ORVAL_TOKEN_FUNCTIONS(ORVAL_TOKEN_DECLARATION)
#undef ORVAL_TOKEN_DECLARATION

}  // extern "C"

static_assert(sizeof(_S_DEV_CONFIG) == 396 && offsetof(_S_DEV_CONFIG, mediaId) == 248,
              "fixed by the token library");
static_assert(sizeof(VEXA_EVENT_INFO) == 332 && offsetof(VEXA_EVENT_INFO, ei) == 12,
              "fixed by the token library");

namespace maker {

inline constexpr const char* kTokenNames[] = {
#define ORVAL_TOKEN_NAME(name, arguments) "VexaT_" #name,
    ORVAL_TOKEN_FUNCTIONS(ORVAL_TOKEN_NAME)
#undef ORVAL_TOKEN_NAME
};

}  // namespace maker

#endif
