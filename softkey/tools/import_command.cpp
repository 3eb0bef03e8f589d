#include <memory>

#include "base/encoding.h"
#include "cli/checks.h"
#include "cli/progress.h"
#include "cli/words.h"
#include "crypto/key_files.h"
#include "key/key_import.h"
#include "pin/pin_source.h"
#include "store/home.h"
#include "tools/console.h"
#include "tools/key_commands.h"
#include "tools/key_views.h"
#include "tools/program.h"

namespace softkey::tools {
namespace {

struct Options {
    std::string serial;
    std::vector<std::string> files;
    std::string pin_file;
    std::string passphrase_file;
    std::string usage;
    bool json = false;
};

SecretBytes FirstLineOf(const std::string& file) {
    return ReadPinLine({file, std::nullopt, Confirmation::kDialog}, 0);
}

SecretBytes PassphraseFor(const std::string& file, const Options& options) {
    return options.passphrase_file.empty()
               ? AskSecretOnTerminal(cli::Say("Passphrase of {1}:", file))
               : FirstLineOf(options.passphrase_file);
}

KeyFile Read(const std::string& path, const Options& options) {
    if (!Exists(path)) {
        throw Refusal(cli::Say("there is no file {1}", path),
                      "Name files with private keys or certificates", cli::ExitStatus::kFile);
    }
    KeyFile file = ReadKeyFile(path, [&] { return PassphraseFor(path, options); });
    if (!file.whole || (file.pairs.empty() && file.certificates.empty())) {
        throw Refusal(
            file.encrypted
                ? cli::Say("{1} cannot be opened: the passphrase is wrong, or it is damaged", path)
                : cli::Say("{1} holds no private key and no certificate that can be read", path),
            "What can be imported: PEM, PKCS#8 and PKCS#12, with SM2 or RSA-2048 keys",
            cli::ExitStatus::kFile);
    }
    return file;
}

KeyMaterial ReadAll(const Options& options) {
    KeyMaterial material;
    for (const std::string& path : options.files) {
        KeyFile file = Read(path, options);
        std::move(file.pairs.begin(), file.pairs.end(), std::back_inserter(material.pairs));
        std::move(file.certificates.begin(), file.certificates.end(),
                  std::back_inserter(material.certificates));
    }
    if (!options.usage.empty()) {
        material.usage = options.usage == "signing" ? Usage::kSigning : Usage::kEncryption;
    }
    return material;
}

void Import(const Options& options) {
    Require(Exists(KeyPath(options.serial)), Code::kNoSuchKey, "no key has this serial number");
    const KeyMaterial material = ReadAll(options);
    KeyStore store(options.serial);
    const SecretBytes pin =
        options.pin_file.empty() ? AskSecretOnTerminal("PIN:") : FirstLineOf(options.pin_file);
    const ImportedKeys imported = cli::Meanwhile(
        cli::Mark("importing"), [&] { return ImportKeys(store, store.Unlock(pin), material); });
    Answer(options.json, "import",
           {{"serial_number", options.serial},
            {"imported_pairs", imported.pairs},
            {"imported_certificates", imported.certificates},
            {"passed_over", imported.passed_over},
            {"key_pairs", PairsJson(store.Pairs())}},
           cli::Say("Imported: key pairs {1}, certificates {2}; passed over: {3}.", imported.pairs,
                    imported.certificates, imported.passed_over));
}

}  // namespace

void AddImport(cli::Command& program) {
    const auto options = std::make_shared<Options>();
    cli::Command command = program.AddCommand(
        "import",
        "Write private keys and certificates of files (PEM, PKCS#8, PKCS#12; SM2, RSA-2048) to a "
        "key",
        Doing([options] { Import(*options); }));
    command.Add("serial", options->serial, "The key's serial number")
        .Required()
        .Checked(cli::CheckSerialNumber)
        .Offers(SerialNumbers(Which::kAll));
    command.Add("file", options->files, "The files to read").Required();
    command.Add("--pin-file", options->pin_file,
                "Take the PIN from the first line of this file (mode 0600)");
    command
        .Add("--passphrase-file", options->passphrase_file,
             "Take the passphrase of encrypted files from the first line of this one (mode 0600)")
        .Takes("FILE");
    command
        .Add("--usage", options->usage,
             "What pairs are for whose certificate does not tell (default: signing)")
        .OneOf({"signing", "encryption"});
    command.AddFlag("--json", options->json, "Print JSON");
}

}  // namespace softkey::tools
