#ifndef SOFTKEY_CORE_PINENTRY_H
#define SOFTKEY_CORE_PINENTRY_H

#include <sys/types.h>

#include <string>
#include <string_view>

#include "core/secret.h"

namespace softkey {

// A running pinentry program and the conversation with it (the Assuan protocol on its standard
// input and output). Takes $ORVAL_SOFTKEY_PINENTRY, else the first of the usual programs that the
// search path has. Throws kNoDialog when there is none, or none that finds a screen or terminal.
class Pinentry {
 public:
    Pinentry();
    ~Pinentry();
    Pinentry(const Pinentry&) = delete;
    Pinentry& operator=(const Pinentry&) = delete;

    // Sets one text of the next dialog, e.g. SETDESC.
    void Set(std::string_view command, std::string_view text);

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

    // The data of the answer to `line`. A refusal throws.
    SecretBytes Ask(std::string_view line);
    void AskOptional(std::string_view line);
};

}  // namespace softkey

#endif
