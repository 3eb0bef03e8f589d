#ifndef ORVAL_CALL_FRAME_H
#define ORVAL_CALL_FRAME_H

#include <cstdint>

#include "common/commonfunction.h"
#include "common/last_error.h"
#include "orval_unified_kpxukey.h"

// The steps that exported calls share. They catch nothing: an exception of the string library may
// leave a call, and clients handle it.

// Binds the back-end unless that has been done. The result is not looked at: a call that cannot
// reach the back-end still checks its arguments and then finds its slot empty.
void EnsureInitialized();

// Starts a call that begins with a clean last error.
void OpenCall();

// The outcome of a call whose arguments are not acceptable.
inline int32_t Refuse() {
    return Finish(ORVAL_INVALID_ARGUMENT);
}

template <typename... Pointers>
bool AnyNull(const Pointers*... pointers) {
    return ((pointers == nullptr) || ...);
}

// Ends a logged call: writes its End line and returns the last error.
int32_t LogEnd(const char* name);

// Records which key a call is about. szSN must not be null.
void LogSerialNumber(const char* szSN);

#endif
