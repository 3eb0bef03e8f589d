// Eleven exported functions have the names of back-end entries. Whatever the process exports and
// however the product was loaded, each call reaches the back-end's entry, once. The program is
// built in variants: the product linked or not, the client exporting functions of those names or
// not; it runs on a back-end built with and without -Bsymbolic.
#include <dlfcn.h>

#include <string>

#include "loaded_product.h"
#include "plain_key.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";
constexpr const char* kBackendPath = "/opt/apps/com.kpx.uosorval/files/bin/libOrvalKPX.so";

char g_buffer[4096];
int32_t g_length = sizeof(g_buffer);

struct SharedName {
    const char* name;
    int slot;  // of the entry that the call must reach
    int32_t (*call)(const LoadedProduct& product);
};

// SetCachePinFlag does not bind the back-end, so it is not the first.
constexpr SharedName kSharedNames[] = {
    {"GetLabel", 1,
     [](const LoadedProduct& product) {
         return FUNCTION(product, GetLabel)(kSerialNumber, g_buffer, &g_length);
     }},
    {"SetLabel", 2,
     [](const LoadedProduct& product) {
         return FUNCTION(product, SetLabel)(kSerialNumber, "label");
     }},
    {"ChangePin", 3,
     [](const LoadedProduct& product) { return FUNCTION(product, ChangePin)(kSerialNumber); }},
    {"VerifyPIN", 21,
     [](const LoadedProduct& product) { return FUNCTION(product, VerifyPIN)(kSerialNumber); }},
    {"GetPinInfo", 23,
     [](const LoadedProduct& product) {
         return FUNCTION(product, GetPinInfo)(kSerialNumber, g_buffer, &g_length);
     }},
    // The exported function takes four arguments and has an entry of another name; the entry of
    // its own name takes five and serves GetCert.
    {"GetCertInfo", 24,
     [](const LoadedProduct& product) {
         return FUNCTION(product, GetCertInfo)(kSerialNumber, 0, g_buffer, &g_length);
     }},
    {"GetCert", 7,
     [](const LoadedProduct& product) {
         return FUNCTION(product, GetCert)(kSerialNumber, 0, 0, nullptr, &g_length);
     }},
    {"GetData", 26,
     [](const LoadedProduct& product) {
         return FUNCTION(product, GetData)(kSerialNumber, 0, g_buffer, &g_length);
     }},
    {"SetData", 25,
     [](const LoadedProduct& product) {
         return FUNCTION(product, SetData)(kSerialNumber, 0, "data");
     }},
    {"Batch_Sign", 27,
     [](const LoadedProduct& product) {
         return FUNCTION(product, Batch_Sign)(0, kSerialNumber, 0, 0, "", nullptr, 0, 0, 0, "", 0,
                                              g_buffer, &g_length);
     }},
    {"DelCertAndTempKey", 20,
     [](const LoadedProduct& product) {
         return FUNCTION(product, DelCertAndTempKey)(kSerialNumber, 0, 0);
     }},
    {"SetCachePinFlag", 28,
     [](const LoadedProduct& product) {
         return FUNCTION(product, SetCachePinFlag)(kSerialNumber, 0);
     }},
};

class LoadedBackend final {
 public:
    LoadedBackend() : handle_(dlopen(kBackendPath, RTLD_LAZY | RTLD_NOLOAD)) {}

    const int* Calls() const { return static_cast<const int*>(dlsym(handle_, "plain_calls")); }

    // The library that the back-end's own call of VerifyPIN reaches.
    std::string InnerCallee() const {
        auto callee = reinterpret_cast<PlainInnerCallee>(dlsym(handle_, "plain_inner_callee"));
        Dl_info info = {};
        dladdr(callee(), &info);
        return info.dli_fname == nullptr ? "" : info.dli_fname;
    }

 private:
    void* handle_;
};

class Names : public testing::TestWithParam<int> {};

TEST_P(Names, EveryCallReachesTheBackEndsEntryOnce) {
    const LoadedProduct product(GetParam());
    ASSERT_EQ(FUNCTION(product, Initialize)(), 0);
    const LoadedBackend backend;
    for (const SharedName& shared : kSharedNames) {
        EXPECT_EQ(shared.call(product), 0) << shared.name;
        for (int slot = 0; slot < kPlainEntries; ++slot) {
            const bool reached = slot <= 28 && backend.Calls()[slot] != 0;
            bool expected = false;
            for (const SharedName& called : kSharedNames) {
                expected = expected || (&called <= &shared && called.slot == slot);
            }
            EXPECT_EQ(reached, expected) << shared.name << ", slot " << slot;
            EXPECT_LE(backend.Calls()[slot], 1) << shared.name << ", slot " << slot;
        }
    }
}

// The back-end's own calls are the maker's affair: built with -Bsymbolic they stay inside; without
// it they reach whatever the process has under the name, the product among it, and nothing that
// the product does can prevent that.
TEST_P(Names, BackEndsOwnCallsStayInsideWhenItIsBuiltForThat) {
    const LoadedProduct product(GetParam());
    ASSERT_EQ(FUNCTION(product, Initialize)(), 0);
    const std::string callee = LoadedBackend().InnerCallee();
#if defined(ORVAL_BACKEND_IS_SYMBOLIC)
    const bool stays_inside = true;
#elif defined(ORVAL_CLIENT_EXPORTS_NAMES) || defined(ORVAL_CLIENT_LINKS)
    const bool stays_inside = false;
#else
    const bool stays_inside = (GetParam() & RTLD_GLOBAL) == 0;
#endif
    EXPECT_EQ(callee.find("libOrvalKPX.so") != std::string::npos, stays_inside) << callee;
}

INSTANTIATE_TEST_SUITE_P(Loaded, Names,
                         testing::Values(RTLD_LAZY | RTLD_LOCAL, RTLD_LAZY | RTLD_GLOBAL));

}  // namespace
