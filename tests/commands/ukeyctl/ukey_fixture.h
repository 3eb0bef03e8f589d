#ifndef ORVAL_TESTS_COMMANDS_UKEYCTL_UKEY_FIXTURE_H
#define ORVAL_TESTS_COMMANDS_UKEYCTL_UKEY_FIXTURE_H

#include <gmock/gmock.h>

#include <string>

#include "code_of.h"
#include "fake_product.h"
#include "ukey.hpp"

// The wrapper over the stand-in for the product: linked with it where UKEY_LINKED is defined,
// otherwise loading it.

constexpr const char* kSerialNumber = "SN0123456789";
constexpr int32_t kKeyCode = 0x0A000001;

#ifdef UKEY_LINKED
inline ukey::Library OpenProduct() {
    return ukey::Library();
}
inline FakeProduct& Fake(const ukey::Library& /*library*/) {
    return *TheFakeProduct();
}
#else
inline ukey::Library OpenProduct() {
    return ukey::Library(FAKE_PRODUCT_PATH);
}
// The same library again: the loader gives the one that is open.
inline FakeProduct& Fake(const ukey::Library& /*library*/) {
    void* handle = dlopen(FAKE_PRODUCT_PATH, RTLD_NOW | RTLD_NOLOAD);
    auto find = reinterpret_cast<FakeProduct* (*)()>(dlsym(handle, "TheFakeProduct"));
    FakeProduct* fake = find();
    dlclose(handle);
    return *fake;
}
#endif

class Ukey : public testing::Test {
 protected:
    void SetUp() override {
        fake_.calls.clear();
        fake_.codes.clear();
        fake_.exceptions.clear();
        fake_.outputs = {{"GetPrintNumber", {kSerialNumber}}};
        fake_.events.clear();
    }

    ukey::Library library_ = OpenProduct();
    FakeProduct& fake_ = Fake(library_);
    ukey::Key key_ = library_.KeyOf(kSerialNumber);
};

#endif
