#include "cli/failure.h"

#include "cli/printable.h"

namespace cli {

void ThrowUsage(const std::string& why, const std::string& next) {
    Failure failure;
    failure.status = ExitStatus::kUsage;
    failure.what = "not carried out";
    failure.why = why;
    failure.next = next;
    throw CommandFailure(failure);
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
