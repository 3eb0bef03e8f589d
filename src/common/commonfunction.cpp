#include "common/commonfunction.h"

#include <dlfcn.h>

#include <array>
#include <cstring>

namespace {

constexpr const char* kBackendPath = "/opt/apps/com.kpx.uosorval/files/bin/libOrvalKPX.so";

struct EntryBinding {
    const char* name;
    size_t offset;
};

// In slot order; bound in the order of kBindingOrder.
constexpr std::array kEntries = {
#define ORVAL_BINDING(slot, name, result, arguments) \
    EntryBinding{#name, offsetof(CommonFunction, name)},
    ORVAL_BACKEND_ENTRIES(ORVAL_BINDING)
#undef ORVAL_BINDING
};

// The order of the look-ups differs from the slot order in slots 1 to 6; it decides which slots are
// set when an entry is missing.
constexpr std::array<size_t, 29> kBindingOrder = {0,  3,  4,  5,  6,  1,  2,  7,  8,  9,
                                                  10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
                                                  20, 21, 22, 23, 24, 25, 26, 27, 28};

constexpr bool BindsEverySlotOnce() {
    std::array<int, kEntries.size()> times{};
    for (const size_t slot : kBindingOrder) {
        ++times[slot];
    }
    for (const int count : times) {
        if (count != 1) {
            return false;
        }
    }
    return true;
}

static_assert(kEntries.size() == 29);
static_assert(BindsEverySlotOnce());

// The one place where what dlsym found becomes a typed pointer: the slots are plain pointers of
// one size, so the address is copied into the slot as it is.
bool BindEntry(CommonFunction& table, const EntryBinding& entry) {
    void* address = dlsym(table.handle, entry.name);
    std::memcpy(reinterpret_cast<char*>(&table) + entry.offset, &address, sizeof(address));
    return address != nullptr;
}

}  // namespace

bool IsLoaded(const void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0;
}

CommonFunction::CommonFunction() : handle(nullptr) {}

CommonFunction::~CommonFunction() {}

int32_t CommonFunction::init() {
    handle = dlopen(kBackendPath, RTLD_LAZY);
    if (handle == nullptr) {
        return Finish(ORVAL_BACKEND_UNAVAILABLE);
    }
    for (const size_t slot : kBindingOrder) {
        if (!BindEntry(*this, kEntries[slot])) {
            FreeFunc();
            return Finish(ORVAL_BACKEND_UNAVAILABLE);
        }
    }
    return ORVAL_OK;
}

int32_t CommonFunction::FreeFunc() {
    if (handle != nullptr) {
        dlclose(handle);
        handle = nullptr;
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
