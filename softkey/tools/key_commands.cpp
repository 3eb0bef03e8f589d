#include "tools/key_commands.h"

#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>

#include "cli/checks.h"
#include "cli/words.h"
#include "pin/pin_source.h"
#include "slots/slots.h"
#include "store/home.h"
#include "store/key_store.h"
#include "tools/console.h"
#include "tools/key_views.h"
#include "tools/listing.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

constexpr char kDamagedRecord[] =
    "the record of what is plugged is damaged; no key counts as plugged";

std::optional<PluggedKey> FindIn(const Slots::Snapshot& slots, const std::string& serial) {
    const PluggedKey* const key = slots.Find(serial);
    return key == nullptr ? std::nullopt : std::optional<PluggedKey>(*key);
}

KeySummary Summarize(const std::string& serial) {
    Require(Exists(KeyPath(serial)), Code::kNoSuchKey, "no key has this serial number");
    return {serial, KeyStore(serial).LookAtWhole(), FindIn(Slots::Present(), serial)};
}

// True when all that there is could be listed as it is.
bool List(bool as_json) {
    const std::vector<std::string> serials = AllSerials();
    const Slots::Snapshot slots = Slots::Present();
    const std::vector<ListedKey> keys = LookAtAll(serials, slots);
    if (as_json) {
        ShowAsJson(keys);
    } else {
        ShowAsText(keys);
    }
    bool sound = !slots.damaged;
    if (slots.damaged) {
        Warn("softkey list", kDamagedRecord,
             "Plug keys again with: softkey plug SERIAL; that makes a new record");
    }
    for (const ListedKey& key : keys) {
        if (key.problem) {
            Report("softkey list: " + key.serial, *key.problem);
            sound = false;
        }
    }
    return sound;
}

struct PlugOptions {
    std::string serial;
    std::string pin_file;
    int pin_descriptor = -1;
    std::string confirm;
};

// An unattended source also confirms: nobody is there to look at a dialog. A word for the
// confirmation can be given with either kind of source.
Confirmation ReadConfirmation(const PlugOptions& options, bool unattended) {
    if (options.confirm == "always") {
        return Confirmation::kAlways;
    }
    if (options.confirm == "never") {
        return Confirmation::kNever;
    }
    if (options.confirm == "dialog") {
        return Confirmation::kDialog;
    }
    return unattended ? Confirmation::kAlways : Confirmation::kDialog;
}

void Plug(const PlugOptions& options) {
    PinSource source;
    if (!options.pin_file.empty()) {
        source.file = std::filesystem::absolute(options.pin_file).string();
        CheckPinFile(*source.file);
    }
    if (options.pin_descriptor >= 0) {
        source.descriptor = options.pin_descriptor;
    }
    source.confirmation = ReadConfirmation(options, source.IsUnattended());
    EnsureHome();
    const bool damaged = Slots::Present().damaged;
    const PluggedKey key = Slots::OpenOrCreate().Plug(options.serial, source);
    if (damaged) {
        Warn("softkey plug", "the record of what is plugged was damaged and has been made anew",
             "Plug the other keys again that were plugged");
    }
    Say(cli::Say("Plugged {1} into slot {2}.", key.serial, key.slot));
}

void Unplug(const std::string& serial) {
    std::optional<Slots> slots = Slots::OpenExisting();
    Require(slots.has_value(), Code::kDeviceRemoved,
            Slots::Present().damaged ? kDamagedRecord : "no key is plugged in");
    const PluggedKey key = slots->Unplug(serial);
    Say(cli::Say("Unplugged {1} from slot {2}.", key.serial, key.slot));
}

cli::Candidates OfferKeys(Which which) {
    cli::Candidates candidates;
    const Slots::Snapshot slots = Slots::Present();
    for (const ListedKey& listed : LookAtAll(AllSerials(), slots)) {
        if (which == Which::kAll || (which == Which::kPlugged) == listed.plugged.has_value()) {
            candidates.push_back(
                {listed.serial, listed.summary ? listed.summary->key.label : cli::Say("unusable")});
        }
    }
    return candidates;
}

}  // namespace

cli::Source SerialNumbers(Which which) {
    return [which](const cli::OnLine&) {
        try {
            return OfferKeys(which);
        } catch (const std::exception&) {
            return cli::Candidates();  // who types is not told of it; the command itself will be
        }
    };
}

void AddList(cli::Command& program) {
    const auto json = std::make_shared<bool>(false);
    cli::Command command = program.AddCommand(
        "list", "List all keys, where they are plugged, and their PINs",
        [json] { return List(*json) ? cli::ExitStatus::kDone : cli::ExitStatus::kFile; });
    command.AddFlag("--json", *json, "Print JSON");
    command.Close(cli::Say("A key that cannot be used is listed as unusable; standard error tells "
                           "why and what to do.") +
                  "\n" + cli::TellStatusesOf(cli::kSoftkey));
}

void AddPlug(cli::Command& program) {
    const auto options = std::make_shared<PlugOptions>();
    cli::Command command = program.AddCommand(
        "plug",
        "Plug a key in: clients see it arrive. PINs are asked for in a dialog (pinentry) unless "
        "an unattended source is named here.",
        Doing([options] { Plug(*options); }));
    command.Add("serial", options->serial, "The key's serial number")
        .Required()
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kUnplugged));
    const cli::Option file = command.Add(
        "--pin-file", options->pin_file,
        "Unattended: line 1 of this file is the PIN, line 2 the new PIN for a PIN change. The "
        "file must be yours with mode 0600.");
    command
        .Add("--pin-fd", options->pin_descriptor,
             "Unattended: the same from this open descriptor of the client's process")
        .Excludes(file)
        .Checked(cli::WholeNumber(0, std::numeric_limits<int>::max()));
    command
        .Add("--confirm", options->confirm,
             "How critical signatures are confirmed: dialog, always or never (default: "
             "dialog; always with an unattended source)")
        .OneOf({"dialog", "always", "never"});
}

void AddUnplug(cli::Command& program) {
    const auto serial = std::make_shared<std::string>();
    cli::Command command =
        program.AddCommand("unplug", "Unplug a key: clients see it go, cached PINs are gone",
                           Doing([serial] { Unplug(*serial); }));
    command.Add("serial", *serial, "The key's serial number")
        .Required()
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kPlugged));
}

void AddShow(cli::Command& program) {
    struct Options {
        std::string serial;
        bool json = false;
    };
    const auto options = std::make_shared<Options>();
    cli::Command command = program.AddCommand(
        "show", "Show a key: its PIN's state, key pairs and certificates", Doing([options] {
            const KeySummary summary = Summarize(options->serial);
            options->json ? ShowAsJson(summary) : ShowAsText(summary);
        }));
    command.Add("serial", options->serial, "The key's serial number")
        .Required()
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kAll));
    command.AddFlag("--json", options->json, "Print JSON, with public keys and certificates");
}

}  // namespace softkey::tools
