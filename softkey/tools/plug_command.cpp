#include <signal.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
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
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int64_t kLongestPlug = 31536000;  // a year

struct PlugOptions {
    std::string serial;
    std::string pin_file;
    int pin_descriptor = -1;
    std::string confirm;
    std::optional<double> seconds;
    double given_seconds = 0;
    bool json = false;
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

PinSource SourceOf(const PlugOptions& options) {
    PinSource source;
    if (!options.pin_file.empty()) {
        source.file = std::filesystem::absolute(options.pin_file).string();
        CheckPinFile(*source.file);
    }
    if (options.pin_descriptor >= 0) {
        source.descriptor = options.pin_descriptor;
    }
    source.confirmation = ReadConfirmation(options, source.IsUnattended());
    return source;
}

PluggedKey PlugIn(const PlugOptions& options) {
    const PinSource source = SourceOf(options);
    EnsureHome();
    const bool damaged = Slots::Present().damaged;
    PluggedKey key = Slots::OpenOrCreate().Plug(options.serial, source);
    if (damaged) {
        Warn("softkey plug", "the record of what is plugged was damaged and has been made anew",
             "Plug the other keys again that were plugged");
    }
    Answer(options.json, "plug", {{"serial_number", key.serial}, {"slot", key.slot}},
           cli::Say("Plugged {1} into slot {2}.", key.serial, key.slot));
    return key;
}

// The signals that end a command, held back while it lives, so that none comes between.
class EndingSignals {
 public:
    EndingSignals() {
        sigemptyset(&signals_);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
            sigaddset(&signals_, signal);
        }
        sigprocmask(SIG_BLOCK, &signals_, nullptr);
    }

    // Whether one came within that time.
    bool CameWithin(Clock::duration time) const {
        const auto nanoseconds = std::chrono::nanoseconds(time).count();
        constexpr int64_t kSecond = 1000000000;
        const timespec limit{nanoseconds / kSecond, nanoseconds % kSecond};
        return sigtimedwait(&signals_, nullptr, &limit) > 0;
    }

 private:
    sigset_t signals_{};
};

// Whether that very plug still holds.
bool StillPlugged(const PluggedKey& key) {
    const Slots::Snapshot slots = Slots::Present();
    const PluggedKey* const now = slots.Find(key.serial);
    return now != nullptr && now->plug_id == key.plug_id;
}

cli::ExitStatus PlugForAWhile(const PlugOptions& options) {
    // How soon it notices that another has unplugged the key.
    constexpr auto kGlance = std::chrono::milliseconds(200);
    const EndingSignals signals;
    const PluggedKey key = PlugIn(options);
    std::cout.flush();
    const auto end = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                        std::chrono::duration<double>(*options.seconds));
    bool interrupted = false;
    while (!interrupted && Clock::now() < end && StillPlugged(key)) {
        interrupted = signals.CameWithin(std::min<Clock::duration>(kGlance, end - Clock::now()));
    }
    if (StillPlugged(key)) {
        Slots::OpenOrCreate().Unplug(key.serial);
    }
    return interrupted ? cli::ExitStatus::kInterrupted : cli::ExitStatus::kDone;
}

cli::ExitStatus Plug(const PlugOptions& options) {
    if (options.seconds) {
        return PlugForAWhile(options);
    }
    PlugIn(options);
    return cli::ExitStatus::kDone;
}

struct UnplugOptions {
    std::string serial;
    bool all = false;
    bool json = false;
};

std::vector<PluggedKey> UnplugAll() {
    std::vector<PluggedKey> gone;
    if (std::optional<Slots> slots = Slots::OpenExisting()) {
        for (const PluggedKey& key : slots->Plugged()) {
            gone.push_back(slots->Unplug(key.serial));
        }
    }
    return gone;
}

PluggedKey UnplugOne(const std::string& serial) {
    std::optional<Slots> slots = Slots::OpenExisting();
    Require(slots.has_value(), Code::kDeviceRemoved,
            Slots::Present().damaged ? kDamagedRecord : "no key is plugged in");
    return slots->Unplug(serial);
}

void Unplug(const UnplugOptions& options) {
    if (options.all != options.serial.empty()) {
        throw Refusal("a serial number or --all is needed, and not both",
                      "softkey list shows what is plugged", cli::ExitStatus::kUsage);
    }
    const std::vector<PluggedKey> gone =
        options.all ? UnplugAll() : std::vector<PluggedKey>{UnplugOne(options.serial)};
    cli::Json keys = cli::Json::array();
    for (const PluggedKey& key : gone) {
        keys.push_back({{"serial_number", key.serial}, {"slot", key.slot}});
        if (!options.json) {
            Say(cli::Say("Unplugged {1} from slot {2}.", key.serial, key.slot));
        }
    }
    if (options.json || gone.empty()) {
        Answer(options.json, "unplug", {{"keys", keys}}, "No key is plugged in.");
    }
}

void AddPinOptions(cli::Command& command, const std::shared_ptr<PlugOptions>& options) {
    const cli::Option file = command.Add(
        "--pin-file", options->pin_file,
        "Unattended: line 1 of this file is the PIN, line 2 the new PIN for a PIN change. The "
        "file must be yours with mode 0600.");
    command
        .Add("--pin-fd", options->pin_descriptor,
             "Unattended: the same from this open descriptor of the client's process")
        .Excludes(file)
        .Checked(cli::WholeNumber(0, std::numeric_limits<int>::max()));
}

}  // namespace

void AddPlug(cli::Command& program) {
    const auto options = std::make_shared<PlugOptions>();
    const auto seconds = std::make_shared<std::optional<cli::Option>>();
    cli::Command command = program.AddCommand(
        "plug",
        "Plug a key in: clients see it arrive. PINs are asked for in a dialog (pinentry) unless "
        "an unattended source is named here.",
        [options, seconds] {
            if ((*seconds)->IsGiven()) {
                options->seconds = options->given_seconds;
            }
            return Plug(*options);
        });
    command.Add("serial", options->serial, "The key's serial number")
        .Required()
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kUnplugged));
    AddPinOptions(command, options);
    command
        .Add("--confirm", options->confirm,
             "How critical signatures are confirmed: dialog, always or never (default: "
             "dialog; always with an unattended source)")
        .OneOf({"dialog", "always", "never"});
    *seconds = command
                   .Add("--for", options->given_seconds,
                        "Wait so many seconds and unplug it again; so do Ctrl-C and SIGTERM")
                   .Takes("SECONDS")
                   .Checked(cli::Seconds(kLongestPlug));
    command.AddFlag("--json", options->json, "Print JSON");
}

void AddUnplug(cli::Command& program) {
    const auto options = std::make_shared<UnplugOptions>();
    cli::Command command =
        program.AddCommand("unplug", "Unplug a key: clients see it go, cached PINs are gone",
                           Doing([options] { Unplug(*options); }));
    command.Add("serial", options->serial, "The key's serial number")
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kPlugged));
    command.AddFlag("--all", options->all, "Every key that is plugged, be it none");
    command.AddFlag("--json", options->json, "Print JSON");
}

}  // namespace softkey::tools
