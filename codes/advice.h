#ifndef CODES_ADVICE_H
#define CODES_ADVICE_H

#include <cstdint>
#include <string>

#include "codes/catalogue.h"

namespace codes {

// Like Find, once a key has been asked. key_text: what it says of the code, empty where it has not
// been asked; a maker may use a number of the software key's for something else.
const Row* FindKnown(int32_t code, const std::string& key_text = {});

// Whose code it is, for people.
std::string DefinedBy(int32_t code, const std::string& key_text);

// What a command ends with that got the code.
cli::ExitStatus StatusFor(int32_t code, const std::string& key_text = {});

// What to do about a code, known or not, that the function gave; no function for the code in
// general. help: where the help is.
std::string NextFor(int32_t code, const std::string& function, const std::string& key_text,
                    const std::string& help);

// The same for who gave a command of the software key.
std::string NextForSoftkey(Code code);

}  // namespace codes

#endif
