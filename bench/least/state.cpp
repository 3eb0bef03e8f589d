#include "least/state.h"

#include <dlfcn.h>

#include "least/bare_string.h"
#include "maker/places.h"

namespace least {

uint8_t init_flag = 0;
int32_t last_error = 0;
Table table = {};
void* default_manager = &table;

bool Bind() {
    table.handle = dlopen(maker::kBackendPath, RTLD_LAZY);
    if (table.handle == nullptr) {
        return false;
    }
    auto** const slots = reinterpret_cast<void**>(&table);
    for (const size_t slot : maker::LookUpOrder()) {
        void* const entry = dlsym(table.handle, maker::kEntryNames[slot]);
        if (entry == nullptr) {
            return false;
        }
        __atomic_store_n(&slots[slot], entry, __ATOMIC_RELAXED);
    }
    __atomic_store_n(&init_flag, 1, __ATOMIC_RELEASE);
    return true;
}

}  // namespace least
