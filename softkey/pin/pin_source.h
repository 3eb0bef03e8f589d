#ifndef SOFTKEY_PIN_PIN_SOURCE_H
#define SOFTKEY_PIN_PIN_SOURCE_H

#include <string>

#include "base/secret.h"
#include "slots/slots.h"

namespace softkey {

// Throws kPinSourceRefused or kPinSourceUnreadable when `path` may not serve as a PIN file.
void CheckPinFile(const std::string& path);

// A line of an unattended source. A file gives the same lines at each call; a pipe gives the next
// one that nobody has read.
SecretBytes ReadPinLine(const PinSource& source, int line);

// The first line of a PIN file.
SecretBytes ReadPinFile(const std::string& path);

}  // namespace softkey

#endif
