// The wait for a key's insertion or removal.
#include <cstring>

#include "argument.h"
#include "model.h"

namespace walk {

namespace {

constexpr size_t kEventSize = 332;
constexpr size_t kSlotOffset = 12;
constexpr const char* kWaitTag = "SKF_WaitForDevEvent";
constexpr const char* kArrivalTag = "VEXA_EVENT_INFO::SLOT_DEVICEARRIVAL  ";
constexpr const char* kRemovalTag = "VEXA_EVENT_INFO::SLOT_DEVICEREMOVE ";

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
    Log("X_getCurrentSlots", "before");
    slot_map_.clear();
    RecordCall("VexaT_GetSlotList(1, zeroed[64], &10)");
    for (const Device& device : step_->token.devices) {
        if (step_->token.list_code != 0) {
            break;
        }
        RecordCall("VexaT_GetDeviceInfo(" + std::to_string(device.slot) + ", 0, record)");
        if (device.code == 0) {
            slot_map_[device.slot] = AsCText(device.media_id);
        }
    }
    Log("X_getCurrentSlots", "after");
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

void Model::Pause(const Wait& wait) {
    out_.pauses.emplace_back("20000000 ns, remainder in the same record");
    if (wait.stopped_in_pause) {
        Stop();
    }
    if (wait.pause == Wait::kInterrupted) {
        out_.pauses.emplace_back("7000000 ns, remainder in the same record");
    }
}

void Model::AwaitEvent(std::string& record) {
    const TokenScript& token = step_->token;
    while (running_) {
        RecordCall("VexaT_WaitForEvent(1, 0, " + ShowRecord(record) + ", &" +
                   std::to_string(token.context) + ")");
        const bool used_up = next_wait_ >= token.waits.size();
        const Wait wait = used_up ? Wait() : token.waits[next_wait_++];
        if (wait.fills_event) {
            std::memcpy(&record[0], &wait.kind, sizeof(wait.kind));
            std::memcpy(&record[kSlotOffset], &wait.slot, sizeof(wait.slot));
        }
        if (wait.stopped || used_up) {
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
    out_.after.event = 1;
    LogWait(kArrivalTag, " event.ei.slotEvent.u32SlotID", static_cast<int32_t>(slot), 600);
    RecordCall("VexaT_GetDeviceInfo(" + std::to_string(slot) + ", 917504, zeroed[396])");
    last_error_ = static_cast<int32_t>(device.code);
    LogWait(kArrivalTag, " G_LastError", last_error_, 603);
    return AsCText(device.media_id);
}

std::string Model::Removal(uint32_t slot) {
    LogWait(kRemovalTag, "G_LastError", last_error_, 606);
    out_.after.event = 2;
    const std::string serial_number = slot_map_[slot];
    LogWait(kRemovalTag, " G_LastError", last_error_, 609);
    last_error_ = 0;
    return serial_number;
}

void Model::EndWait(const std::string& record) {
    const uint32_t kind = NumberIn(record, 0);
    const uint32_t slot = NumberIn(record, kSlotOffset);
    const std::string serial_number = kind == 1 ? Arrival(slot) : kind == 2 ? Removal(slot) : "";
    RecordCall("VexaT_ContextFinal()");
    out_.after.length = static_cast<int32_t>(serial_number.size());
    Write(serial_number + '\0');
    LogWait(kWaitTag, "end, G_LastError", last_error_, 616);
    Return(last_error_);
}

void Model::WaitForKeyEvent() {
    Log(kWaitTag, "begin");
    LazyInitialize();
    if (!In().buffer) {
        out_.after.length = 17;
        LogWait(kWaitTag, "end, G_LastError", 0, 560);
        return Finish(0);
    }
    ListSlots();
    running_ = true;
    last_error_ = 0;
    RecordCall("VexaT_ContextInit(&0)");
    if (Fails(static_cast<int32_t>(step_->token.context_code))) {
        return LogWait(kWaitTag, "end, G_LastError", last_error_, 571);
    }
    std::string record(kEventSize, '\0');
    AwaitEvent(record);
    if (running_) {
        return EndWait(record);
    }
    out_.after.event = 3;
    Return(0);
}

}  // namespace walk
