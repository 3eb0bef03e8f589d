#include "backend/arguments.h"

namespace softkey {

std::string RequireText(const char* text) {
    Require(text != nullptr, Code::kInvalidParameter, "a text is missing");
    return text;
}

void RequireConstant(bool as_expected) {
    Require(as_expected, Code::kSelector, "an argument that has one value only has another");
}

}  // namespace softkey
