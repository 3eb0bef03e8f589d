#ifndef SOFTKEY_BASE_ENCODING_H
#define SOFTKEY_BASE_ENCODING_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/secret.h"

namespace softkey {

std::string ToHex(const Bytes& bytes);

// Empty when `text` is not an even number of hexadecimal digits.
std::optional<Bytes> FromHex(std::string_view text);

// One line, without line breaks.
std::string ToBase64(const Bytes& bytes);

// Skips blanks and line breaks. Empty when anything else is wrong with `text`.
std::optional<Bytes> FromBase64(std::string_view text);

// `der` in PEM armour, e.g. label "CERTIFICATE".
std::string ToPem(const Bytes& der, const std::string& label);

// The bytes of a Base64 text that may stand in PEM armour of any label.
std::optional<Bytes> FromBase64OrPem(std::string_view text);

// Whether a text is UTF-8 without control characters (C0, DEL, C1), so that it may be shown.
bool IsPlainText(std::string_view text);

// The parts of `text` between the separators; an empty text has one empty part.
std::vector<std::string> Split(std::string_view text, std::string_view separator);

}  // namespace softkey

#endif
