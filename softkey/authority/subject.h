#ifndef SOFTKEY_AUTHORITY_SUBJECT_H
#define SOFTKEY_AUTHORITY_SUBJECT_H

#include <string>

#include "crypto/ssl.h"

namespace softkey {

// A name as RFC 4514 writes it, most specific part first: "CN=Alice,O=Example,C=CN". What the
// grammar needs for itself stands behind a backslash, "\," and "\\", or as its two hexadecimal
// digits, "\2C"; "+" joins two fields into one part. Fields have their usual names or are dotted
// object identifiers. Throws kInvalidParameter.
ssl::Name ReadSubject(const std::string& text);

}  // namespace softkey

#endif
