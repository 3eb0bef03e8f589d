#ifndef SOFTKEY_TOOLS_REFUSAL_H
#define SOFTKEY_TOOLS_REFUSAL_H

#include <stdexcept>
#include <string>
#include <utility>

#include "tools/console.h"

namespace softkey::tools {

// A command that does not begin, for a reason that the key knows nothing of. Failures of the key
// itself are core's Error.
class Refusal final : public std::runtime_error {
 public:
    // next: what the user can do. status: kExitUsage when the command line is what is wrong.
    explicit Refusal(const std::string& what, std::string next, int status = kExitFailure)
        : std::runtime_error(what), next_(std::move(next)), status_(status) {}

    const std::string& next() const { return next_; }
    int status() const { return status_; }

 private:
    std::string next_;
    int status_;
};

}  // namespace softkey::tools

#endif
