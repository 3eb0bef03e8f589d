#include "tools/key_commands.h"

#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <optional>

#include "cli/checks.h"
#include "cli/progress.h"
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
    const std::vector<ListedKey> keys =
        cli::Meanwhile(cli::Mark("looking at the keys"), [&] { return LookAtAll(serials, slots); });
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
