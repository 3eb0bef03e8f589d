#ifndef SOFTKEY_BASE_SETTINGS_H
#define SOFTKEY_BASE_SETTINGS_H

#include <string>
#include <string_view>

#include "codes/texts.h"

namespace softkey {

using codes::Language;

enum class Charset { kUtf8, kGb18030 };

// The language of texts and dialogs, and the character set of texts that cross the interface. Both
// belong to the process. The language starts as the locale's, the character set as UTF-8.
Language CurrentLanguage();
Charset CurrentCharset();

// `zh`, `zh_CN`, `en`, `en_US`, also with "-"; letter case does not matter. Throws kSelector.
void SelectLanguage(std::string_view name);

// `UTF-8`, `UTF8`, `GB18030`; letter case does not matter. Throws kSelector.
void SelectCharset(std::string_view name);

// Between UTF-8, which is used inside, and the client's character set. Throws kData for bytes that
// are no text in the character set.
std::string ToClient(std::string_view utf8);
std::string FromClient(std::string_view text);

}  // namespace softkey

#endif
