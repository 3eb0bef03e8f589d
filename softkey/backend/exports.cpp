// The back-end's entries as clients call them.
#include "backend/entries.h"
#include "trace/exported.h"

#define SOFTKEY_ENTRY(slot, name, result, arguments) \
    SOFTKEY_EXPORT(slot, name, result, arguments, softkey::backend::name)
ORVAL_BACKEND_ENTRIES(SOFTKEY_ENTRY)
