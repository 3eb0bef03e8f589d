#include <dlfcn.h>

#include "api_test.h"

// This program defines and exports a function of its own under every name under which the product
// exports one; each of them ends the process. The product must not reach any of them.
namespace {

void* Product() {
    static void* product = dlopen(ORVAL_PRODUCT_PATH, RTLD_LAZY | RTLD_NOLOAD);
    return product;
}

template <typename Type>
Type* InProduct(const char* name) {
    void* address = dlsym(Product(), name);
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<Type*>(address);
}

// The product's function of that name: PRODUCT(VerifyPIN)("SN0123456789").
#define PRODUCT(name) (*InProduct<decltype(::name)>(#name))

}  // namespace

#define ORVAL_EXPORTED(name) PRODUCT(name)
#include "functions.h"

namespace {

using scripted::Function;

std::string LibraryOf(void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 ? info.dli_fname : "";
}

class Hijack : public testing::TestWithParam<Function> {
 protected:
    Hijack() {
        Key().GMCreatePKCS10.HandsOver("request");
        Key().GMCreatePKCS10Ex.HandsOver("request");
        arguments_.buffer = buffer_;
        arguments_.length = &length_;
    }
    int32_t Call() { return GetParam().call(arguments_); }

 private:
    char buffer_[9000] = {};
    int32_t length_ = 9000;
    scripted::Arguments arguments_ = GetParam().usual;
};

INSTANTIATE_TEST_SUITE_P(Symbols, Hijack, testing::ValuesIn(scripted::kFunctions),
                         [](const auto& exported) { return std::string(exported.param.name); });

TEST_P(Hijack, ProcessOwnFunctionsAreNotReached) {
    PRODUCT(Initialize)();
    EXPECT_EQ(Call(), GetParam().success);
    if (GetParam().last_entry == nullptr) {
        EXPECT_THAT(Calls(), IsEmpty());
    } else {
        ASSERT_FALSE(Calls().empty());
        EXPECT_THAT(Calls().back(), testing::StartsWith(GetParam().last_entry + "("s));
    }
}

TEST_P(Hijack, LazyInitialisationStaysInside) {
    Call();
    EXPECT_EQ(*InProduct<uint8_t>("g_initFlag"), GetParam().binding == scripted::kBinds);
}

TEST(Symbols, CallsWithoutResultStayInside) {
    *InProduct<int32_t>("G_LastError") = 77;
    int32_t code = 0;
    PRODUCT(GetLastErrCode)(&code);
    EXPECT_EQ(code, 77);
    PRODUCT(Finalize)();
    EXPECT_EQ(*InProduct<int32_t>("G_LastError"), 0);
}

// The tests above mean something only while this program's functions come first.
TEST(Symbols, ProgramComesBeforeTheProduct) {
    ASSERT_NE(Product(), nullptr);
    for (const Function& exported : scripted::kFunctions) {
        void* first = dlsym(RTLD_DEFAULT, exported.name);
        ASSERT_NE(first, nullptr) << exported.name;
        EXPECT_NE(first, dlsym(Product(), exported.name)) << exported.name;
        EXPECT_THAT(LibraryOf(first), testing::EndsWith("symbols_test")) << exported.name;
    }
}

// Eleven entries have the names of exported functions; the slots hold the back-end's.
TEST(Symbols, SlotsHoldTheBackEndsEntries) {
    ASSERT_EQ(PRODUCT(Initialize)(), 0);
    void* const* slots = InProduct<void*>("ORVAL_ComFunc");
    for (size_t slot = 0; slot < maker::kEntryCount; ++slot) {
        EXPECT_THAT(LibraryOf(slots[slot]), testing::EndsWith("libOrvalKPX.so")) << slot;
    }
}

}  // namespace
