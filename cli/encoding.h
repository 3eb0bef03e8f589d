#ifndef CLI_ENCODING_H
#define CLI_ENCODING_H

#include <string>
#include <string_view>
#include <vector>

namespace cli {

// The parts of a text joined with "||", without the empty ones.
std::vector<std::string> SplitJoined(std::string_view text);

// A PEM block (RFC 7468) around a Base64 text. A text that already is one stays as it is; one that
// is not Base64 is refused with a failure that points to the text format.
std::string ToPem(const std::string& label, const std::string& base64);

// The text without blanks and line ends, which mean nothing in hexadecimal and Base64.
std::string WithoutBlanks(std::string_view text);

// A certificate file's contents as the library takes them: the Base64 text of a PEM block or of
// binary DER, without line breaks; anything else as it is.
std::string CertificateText(const std::string& contents);

std::string Hex(std::string_view bytes);

}  // namespace cli

#endif
