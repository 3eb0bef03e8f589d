#ifndef ORVAL_BENCH_LEAST_STATE_H
#define ORVAL_BENCH_LEAST_STATE_H

#include <cstdint>

#include "maker/entries.h"

// What this folder holds is the least work that the contract leaves, written by hand: the limit
// that the library is measured against. It is a library of its own, so that its state lies where
// the product's does, behind the loader's table of exported data.
namespace least {

#define ORVAL_LEAST_EXPORT __attribute__((visibility("default")))

struct Table {
#define ORVAL_LEAST_SLOT(slot, name, result, arguments) result(*name) arguments;
    ORVAL_BACKEND_ENTRIES(ORVAL_LEAST_SLOT)
#undef ORVAL_LEAST_SLOT
    void* handle;
};

ORVAL_LEAST_EXPORT extern uint8_t init_flag;
ORVAL_LEAST_EXPORT extern int32_t last_error;
ORVAL_LEAST_EXPORT extern Table table;

// Loads the back-end and looks every entry up; false when something is missing.
ORVAL_LEAST_EXPORT bool Bind();

inline int32_t Finish(int32_t code) {
    last_error = code;
    return code;
}

inline void Begin() {
    if (__atomic_load_n(&init_flag, __ATOMIC_ACQUIRE) == 0) {
        Bind();
    }
}

// The entry in the slot is there and can be called: the slot and the handle are read once.
template <typename... Parameters, typename... Arguments>
int32_t CallEntry(int32_t (*const& slot)(Parameters...), Arguments... arguments) {
    auto* const entry = __atomic_load_n(&slot, __ATOMIC_RELAXED);
    if (entry == nullptr || __atomic_load_n(&table.handle, __ATOMIC_RELAXED) == nullptr) {
        return -101;
    }
    return entry(arguments...);
}

}  // namespace least

#endif
