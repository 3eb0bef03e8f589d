#ifndef UKEYCTL_PIN_TRIES_H
#define UKEYCTL_PIN_TRIES_H

#include <functional>
#include <optional>
#include <string>

#include "session.h"

// How many wrong PINs a key still takes. Asking for that costs no try.
struct PinTries {
    std::optional<int64_t> left;
    std::optional<int64_t> at_most;
    std::string problem;  // why they cannot be told
    std::string record;   // as the key gives it
};

// In a record as GetPinInfo gives it.
PinTries TriesIn(const std::string& record);

// --last-try
void AddLastTry(cli::Command& verb, bool& last_try);

// Does what has the key ask for the PIN, and reports the tries left before and behind it, also
// where it fails. Where one try is left it is refused unless that try may be spent.
void SpendTry(Session& session, const ukey::Key& key, bool last_try,
              const std::function<void()>& work);

#endif
