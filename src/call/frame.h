#ifndef ORVAL_CALL_FRAME_H
#define ORVAL_CALL_FRAME_H

#include <cstdint>

#include "call/init_flag.h"
#include "common/last_error.h"

// The steps that exported calls share. A call begins with Begin or BeginClean, or with neither
// where it says so; it ends with one of the steps below or with Finish(code). In between it carries
// its code as a value. The steps catch nothing: an exception of the string library may leave a
// call, and clients handle it.
namespace orval {

// Binds the back-end unless that has been done; the last error stays what it is. The result is not
// looked at: a call that cannot reach the back-end still checks its arguments and then finds its
// slot empty.
inline void Begin() {
    if (!IsInitialized()) {
        InitializeLibrary();
    }
}

// The same, and the last error is clean. The other calls use ClearLastError where they are past
// their checks, or not at all.
inline void BeginClean() {
    Begin();
    ClearLastError();
}

template <typename... Pointers>
bool AnyNull(const Pointers*... pointers) {
    return ((pointers == nullptr) || ...);
}

// The outcome of a call whose arguments are not acceptable.
inline int32_t Refuse() {
    return Finish(ORVAL_INVALID_ARGUMENT);
}

// A length query answered with a bound, without asking the key.
inline int32_t AnswerBound(int32_t bound, int32_t* length) {
    *length = bound;
    return Finish(ORVAL_OK);
}

// Returns a code that leaves no trace: the last error goes on describing what it described.
constexpr int32_t ReturnOnly(int32_t code) {
    return code;
}

// Stores a failure; a success leaves no trace.
inline int32_t FinishFailure(int32_t code) {
    return code == ORVAL_OK ? ReturnOnly(code) : Finish(code);
}

// Ends a logged call: stores and returns the outcome, and writes the call's End record.
int32_t FinishLogged(const char* name, int32_t code);

// Records which key a logged call is about. szSN must not be null.
void LogSerialNumber(const char* szSN);

}  // namespace orval

#endif
