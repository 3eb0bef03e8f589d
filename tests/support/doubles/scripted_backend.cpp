// libOrvalKPX.so of the scripted key: the entries under their real names.
#include "scripted_forward.h"

#define ORVAL_DOUBLE(slot, name, result, arguments) \
    ORVAL_FORWARD(&scripted::Key, &scripted::KeyLibrary::name, name, result, arguments)
ORVAL_BACKEND_ENTRIES(ORVAL_DOUBLE)
