#include "common/commonfunction.h"

#include <dlfcn.h>

#include <array>
#include <cstring>
#include <type_traits>

#include "common/loaded_objects.h"
#include "maker/places.h"

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

CommonFunction::CommonFunction() : handle(nullptr) {}

CommonFunction::~CommonFunction() {}

int32_t CommonFunction::init() {
    void* library = dlopen(maker::kBackendPath, RTLD_LAZY);
    StoreShared(handle, library);
    if (library == nullptr) {
        return Finish(ORVAL_BACKEND_UNAVAILABLE);
    }
    for (const size_t slot : maker::LookUpOrder()) {
        const EntryBinding& entry = kEntries[slot];
        if (!entry.bind(*this, library, entry.name)) {
            FreeFunc();
            return Finish(ORVAL_BACKEND_UNAVAILABLE);
        }
    }
    return ORVAL_OK;
}

int32_t CommonFunction::FreeFunc() {
    void* library = LoadShared(handle);
    if (library != nullptr) {
        dlclose(library);
        StoreShared<void*>(handle, nullptr);
    }
    return ORVAL_OK;
}

int32_t CommonFunction::memcpy_s(void* dst, size_t dstSize, const void* src, size_t count) {
    if (count > dstSize) {
        return 1;
    }
    if (src == nullptr) {
        return 2;
    }
    if (dst == nullptr) {
        return 3;
    }
    std::memcpy(dst, src, count);
    return 0;
}
