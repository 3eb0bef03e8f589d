#include "cli/failure.h"

#include "cli/printable.h"

namespace cli {

Failure MakeFailure(ExitStatus status, const std::string& what, const std::string& why,
                    const std::string& next) {
    Failure failure;
    failure.status = status;
    failure.what = what;
    failure.why = why;
    failure.next = next;
    return failure;
}

void Throw(ExitStatus status, const std::string& what, const std::string& why,
           const std::string& next) {
    throw CommandFailure(MakeFailure(status, what, why, next));
}

void ThrowUsage(const std::string& why, const std::string& next) {
    Throw(ExitStatus::kUsage, "not carried out", why, next);
}

std::string Describe(const std::string& command, const Failure& failure, Layout layout) {
    std::string text = Printable(command + ": " + failure.what) + "\n";
    if (!failure.why.empty()) {
        const char* const label = layout == Layout::kAligned ? "  why:  " : "  why: ";
        text += label + Printable(failure.why) + "\n";
    }
    if (!failure.next.empty()) {
        text += "  next: " + Printable(failure.next) + "\n";
    }
    return text;
}

}  // namespace cli
