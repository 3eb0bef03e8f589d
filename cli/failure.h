#ifndef CLI_FAILURE_H
#define CLI_FAILURE_H

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

#include "cli/exit_status.h"

namespace cli {

// A fault of a command itself: what is told of it wherever it shows.
inline constexpr const char* kOwnFault = "the command itself failed";
inline constexpr const char* kNextForOwnFault = "report this with the command line that led to it";

// Why a command did not do its work, told in the three sentences that a support engineer needs.
struct Failure {
    ExitStatus status = ExitStatus::kInternal;
    std::string what;
    std::string why;       // empty: what tells it all
    std::string next;      // empty: nobody knows
    std::string function;  // the exported function, when one gave a code
    std::optional<int32_t> code;
};

// The three sentences are said in the user's language where they are not yet.
Failure MakeFailure(ExitStatus status, const std::string& what, const std::string& why,
                    const std::string& next);

class CommandFailure : public std::exception {
 public:
    explicit CommandFailure(Failure failure) : failure_(std::move(failure)) {}
    const Failure& Details() const noexcept { return failure_; }
    const char* what() const noexcept override { return failure_.what.c_str(); }

 private:
    Failure failure_;
};

[[noreturn]] void Throw(ExitStatus status, const std::string& what, const std::string& why,
                        const std::string& next);

// A usage mistake that the command line's grammar cannot express.
[[noreturn]] void ThrowUsage(const std::string& why, const std::string& next);

// Whether the texts behind "why:" and "next:" begin in one column. Scripts may look for either
// form, so that each command keeps the one it has.
enum class Layout { kAligned, kPlain };

// The failure as people read it on standard error, in their terminal's character set and without
// what it would obey. command: its
// name, and the verb's.
std::string Describe(const std::string& command, const Failure& failure, Layout layout);

}  // namespace cli

#endif
