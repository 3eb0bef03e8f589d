#include <cxxabi.h>
#include <time.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>

#include "call/frame.h"
#include "call/lengths.h"
#include "common/loaded_objects.h"
#include "common/process_objects.h"
#include "log/vexa_log.h"
#include "maker/token.h"
#include "orval_unified_kpxukey.h"

namespace {

constexpr const char* kWaitTag = "SKF_WaitForDevEvent";
constexpr const char* kArrivalTag = "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ";
constexpr const char* kRemovalTag = "VEXA_EVENT_INFO::SLOT_DEVICEREMOVE ";
constexpr const char* kEndFormat = "end, G_LastError = %d, line = %d";
constexpr const char* kStepFormat = " G_LastError = %d, line = %d";

// The places of the wait as the log names them. Support engineers know them by these numbers, so
// they stay whatever happens to this file.
enum LogLine {
    kSizeQueryLine = 560,
    kContextFailedLine = 571,
    kWaitThrewLine = 582,
    kArrivalLine = 596,
    kArrivalSlotLine = 600,
    kArrivalInfoLine = 603,
    kRemovalLine = 606,
    kRemovalFoundLine = 609,
    kEndLine = 616,
};

constexpr uint32_t kSlotsAskedFor = 10;
constexpr uint32_t kArrivalInfoFlags = 0x000E0000;
constexpr long kPauseNanoseconds = 20000000;

// True while a wait runs; the one thing that the waiting and the stopping thread share.
std::atomic<bool> isRun{false};

int32_t FinishToken(uint32_t code) {
    return orval::Finish(static_cast<int32_t>(code));
}

// The records of the wait show the last error as it stands: another thread may have changed it.
void LogStep(const char* tag, const char* format, LogLine line) {
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): one of the formats above
    orval::LogEntry(tag, format, orval::LastError(), static_cast<int>(line));
}

int32_t EndWait(LogLine line) {
    LogStep(kWaitTag, kEndFormat, line);
    return orval::LastError();
}

// An interrupted pause is resumed for the time left. Any other failure ends the pause early, and
// the next attempt follows at once.
void PauseAfterAttempt() {
    timespec pause = {0, kPauseNanoseconds};
    while (nanosleep(&pause, &pause) != 0 && errno == EINTR) {
    }
}

bool EventDelivered(VEXA_EVENT_INFO& event, uint32_t& context) {
    try {
        return VexaT_WaitForEvent(1, 0, &event, &context) == 0;
    } catch (const abi::__forced_unwind&) {
        // The client cancels the thread: that is no failure of the wait and may not be swallowed.
        throw;
    } catch (...) {
        LogStep(kWaitTag, " end in catch ,G_LastError = %d, line = %d", kWaitThrewLine);
        return false;
    }
}

void AwaitEventOrStop(VEXA_EVENT_INFO& event, uint32_t& context) {
    while (isRun && !EventDelivered(event, context)) {
        PauseAfterAttempt();
    }
}

// Replaces strMediaId with the serial number in a device record: at most 16 characters, ending at
// the first NUL within them.
void X_getMediaId(std::string& strMediaId, const _S_DEV_CONFIG* pDevConfig) {
    strMediaId.assign(pDevConfig->mediaId,
                      strnlen(pDevConfig->mediaId, sizeof(pDevConfig->mediaId)));
}

std::string TakeArrival(const VEXA_EVENT_INFO& event, uint32_t* pulEvent) {
    LogStep(kArrivalTag, kStepFormat, kArrivalLine);
    *pulEvent = ORVAL_KEY_INSERTED;
    const uint32_t slot = event.ei.slotEvent.u32SlotID;
    orval::LogEntry(kArrivalTag, " event.ei.slotEvent.u32SlotID = %d, line = %d",
                    static_cast<int32_t>(slot), static_cast<int>(kArrivalSlotLine));
    _S_DEV_CONFIG config = {};
    FinishToken(VexaT_GetDeviceInfo(slot, kArrivalInfoFlags, &config));
    LogStep(kArrivalTag, kStepFormat, kArrivalInfoLine);
    // After a failure the record is still zeroed and gives an empty serial number.
    std::string serial_number;
    X_getMediaId(serial_number, &config);
    return serial_number;
}

std::string TakeRemoval(const VEXA_EVENT_INFO& event, uint32_t* pulEvent) {
    // The one text of these that starts without a blank.
    LogStep(kRemovalTag, "G_LastError = %d, line = %d", kRemovalLine);
    *pulEvent = ORVAL_KEY_REMOVED;
    std::string serial_number = g_WaitEventSlotMap[event.ei.slotEvent.u32SlotID];
    LogStep(kRemovalTag, kStepFormat, kRemovalFoundLine);
    orval::ClearLastError();
    return serial_number;
}

std::string TakeEvent(const VEXA_EVENT_INFO& event, uint32_t* pulEvent) {
    switch (event.u32EventKind) {
        case SLOT_DEVICEARRIVAL:
            return TakeArrival(event, pulEvent);
        case SLOT_DEVICEREMOVE:
            return TakeRemoval(event, pulEvent);
        default:
            return {};
    }
}

// Rebuilds the slot map from the keys present now. What cannot be read is left out silently.
void X_getCurrentSlots() {
    g_WaitEventSlotMap.clear();
    std::array<uint32_t, maker::kSlotArrayRoom> slots = {};
    uint32_t count = kSlotsAskedFor;
    if (VexaT_GetSlotList(1, slots.data(), &count) != 0) {
        return;
    }
    _S_DEV_CONFIG config = {};
    for (uint32_t i = 0; i < count && i < slots.size(); ++i) {
        if (VexaT_GetDeviceInfo(slots[i], 0, &config) == 0) {
            X_getMediaId(g_WaitEventSlotMap[slots[i]], &config);
        }
    }
}

void RememberCurrentSlots() {
    orval::LogEntry("X_getCurrentSlots", "before");
    X_getCurrentSlots();
    orval::LogEntry("X_getCurrentSlots", "after");
}

}  // namespace

int32_t WaitForKeyEvent(uint32_t* pulEvent, char* szSN, uint32_t* pulSNLen) {
    orval::LogEntry(kWaitTag, "begin");
    orval::Begin();
    if (szSN == nullptr) {
        *pulSNLen = orval::lengths::kKeyEventBound;
        orval::ClearLastError();
        return EndWait(kSizeQueryLine);
    }
    // From here on the call may be long: the token library answers when it likes.
    orval::StayLoaded();
    RememberCurrentSlots();
    isRun = true;
    uint32_t context = 0;
    orval::ClearLastError();
    if (FinishToken(VexaT_ContextInit(&context)) != ORVAL_OK) {
        return EndWait(kContextFailedLine);
    }
    VEXA_EVENT_INFO event = {};
    AwaitEventOrStop(event, context);
    if (!isRun) {
        // The context stays open and nothing is logged: the client's next wait opens its own.
        *pulEvent = ORVAL_WAIT_STOPPED;
        return orval::ReturnOnly(ORVAL_OK);
    }
    const std::string serial_number = TakeEvent(event, pulEvent);
    VexaT_ContextFinal();
    orval::lengths::KeyEvent::Deliver(serial_number.c_str(),
                                      static_cast<int32_t>(serial_number.size()), szSN, pulSNLen);
    return EndWait(kEndLine);
}

int32_t StopDetectUKey() {
    orval::BeginClean();
    if (isRun) {
        isRun = false;
    }
    return orval::ReturnOnly(ORVAL_OK);
}
