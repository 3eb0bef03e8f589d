// The token library's five functions. Each only translates.
#include <algorithm>
#include <chrono>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include "entry/answer.h"
#include "entry/delivery.h"
#include "maker/token.h"
#include "slots/event_stream.h"
#include "trace/exported.h"

namespace softkey::token {
namespace {

constexpr uint32_t kContext = 1;
constexpr uint32_t kSlotEvents = 1;
constexpr uint32_t kPresentSlots = 1;
constexpr uint32_t kInfoOfListed = 0;
constexpr uint32_t kInfoOfArrived = 0x000E0000;

// Nobody can tell this library that a wait is over, so no call waits for an event: a client that
// pauses between two calls and then looks whether to go on is not kept, and what happens in its
// pause would be delivered after it in any case. A call without an event takes its time only so
// that a client that makes no pause leaves the processor to others.
constexpr std::chrono::milliseconds kBreath{1};

template <typename... Arguments>
uint32_t AnswerUnsigned(const char* entry, const Arguments&... arguments) {
    return static_cast<uint32_t>(softkey::Answer(entry, arguments...));
}

// For orders: no key, no name.
std::string KeyIn(uint32_t slot) {
    return EventStream::OfThisProcess().SerialIn(slot).value_or(std::string());
}

}  // namespace

uint32_t VexaT_ContextInit(uint32_t* context) {
    return AnswerUnsigned("VexaT_ContextInit", [&] {
        Require(context != nullptr, Code::kInvalidParameter);
        EventStream::OfThisProcess().OpenContext();
        *context = kContext;
    });
}

uint32_t VexaT_ContextFinal(void) {
    return AnswerUnsigned("VexaT_ContextFinal",
                          [] { EventStream::OfThisProcess().CloseContext(); });
}

uint32_t VexaT_WaitForEvent(uint32_t kind, uint32_t flags, VEXA_EVENT_INFO* event,
                            uint32_t* context) {
    std::optional<SlotEvent> next;
    const uint32_t failure = AnswerUnsigned("VexaT_WaitForEvent", [&] {
        Require(event != nullptr && context != nullptr, Code::kInvalidParameter);
        Require(kind == kSlotEvents && flags == 0, Code::kSelector);
        Require(*context == kContext, Code::kNoContext);
        next = EventStream::OfThisProcess().Next();
    });
    if (failure != 0) {
        return failure;
    }
    if (!next) {
        std::this_thread::sleep_for(kBreath);
        return static_cast<uint32_t>(Code::kNoEvent);
    }
    std::memset(event, 0, sizeof *event);
    event->u32EventKind = static_cast<uint32_t>(next->kind);
    event->ei.slotEvent.u32SlotID = next->slot;
    return 0;
}

uint32_t VexaT_GetSlotList(uint32_t present, uint32_t* slots, uint32_t* count) {
    return AnswerUnsigned("VexaT_GetSlotList", [&] {
        Require(count != nullptr, Code::kInvalidParameter);
        Require(present == kPresentSlots, Code::kSelector);
        const EventStream::View view = EventStream::OfThisProcess().List();
        const auto total = static_cast<uint32_t>(view.size());
        const uint32_t listed = slots == nullptr ? 0 : std::min(*count, total);
        auto key = view.begin();
        for (uint32_t i = 0; i < listed; ++i, ++key) {
            slots[i] = key->first;
        }
        *count = static_cast<uint32_t>(softkey::ToldLength(slots == nullptr ? total : listed));
    });
}

uint32_t VexaT_GetDeviceInfo(uint32_t slot, uint32_t flags, _S_DEV_CONFIG* config) {
    const softkey::KeyOfCall key = [slot] { return KeyIn(slot); };
    return AnswerUnsigned("VexaT_GetDeviceInfo", key, [&] {
        Require(config != nullptr, Code::kInvalidParameter);
        Require(flags == kInfoOfListed || flags == kInfoOfArrived, Code::kSelector);
        const std::optional<std::string> serial = EventStream::OfThisProcess().SerialIn(slot);
        Require(serial.has_value(), Code::kDeviceRemoved);
        std::memset(config, 0, sizeof *config);
        const std::string told = softkey::ToldText(*serial);
        std::memcpy(config->mediaId, told.data(), std::min(told.size(), sizeof config->mediaId));
    });
}

}  // namespace softkey::token

#define SOFTKEY_TOKEN(name, arguments)                                                \
    SOFTKEY_EXPORT(calls::IndexOf("VexaT_" #name), VexaT_##name, uint32_t, arguments, \
                   softkey::token::VexaT_##name)
ORVAL_TOKEN_FUNCTIONS(SOFTKEY_TOKEN)
