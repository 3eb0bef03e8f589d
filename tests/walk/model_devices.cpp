// The wait for a key's insertion or removal.
#include <algorithm>
#include <cstring>

#include "argument.h"
#include "model.h"

namespace walk {

namespace {

constexpr size_t kEventSize = 332;
constexpr size_t kSlotOffset = 12;
const std::string kWaitTag = "SKF_WaitForDevEvent";                       // NOLINT(cert-err58-cpp)
const std::string kArrivalTag = "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ";  // NOLINT(cert-err58-cpp)
const std::string kRemovalTag = "VEXA_EVENT_INFO::SLOT_DEVICEREMOVE ";    // NOLINT(cert-err58-cpp)

void PutNumber(std::string& record, size_t offset, uint32_t number) {
    std::memcpy(&record[offset], &number, sizeof(number));
}

uint32_t NumberIn(const std::string& record, size_t offset) {
    uint32_t number = 0;
    std::memcpy(&number, &record[offset], sizeof(number));
    return number;
}

// As the scripted key shows a record.
std::string ShowRecord(const std::string& record) {
    const std::string size = "[" + std::to_string(record.size()) + "]";
    const std::string text = AsCText(record);
    if (record.find_first_not_of('\0', text.size()) != std::string::npos) {
        return "bytes" + size;
    }
    return text.empty() ? "zeroed" + size : scripted::Quoted(text) + " in zeroed" + size;
}

}  // namespace

void Model::LogWait(const std::string& tag, const std::string& what, int32_t value, int line) {
    Log(tag, what + " = " + std::to_string(value) + ", line = " + std::to_string(line));
}

void Model::ListSlots() {
    const TokenScript& token = step_->token;
    slot_map_.clear();
    CallToken("VexaT_GetSlotList(1, zeroed[64], &10)");
    if (token.list_code != 0) {
        return;
    }
    for (const Device& device : token.devices) {
        CallToken("VexaT_GetDeviceInfo(" + std::to_string(device.slot) + ", 0, record)");
        if (device.code == 0) {
            slot_map_[device.slot] = AsCText(device.media_id);
        }
    }
}

void Model::Stop() {
    LazyInitialize();
    last_error_ = 0;
    running_ = false;
}

void Model::StopDetectUKey() {
    Stop();
    Return(0);
}

Wait Model::NextWait() {
    const size_t index = next_wait_++;
    if (index < step_->token.waits.size()) {
        return step_->token.waits[index];
    }
    Wait last;
    last.stopped = true;
    return last;
}

void Model::Pause(const Wait& wait) {
    out_.pauses.emplace_back("20000000 ns, remainder in the same record");
    if (wait.stopped_in_pause) {
        Stop();
    }
    if (wait.pause == Wait::Pause::kInterrupted) {
        out_.pauses.emplace_back("7000000 ns, remainder in the same record");
    }
}

void Model::AwaitEvent(std::string& record) {
    while (running_) {
        CallToken("VexaT_WaitForEvent(1, 0, " + ShowRecord(record) + ", &" +
                  std::to_string(step_->token.context) + ")");
        const Wait wait = NextWait();
        if (wait.fills_event) {
            PutNumber(record, 0, wait.kind);
            PutNumber(record, kSlotOffset, wait.slot);
        }
        if (wait.stopped) {
            Stop();
        }
        if (wait.throws) {
            LogWait(kWaitTag, " end in catch ,G_LastError", last_error_, 582);
        } else if (wait.code == 0) {
            return;
        }
        Pause(wait);
    }
}

std::string Model::Arrival(uint32_t slot) {
    const Device& device = step_->token.arrived;
    LogWait(kArrivalTag, " G_LastError", last_error_, 596);
    out_.event = 1;
    LogWait(kArrivalTag, " event.ei.slotEvent.u32SlotID", static_cast<int32_t>(slot), 600);
    CallToken("VexaT_GetDeviceInfo(" + std::to_string(slot) + ", 917504, zeroed[396])");
    last_error_ = static_cast<int32_t>(device.code);
    LogWait(kArrivalTag, " G_LastError", last_error_, 603);
    return AsCText(device.media_id);
}

std::string Model::Removal(uint32_t slot) {
    LogWait(kRemovalTag, "G_LastError", last_error_, 606);
    out_.event = 2;
    const std::string serial_number = slot_map_[slot];
    LogWait(kRemovalTag, " G_LastError", last_error_, 609);
    last_error_ = 0;
    return serial_number;
}

void Model::EndWait(const std::string& record) {
    const uint32_t kind = NumberIn(record, 0);
    const uint32_t slot = NumberIn(record, kSlotOffset);
    const std::string serial_number = kind == 1 ? Arrival(slot) : kind == 2 ? Removal(slot) : "";
    CallToken("VexaT_ContextFinal()");
    out_.length = static_cast<int32_t>(serial_number.size());
    Write(serial_number + '\0');
    LogWait(kWaitTag, "end, G_LastError", last_error_, 616);
    Return(last_error_);
}

void Model::WaitForKeyEvent() {
    Log(kWaitTag, "begin");
    LazyInitialize();
    if (!In().buffer) {
        out_.length = 17;
        last_error_ = 0;
        LogWait(kWaitTag, "end, G_LastError", 0, 560);
        return Return(0);
    }
    Log("X_getCurrentSlots", "before");
    ListSlots();
    Log("X_getCurrentSlots", "after");
    running_ = true;
    last_error_ = 0;
    CallToken("VexaT_ContextInit(&0)");
    last_error_ = static_cast<int32_t>(step_->token.context_code);
    if (last_error_ != 0) {
        LogWait(kWaitTag, "end, G_LastError", last_error_, 571);
        return Return(last_error_);
    }
    std::string record(kEventSize, '\0');
    AwaitEvent(record);
    if (!running_) {
        out_.event = 3;
        return Return(0);
    }
    EndWait(record);
}

}  // namespace walk
