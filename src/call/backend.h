#ifndef ORVAL_CALL_BACKEND_H
#define ORVAL_CALL_BACKEND_H

#include <cstdint>
#include <utility>

#include "common/binding.h"
#include "common/commonfunction.h"
#include "orval_unified_kpxukey.h"

// The door to the back-end. It stores no code: the call that asked finishes with what it is given.
// Inline, because nearly every exported call is little more than this.
namespace orval {

// An entry, or null when its slot is empty: after a failed bind, or before the first one. Without a
// handle, what a slot holds may be gone: a bind that failed halfway leaves addresses of the library
// that it closed, where the loader may have put another one since. A bind that failed to open
// leaves those of a library that is still loaded, and clients go on with it.
template <typename Function>
[[gnu::always_inline]] inline Function* CallableEntry(Function* CommonFunction::*slot) {
    Function* const entry = LoadShared(ORVAL_ComFunc.*slot);
    if (entry == nullptr || LoadShared(ORVAL_ComFunc.handle) != nullptr ||
        LiesInBackend(reinterpret_cast<const void*>(entry))) {
        return entry;
    }
    return nullptr;
}

// Calls an entry that returns a code; an empty slot gives -101.
template <typename... Parameters, typename... Arguments>
[[gnu::always_inline]] inline int32_t Backend(int32_t (*CommonFunction::*slot)(Parameters...),
                                              Arguments&&... arguments) {
    auto* const entry = CallableEntry(slot);
    if (entry == nullptr) {
        return ORVAL_BACKEND_UNAVAILABLE;
    }
    return entry(std::forward<Arguments>(arguments)...);
}

}  // namespace orval

#endif
