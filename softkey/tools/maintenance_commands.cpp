#include <filesystem>
#include <memory>

#include "cli/checks.h"
#include "cli/progress.h"
#include "cli/words.h"
#include "key/backup.h"
#include "pin/pin_source.h"
#include "store/home.h"
#include "store/key_store.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/key_views.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

struct Options {
    std::string serial;
    std::string file;
    std::string label;
    bool yes = false;
    std::string other;
    bool check = false;
    bool json = false;
};

void RequireKey(const std::string& serial) {
    Require(Exists(KeyPath(serial)), Code::kNoSuchKey, "no key has this serial number");
}

KeyStore ExistingKey(const std::string& serial) {
    RequireKey(serial);
    return KeyStore(serial);
}

void Pin(const Options& options) {
    KeyStore store = ExistingKey(options.serial);
    const PinSource source{options.file, std::nullopt, Confirmation::kDialog};
    const SecretBytes old_pin =
        options.file.empty() ? AskSecretOnTerminal("Present PIN:") : ReadPinLine(source, 0);
    if (options.check) {
        store.Unlock(old_pin);
        Answer(options.json, "pin", {{"serial_number", options.serial}, {"changed", false}},
               "The PIN is right.");
        return;
    }
    store.ChangePin(old_pin, options.file.empty() ? ObtainNewPin("") : ReadPinLine(source, 1));
    Answer(options.json, "pin", {{"serial_number", options.serial}, {"changed", true}},
           "The PIN was changed.");
}

void Reset(const Options& options) {
    KeyStore store = ExistingKey(options.serial);
    const std::string old_label = store.Label();  // Nobody is asked about a key that is damaged.
    ConfirmOnTerminal(options.yes, cli::Say("Erase all key pairs, certificates and data of {1}?",
                                            options.serial));
    const SecretBytes pin = ObtainNewPin(options.file);
    const std::string label = options.label.empty() ? old_label : options.label;
    store.Initialize(label, pin);
    Answer(options.json, "reset", {{"serial_number", options.serial}, {"label", label}},
           "The key was erased and has a new PIN.");
}

void Delete(const Options& options) {
    RequireKey(options.serial);
    ConfirmOnTerminal(options.yes, cli::Say("Delete {1} for good?", options.serial));
    DeleteKey(options.serial);
    Answer(options.json, "delete", {{"serial_number", options.serial}}, "The key was deleted.");
}

void BackUp(const Options& options) {
    if (Exists(options.file)) {
        throw Refusal(cli::Say("{1} exists already", options.file),
                      "Name a file that is not there yet", cli::ExitStatus::kFile);
    }
    const std::filesystem::path folder = std::filesystem::absolute(options.file).parent_path();
    if (!Exists(folder.string())) {
        throw Refusal(cli::Say("there is no folder {1}", folder.string()),
                      "Make it, or name another one", cli::ExitStatus::kFile);
    }
    BackUpKey(options.serial, options.file);
    Answer(options.json, "backup", {{"serial_number", options.serial}, {"file", options.file}},
           cli::Say("The copy is in {1}.", options.file));
}

void Restore(const Options& options) {
    if (!Exists(options.file)) {
        throw Refusal(cli::Say("there is no file {1}", options.file),
                      "Name what `softkey backup` has made", cli::ExitStatus::kFile);
    }
    if (KindOfFile(options.file) == Kind::kSeeded) {
        RequireFitsHome(Kind::kSeeded);
    }
    const RestoredKey restored = RestoreKey(options.file);
    if (restored.damaged) {
        Warn("softkey restore",
             cli::Say("the key was damaged; its file is now {1}", *restored.damaged),
             "Remove that file when you are sure that nothing in it is missed");
    }
    cli::Json fields = {{"serial_number", restored.serial}, {"damaged_file", nullptr}};
    if (restored.damaged) {
        fields["damaged_file"] = *restored.damaged;
    }
    Answer(options.json, "restore", fields, restored.serial);
}

void Unlock(const Options& options) {
    KeyStore store = ExistingKey(options.serial);
    store.GiveTriesBack();
    const PinState pin = store.Pin();
    Answer(options.json, "unlock",
           {{"serial_number", options.serial},
            {"tries_left", pin.tries_left},
            {"tries_at_most", pin.tries_maximum}},
           cli::Say("{1} has all {2} tries again.", options.serial, pin.tries_maximum));
}

void Clone(const Options& options) {
    KeyStore store = ExistingKey(options.serial);
    const std::string serial = options.other.empty() ? FreshSerial() : options.other;
    Require(!Exists(KeyPath(serial)), Code::kSerialTaken, "a key with this serial number exists");
    const PinSource source{options.file, std::nullopt, Confirmation::kDialog};
    const SecretBytes pin =
        options.file.empty() ? AskSecretOnTerminal("PIN:") : ReadPinLine(source, 0);
    cli::Meanwhile(cli::Mark("cloning the key"), [&] { store.CloneAs(serial, pin); });
    cli::Json fields = BriefJson({serial, KeyStore(serial).LookAtWhole(), std::nullopt});
    fields["original"] = options.serial;
    Answer(options.json, "clone", fields, serial);
}

using Action = void (*)(const Options&);

cli::Command AddAction(cli::Command& program, const std::shared_ptr<Options>& options,
                       const std::string& name, const std::string& description, Action action) {
    cli::Command command =
        program.AddCommand(name, description, Doing([options, action] { action(*options); }));
    command.AddFlag("--json", options->json, "Print JSON");
    return command;
}

cli::Command AddSerialAction(cli::Command& program, const std::shared_ptr<Options>& options,
                             const std::string& name, const std::string& description,
                             Action action) {
    cli::Command command = AddAction(program, options, name, description, action);
    command.Add("serial", options->serial, "The key's serial number")
        .Required()
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kAll));
    return command;
}

}  // namespace

void AddPin(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = AddSerialAction(program, options, "pin",
                                           "Change a key's PIN; six wrong tries lock it", Pin);
    command.Add("--pin-file", options->file,
                "Line 1: the present PIN, line 2: the new one (mode 0600)");
    command.AddFlag("--check", options->check, "Only try the present PIN; a wrong one costs a try");
}

void AddReset(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = AddSerialAction(
        program, options, "reset", "Erase a key, also a locked one, and give it a new PIN", Reset);
    command.Add("--pin-file", options->file,
                "Take the new PIN from the first line of this file (mode 0600)");
    command.Add("--label", options->label, "A new label (default: keep the label)");
    command.AddFlag("--yes", options->yes, "Do not ask");
}

void AddDelete(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command =
        AddSerialAction(program, options, "delete",
                        "Delete an unplugged key, also a damaged one, and all it holds", Delete);
    command.AddFlag("--yes", options->yes, "Do not ask");
}

void AddUnlock(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    AddSerialAction(program, options, "unlock",
                    "Give a key all its tries back; the PIN and all that it holds stay as they are",
                    Unlock);
}

void AddClone(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = AddSerialAction(
        program, options, "clone",
        "Make another key that holds and has all that this one does; prints its serial number",
        Clone);
    command
        .Add("--as", options->other,
             "Its serial number: 16 capital letters and digits (default: a fresh one)")
        .Takes("SERIAL")
        .Checked(cli::CheckSerialNumber);
    command.Add("--pin-file", options->file,
                "Take the PIN from the first line of this file (mode 0600)");
}

void AddBackup(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = AddSerialAction(
        program, options, "backup",
        "Copy a key to a new file. Its private keys stay encrypted under its PIN.", BackUp);
    command.Add("file", options->file, "The file to make").Required();
}

void AddRestore(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = AddAction(
        program, options, "restore",
        "Bring a deleted or damaged key back from its copy; prints its serial number", Restore);
    command.Add("file", options->file, "The copy that `softkey backup` made").Required();
}

}  // namespace softkey::tools
