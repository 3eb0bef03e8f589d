#include "common/binding.h"

#include <dlfcn.h>

#include "common/commonfunction.h"
#include "common/last_error.h"
#include "common/loaded_objects.h"
#include "maker/places.h"

namespace orval {
namespace {

// The one place where what dlsym found becomes a typed pointer.
template <typename Entry>
bool BindEntry(Entry*& slot, void* library, const char* name) {
    auto* const entry = reinterpret_cast<Entry*>(dlsym(library, name));
    StoreShared(slot, entry);
    return entry != nullptr;
}

// By cases, not by a table of names and functions: the loader would have to relocate each of them.
bool BindSlot(CommonFunction& table, size_t slot, void* library) {
    switch (slot) {
#define ORVAL_BINDING(slot, name, result, arguments) \
    case slot:                                       \
        return BindEntry(table.name, library, #name);
        ORVAL_BACKEND_ENTRIES(ORVAL_BINDING)
#undef ORVAL_BINDING
        default:
            return false;
    }
}

}  // namespace

bool LiesInBackend(const void* address) {
    return LiesInObjectFrom(maker::kBackendPath, address);
}

int32_t BindBackend(CommonFunction& table) {
    void* library = dlopen(maker::kBackendPath, RTLD_LAZY);
    StoreShared(table.handle, library);
    if (library == nullptr) {
        return Finish(ORVAL_BACKEND_UNAVAILABLE);
    }
    for (const size_t slot : maker::LookUpOrder()) {
        if (!BindSlot(table, slot, library)) {
            CloseBackend(table);
            return Finish(ORVAL_BACKEND_UNAVAILABLE);
        }
    }
    return ORVAL_OK;
}

int32_t CloseBackend(CommonFunction& table) {
    void* library = LoadShared(table.handle);
    if (library != nullptr) {
        dlclose(library);
        StoreShared<void*>(table.handle, nullptr);
    }
    return ORVAL_OK;
}

}  // namespace orval
