// A stand-in for the token library that the stand-in for the product brings with it. The
// environment tells it what is plugged:
//
//     FAKE_SLOTS  "1:SN0001 4:SN0002": slots and serial numbers; "1:?77" gives 77 for the slot's
//     key,
//                 "?77" gives 77 for the list, "throw" throws. Without it, one key in slot 1.
//     FAKE_SLOTS_THEN  the same, from right behind the first look at the list
//     FAKE_CALLS  a file to which every look at the list is appended

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

#include "maker/token.h"

namespace {

struct Slots {
    uint32_t code = 0;
    std::map<uint32_t, std::string> keys;
};

uint32_t CodeIn(const std::string& text) {
    return static_cast<uint32_t>(std::strtoul(text.c_str() + 1, nullptr, 10));
}

int looks = 0;

Slots TheSlots() {
    const char* const then = std::getenv("FAKE_SLOTS_THEN");
    const char* const text = then != nullptr && looks > 1 ? then : std::getenv("FAKE_SLOTS");
    std::istringstream words(text == nullptr ? "1:SN0123456789" : text);
    Slots slots;
    for (std::string word; words >> word;) {
        if (word == "throw") {
            throw std::runtime_error("as asked");
        }
        if (word[0] == '?') {
            slots.code = CodeIn(word);
            continue;
        }
        const size_t at = word.find(':');
        slots.keys[static_cast<uint32_t>(std::atoi(word.c_str()))] = word.substr(at + 1);
    }
    return slots;
}

}  // namespace

extern "C" {

uint32_t VexaT_GetSlotList(uint32_t present, uint32_t* slots, uint32_t* count) {
    ++looks;
    if (const char* const path = std::getenv("FAKE_CALLS")) {
        std::ofstream(path, std::ios::app) << "VexaT_GetSlotList()\n";
    }
    const Slots plugged = TheSlots();
    if (present != 1 || plugged.code != 0) {
        return plugged.code;
    }
    const uint32_t room = *count;
    *count = 0;
    for (const auto& [slot, serial_number] : plugged.keys) {
        if (*count < room) {
            slots[(*count)++] = slot;
        }
    }
    return 0;
}

uint32_t VexaT_GetDeviceInfo(uint32_t slot, uint32_t /*flags*/, _S_DEV_CONFIG* config) {
    const std::string serial_number = TheSlots().keys.at(slot);
    if (!serial_number.empty() && serial_number[0] == '?') {
        return CodeIn(serial_number);
    }
    std::memcpy(config->mediaId, serial_number.data(),
                std::min(serial_number.size(), sizeof config->mediaId));
    return 0;
}

}  // extern "C"
