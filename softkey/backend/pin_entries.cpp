// Entries about the PIN.
#include <cstring>

#include "backend/arguments.h"
#include "backend/entries.h"
#include "key/device.h"

namespace softkey::backend {
namespace {

constexpr intptr_t kLongestCacheSeconds = 86400;

struct PinInfo {
    int32_t tries_left;
    int32_t tries_maximum;
};
static_assert(sizeof(PinInfo) == maker::kPinInfoRoom, "the size that the interface gives");

void DeliverPinInfo(const PinInfo& info, void* buffer, int32_t* length) {
    constexpr auto kSize = static_cast<int32_t>(sizeof(PinInfo));
    Require(length != nullptr, Code::kInvalidParameter, "the length is missing");
    const bool fits = buffer == nullptr || *length >= kSize;
    *length = softkey::ToldLength(sizeof info);
    Require(fits, Code::kBufferTooSmall, "the information has 8 bytes");
    if (buffer != nullptr) {
        std::memcpy(buffer, &info, sizeof info);
    }
}

}  // namespace

int32_t VerifyPIN(const char* serial_number) {
    return Answer("VerifyPIN", serial_number,
                  [&] { Device::Plugged(serial_number).VerifyPin(Device::Cache::kAsFlagged); });
}

int32_t VerifyAndCachePin(const char* serial_number, intptr_t param) {
    return Answer("VerifyAndCachePin", serial_number, [&] {
        Require(param >= 0 && param <= kLongestCacheSeconds, Code::kSelector,
                "the PIN is cached for 1 to 86400 seconds, or 0: until it is removed");
        std::optional<std::chrono::seconds> lifetime;
        if (param > 0) {
            lifetime = std::chrono::seconds(param);
        }
        Device::Plugged(serial_number).VerifyPin(Device::Cache::kAlways, lifetime);
    });
}

int32_t ChangePin(const char* serial_number) {
    return Answer("ChangePin", serial_number, [&] { Device::Plugged(serial_number).ChangePin(); });
}

int32_t GetPinInfo(const char* serial_number, void* info, int32_t* length) {
    return Answer("GetPinInfo", serial_number, [&] {
        const softkey::PinState state = Device::Plugged(serial_number).Store().Pin();
        DeliverPinInfo({state.tries_left, state.tries_maximum}, info, length);
    });
}

int32_t GM_RemoveUserPin(void) {
    return Answer("GM_RemoveUserPin", [] { softkey::Sessions::OfThisProcess().ForgetAll(); });
}

int32_t SetCachePinFlag(const char* serial_number, intptr_t flag) {
    return Answer("SetCachePinFlag", serial_number, [&] {
        Require(flag == 0 || flag == 1, Code::kSelector, "the flag is 0 (off) or 1 (on)");
        const Device device = Device::Plugged(serial_number);
        softkey::Sessions::OfThisProcess().SetCacheFlag(device.Key().serial, flag == 1);
    });
}

}  // namespace softkey::backend
