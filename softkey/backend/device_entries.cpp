// Entries about the key as a device: which one is there, the texts of codes, the process's language
// and character set.
#include <cstring>
#include <string>

#include "backend/arguments.h"
#include "backend/entries.h"
#include "base/settings.h"
#include "key/device.h"
#include "maker/token.h"

namespace softkey::backend {
namespace {

// What X_ErrorConvert_UOS gave last; the caller may read it until the thread asks again, also while
// the thread ends: nothing destroys an array.
constexpr size_t kTextRoom = 512;
thread_local char text_given[kTextRoom];

// For a wrong PIN the text also tells the tries that are left.
std::string TextOfCode(int64_t code) {
    const softkey::Language language = softkey::CurrentLanguage();
    std::string text = codes::TextOf(static_cast<int32_t>(code), language);
    const int32_t tries = softkey::LastTriesLeft();
    if (code == static_cast<int64_t>(Code::kPinIncorrect) && tries > 0) {
        const std::string number = std::to_string(tries);
        text += language == softkey::Language::kChinese ? "剩余 " + number + " 次。"
                                                        : " Tries left: " + number + ".";
    }
    return softkey::ToClient(text);
}

// For orders: no key, no name.
std::string FirstKey() {
    const softkey::Slots::Snapshot slots = softkey::Slots::Present();
    return slots.plugged.empty() ? std::string() : slots.plugged.front().serial;
}

// A setting belongs to the process. The serial number may be empty; one that is given must be that
// of a plugged key, as everywhere.
void CheckSettingSerial(const char* serial_number) {
    if (!softkey::RequireText(serial_number).empty()) {
        Device::Plugged(serial_number);
    }
}

}  // namespace

int32_t CheckDeviceEx(uint32_t* value, _S_DEV_CONFIG* config, int32_t one,
                      char serial_number[maker::kSerialNumberRoom]) {
    return Answer("CheckDeviceEx", FirstKey, [&] {
        RequireConstant(one == 1);
        Require(config != nullptr, Code::kInvalidParameter, "the record is missing");
        const Device device = Device::First();
        const std::string& serial = device.Key().serial;
        softkey::CopyToFixed(serial, serial_number, maker::kSerialNumberRoom);
        std::memcpy(config->mediaId, serial.data(), sizeof config->mediaId);
        if (value != nullptr) {
            *value = device.Key().slot;
        }
    });
}

int32_t GetMediaID(void) {
    return Answer("GetMediaID", FirstKey, [] { Device::First(); });
}

const char* X_ErrorConvert_UOS(int64_t code) {
    const int32_t failure = Answer("X_ErrorConvert_UOS", [&] {
        softkey::CopyToFixed(TextOfCode(code), text_given, sizeof text_given);
    });
    return failure == 0 ? text_given : nullptr;
}

int32_t UOS_SetCharset(const char* second, const char* first) {
    return Answer("UOS_SetCharset", first, [&] {
        CheckSettingSerial(first);
        softkey::SelectCharset(softkey::RequireText(second));
    });
}

int32_t UOS_SetLanguage(const char* second, const char* first) {
    return Answer("UOS_SetLanguage", first, [&] {
        CheckSettingSerial(first);
        softkey::SelectLanguage(softkey::RequireText(second));
    });
}

}  // namespace softkey::backend
