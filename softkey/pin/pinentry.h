#ifndef SOFTKEY_PIN_PINENTRY_H
#define SOFTKEY_PIN_PINENTRY_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

#include "base/secret.h"

namespace softkey {

// A running pinentry program and the conversation with it (the Assuan protocol on its standard
// input and output). Takes $ORVAL_SOFTKEY_PINENTRY, else the first of the usual programs that the
// search path has. Throws kNoDialog when there is none, or none that finds a screen or terminal;
// kDialogFailed when it hangs up or refuses a text or an option: whatever it refuses, the user may
// not have seen what is asked.
class Pinentry {
 public:
    // The room of a line of the protocol, with the command and the line's end.
    static constexpr size_t kLongestLine = 1000;

    Pinentry();
    ~Pinentry();
    Pinentry(const Pinentry&) = delete;
    Pinentry& operator=(const Pinentry&) = delete;

    // Sets one text of the next dialog, e.g. SETDESC.
    void Set(std::string_view command, std::string_view text);

    // The beginning of `text`, in whole characters, that one line still holds behind `command` and
    // `others`. Both are UTF-8.
    static std::string_view FittingPart(std::string_view command, std::string_view others,
                                        std::string_view text);

    // Asks for a PIN, once. Throws kCancelled.
    SecretBytes GetPin();

    // Throws kNotConfirmed when the user refuses.
    void Confirm();

 private:
    int channel_ = -1;
    pid_t process_ = -1;
    SecretBytes received_;

    void Start(const std::string& program);
    void TellTerminal();
    void Send(std::string_view line);
    SecretBytes ReceiveLine();

    // An answer: its data, and the line that refused when it was not OK.
    struct Reply {
        SecretBytes data;
        std::optional<std::string> refusal;
    };
    Reply Receive();

    // What only prepares a dialog, and what shows it to the user. Both throw what a refusal means.
    void Tell(std::string_view line);
    SecretBytes Ask(std::string_view line);
};

}  // namespace softkey

#endif
