#include "failure.h"

#include "codes.h"
#include "encoding.h"

Failure FailureOf(const ukey::Error& error) {
    const KnownCode* known = FindKnownCode(error.Code());
    Failure failure;
    failure.status = ExitStatus::kCodeReported;
    failure.what = std::string(error.Function()) + " failed";
    failure.why = FormatCode(error.Code()) + ": " + error.code().message();
    failure.next = known != nullptr ? known->next : kNextForForeignCode;
    failure.function = error.Function();
    failure.code = error.Code();
    return failure;
}

Failure FailureOf(const ukey::LoadError& error) {
    Failure failure;
    failure.status = ExitStatus::kLibraryNotLoaded;
    failure.what = "the key library is not usable";
    failure.why = error.what();
    failure.next =
        "name the library with --library PATH or the environment variable ORVAL_LIBRARY; if it is "
        "the maker's library that is missing, install the key's software";
    return failure;
}

void ThrowUsage(const std::string& why, const std::string& next) {
    Failure failure;
    failure.status = ExitStatus::kUsage;
    failure.what = "not carried out";
    failure.why = why;
    failure.next = next;
    throw CommandFailure(failure);
}

std::string Describe(const std::string& verb, const Failure& failure) {
    const std::string name = verb.empty() ? "ukeyctl" : "ukeyctl " + verb;
    return name + ": " + Printable(failure.what) + "\n  why:  " + Printable(failure.why) +
           "\n  next: " + failure.next + "\n";
}
