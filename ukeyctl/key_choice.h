#ifndef UKEYCTL_KEY_CHOICE_H
#define UKEYCTL_KEY_CHOICE_H

#include <optional>
#include <string>
#include <vector>

#include "plugged_keys.h"

// Whether a verb may work on a key that its user has not named. Changing is everything that leaves
// a trace: what is written, a PIN that is asked for (a wrong one costs a try), a private key that
// is used (a signature can cost a payment).
enum class KeyUse { kReading, kChanging };

struct KeyChoice {
    std::string serial_number;
    std::string notice;  // for the user, where it is not obvious which key that is
};

// The plugged key that a verb works on when none was named. Throws a usage failure that lists the
// plugged keys when the verb changes one and there is a choice, or when they cannot be counted.
KeyChoice ChooseKey(const ukey::Library& library, KeyUse use);

// A plugged key with what it tells of itself.
struct LabelledKey {
    PluggedKey key;
    std::optional<std::string> label;
};

// Asks the key for its label; what is wrong is noted.
LabelledKey LabelledKeyOf(const ukey::Library& library, PluggedKey key);

std::vector<LabelledKey> ListLabelledKeys(const ukey::Library& library);

#endif
