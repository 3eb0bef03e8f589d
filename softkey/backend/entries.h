#ifndef SOFTKEY_BACKEND_ENTRIES_H
#define SOFTKEY_BACKEND_ENTRIES_H

#include "maker/entries.h"

// What the entries do, each under its entry's name. exports.cpp shows them to clients.
namespace softkey::backend {

#define SOFTKEY_ENTRY(slot, name, result, arguments) result name arguments;
ORVAL_BACKEND_ENTRIES(SOFTKEY_ENTRY)
#undef SOFTKEY_ENTRY

}  // namespace softkey::backend

#endif
