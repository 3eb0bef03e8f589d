#include "pin/sessions.h"

#include <iterator>
#include <utility>

namespace softkey {

Sessions& Sessions::OfThisProcess() {
    const ProcessLock lock;
    // Never destroyed: clients call as late as from exit handlers.
    static auto* const sessions = new Sessions;
    return *sessions;
}

bool Sessions::Session::IsOverFor(const PluggedKey* key) const {
    return key == nullptr || key->plug_id != plug_id || (until && Clock::now() >= *until);
}

void Sessions::Keep(const PluggedKey& key, const Unlocked& unlocked, bool cached,
                    std::optional<Clock::time_point> until) {
    const ProcessLock lock;
    sessions_[key.serial] = Session{unlocked, key.plug_id, cached, until};
}

std::optional<Unlocked> Sessions::Find(const PluggedKey& key, const Look& look, Need need) {
    const ProcessLock lock;
    const auto found = sessions_.find(key.serial);
    if (found == sessions_.end()) {
        return std::nullopt;
    }
    const Session& session = found->second;
    const PinState& state = look->pin;
    const bool over = session.IsOverFor(&key) || session.unlocked.generation != state.generation ||
                      state.tries_left <= 0;
    if (over) {
        sessions_.erase(found);
        return std::nullopt;
    }
    if (need == Need::kCached && !session.cached) {
        return std::nullopt;
    }
    return session.unlocked;
}

void Sessions::EndOver(const Slots::Snapshot& slots) {
    const ProcessLock lock;
    for (auto session = sessions_.begin(); session != sessions_.end();) {
        const bool over = session->second.IsOverFor(slots.Find(session->first));
        session = over ? sessions_.erase(session) : std::next(session);
    }
}

void Sessions::UseUp(const std::string& serial) {
    const ProcessLock lock;
    const auto found = sessions_.find(serial);
    if (found != sessions_.end() && !found->second.cached) {
        sessions_.erase(found);
    }
}

void Sessions::Forget(const std::string& serial) {
    const ProcessLock lock;
    sessions_.erase(serial);
}

void Sessions::ForgetAll() {
    const ProcessLock lock;
    sessions_.clear();
}

bool Sessions::CacheFlag(const std::string& serial) {
    const ProcessLock lock;
    return cache_flags_[serial];
}

void Sessions::SetCacheFlag(const std::string& serial, bool on) {
    const ProcessLock lock;
    cache_flags_[serial] = on;
    if (!on) {
        sessions_.erase(serial);
    }
}

}  // namespace softkey
