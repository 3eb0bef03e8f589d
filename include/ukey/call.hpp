// Part of ukey.hpp: a call that throws when it fails.
#ifndef ORVAL_UKEY_CALL_HPP
#define ORVAL_UKEY_CALL_HPP

#include <cstdint>
#include <string>
#include <string_view>

#include "errors.hpp"
#include "fetch.hpp"
#include "load.hpp"
#include "waiting.hpp"

namespace ukey::detail {

template <typename Function>
void Check(const Entry<Function>& entry, int32_t code) {
    if (code != ORVAL_OK) {
        throw Error(entry.name, code);
    }
}

// The product serves one thread, and that is the waiting one as long as a source waits.
inline void RequireNobodyWaits(const char* function) {
    if (IsWaitedBeside()) {
        throw BusyError(std::string(function) +
                        " was not called: an event source waits; stop it first");
    }
}

template <typename Function, typename... Arguments>
void CheckCall(const Entry<Function>& entry, const Arguments&... arguments) {
    RequireNobodyWaits(entry.name);
    if (!(IsPassable(arguments) && ...)) {
        throw ZeroByteError(entry.name);
    }
}

// The C interface needs a terminator behind a text, which a view need not have: the text is copied,
// once for query and fetch. Everything else stays as it is.
inline std::string Terminated(std::string_view text) {
    return std::string(text);
}

template <typename T>
const T& Terminated(const T& value) {
    return value;
}

template <typename Function, typename... Arguments>
void Call(const Entry<Function>& entry, const Arguments&... arguments) {
    CheckCall(entry, arguments...);
    Check(entry, TryCall(entry, Terminated(arguments)...));
}

template <typename Function, typename... Arguments>
Fetched Fetch(const Entry<Function>& entry, int32_t least, const Arguments&... arguments) {
    CheckCall(entry, arguments...);
    Fetched fetched;
    Check(entry, TryFetch(entry, least, fetched, Terminated(arguments)...));
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
