// Eleven exported functions have the names of back-end entries. Whatever the process exports and
// however the product was loaded, each call reaches the back-end's entry, once. The program is
// built in variants: the product linked or not, the client exporting functions of those names or
// not; it runs on a back-end built with and without -Bsymbolic-functions.
#include <dlfcn.h>

#include <string>
#include <vector>

#include "loaded_product.h"
#include "maker/places.h"
#include "names_variant.h"
#include "plain_key.h"

namespace {

constexpr const char* kSerialNumber = "SN0123456789";

char g_buffer[4096];
int32_t g_length = sizeof(g_buffer);

struct SharedName {
    const char* name;
    size_t slot;  // of the entry that the call must reach
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
    LoadedBackend() : handle_(dlopen(maker::kBackendPath, RTLD_LAZY | RTLD_NOLOAD)) {}

    const int* Calls() const { return static_cast<const int*>(dlsym(handle_, "plain_calls")); }
    PlainInner& Inner() const { return *static_cast<PlainInner*>(dlsym(handle_, "plain_inner")); }

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

// Calls of the client's own function of that name; 0 where it exports none.
int ClientCalls(const std::string& name) {
    const void* calls = dlsym(RTLD_DEFAULT, ("client_" + name).c_str());
    return calls == nullptr ? 0 : *static_cast<const int*>(calls);
}

class Names : public testing::TestWithParam<int> {};

TEST_P(Names, EveryCallReachesTheBackEndsEntryOnce) {
    const LoadedProduct product(GetParam());
    ASSERT_EQ(FUNCTION(product, Initialize)(), 0);
    const LoadedBackend backend;
    for (const SharedName& shared : kSharedNames) {
        EXPECT_EQ(shared.call(product), 0) << shared.name;
        for (size_t slot = 0; slot < maker::kEntryCount; ++slot) {
            const bool reached = backend.Calls()[slot] != 0;
            bool expected = false;
            for (const SharedName& called : kSharedNames) {
                expected = expected || (&called <= &shared && called.slot == slot);
            }
            EXPECT_EQ(reached, expected) << shared.name << ", slot " << slot;
            EXPECT_LE(backend.Calls()[slot], 1) << shared.name << ", slot " << slot;
        }
        EXPECT_EQ(ClientCalls(shared.name), 0) << shared.name;
    }
}

// The back-end's own calls are the maker's affair: built with -Bsymbolic-functions they stay
// inside; without it they reach whatever the process has under the name, the product among it, and
// nothing that the product does can prevent that.
enum class Callee { kBackEnd, kProduct, kClient };

Callee CalleeOfInnerCalls(int flags) {
    if (kNamesVariant.backend_is_symbolic) {
        return Callee::kBackEnd;
    }
    if (kNamesVariant.client_exports_names) {
        return Callee::kClient;
    }
    const bool product_is_global = kNamesVariant.client_links || (flags & RTLD_GLOBAL) != 0;
    return product_is_global ? Callee::kProduct : Callee::kBackEnd;
}

TEST_P(Names, BackEndsOwnCallsStayInsideWhenItIsBuiltForThat) {
    const LoadedProduct product(GetParam());
    ASSERT_EQ(FUNCTION(product, Initialize)(), 0);
    const std::string callee = LoadedBackend().InnerCallee();
    EXPECT_EQ(callee.find("libOrvalKPX.so") != std::string::npos,
              CalleeOfInnerCalls(GetParam()) == Callee::kBackEnd)
        << callee;
}

// The loader keeps what the back-end's calls are bound to, and the back-end is never closed; nor
// can a client close what it is linked to.
TEST_P(Names, LastCloseUnloadsWhatNothingIsBoundTo) {
    LoadedProduct product(GetParam());
    ASSERT_EQ(FUNCTION(product, Initialize)(), 0);
    product.Close();
    EXPECT_EQ(IsMapped(ProductFile()),
              kNamesVariant.client_links || CalleeOfInnerCalls(GetParam()) == Callee::kProduct);
}

// A call of one entry by another: the entry's slot, and what a detour through the exported function
// of the name does to it. Three of them take another number of arguments than the entry.
struct InnerName {
    const char* name;
    size_t slot;
    int32_t result_of_detour;
    bool detour_arrives;
    int32_t certificate_after_detour;
};

constexpr InnerName kInnerNames[] = {
    {"GetLabel", 1, ORVAL_INVALID_ARGUMENT, false, 0},
    {"SetLabel", 2, 0, true, 0},
    {"ChangePin", 3, 0, true, 0},
    {"VerifyPIN", 21, 0, true, 0},
    {"GetPinInfo", 23, 0, true, 0},
    {"GetCertInfo", 7, 0, false,
     int32_t{maker::kCertInfoRoom}},  // success, and a length instead of a certificate
    {"GetData", 26, ORVAL_INVALID_ARGUMENT, false, 0},
    {"SetData", 25, 0, true, 0},
    {"Batch_Sign", 27, 0, true, 0},
    {"DelCertAndTempKey", 20, 0, true, 0},
    {"SetCachePinFlag", 28, 0, true, 0},
};

// What one call of the product did, in which the back-end's entry `caller` called another.
struct InnerCall {
    std::vector<int> calls;  // of each slot
    int client_calls = 0;
    int32_t result = 0;       // of the inner call
    int32_t certificate = 0;  // in its output
};

template <typename CallOfProduct>
InnerCall CallInside(const LoadedBackend& backend, const char* name, CallOfProduct call) {
    const std::vector<int> before(backend.Calls(), backend.Calls() + maker::kEntryCount);
    const int client_calls = ClientCalls(name);
    backend.Inner() = {name, -1, 0};
    EXPECT_EQ(call(), 0) << name;
    InnerCall done;
    for (size_t slot = 0; slot < before.size(); ++slot) {
        done.calls.push_back(backend.Calls()[slot] - before[slot]);
    }
    done.client_calls = ClientCalls(name) - client_calls;
    done.result = backend.Inner().result;
    done.certificate = backend.Inner().certificate;
    return done;
}

InnerCall Expected(const InnerName& inner, Callee callee, const std::vector<size_t>& callers) {
    InnerCall expected;
    expected.calls.resize(maker::kEntryCount);
    for (const size_t caller : callers) {
        ++expected.calls[caller];
    }
    const bool arrives =
        callee == Callee::kBackEnd || (callee == Callee::kProduct && inner.detour_arrives);
    expected.calls[inner.slot] += arrives ? 1 : 0;
    if (callee == Callee::kClient) {
        expected.client_calls = 1;
        expected.result = 4711;
    } else if (callee == Callee::kProduct) {
        expected.result = inner.result_of_detour;
        expected.certificate = inner.certificate_after_detour;
    }
    return expected;
}

void ExpectSame(const InnerCall& done, const InnerCall& expected, const char* name) {
    EXPECT_EQ(done.calls, expected.calls) << name;
    EXPECT_EQ(done.client_calls, expected.client_calls) << name;
    EXPECT_EQ(done.result, expected.result) << name;
    EXPECT_EQ(done.certificate, expected.certificate) << name;
}

TEST_P(Names, EntriesThatCallOneAnotherEndWhereTheBuildsSay) {
    const LoadedProduct product(GetParam());
    ASSERT_EQ(FUNCTION(product, Initialize)(), 0);
    const LoadedBackend backend;
    const Callee callee = CalleeOfInnerCalls(GetParam());
    for (const InnerName& inner : kInnerNames) {
        // An entry with a name of its own, and one with a shared name, which may be the same.
        ExpectSame(
            CallInside(backend, inner.name, [&] { return FUNCTION(product, RemovePinCache)(); }),
            Expected(inner, callee, {14}), inner.name);
        ExpectSame(CallInside(backend, inner.name,
                              [&] { return FUNCTION(product, ChangePin)(kSerialNumber); }),
                   Expected(inner, callee, {3}), inner.name);
    }
}

INSTANTIATE_TEST_SUITE_P(Loaded, Names,
                         testing::Values(RTLD_LAZY | RTLD_LOCAL, RTLD_LAZY | RTLD_GLOBAL));

}  // namespace
