// The product's own copy of the string library, over a client's manager that fails: as exported
// functions use it, and through the members that it exports.
#include "faulty_manager.h"

#include <dlfcn.h>

#include <functional>

#include "api_test.h"
#include "qrv/simple_buffer.h"
#include "scarce_memory.h"

// The product exports the larger operations of its strings; the small ones are the client's own.
template class QRV::CSimpleBufferT<char>;

namespace {

using QRV::CBufferData;
using QRV::IQrvBufferMgr;
using scripted::FaultyManager;
using CharBuffer = QRV::CSimpleBufferT<char>;

constexpr const char* kSerialNumber = "SN0123456789";

// A symbol of the product; the linker would take what this program compiled in instead.
void* InProduct(const char* symbol) {
    static void* const product = dlopen("liborval_unified_kpxukey.so", RTLD_LAZY | RTLD_NOLOAD);
    void* const address = product == nullptr ? nullptr : dlsym(product, symbol);
    if (address == nullptr) {
        throw std::runtime_error(std::string("the product does not export ") + symbol);
    }
    return address;
}

template <typename Function>
Function* Exported(const char* symbol) {
    return reinterpret_cast<Function*>(InProduct(symbol));
}

// Room for a string object that the product constructs and nobody destroys.
struct Place {
    alignas(CharBuffer) char bytes[sizeof(CharBuffer)];
};

// Strings, which are nothing but their buffers, that were there before the manager failed: `shared`
// holds the same block as `sharer`.
struct Scene {
    explicit Scene(IQrvBufferMgr* manager)
        : shared("shared text", 11, manager), sharer(shared), alone("alone", 5, manager) {}

    Place place;
    CharBuffer shared;
    CharBuffer sharer;
    CharBuffer alone;
};

struct Call {
    const char* name;
    FaultyManager::Operation calls;
    std::function<void(Scene&)> call;
};

void PrintTo(const Call& call, std::ostream* out) {
    *out << call.name;
}

void SignAHash(Scene& /*scene*/) {
    Canary signature(64);
    int32_t length = 64;
    SignHash(kSerialNumber, 1, 2, "data", 3, signature, &length);
}

void RequestACertificate(Scene& /*scene*/) {
    Canary request(64);
    int32_t length = 64;
    GenerateCertRequest(kSerialNumber, "CertType(1)|KeyType(2)", request, &length);
}

void ConstructBuffer(Scene& s) {
    Exported<void(void*, const char*, int32_t, IQrvBufferMgr*)>(
        "_ZN3QRV14CSimpleBufferTIcEC1EPKciPNS_13IQrvBufferMgrE")(&s.place, "abc", 3,
                                                                 s.alone.Data()->manager);
}

void ConstructString(Scene& s) {
    Exported<void(void*, const char*)>(
        "_ZN3QRV8CStringTIcNS_11StrTraitQRVIcNS_10ChTraitsExIcEEEEEC1EPKc")(&s.place, "abc");
}

void Fork(Scene& s) {
    Exported<void(CharBuffer*, int32_t)>("_ZN3QRV14CSimpleBufferTIcE4ForkEi")(&s.alone, 40);
}

void GetBuffer(CharBuffer& text) {
    Exported<char*(CharBuffer*, int32_t, uint32_t)>("_ZN3QRV14CSimpleBufferTIcE9GetBufferEij")(
        &text, 99, 0);
}

void CloneData(Scene& s) {
    Exported<CBufferData*(CBufferData*)>("_ZN3QRV14CSimpleBufferTIcE9CloneDataEPNS_11CBufferDataE")(
        s.alone.Data());
}

void Assign(Scene& s) {
    Exported<void(CharBuffer*, const CharBuffer*)>("_ZN3QRV14CSimpleBufferTIcEaSERKS1_")(&s.alone,
                                                                                         &s.shared);
}

void Mid(Scene& s) {
    Exported<CharBuffer(const CharBuffer*, int32_t, int32_t)>(
        "_ZNK3QRV8CStringTIcNS_11StrTraitQRVIcNS_10ChTraitsExIcEEEEE3MidEii")(&s.alone, 1, 2);
}

void Replace(Scene& s) {
    Exported<int32_t(CharBuffer*, const char*, const char*)>(
        "_ZN3QRV8CStringTIcNS_11StrTraitQRVIcNS_10ChTraitsExIcEEEEE7ReplaceEPKcS7_")(&s.alone, "n",
                                                                                     "nn");
}

using M = FaultyManager;
const Call kHandedSomething[] = {
    {"SignHashAsksForTheNilBuffer", M::kGetNilBuffer, SignAHash},
    {"SignHashClones", M::kClone, SignAHash},
    {"SignHashAllocates", M::kAllocate, SignAHash},
    {"GenerateCertRequestAsksForTheNilBuffer", M::kGetNilBuffer, RequestACertificate},
    {"GenerateCertRequestClones", M::kClone, RequestACertificate},
    {"GenerateCertRequestAllocates", M::kAllocate, RequestACertificate},
    {"GenerateCertRequestReallocates", M::kReallocate, RequestACertificate},
    {"BufferConstructorAllocates", M::kAllocate, ConstructBuffer},
    {"StringConstructorAsksForTheNilBuffer", M::kGetNilBuffer, ConstructString},
    {"StringConstructorClones", M::kClone, ConstructString},
    {"StringConstructorAllocates", M::kAllocate, ConstructString},
    {"ForkClones", M::kClone, Fork},
    {"ForkAllocates", M::kAllocate, Fork},
    {"GetBufferOfSharedAllocates", M::kAllocate, [](Scene& s) { GetBuffer(s.shared); }},
    {"GetBufferGrowingReallocates", M::kReallocate, [](Scene& s) { GetBuffer(s.alone); }},
    {"CloneDataClones", M::kClone, CloneData},
    {"AssignClones", M::kClone, Assign},
    {"MidClones", M::kClone, Mid},
    {"MidAllocates", M::kAllocate, Mid},
    {"ReplaceReallocates", M::kReallocate, Replace},
};

const Call kGivingBack[] = {
    {"SignHashFrees", M::kFree, SignAHash},
    {"GenerateCertRequestFrees", M::kFree, RequestACertificate},
    {"ForkFreesTheOldBlock", M::kFree, Fork},
    {"AssignFreesTheOldBlock", M::kFree, Assign},
};

class FaultyManagerTest : public testing::TestWithParam<Call> {
 protected:
    FaultyManagerTest() {
        Key().GMCreatePKCS10.HandsOver("a request");
        Initialize();
        *scripted::DefaultManager() = &manager_;
    }
    ~FaultyManagerTest() override { *scripted::DefaultManager() = usual_manager_; }

    void Run(FaultyManager::Fault fault, const std::function<void(Scene&)>& call) {
        Scene scene(&manager_);
        manager_.Fails(GetParam().calls, fault);
        call(scene);
        manager_.Fails(GetParam().calls, FaultyManager::kNone);
    }

    FaultyManager manager_;

 private:
    IQrvBufferMgr* usual_manager_ = *scripted::DefaultManager();
};

using FaultyManagerDeathTest = FaultyManagerTest;

TEST_P(FaultyManagerDeathTest, ExceptionEndsTheProcess) {
    EXPECT_DEATH(
        scripted::ExpectNoExceptionOutOf([this] { Run(FaultyManager::kThrows, GetParam().call); }),
        "terminate called");
}

TEST_P(FaultyManagerTest, NothingHandedOutIsOutOfMemory) {
    Run(FaultyManager::kYieldsNothing, [](Scene& scene) {
        int32_t code = 0;
        try {
            GetParam().call(scene);
        } catch (const QRV::CQrvException& exception) {
            code = exception.Code();
        }
        EXPECT_EQ(code, static_cast<int32_t>(0x8007000E));
        EXPECT_STREQ(scene.alone.GetString(), "alone");
        EXPECT_STREQ(scene.shared.GetString(), "shared text");
    });
    EXPECT_EQ(manager_.LiveBlocks(), 0);
}

std::string NameOf(const testing::TestParamInfo<Call>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(HandedSomething, FaultyManagerDeathTest,
                         testing::ValuesIn(kHandedSomething), NameOf);
INSTANTIATE_TEST_SUITE_P(GivingBack, FaultyManagerDeathTest, testing::ValuesIn(kGivingBack),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(HandedSomething, FaultyManagerTest, testing::ValuesIn(kHandedSomething),
                         NameOf);

}  // namespace
