#ifndef ORVAL_TESTS_PROCESS_PLAIN_KEY_H
#define ORVAL_TESTS_PROCESS_PLAIN_KEY_H

// A back-end and a token library without a script: every entry counts its calls and answers at
// once. They keep no objects that are destroyed, so that they can be called while a process ends.

constexpr int kPlainEntries = 29;

// Exported by the plain back-end under these names, for dlsym.
using PlainCalls = int[kPlainEntries];  // plain_calls: calls of each slot
using PlainInnerCallee = void* (*)();   // plain_inner_callee: whom the back-end's own call of
                                        // VerifyPIN reaches

#endif
