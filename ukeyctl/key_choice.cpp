#include "key_choice.h"

#include "cli/failure.h"

namespace {

constexpr const char* kNameTheKey =
    "name the key with --sn SN; 'ukeyctl list' shows all that are plugged";

[[noreturn]] void ThrowNoSerialNumber() {
    cli::Throw(cli::ExitStatus::kFailed, "the key cannot be told apart from others",
               "GetPrintNumber gave an empty serial number", kNameTheKey);
}

std::string ShowKey(const LabelledKey& labelled) {
    const PluggedKey& key = labelled.key;
    return (key.serial_number.empty() ? "a key that tells no number" : key.serial_number) +
           " (slot " + std::to_string(key.slot) +
           (labelled.label ? ", \"" + *labelled.label + "\")" : ", no label)");
}

[[noreturn]] void ThrowChoice(const ukey::Library& library, size_t count) {
    std::string shown;
    for (const LabelledKey& labelled : ListLabelledKeys(library)) {
        shown += (shown.empty() ? "" : ", ") + ShowKey(labelled);
    }
    cli::ThrowUsage(std::to_string(count) + " keys are plugged, and none is named: " + shown,
                    kNameTheKey);
}

std::string ShowPlace(const std::string& taken, const std::vector<PluggedKey>& keys) {
    std::string place;
    for (const PluggedKey& key : keys) {
        if (key.serial_number == taken) {
            place = " in slot " + std::to_string(key.slot);
        }
    }
    return place + ", one of " + std::to_string(keys.size()) + " that are plugged";
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
    const std::string unknown = "the plugged keys cannot be counted: " + count.problem;
    if (use == KeyUse::kChanging) {
        if (!count.problem.empty()) {
            cli::ThrowUsage(unknown, "name the key with --sn SN");
        }
        if (count.keys.size() > 1) {
            ThrowChoice(library, count.keys.size());
        }
    } else if (!count.problem.empty()) {
        choice.notice = "took the key " + choice.serial_number + "; " + unknown;
    } else if (count.keys.size() > 1) {
        choice.notice = "took the key " + choice.serial_number +
                        ShowPlace(choice.serial_number, count.keys) + "; --sn SN names another";
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
