// libOrvalKPX.so of the scripted key: the entries under their real names, each handing its
// arguments to the script.
#include "scripted_key.h"

namespace {

using scripted::Entry;
using scripted::Key;
using scripted::KeyLibrary;

template <auto entry>
struct Forward;

template <typename Result, typename... Parameters, Entry<Result(Parameters...)> KeyLibrary::*entry>
struct Forward<entry> {
    static Result Call(Parameters... parameters) { return (Key().*entry).Call(parameters...); }
};

}  // namespace

// The entry list has argument lists with types and names, from which no call can be written; an
// indirect function needs none.
#define ORVAL_DOUBLE(slot, name, result, arguments)                          \
    extern "C" decltype(&Forward<&KeyLibrary::name>::Call) Resolve##name() { \
        return Forward<&KeyLibrary::name>::Call;                             \
    }                                                                        \
    extern "C" __attribute__((visibility("default"), ifunc("Resolve" #name))) result name arguments;

ORVAL_BACKEND_ENTRIES(ORVAL_DOUBLE)
