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
// other use of a private key. Safe for several threads.
//
// Private keys that are used under a cached verification stay open with it: they end when it does,
// when anything in the key's store changes, and before a fork, so that no child has them. A call
// that has one in use keeps that until it returns.
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

    // The private key that was kept open since that look at the store, or null.
    std::shared_ptr<const KeyPair> OpenKey(const PluggedKey& key, const Look& look,
                                           int64_t pair_id);
    void KeepOpen(const PluggedKey& key, const Look& look, int64_t pair_id,
                  std::shared_ptr<const KeyPair> pair);
    void CloseKeys(const std::string& serial);
    void CloseAllKeys();

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
        Look opened_at;
        std::map<int64_t, std::shared_ptr<const KeyPair>> opened;

        bool IsOverFor(const PluggedKey* key) const;
    };

    Sessions();
    Session* Cached(const PluggedKey& key, const Look& look);

    std::map<std::string, Session> sessions_;
    std::map<std::string, bool> cache_flags_;
};

}  // namespace softkey

#endif
