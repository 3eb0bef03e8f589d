#ifndef SOFTKEY_BACKEND_BOUNDARY_H
#define SOFTKEY_BACKEND_BOUNDARY_H

#include <cstdint>
#include <string>

#include "core/answer.h"
#include "core/device.h"
#include "core/error_texts.h"
#include "core/settings.h"

#define ENTRY __attribute__((visibility("default")))

namespace softkey {

// The text of a code in the client's language and character set. For a wrong PIN it also tells
// the tries that are left.
inline std::string TextOfCode(int64_t code) {
    const Language language = CurrentLanguage();
    std::string text = TextOf(static_cast<int32_t>(code), language);
    if (code == static_cast<int64_t>(Code::kPinIncorrect) && LastTriesLeft() > 0) {
        const std::string tries = std::to_string(LastTriesLeft());
        text += language == Language::kChinese ? "剩余 " + tries + " 次。"
                                               : " Tries left: " + tries + ".";
    }
    return ToClient(text);
}

}  // namespace softkey

#endif
