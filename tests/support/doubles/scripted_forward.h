#ifndef ORVAL_TESTS_SUPPORT_DOUBLES_SCRIPTED_FORWARD_H
#define ORVAL_TESTS_SUPPORT_DOUBLES_SCRIPTED_FORWARD_H

#include "scripted_key.h"

namespace scripted {

template <auto library, auto entry>
struct Forward;

template <typename Library, Library& (*library)(), typename Result, typename... Parameters,
          Entry<Result(Parameters...)> Library::*entry>
struct Forward<library, entry> {
    static Result Call(Parameters... parameters) { return (library().*entry).Call(parameters...); }
};

}  // namespace scripted

// A library's function that hands its arguments to the script. The lists have argument lists with
// types and names, from which no call can be written; an indirect function needs none.
#define ORVAL_FORWARD(library, entry, symbol, result, arguments)                      \
    extern "C" decltype(&scripted::Forward<library, entry>::Call) Resolve##symbol() { \
        return scripted::Forward<library, entry>::Call;                               \
    }                                                                                 \
    extern "C" __attribute__((visibility("default"), ifunc("Resolve" #symbol)))       \
    result symbol arguments;

#endif
