#include "plugged_keys.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "cli/failure.h"
#include "cli/words.h"
#include "maker/token.h"

namespace {

constexpr const char* kTokenLibrary = "libR7Token_ORVAL.so";
constexpr uint32_t kPresentSlots = 1;
constexpr uint32_t kInfoOfListed = 0;

// More than a computer has room for, and as much again for a library that does not mind the count.
constexpr uint32_t kMostSlots = 64;

void Close(void* handle) {
    dlclose(handle);
}

using Handle = std::unique_ptr<void, void (*)(void*)>;

// Found where the product has brought it; it is never loaded for the sake of this.
Handle OpenTokenLibrary() {
    void* const handle = dlopen(kTokenLibrary, RTLD_LAZY | RTLD_NOLOAD);
    if (handle == nullptr) {
        throw ukey::LoadError(kTokenLibrary, "the key library has not brought it");
    }
    return {handle, Close};
}

template <typename Function>
Function Find(const Handle& handle, const char* name) {
    return ukey::detail::Resolve<Function>(handle.get(), kTokenLibrary, name);
}

}  // namespace

struct TokenLibrary {
    Handle handle = OpenTokenLibrary();
    decltype(&VexaT_GetSlotList) get_slot_list =
        Find<decltype(&VexaT_GetSlotList)>(handle, "VexaT_GetSlotList");
    decltype(&VexaT_GetDeviceInfo) get_device_info =
        Find<decltype(&VexaT_GetDeviceInfo)>(handle, "VexaT_GetDeviceInfo");
};

namespace {

[[noreturn]] void ThrowExceptionOf(const char* function) {
    cli::Throw(cli::ExitStatus::kFailed, cli::Say("{1} threw an exception", std::string(function)),
               "the key maker's token library does not work as it should",
               "unplug the keys, plug them in again, and try once more");
}

// Any of the token library's functions may throw.
template <typename Function, typename... Arguments>
void Ask(const char* name, Function function, Arguments... arguments) {
    uint32_t code = 0;
    try {
        code = function(arguments...);
    } catch (...) {
        ThrowExceptionOf(name);
    }
    if (code != 0) {
        throw ukey::Error(name, static_cast<int32_t>(code));
    }
}

PluggedKey KeyIn(uint32_t slot, const TokenLibrary& token) {
    PluggedKey key;
    key.slot = slot;
    _S_DEV_CONFIG config{};
    try {
        Ask("VexaT_GetDeviceInfo", token.get_device_info, slot, kInfoOfListed, &config);
        key.serial_number.assign(config.mediaId, strnlen(config.mediaId, sizeof config.mediaId));
        key.problem = key.serial_number.empty() ? "the key tells no serial number" : "";
    } catch (const std::exception& error) {
        key.problem = error.what();
    }
    return key;
}

// The product initialises itself before it asks, and asks whether or not that went well.
void InitializeIfPossible(const ukey::Library& library) {
    try {
        if (!library.IsInitialized()) {
            library.Initialize();
        }
    } catch (const ukey::Error&) {
        return;  // whoever needs the key itself will hear of it
    }
}

}  // namespace

KeyLookout::KeyLookout(const ukey::Library& library)
    : token_(std::make_shared<const TokenLibrary>()) {
    InitializeIfPossible(library);
}

std::vector<PluggedKey> KeyLookout::Look() const {
    std::array<uint32_t, 2 * size_t{kMostSlots}> slots{};
    uint32_t count = kMostSlots;
    Ask("VexaT_GetSlotList", token_->get_slot_list, kPresentSlots, slots.data(), &count);
    std::vector<PluggedKey> keys;
    for (uint32_t i = 0; i < std::min(count, kMostSlots); ++i) {
        keys.push_back(KeyIn(slots[i], *token_));
    }
    return keys;
}

std::vector<PluggedKey> ListPluggedKeys(const ukey::Library& library) {
    return KeyLookout(library).Look();
}
