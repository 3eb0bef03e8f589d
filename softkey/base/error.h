#ifndef SOFTKEY_BASE_ERROR_H
#define SOFTKEY_BASE_ERROR_H

#include <stdexcept>
#include <string>
#include <utility>

#include "codes/code.h"

namespace softkey {

using codes::Code;

// A failure on its way to the boundary, where it becomes its code. `what()` is for people: what
// failed and why; `advice()`, where the code alone does not tell it, what they can do. Neither ever
// holds a PIN or key material.
class Error final : public std::runtime_error {
 public:
    explicit Error(Code code, const std::string& detail = std::string(),
                   std::string advice = std::string())
        : std::runtime_error(detail), code_(code), advice_(std::move(advice)) {}

    Code code() const { return code_; }
    const std::string& advice() const { return advice_; }

 private:
    Code code_;
    std::string advice_;
};

inline void Require(bool condition, Code code, const char* detail = "") {
    if (!condition) {
        throw Error(code, detail);
    }
}

}  // namespace softkey

#endif
