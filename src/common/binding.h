#ifndef ORVAL_COMMON_BINDING_H
#define ORVAL_COMMON_BINDING_H

#include <cstdint>

class CommonFunction;

// How the table's slots are filled. Their contracts are those of CommonFunction::init and FreeFunc.
namespace orval {

int32_t BindBackend(CommonFunction& table);
int32_t CloseBackend(CommonFunction& table);

// Whether an address lies in the back-end library, loaded as it is now.
bool LiesInBackend(const void* address);

// The slots are plain pointers, as their layout demands, that threads which bind at once share.
template <typename Pointer>
Pointer LoadShared(const Pointer& slot) {
    return __atomic_load_n(&slot, __ATOMIC_RELAXED);
}

template <typename Pointer>
void StoreShared(Pointer& slot, Pointer value) {
    __atomic_store_n(&slot, value, __ATOMIC_RELAXED);
}

}  // namespace orval

#endif
