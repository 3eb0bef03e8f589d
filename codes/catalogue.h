#ifndef CODES_CATALOGUE_H
#define CODES_CATALOGUE_H

#include <cstdint>
#include <string>

#include "cli/exit_status.h"
#include "codes/code.h"

// All that is known of codes, each in one row: the commands, the software key's texts and the
// tables of the documents are made from it.
namespace codes {

struct Row {
    int32_t code;
    cli::ExitStatus status;  // what a command ends with that gets the code
    const char* name;        // null where it has none
    const char* meaning;     // whoever gives it; null where the software key's text says it as well
    // The software key's texts; null where it has none.
    const char* english;
    const char* chinese;
    // What to do about it, for a client's user, who may have any maker's key. "{help}" is where the
    // help of the verb is named.
    const char* next;
    // The same for who gave a command of the software key; null where only its help can tell.
    const char* softkey_next = nullptr;
};

// Advice that serves outside the rows too, first for a key's own code about which nothing better
// can be said.
inline constexpr const char* kAskTheMaker =
    "see what the key maker's documents say about the code; 'ukeyctl info' shows whether the key "
    "answers at all";
inline constexpr const char* kLookAtCiphertext =
    "check that the text is complete and was encrypted for this key's encryption certificate";

// Nothing for a code of which only a key knows more.
const Row* Find(int32_t code);

// In ascending order of the unsigned code.
struct Rows {
    const Row* first;
    const Row* last;
    const Row* begin() const { return first; }
    const Row* end() const { return last; }
};
Rows All();

// Whose code it is.
enum class Owner { kLibrary, kStandard, kSoftwareKey };
Owner OwnerOf(const Row& row);

// What the code means, in the user's language.
std::string MeaningOf(const Row& row);

}  // namespace codes

#endif
