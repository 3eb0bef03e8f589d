// Part of ukey.hpp: every function of the product, loaded or linked.
#ifndef ORVAL_UKEY_LOAD_HPP
#define ORVAL_UKEY_LOAD_HPP

#include <dlfcn.h>

#include <cstdint>
#include <memory>
#include <string>

#include "../orval_unified_kpxukey.h"
#include "exception.hpp"

// Every exported function, once: the names, the table and its loading are made from this list. The
// macro is gone at the end of this file.
// clang-format off
#define UKEY_FUNCTIONS(X)                                                                        \
    X(Initialize) X(Finalize) X(GetLastErrCode) X(GetErrorMsg)                                   \
    X(GetDriverVersion) X(GetDllVersion) X(GetVidAndPid) X(GetPrintNumber) X(GetVendorInfo)      \
    X(WaitForKeyEvent) X(StopDetectUKey) X(CheckDriverIntegrity)                                 \
    X(ChangePin) X(VerifyPIN) X(TestVerifyAndCachePin) X(GetPinInfo) X(RemovePinCache)           \
    X(SetCachePinFlag) X(InitUKey) X(TestInitUKey) X(GetLabel) X(SetLabel) X(GetData) X(SetData) \
    X(SetCharset) X(SetLanguage) X(Sign) X(SignHash) X(Batch_Sign) X(AsymDec)                    \
    X(GetCert) X(GetCertDN) X(GetCertInfo) X(DelCertAndTempKey)                                  \
    X(RegisterCert) X(UnregisterCert) X(RepairDriver)                                            \
    X(ImportX509Cert) X(ImportEncX509Cert) X(Batch_ImportX509Cert)                               \
    X(GenerateCertRequest) X(Batch_InitAndGenerateCertRequest)
// clang-format on

namespace ukey {

// The product's file name, as the loader finds it.
inline constexpr const char* kLibraryName = "liborval_unified_kpxukey.so";

// The names of all exported functions.
inline constexpr const char* kFunctionNames[] = {
#define UKEY_NAME(name) #name,
    UKEY_FUNCTIONS(UKEY_NAME)
#undef UKEY_NAME
};

namespace detail {

// One exported function and the name that errors give it.
template <typename Function>
struct Entry {
    const char* name;
    Function function;
};

struct Functions {
#define UKEY_MEMBER(name) Entry<decltype(&::name)> name;
    UKEY_FUNCTIONS(UKEY_MEMBER)
#undef UKEY_MEMBER
};

struct Api : Functions {
    const uint8_t* init_flag;
    int32_t* last_error;
    std::shared_ptr<void> handle;
};

inline std::string LoaderReason() {
    const char* reason = dlerror();
    return reason == nullptr ? "the loader gives no reason" : reason;
}

// The one place where an untyped symbol becomes a typed pointer.
template <typename Pointer>
Pointer Resolve(void* handle, const std::string& path, const char* name) {
    void* symbol = dlsym(handle, name);
    if (symbol == nullptr) {
        throw LoadError(path, LoaderReason());
    }
    return reinterpret_cast<Pointer>(symbol);
}

inline std::shared_ptr<const Api> LoadApi(const std::string& path) {
    void* opened = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (opened == nullptr) {
        throw LoadError(path, LoaderReason());
    }
    const std::shared_ptr<void> handle(opened, [](void* open) { dlclose(open); });
#define UKEY_RESOLVE(name) {#name, Resolve<decltype(&::name)>(opened, path, #name)},
    return std::make_shared<const Api>(Api{{UKEY_FUNCTIONS(UKEY_RESOLVE)},
                                           Resolve<const uint8_t*>(opened, path, "g_initFlag"),
                                           Resolve<int32_t*>(opened, path, "G_LastError"),
                                           handle});
#undef UKEY_RESOLVE
}

#ifdef UKEY_LINKED
inline std::shared_ptr<const Api> DefaultApi() {
#define UKEY_ADDRESS(name) {#name, &::name},
    return std::make_shared<const Api>(
        Api{{UKEY_FUNCTIONS(UKEY_ADDRESS)}, &g_initFlag, &G_LastError, nullptr});
#undef UKEY_ADDRESS
}
#else
inline std::shared_ptr<const Api> DefaultApi() {
    return LoadApi(kLibraryName);
}
#endif

}  // namespace detail
}  // namespace ukey

#undef UKEY_FUNCTIONS

#endif
