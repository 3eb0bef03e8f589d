#ifndef UKEYCTL_PIN_TRIES_H
#define UKEYCTL_PIN_TRIES_H

#include <functional>
#include <optional>
#include <string>

#include "session.h"

// How many wrong PINs a key still takes, for a report.
struct ToldTries {
    std::optional<ukey::PinTries> tries;
    std::string problem;  // why they cannot be told

    Report::Value Left() const;
    Report::Value AtMost() const;
};

// In a record as GetPinInfo gives it.
ToldTries TriesIn(const std::string& record);

// --last-try
void AddLastTry(cli::Command& verb, bool& last_try);

// Does what has the key ask for the PIN, and reports the tries left before and behind it, also
// where it fails. Where one try is left it is refused unless that try may be spent.
void SpendTry(Session& session, const ukey::Key& key, bool last_try,
              const std::function<void()>& work);

#endif
