// Part of ukey.hpp: a call that throws when it fails.
#ifndef ORVAL_UKEY_CALL_HPP
#define ORVAL_UKEY_CALL_HPP

#include <cstdint>
#include <string>

#include "errors.hpp"
#include "fetch.hpp"
#include "load.hpp"

namespace ukey::detail {

template <typename Function>
void Check(const Entry<Function>& entry, int32_t code) {
    if (code != ORVAL_OK) {
        throw Error(entry.name, code);
    }
}

template <typename Function, typename... Arguments>
void CheckTexts(const Entry<Function>& entry, const Arguments&... arguments) {
    if (!(IsPassable(arguments) && ...)) {
        throw ZeroByteError(entry.name);
    }
}

template <typename Function, typename... Arguments>
void Call(const Entry<Function>& entry, const Arguments&... arguments) {
    CheckTexts(entry, arguments...);
    Check(entry, TryCall(entry, arguments...));
}

template <typename Function, typename... Arguments>
Fetched Fetch(const Entry<Function>& entry, int32_t least, const Arguments&... arguments) {
    CheckTexts(entry, arguments...);
    Fetched fetched;
    Check(entry, TryFetch(entry, least, fetched, arguments...));
    return fetched;
}

template <typename Function, typename... Arguments>
std::string FetchText(const Entry<Function>& entry, const Arguments&... arguments) {
    return std::string(TextOf(Fetch(entry, 0, arguments...)));
}

// A record: every byte counts, zero bytes at its end as well.
template <typename Function, typename... Arguments>
std::string FetchRecord(const Entry<Function>& entry, const Arguments&... arguments) {
    const Fetched fetched = Fetch(entry, 0, arguments...);
    return std::string(fetched.buffer.data(), fetched.length);
}

inline bool IsInitialized(const Api& api) {
    return __atomic_load_n(api.init_flag, __ATOMIC_ACQUIRE) != 0;
}

// Two functions do not bind the key's library on their own as all others do.
inline void EnsureInitialized(const Api& api) {
    if (!IsInitialized(api)) {
        Call(api.Initialize);
    }
}

}  // namespace ukey::detail

#endif
