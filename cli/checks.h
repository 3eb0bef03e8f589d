#ifndef CLI_ARGUMENTS_H
#define CLI_ARGUMENTS_H

#include <cstring>
#include <string>
#include <vector>

// What an unset shell variable leaves on a command line must never pass for what was meant.
namespace cli {

// The words for the parser. "--name=" with nothing behind it becomes "--name" and an empty word:
// the parser would take the next word for the value, whatever that is.
inline std::vector<char*> SeparateEmptyValues(int count, char** arguments) {
    static char empty[] = "";
    std::vector<char*> words;
    for (char** word = arguments; word != arguments + count; ++word) {
        words.push_back(*word);
        char* const sign = std::strchr(*word, '=');
        if (std::strncmp(*word, "--", 2) == 0 && sign != nullptr && sign[1] == '\0') {
            *sign = '\0';
            words.push_back(empty);
        }
    }
    return words;
}

// What is wrong with a value that must be there; nothing when it is.
inline std::string CheckValue(const std::string& value) {
    return value.empty() ? "the value is empty; a shell variable may be unset" : "";
}

// The same for a serial number. One that looks like an option is the next word on the line.
inline std::string CheckSerialNumber(const std::string& value) {
    if (value.empty()) {
        return "the serial number is empty; a shell variable may be unset";
    }
    return value.front() == '-' ? value + " is no serial number; a shell variable may be unset"
                                : "";
}

}  // namespace cli

#endif
