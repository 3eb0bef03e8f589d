#ifndef SOFTKEY_BACKEND_ARGUMENTS_H
#define SOFTKEY_BACKEND_ARGUMENTS_H

#include <string>

#include "base/error.h"
#include "entry/answer.h"
#include "entry/delivery.h"

// How arguments come in through the interface.
namespace softkey {

// Throws kInvalidParameter for a null pointer.
std::string RequireText(const char* text);

// Some arguments have one value only; another one is not guessed at.
void RequireConstant(bool as_expected);

}  // namespace softkey

#endif
