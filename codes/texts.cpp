#include "codes/texts.h"

#include "codes/catalogue.h"
#include "codes/notation.h"

namespace codes {

std::string TextOf(int32_t code, Language language) {
    const bool chinese = language == Language::kChinese;
    const Row* const row = Find(code);
    if (row != nullptr && row->english != nullptr) {
        return chinese ? row->chinese : row->english;
    }
    return chinese ? "未知错误码 " + Hexadecimal(code) + "。"
                   : "Unknown code " + Hexadecimal(code) + ".";  // no message: both are here
}

}  // namespace codes
