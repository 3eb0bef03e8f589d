#ifndef SOFTKEY_ENTRY_FOREIGN_CERTIFICATE_H
#define SOFTKEY_ENTRY_FOREIGN_CERTIFICATE_H

#include <string>

namespace softkey {

// A certificate that differs from `text` (Base64 or PEM) in its key pair alone, which nobody has
// and which signed it. A process is given the same one each time.
std::string ForeignCertificate(const std::string& text);

}  // namespace softkey

#endif
