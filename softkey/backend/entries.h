#ifndef SOFTKEY_BACKEND_ENTRIES_H
#define SOFTKEY_BACKEND_ENTRIES_H

#include "maker/entries.h"

// Declares every entry from the one list, so that a definition that differs does not compile.
extern "C" {
#define SOFTKEY_DECLARE_ENTRY(slot, name, result, arguments) \
    __attribute__((visibility("default"))) result name arguments;
ORVAL_BACKEND_ENTRIES(SOFTKEY_DECLARE_ENTRY)
#undef SOFTKEY_DECLARE_ENTRY
}

#endif
