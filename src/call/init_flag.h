#ifndef ORVAL_CALL_INIT_FLAG_H
#define ORVAL_CALL_INIT_FLAG_H

#include <cstdint>

// Whether the back-end is bound: g_initFlag, read with acquire semantics.
bool IsInitialized();

// What the exported Initialize does.
int32_t InitializeLibrary();

#endif
