#ifndef SOFTKEY_KEY_DEVICE_H
#define SOFTKEY_KEY_DEVICE_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "crypto/key_pair.h"
#include "pin/dialogs.h"
#include "pin/sessions.h"
#include "slots/slots.h"
#include "store/key_store.h"

namespace softkey {

// A plugged key as the entries use it: its slot, its store and what this process has verified.
class Device {
 public:
    // Throws kInvalidParameter for a null or empty serial number and kDeviceRemoved for one that
    // is not plugged in.
    static Device Plugged(const char* serial);

    // The key in the lowest slot.
    static Device First();

    const PluggedKey& Key() const { return key_; }
    KeyStore& Store() { return store_; }

    // The key as it was when this object looked first, or first again after somebody was asked.
    const KeyStore::Snapshot& Look();

    enum class Cache { kAsFlagged, kAlways };
    void VerifyPin(Cache cache, std::optional<std::chrono::seconds> lifetime = std::nullopt);
    void ChangePin();

    enum class AfterInitialize { kVerified, kUnverified };
    void Initialize(std::optional<std::string> label, AfterInitialize after);

    // The verification under which a private key may be used; asks for the PIN when there is none.
    // Requests leave it standing, every other use takes it with it unless it is cached. An object
    // serves one call of an entry, and within it the PIN is asked for once.
    enum class Use { kRequest, kOther };
    const Unlocked& Authorize(Use use);

    // The private key of a pair, for any use but requests. Nothing of it is left once the call is
    // over, also under a cached verification: that keeps what unseals it, and in pages for secrets.
    KeyPair Open(const StoredPair& stored);

    // For whoever asks somebody. That takes its time: what was seen before is then old.
    DialogSubject Subject();

 private:
    explicit Device(PluggedKey key);
    static Slots::Snapshot LookAtSlots();
    const std::shared_ptr<const KeyStore::Snapshot>& Seen();
    Unlocked AskAndUnlock();
    Unlocked Obtain(Use use);

    PluggedKey key_;
    KeyStore store_;
    std::shared_ptr<const KeyStore::Snapshot> seen_;
    std::optional<Unlocked> held_;
};

// The tries that the last wrong PIN of this process left, or -1.
int32_t LastTriesLeft();

}  // namespace softkey

#endif
