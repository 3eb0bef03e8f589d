#include "cli/failure.h"

#include "cli/printable.h"
#include "cli/words.h"

namespace cli {

Failure MakeFailure(ExitStatus status, const std::string& what, const std::string& why,
                    const std::string& next) {
    Failure failure;
    failure.status = status;
    failure.what = Say(what);
    failure.why = Say(why);
    failure.next = Say(next);
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
        const std::string label = layout == Layout::kAligned ? Say("  why:  {1}", failure.why)
                                                             : Say("  why: {1}", failure.why);
        text += Printable(label) + "\n";
    }
    if (!failure.next.empty()) {
        text += Printable(Say("  next: {1}", failure.next)) + "\n";
    }
    return Encoded(text);
}

}  // namespace cli
