#include "failure.h"

void ThrowUsage(const std::string& why, const std::string& next) {
    Failure failure;
    failure.status = ExitStatus::kUsage;
    failure.what = "not carried out";
    failure.why = why;
    failure.next = next;
    throw CommandFailure(failure);
}
