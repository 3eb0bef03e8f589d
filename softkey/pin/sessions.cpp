#include "pin/sessions.h"

#include <iterator>
#include <utility>

namespace softkey {

Sessions::Sessions() {
    DropBeforeFork([this] { CloseAllKeys(); });
}

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
    sessions_[key.serial] = Session{unlocked, key.plug_id, cached, until, nullptr, {}};
}

std::optional<Unlocked> Sessions::Find(const PluggedKey& key, const Look& look, Need need) {
    const ProcessLock lock;
    const auto found = sessions_.find(key.serial);
    if (found == sessions_.end()) {
        return std::nullopt;
    }
    Session& session = found->second;
    const PinState& state = look->pin;
    const bool over = session.IsOverFor(&key) || session.unlocked.generation != state.generation ||
                      state.tries_left <= 0;
    if (over) {
        sessions_.erase(found);
        return std::nullopt;
    }
    if (session.opened_at != look) {
        session.opened.clear();
        session.opened_at = look;
    }
    if (need == Need::kCached && !session.cached) {
        return std::nullopt;
    }
    return session.unlocked;
}

Sessions::Session* Sessions::Cached(const PluggedKey& key, const Look& look) {
    const auto found = sessions_.find(key.serial);
    const bool held = look != nullptr && found != sessions_.end() && found->second.cached &&
                      found->second.plug_id == key.plug_id && found->second.opened_at == look;
    return held ? &found->second : nullptr;
}

std::shared_ptr<const KeyPair> Sessions::OpenKey(const PluggedKey& key, const Look& look,
                                                 int64_t pair_id) {
    const ProcessLock lock;
    const Session* const session = Cached(key, look);
    if (session == nullptr) {
        return nullptr;
    }
    const auto pair = session->opened.find(pair_id);
    return pair == session->opened.end() ? nullptr : pair->second;
}

void Sessions::KeepOpen(const PluggedKey& key, const Look& look, int64_t pair_id,
                        std::shared_ptr<const KeyPair> pair) {
    const ProcessLock lock;
    Session* const session = Cached(key, look);
    if (session != nullptr) {
        session->opened[pair_id] = std::move(pair);
    }
}

void Sessions::CloseKeys(const std::string& serial) {
    const ProcessLock lock;
    const auto found = sessions_.find(serial);
    if (found != sessions_.end()) {
        found->second.opened.clear();
    }
}

void Sessions::CloseAllKeys() {
    const ProcessLock lock;
    for (auto& [serial, session] : sessions_) {
        session.opened.clear();
    }
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
