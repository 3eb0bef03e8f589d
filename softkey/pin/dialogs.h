#ifndef SOFTKEY_PIN_DIALOGS_H
#define SOFTKEY_PIN_DIALOGS_H

#include <string>

#include "base/secret.h"
#include "slots/slots.h"
#include "store/key_store.h"

namespace softkey {

// The key that a dialog is about.
struct DialogSubject {
    const PluggedKey& key;
    std::string label;
};

// Each asks the key's unattended source when it has one, else the user. They throw kCancelled,
// kNoDialog, kDialogFailed or what the source is refused for.
SecretBytes AskForPin(const DialogSubject& subject, const PinState& state);

struct PinChange {
    SecretBytes old_pin;
    SecretBytes new_pin;
};
PinChange AskForPinChange(const DialogSubject& subject, const PinState& state);

// The new PIN of a key that is about to be erased; the dialog says so.
SecretBytes AskForInitialPin(const DialogSubject& subject);

// Shows the digest of what is signed and the warning, cut where the dialog has no room for it all.
// Throws kNotConfirmed.
void AskForConfirmation(const DialogSubject& subject, const std::string& warning,
                        const std::string& digest);

}  // namespace softkey

#endif
