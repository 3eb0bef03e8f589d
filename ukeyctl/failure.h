#ifndef UKEYCTL_FAILURE_H
#define UKEYCTL_FAILURE_H

#include <cstdint>
#include <exception>
#include <optional>
#include <string>

#include "ukey.hpp"

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

Failure FailureOf(const ukey::Error& error);
Failure FailureOf(const ukey::LoadError& error);

// A usage mistake that the command line's grammar cannot express.
[[noreturn]] void ThrowUsage(const std::string& why, const std::string& next);

// The failure as people read it on standard error.
std::string Describe(const std::string& verb, const Failure& failure);

#endif
