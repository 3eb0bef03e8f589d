#include "key/device.h"

#include <atomic>

#include "base/error.h"

namespace softkey {
namespace {

std::atomic<int32_t> last_tries_left{-1};

}  // namespace

int32_t LastTriesLeft() {
    return last_tries_left;
}

Device::Device(PluggedKey key) : key_(std::move(key)), store_(key_.serial) {}

Slots::Snapshot Device::LookAtSlots() {
    Slots::Snapshot slots = Slots::Present();
    Sessions::OfThisProcess().EndOver(slots);
    return slots;
}

Device Device::Plugged(const char* serial) {
    Require(serial != nullptr && *serial != '\0', Code::kInvalidParameter,
            "the serial number is missing");
    const Slots::Snapshot slots = LookAtSlots();
    const PluggedKey* const key = slots.Find(serial);
    Require(key != nullptr, Code::kDeviceRemoved, "the key is not plugged in");
    return Device(*key);
}

Device Device::First() {
    const Slots::Snapshot slots = LookAtSlots();
    Require(!slots.plugged.empty(), Code::kDeviceRemoved, "no key is plugged in");
    return Device(slots.plugged.front());
}

const std::shared_ptr<const KeyStore::Snapshot>& Device::Seen() {
    if (!seen_) {
        seen_ = store_.Look();
    }
    return seen_;
}

const KeyStore::Snapshot& Device::Look() {
    return *Seen();
}

DialogSubject Device::Subject() {
    DialogSubject subject{key_, Look().label};
    seen_.reset();
    return subject;
}

Unlocked Device::AskAndUnlock() {
    const PinState state = Look().pin;
    Require(state.tries_left > 0, Code::kPinLocked, "no tries are left");
    const SecretBytes pin = AskForPin(Subject(), state);
    try {
        return store_.Unlock(pin);
    } catch (const Error& error) {
        const bool wrong = error.code() == Code::kPinIncorrect || error.code() == Code::kPinLocked;
        if (wrong) {
            last_tries_left = store_.Pin().tries_left;
            Sessions::OfThisProcess().Forget(key_.serial);
        }
        throw;
    }
}

void Device::VerifyPin(Cache cache, std::optional<std::chrono::seconds> lifetime) {
    Sessions& sessions = Sessions::OfThisProcess();
    const bool keep = cache == Cache::kAlways || sessions.CacheFlag(key_.serial);
    std::optional<Unlocked> known = sessions.Find(key_, Seen(), Sessions::Need::kCached);
    if (known && cache == Cache::kAsFlagged) {
        return;
    }
    const Unlocked unlocked = known ? *known : AskAndUnlock();
    // From now on, however long the user took over the dialog.
    std::optional<Sessions::Clock::time_point> until;
    if (lifetime) {
        until = Sessions::Clock::now() + *lifetime;
    }
    sessions.Keep(key_, unlocked, keep, until);
}

void Device::ChangePin() {
    const PinState state = Look().pin;
    Require(state.tries_left > 0, Code::kPinLocked, "no tries are left");
    const PinChange change = AskForPinChange(Subject(), state);
    Sessions::OfThisProcess().Forget(key_.serial);
    try {
        store_.ChangePin(change.old_pin, change.new_pin);
    } catch (const Error& error) {
        if (error.code() == Code::kPinIncorrect) {
            last_tries_left = store_.Pin().tries_left;
        }
        throw;
    }
}

void Device::Initialize(std::optional<std::string> label, AfterInitialize after) {
    const SecretBytes pin = AskForInitialPin(Subject());
    Sessions& sessions = Sessions::OfThisProcess();
    sessions.Forget(key_.serial);
    const Unlocked unlocked = store_.Initialize(label ? *label : Look().label, pin);
    if (after == AfterInitialize::kVerified) {
        sessions.Keep(key_, unlocked, false, std::nullopt);
    }
}

const Unlocked& Device::Authorize(Use use) {
    if (!held_) {
        held_ = Obtain(use);
    }
    return *held_;
}

Unlocked Device::Obtain(Use use) {
    Sessions& sessions = Sessions::OfThisProcess();
    const std::optional<Unlocked> known = sessions.Find(key_, Seen(), Sessions::Need::kVerified);
    if (known) {
        if (use == Use::kOther) {
            sessions.UseUp(key_.serial);
        }
        return *known;
    }
    Unlocked unlocked = AskAndUnlock();
    if (use == Use::kRequest || sessions.CacheFlag(key_.serial)) {
        sessions.Keep(key_, unlocked, sessions.CacheFlag(key_.serial), std::nullopt);
    }
    return unlocked;
}

KeyPair Device::Open(const StoredPair& stored) {
    return store_.Open(Authorize(Use::kOther), stored);
}

}  // namespace softkey
