#include <dlfcn.h>

#include <set>

#include "api_test.h"

// This program defines and exports a function of its own under every name under which the product
// exports one; each of them ends the process. The product must not reach any of them.
namespace {

constexpr const char* kSerialNumber = "SN0123456789";

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

std::string LibraryOf(void* address) {
    Dl_info info = {};
    return dladdr(address, &info) != 0 ? info.dli_fname : "";
}

char buffer[8192];
int32_t length = 0;
uint32_t event = 0;
uint32_t number_length = 0;

struct ExportedCall {
    const char* name;
    int32_t (*call)();
    int32_t expected;
    const char* reached;  // the function of the key's libraries that answers; null: none
};

const ExportedCall kCalls[] = {
    {"Initialize", [] { return PRODUCT(Initialize)(); }, 0, nullptr},
    {"GetErrorMsg", [] { return PRODUCT(GetErrorMsg)(5, buffer, &length); }, 0,
     "X_ErrorConvert_UOS"},
    {"GetDriverVersion", [] { return PRODUCT(GetDriverVersion)(buffer, &length); }, 0, nullptr},
    {"GetDllVersion", [] { return PRODUCT(GetDllVersion)(buffer, &length); }, 0, nullptr},
    {"GetVidAndPid", [] { return PRODUCT(GetVidAndPid)(buffer, &length); }, 0, nullptr},
    {"GetPrintNumber", [] { return PRODUCT(GetPrintNumber)(buffer, &length); }, 0, "CheckDeviceEx"},
    {"GetVendorInfo", [] { return PRODUCT(GetVendorInfo)(2, buffer, &length); }, 0, nullptr},
    {"WaitForKeyEvent", [] { return PRODUCT(WaitForKeyEvent)(&event, buffer, &number_length); }, 0,
     "VexaT_ContextFinal"},
    {"StopDetectUKey", [] { return PRODUCT(StopDetectUKey)(); }, 0, nullptr},
    {"CheckDriverIntegrity", [] { return PRODUCT(CheckDriverIntegrity)(1); }, 0, nullptr},
    {"ChangePin", [] { return PRODUCT(ChangePin)(kSerialNumber); }, 0, "ChangePin"},
    {"VerifyPIN", [] { return PRODUCT(VerifyPIN)(kSerialNumber); }, 0, "VerifyPIN"},
    {"TestVerifyAndCachePin", [] { return PRODUCT(TestVerifyAndCachePin)(kSerialNumber, 0); }, 0,
     "VerifyAndCachePin"},
    {"GetPinInfo", [] { return PRODUCT(GetPinInfo)(kSerialNumber, buffer, &length); }, 0,
     "GetPinInfo"},
    {"RemovePinCache", [] { return PRODUCT(RemovePinCache)(); }, 0, "GM_RemoveUserPin"},
    {"SetCachePinFlag", [] { return PRODUCT(SetCachePinFlag)(kSerialNumber, 1); }, 0,
     "SetCachePinFlag"},
    {"InitUKey", [] { return PRODUCT(InitUKey)(kSerialNumber); }, 0, "CustInitCard"},
    {"TestInitUKey", [] { return PRODUCT(TestInitUKey)(kSerialNumber, nullptr); }, 0,
     "CustInitCard"},
    {"GetLabel", [] { return PRODUCT(GetLabel)(kSerialNumber, buffer, &length); }, 0, "GetLabel"},
    {"SetLabel", [] { return PRODUCT(SetLabel)(kSerialNumber, "label"); }, 0, "SetLabel"},
    {"GetData", [] { return PRODUCT(GetData)(kSerialNumber, 0, buffer, &length); }, 0, "GetData"},
    {"SetData", [] { return PRODUCT(SetData)(kSerialNumber, 0, "data"); }, 0, "SetData"},
    {"SetCharset", [] { return PRODUCT(SetCharset)("a", "b"); }, 0, "UOS_SetCharset"},
    {"SetLanguage", [] { return PRODUCT(SetLanguage)("a", "b"); }, 0, "UOS_SetLanguage"},
    {"Sign", [] { return PRODUCT(Sign)(kSerialNumber, 0, 0, "data", "warning", buffer, &length); },
     0, "GMUsbKeyCriticalSign"},
    {"SignHash", [] { return PRODUCT(SignHash)(kSerialNumber, 0, 0, "data", 0, buffer, &length); },
     0, "GMUsbKeyCommonSign"},
    {"Batch_Sign",
     [] {
         return PRODUCT(Batch_Sign)(0, kSerialNumber, 0, 0, "text", nullptr, 0, 0, 0, "a||b", 0,
                                    buffer, &length);
     },
     0, "Batch_Sign"},
    {"AsymDec", [] { return PRODUCT(AsymDec)(kSerialNumber, 0, 0, "a\r\nb", nullptr, &length); }, 0,
     nullptr},
    {"GetCert", [] { return PRODUCT(GetCert)(kSerialNumber, 0, 0, nullptr, &length); }, 0,
     "GetCertInfo"},
    {"GetCertDN", [] { return PRODUCT(GetCertDN)(kSerialNumber, 0, 0, buffer, &length); }, 0,
     "GM_GetCertDN"},
    {"GetCertInfo", [] { return PRODUCT(GetCertInfo)(kSerialNumber, 0, buffer, &length); }, 0,
     "GetCertInfo_UOS"},
    {"DelCertAndTempKey", [] { return PRODUCT(DelCertAndTempKey)(kSerialNumber, 0, 0); }, 0,
     "DelCertAndTempKey"},
    {"RegisterCert", [] { return PRODUCT(RegisterCert)(); }, -300, nullptr},
    {"UnregisterCert", [] { return PRODUCT(UnregisterCert)(); }, -300, nullptr},
    {"RepairDriver", [] { return PRODUCT(RepairDriver)(); }, -300, nullptr},
    {"ImportX509Cert", [] { return PRODUCT(ImportX509Cert)(kSerialNumber, "a,b\r\nc"); }, 0,
     "GMWritePKCS7"},
    {"ImportEncX509Cert", [] { return PRODUCT(ImportEncX509Cert)(kSerialNumber, "a,b", "c,d"); }, 0,
     "GMWritePKCS7"},
    {"Batch_ImportX509Cert",
     [] { return PRODUCT(Batch_ImportX509Cert)(kSerialNumber, "SignCert(a)|EncPriKey(b)"); }, 0,
     "GMImportPriKey"},
    {"GenerateCertRequest",
     [] { return PRODUCT(GenerateCertRequest)(kSerialNumber, "CertType(1)", buffer, &length); }, 0,
     "GMCreatePKCS10"},
    {"Batch_InitAndGenerateCertRequest",
     [] {
         return PRODUCT(Batch_InitAndGenerateCertRequest)(
             kSerialNumber, 0, "CertType(1)KeyType(1)HashType(1)", buffer, &length);
     },
     0, "GMCreatePKCS10Ex"},
};

class Hijack : public testing::TestWithParam<ExportedCall> {
 protected:
    Hijack() {
        Key().GMCreatePKCS10.HandsOver("request");
        Key().GMCreatePKCS10Ex.HandsOver("request");
        length = 4096;
    }
};

INSTANTIATE_TEST_SUITE_P(Symbols, Hijack, testing::ValuesIn(kCalls),
                         [](const auto& exported) { return std::string(exported.param.name); });

TEST_P(Hijack, ProcessOwnFunctionsAreNotReached) {
    PRODUCT(Initialize)();
    length = 4096;
    EXPECT_EQ(GetParam().call(), GetParam().expected);
    if (GetParam().reached == nullptr) {
        EXPECT_THAT(Calls(), IsEmpty());
    } else {
        ASSERT_FALSE(Calls().empty());
        EXPECT_THAT(Calls().back(), testing::StartsWith(GetParam().reached + "("s));
    }
}

TEST_P(Hijack, LazyInitialisationStaysInside) {
    static const std::set<std::string> kNotInitialising = {
        "InitUKey", "SetCachePinFlag", "RegisterCert", "UnregisterCert", "RepairDriver"};
    GetParam().call();
    EXPECT_EQ(*InProduct<uint8_t>("g_initFlag"), kNotInitialising.count(GetParam().name) == 0);
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
    for (const ExportedCall& exported : kCalls) {
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
