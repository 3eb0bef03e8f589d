#ifndef LOGS_FORMS_H
#define LOGS_FORMS_H

#include <string_view>

// The forms of the library's records: which call a record belongs to, and what its text holds.
namespace logs {

// What a record is in its call.
enum class Role { kBegins, kGoesOn, kEnds, kIsAll };

// What stands behind the words that open a text.
enum class Holds {
    kNothing,
    kCapacity,     // eight hexadecimal digits
    kEndCode,      // the same, as a code
    kDecimalCode,  // a code and the words behind it
    kStep,         // a code and the number of a step
    kSlot,         // a slot and the number of a step
    kVersion,      // the caller's buffer as a text, as are the next two
    kUsbIds,
    kSerialNumber,
    kHexSerialNumber,
    kKeyText,
    kPackage,
    kRequest,  // the rest of a serial number, and a description
};

struct Form {
    std::string_view name;
    std::string_view opening;
    Role role;
    Holds holds;
    std::string_view function;  // empty: that of the call which the thread is in
};

// Nothing for a record of a form that nobody knows.
const Form* FindForm(std::string_view name, std::string_view text);

// Whether the library writes records under that name.
bool IsKnownName(std::string_view name);

// Whether the text may go on behind what looks like its end: it shows what a caller gave.
bool MayHoldAnything(std::string_view name, std::string_view text);

// A function that writes records, and what it means when its call has no end there.
struct LoggedFunction {
    std::string_view name;
    bool always_ends;  // it does, unless it fails or its process ends
    const char* without_end;
};

struct LoggedFunctions {
    const LoggedFunction* first;
    const LoggedFunction* last;
    const LoggedFunction* begin() const { return first; }
    const LoggedFunction* end() const { return last; }
};
LoggedFunctions AllLogged();

// Nothing for a function that writes none.
const LoggedFunction* FindLogged(std::string_view function);

// What the number of a step of WaitForKeyEvent stands for; empty for any other number.
std::string_view StepInWords(int line);

}  // namespace logs

#endif
