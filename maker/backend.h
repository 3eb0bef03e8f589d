#ifndef ORVAL_MAKER_BACKEND_H
#define ORVAL_MAKER_BACKEND_H

#include "maker/entries.h"

// The entries as functions, for whoever stands in for the back-end: a definition that differs from
// the list does not compile. The product exports other functions under some of these names, so it
// knows the entries by their slots alone.
extern "C" {
#define ORVAL_ENTRY_DECLARATION(slot, name, result, arguments) \
    __attribute__((visibility("default"))) result name arguments;
ORVAL_BACKEND_ENTRIES(ORVAL_ENTRY_DECLARATION)
#undef ORVAL_ENTRY_DECLARATION
}

#endif
