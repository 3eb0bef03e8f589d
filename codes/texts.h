#ifndef CODES_TEXTS_H
#define CODES_TEXTS_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace softkey {

enum class Language { kEnglish, kChinese };

struct ErrorText {
    int32_t code;
    const char* english;
    const char* chinese;
};

// All codes that have a text, in ascending order of the unsigned code.
const ErrorText* ErrorTexts(size_t* count);

// Null for a code from outside.
const ErrorText* FindErrorText(int32_t code);

// The text of `code` in UTF-8. A code from outside gets a text that shows its number.
std::string TextOf(int32_t code, Language language);

}  // namespace softkey

#endif
