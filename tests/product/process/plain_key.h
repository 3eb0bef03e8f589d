#ifndef ORVAL_TESTS_PRODUCT_PROCESS_PLAIN_KEY_H
#define ORVAL_TESTS_PRODUCT_PROCESS_PLAIN_KEY_H

#include <cstdint>

#include "maker/entries.h"

// A back-end and a token library without a script: every entry counts its calls and answers at
// once. They keep no objects that are destroyed, so that they can be called while a process ends.

// Exported by the plain back-end under these names, for dlsym.
using PlainCalls = int[maker::kEntryCount];  // plain_calls: calls of each slot
using PlainInnerCallee = void* (*)();        // plain_inner_callee: whom the back-end's own call of
                                             // VerifyPIN reaches

// plain_token_called: exported by the plain token library, null at first. Runs at the beginning of
// each of its functions and is told the name.
using PlainTokenCall = void (*)(const char* function);

// plain_inner: one call that an entry makes of another by its name, as code of the key maker's
// would. The next entry that is reached makes it, once.
struct PlainInner {
    const char* name;     // of the entry to call; null for none
    int32_t result;       // what came back
    int32_t certificate;  // what is in GetCertInfo's output afterwards, 0 before
};

#endif
