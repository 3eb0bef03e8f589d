#ifndef SOFTKEY_PIN_SESSIONS_H
#define SOFTKEY_PIN_SESSIONS_H

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "base/process_lock.h"
#include "slots/slots.h"
#include "store/key_store.h"

namespace softkey {

// What this process has verified, per key. A verification ends when the key is unplugged, its PIN
// is changed or locked, by whichever process, and when this process ends. One that is cached also
// stands in for later PIN entries; one that is not serves requests and is used up by the first
// other use of a private key. Safe for several threads. A child of a fork goes on with what its
// parent has verified.
class Sessions {
 public:
    static Sessions& OfThisProcess();

    using Look = std::shared_ptr<const KeyStore::Snapshot>;

    using Clock = std::chrono::steady_clock;

    // `until` ends a cached verification; without it nothing but the rules above does.
    void Keep(const PluggedKey& key, const Unlocked& unlocked, bool cached,
              std::optional<Clock::time_point> until);

    enum class Need { kCached, kVerified };
    std::optional<Unlocked> Find(const PluggedKey& key, const Look& look, Need need);

    // Ends the verifications of keys that are gone or were plugged anew, and those whose time is
    // up.
    void EndOver(const Slots::Snapshot& slots);

    // Ends the verification of one key unless it is cached.
    void UseUp(const std::string& serial);
    void Forget(const std::string& serial);
    void ForgetAll();

    bool CacheFlag(const std::string& serial);
    void SetCacheFlag(const std::string& serial, bool on);

 private:
    struct Session {
        Unlocked unlocked;
        int64_t plug_id;
        bool cached;
        std::optional<Clock::time_point> until;

        bool IsOverFor(const PluggedKey* key) const;
    };

    std::map<std::string, Session> sessions_;
    std::map<std::string, bool> cache_flags_;
};

}  // namespace softkey

#endif
