#ifndef ORVAL_TESTS_PRODUCT_PROCESS_LOADED_PRODUCT_H
#define ORVAL_TESTS_PRODUCT_PROCESS_LOADED_PRODUCT_H

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <limits.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "orval_unified_kpxukey.h"

// The product as a client loads it. Stays loaded until Close.
class LoadedProduct final {
 public:
    explicit LoadedProduct(int flags, const std::string& path = ORVAL_PRODUCT_PATH)
        : handle_(dlopen(path.c_str(), flags)) {
        if (handle_ == nullptr) {
            ADD_FAILURE() << dlerror();
            std::abort();
        }
    }

    void Close() { dlclose(handle_); }

    template <typename Signature>
    Signature* Find(const char* name) const {
        void* address = dlsym(handle_, name);
        EXPECT_NE(address, nullptr) << name;
        return reinterpret_cast<Signature*>(address);
    }

    int32_t LastError() const { return *Find<int32_t>("G_LastError"); }

 private:
    void* handle_;
};

// Whether a file is mapped, whoever loaded it under whatever name.
inline bool IsMapped(const std::string& path) {
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(path) != std::string::npos) {
            return true;
        }
    }
    return false;
}

// The product's file as /proc/self/maps names it.
inline std::string ProductFile() {
    char path[PATH_MAX] = {};
    return realpath(ORVAL_PRODUCT_PATH, path) == nullptr ? "" : path;
}

// The product's function of that name and type: FUNCTION(product, VerifyPIN)("SN").
#define FUNCTION(product, name) (product).Find<decltype(::name)>(#name)

#endif
