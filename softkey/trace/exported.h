#ifndef SOFTKEY_TRACE_EXPORTED_H
#define SOFTKEY_TRACE_EXPORTED_H

#include "trace/traced_call.h"

// Exports `work` as `symbol`. The lists in maker/ have argument lists with types and names, from
// which no call can be written; an indirect function needs none.
#define SOFTKEY_EXPORT(index, symbol, result, arguments, work)                   \
    extern "C" decltype(&softkey::Traced<index, work>::Call) Resolve##symbol() { \
        return softkey::Traced<index, work>::Call;                               \
    }                                                                            \
    extern "C" __attribute__((visibility("default"), ifunc("Resolve" #symbol)))  \
    result symbol arguments;

#endif
