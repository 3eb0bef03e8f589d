#ifndef CODES_TEXTS_H
#define CODES_TEXTS_H

#include <cstdint>
#include <string>

namespace codes {

enum class Language { kEnglish, kChinese };

// The software key's text of `code` in UTF-8. A code from outside gets a text that shows its
// number.
std::string TextOf(int32_t code, Language language);

}  // namespace codes

#endif
