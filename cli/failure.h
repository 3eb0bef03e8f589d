#ifndef UKEYCTL_FAILURE_H
#define UKEYCTL_FAILURE_H

#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <utility>

// What the command ends with. Scripts rely on the numbers; docs/ukeyctl.md lists them.
enum class ExitStatus : int {
    kSuccess = 0,
    kCodeReported = 1,
    kUsage = 2,
    kLibraryNotLoaded = 3,
    kFile = 4,
    kNoEvent = 5,
    kInternal = 70
};

// A fault of the command itself: what is told of it wherever it shows.
inline constexpr const char* kOwnFault = "the command itself failed";
inline constexpr const char* kNextForOwnFault = "report this with the command line that led to it";

// Why a verb did not do its work, told in the three sentences that a support engineer needs.
struct Failure {
    ExitStatus status = ExitStatus::kInternal;
    std::string what;
    std::string why;
    std::string next;
    std::string function;  // the exported function, when one gave a code
    std::optional<int32_t> code;
};

class CommandFailure : public std::exception {
 public:
    explicit CommandFailure(Failure failure) : failure_(std::move(failure)) {}
    const Failure& Details() const noexcept { return failure_; }
    const char* what() const noexcept override { return failure_.what.c_str(); }

 private:
    Failure failure_;
};

// A usage mistake that the command line's grammar cannot express.
[[noreturn]] void ThrowUsage(const std::string& why, const std::string& next);

#endif
