#include "player.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "libc_hooks.h"
#include "orval_unified_kpxukey.h"

namespace walk {

Player::Player() {
    ScriptBackend();
    ScriptToken();
    scripted::Libc().nanosleep.replacement = [this](const timespec* request, timespec* remainder) {
        return Sleep(request, remainder);
    };
}

void Player::Load(const Step& step, const Client& client) {
    step_ = &step;
    client_ = client;
    next_reply_ = 0;
    next_device_ = 0;
    next_wait_ = 0;
    notes_.clear();
    pauses_.clear();
}

std::string Player::Whose(const void* pointer) const {
    if (pointer == nullptr) {
        return "null";
    }
    for (size_t i = 0; i < kTexts; ++i) {
        if (pointer == client_.texts[i]) {
            return "text " + std::to_string(i);
        }
    }
    return pointer == client_.buffer ? "buffer" : pointer == client_.length ? "length" : "private";
}

template <typename Parameter>
std::string Player::WhoseIfPointer(const Parameter& parameter) const {
    if constexpr (std::is_pointer_v<Parameter>) {
        return " " + Whose(parameter) + ",";
    } else if constexpr (std::is_class_v<Parameter>) {
        return " " + Whose(&parameter) + ",";
    } else {
        return "";
    }
}

template <typename Parameter>
void Player::Find(Outputs& outputs, Parameter& parameter) {
    if constexpr (std::is_same_v<Parameter, char*>) {
        outputs.last_text = parameter;
        if (outputs.first_text == nullptr) {
            outputs.first_text = parameter;
        }
    } else if constexpr (std::is_same_v<Parameter, char**>) {
        outputs.handed = parameter;
    } else if constexpr (std::is_same_v<Parameter, void*>) {
        outputs.info = parameter;
    } else if constexpr (std::is_same_v<Parameter, int32_t*>) {
        outputs.length = parameter;
    }
}

void Player::Note(const char* name, const std::string& pointers) {
    notes_.push_back(name + (":" + pointers) + " last error " + std::to_string(G_LastError));
}

Reply Player::NextReply() {
    const size_t index = next_reply_++;
    return index < step_->replies.size() ? step_->replies[index] : Reply();
}

Player::Kind Player::KindOf(const std::string& name) {
    if (name == "GMCreatePKCS10" || name == "GMCreatePKCS10Ex") {
        return Kind::kHandsOver;
    }
    if (name == "GetPinInfo" || name == "GetCertInfo_UOS") {
        return Kind::kWritesInfo;
    }
    if (name == "GMWritePKCS7" || name == "GMImportPriKey") {
        return Kind::kSpoilsItsCopy;
    }
    for (const char* writer :
         {"CheckDeviceEx", "GetLabel", "GetCertInfo", "GM_GetCertDN", "GMUsbKeyCriticalSign",
          "GMUsbKeyCommonSign", "GMUSBKeyAsymDec2", "GetData", "Batch_Sign"}) {
        if (name == writer) {
            return Kind::kWritesText;
        }
    }
    return Kind::kCodeOnly;
}

// A copy that the back-end may write to is spoilt, so that it shows if it was no copy.
int32_t Player::Act(const char* name, const Outputs& outputs) {
    const Reply reply = NextReply();
    const Kind kind = KindOf(name);
    if (kind == Kind::kSpoilsItsCopy || outputs.first_text != outputs.last_text) {
        std::memset(outputs.first_text, '#', std::strlen(outputs.first_text));
    }
    if (reply.text && kind == Kind::kWritesText) {
        std::memcpy(outputs.last_text, reply.text->c_str(), reply.text->size() + 1);
    } else if (reply.text && kind == Kind::kWritesInfo) {
        std::memcpy(outputs.info, reply.text->data(), reply.text->size());
    } else if (reply.text && kind == Kind::kHandsOver) {
        *outputs.handed = scripted::NewText(*reply.text);
    }
    if (reply.length && outputs.length != nullptr) {
        *outputs.length = *reply.length;
    }
    return reply.code;
}

template <typename... Parameters>
void Player::Script(scripted::Entry<int32_t(Parameters...)>& entry, const char* name) {
    entry.Does([this, name](Parameters... parameters) {
        Note(name, ("" + ... + WhoseIfPointer(parameters)));
        Outputs outputs;
        (Find(outputs, parameters), ...);
        return Act(name, outputs);
    });
}

void Player::Script(scripted::Entry<const char*(int64_t)>& entry, const char* name) {
    entry.Does([this, name](int64_t) -> const char* {
        Note(name, "");
        const Reply reply = NextReply();
        message_ = reply.text.value_or("");
        return reply.text ? message_.c_str() : nullptr;
    });
}

void Player::ScriptBackend() {
#define ORVAL_PLAY(slot, name, result, arguments) Script(scripted::Key().name, #name);
    ORVAL_BACKEND_ENTRIES(ORVAL_PLAY)
#undef ORVAL_PLAY
}

void Player::ScriptToken() {
    scripted::TokenLibrary& token = scripted::Token();
    token.GetSlotList.Does([this](uint32_t, uint32_t* slots, uint32_t* count) {
        Note("VexaT_GetSlotList", "");
        *count = 0;
        for (const Device& device : step_->token.devices) {
            slots[(*count)++] = device.slot;
        }
        return step_->token.list_code;
    });
    token.GetDeviceInfo.Does([this](uint32_t, uint32_t flags, _S_DEV_CONFIG* config) {
        Note("VexaT_GetDeviceInfo", "");
        const Device& device =
            flags == 0 ? step_->token.devices.at(next_device_++) : step_->token.arrived;
        std::memset(config, 0xEE, sizeof(*config));
        std::memset(config->mediaId, 0, sizeof(config->mediaId));
        std::memcpy(config->mediaId, device.media_id.data(), device.media_id.size());
        return device.code;
    });
    token.ContextInit.Does([this](uint32_t* context) {
        Note("VexaT_ContextInit", "");
        *context = step_->token.context;
        return step_->token.context_code;
    });
    token.ContextFinal.Does([this] {
        Note("VexaT_ContextFinal", "");
        return 1U;
    });
    token.WaitForEvent.Does(
        [this](uint32_t, uint32_t, VEXA_EVENT_INFO* event, uint32_t*) { return Wait(event); });
}

uint32_t Player::Wait(VEXA_EVENT_INFO* event) {
    Note("VexaT_WaitForEvent", "");
    const size_t index = next_wait_++;
    const bool used_up = index >= step_->token.waits.size();
    wait_ = used_up ? walk::Wait() : step_->token.waits[index];
    wait_.stopped = wait_.stopped || used_up;
    if (wait_.fills_event) {
        event->u32EventKind = wait_.kind;
        event->ei.slotEvent.u32SlotID = wait_.slot;
    }
    if (wait_.stopped && StopDetectUKey() != 0) {
        pauses_.emplace_back("a stop failed");
    }
    if (wait_.throws) {
        throw std::runtime_error("scripted");
    }
    return wait_.code;
}

// An interruption leaves 7 of the 20 milliseconds.
int Player::Sleep(const timespec* request, timespec* remainder) {
    const int64_t nanoseconds = request->tv_sec * int64_t{1000000000} + request->tv_nsec;
    pauses_.push_back(std::to_string(nanoseconds) + " ns, remainder in " +
                      (request == remainder ? "the same record" : "another record"));
    if (wait_.stopped_in_pause) {
        StopDetectUKey();
    }
    const auto pause = wait_.pause;
    wait_.pause = walk::Wait::Pause::kCompleted;
    wait_.stopped_in_pause = false;
    if (pause == walk::Wait::Pause::kInterrupted) {
        *remainder = {0, 7000000};
        errno = EINTR;
    } else if (pause == walk::Wait::Pause::kFailed) {
        errno = EINVAL;
    }
    return pause == walk::Wait::Pause::kCompleted ? 0 : -1;
}

}  // namespace walk
