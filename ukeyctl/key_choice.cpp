#include "key_choice.h"

#include "cli/failure.h"
#include "cli/words.h"

namespace {

constexpr const char* kNameTheKey =
    "name the key with --sn SN; 'ukeyctl list' shows all that are plugged";

[[noreturn]] void ThrowNoSerialNumber() {
    cli::Throw(cli::ExitStatus::kFailed, "the key cannot be told apart from others",
               "GetPrintNumber gave an empty serial number", kNameTheKey);
}

std::string ShowKey(const LabelledKey& labelled) {
    const PluggedKey& key = labelled.key;
    const std::string name =
        key.serial_number.empty() ? cli::Say("a key that tells no number") : key.serial_number;
    return labelled.label ? cli::Say("{1} (slot {2}, \"{3}\")", name, key.slot, *labelled.label)
                          : cli::Say("{1} (slot {2}, no label)", name, key.slot);
}

[[noreturn]] void ThrowChoice(const ukey::Library& library, size_t count) {
    std::string shown;
    for (const LabelledKey& labelled : ListLabelledKeys(library)) {
        shown = shown.empty() ? ShowKey(labelled) : cli::Say("{1}, {2}", shown, ShowKey(labelled));
    }
    cli::ThrowUsage(cli::Say("{1} keys are plugged, and none is named: {2}", count, shown),
                    kNameTheKey);
}

std::string TookOneOf(const std::vector<PluggedKey>& keys, const std::string& taken) {
    for (const PluggedKey& key : keys) {
        if (key.serial_number == taken) {
            return cli::Say(
                "took the key {1} in slot {2}, one of {3} that are plugged; --sn SN names another",
                taken, key.slot, keys.size());
        }
    }
    return cli::Say("took the key {1}, one of {2} that are plugged; --sn SN names another", taken,
                    keys.size());
}

// As far as it can be told.
struct Count {
    std::vector<PluggedKey> keys;
    std::string problem;
};

Count CountKeys(const ukey::Library& library) {
    Count count;
    try {
        count.keys = ListPluggedKeys(library);
    } catch (const std::exception& error) {
        count.problem = error.what();
    }
    return count;
}

}  // namespace

KeyChoice ChooseKey(const ukey::Library& library, KeyUse use) {
    // First, so that a key plugged meanwhile is counted and one pulled meanwhile is not replaced.
    KeyChoice choice{library.GetPrintNumber(), {}};
    if (choice.serial_number.empty()) {
        ThrowNoSerialNumber();
    }
    const Count count = CountKeys(library);
    const std::string unknown = cli::Say("the plugged keys cannot be counted: {1}", count.problem);
    if (use == KeyUse::kChanging) {
        if (!count.problem.empty()) {
            cli::ThrowUsage(unknown, "name the key with --sn SN");
        }
        if (count.keys.size() > 1) {
            ThrowChoice(library, count.keys.size());
        }
    } else if (!count.problem.empty()) {
        choice.notice = cli::Say("took the key {1}; {2}", choice.serial_number, unknown);
    } else if (count.keys.size() > 1) {
        choice.notice = TookOneOf(count.keys, choice.serial_number);
    }
    return choice;
}

LabelledKey LabelledKeyOf(const ukey::Library& library, PluggedKey key) {
    LabelledKey one{std::move(key), std::nullopt};
    try {
        if (!one.key.serial_number.empty()) {
            one.label = library.KeyOf(one.key.serial_number).GetLabel();
        }
    } catch (const ukey::Error& error) {
        one.key.problem = error.what();
    }
    return one;
}

std::vector<LabelledKey> ListLabelledKeys(const ukey::Library& library) {
    std::vector<LabelledKey> labelled;
    for (PluggedKey& key : ListPluggedKeys(library)) {
        labelled.push_back(LabelledKeyOf(library, std::move(key)));
    }
    return labelled;
}
