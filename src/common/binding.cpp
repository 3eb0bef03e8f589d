#include "common/binding.h"

#include <dlfcn.h>

#include <array>
#include <type_traits>

#include "common/commonfunction.h"
#include "common/last_error.h"
#include "common/loaded_objects.h"
#include "maker/places.h"

namespace orval {
namespace {

// The one place where what dlsym found becomes a typed pointer.
template <auto Slot>
bool BindEntry(CommonFunction& table, void* library, const char* name) {
    using Entry = std::remove_reference_t<decltype(table.*Slot)>;
    const auto entry = reinterpret_cast<Entry>(dlsym(library, name));
    StoreShared(table.*Slot, entry);
    return entry != nullptr;
}

struct EntryBinding {
    const char* name;
    bool (*bind)(CommonFunction& table, void* library, const char* name);
};

// In slot order; bound in the order of maker::LookUpOrder.
constexpr std::array kEntries = {
#define ORVAL_BINDING(slot, name, result, arguments) \
    EntryBinding{#name, BindEntry<&CommonFunction::name>},
    ORVAL_BACKEND_ENTRIES(ORVAL_BINDING)
#undef ORVAL_BINDING
};

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
        const EntryBinding& entry = kEntries[slot];
        if (!entry.bind(table, library, entry.name)) {
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
