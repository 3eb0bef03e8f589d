// A client that calls for a long time, on a key that answers at once: nothing grows, and each call
// answers as it did the first time.
#include <array>
#include <random>

#include "growth.h"
#include "orval_unified_kpxukey.h"

namespace {

constexpr const char* kKey = "SN0123456789";
constexpr int32_t kRoom = 13000;
char g_buffer[kRoom];

// The buffer and its length come last.
template <typename Function, typename... Arguments>
int32_t Ask(Function function, Arguments... arguments) {
    int32_t length = kRoom;
    return function(arguments..., g_buffer, &length);
}

// Asks for the length alone: the request stays in the cache until the next.
int32_t BeginRequest(const char* description) {
    int32_t length = 0;
    return GenerateCertRequest(kKey, description, nullptr, &length);
}

// The string library's exception leaves the call.
int32_t BeginMalformedRequest() {
    try {
        return BeginRequest("CertType(1)KeyType");
    } catch (...) {
        return INT32_MAX;
    }
}

using Call = int32_t (*)();
constexpr Call kCalls[] = {
    [] { return Ask(GetDriverVersion); },
    [] { return Ask(GetDllVersion); },
    [] { return Ask(GetPrintNumber); },
    [] { return Ask(GetVendorInfo, 2); },
    [] { return Ask(GetErrorMsg, 5); },
    [] { return Ask(GetLabel, kKey); },
    [] { return Ask(GetData, kKey, 1); },
    [] { return Ask(GetPinInfo, kKey); },
    [] { return Ask(GetCert, kKey, 1, 1); },
    [] { return Ask(GetCertDN, kKey, 1, 0); },
    [] { return Ask(GetCertInfo, kKey, 1); },
    [] { return Ask(Sign, kKey, 1, 3, "data", "warning"); },
    [] { return Ask(SignHash, kKey, 1, 3, "data", 0); },
    [] { return Ask(AsymDec, kKey, 1, 0U, "cipher"); },
    [] { return Ask(GenerateCertRequest, kKey, "CertType(1)KeyType(2)|CertType(3)"); },
    [] { return BeginRequest("CertType(1)"); },
    BeginMalformedRequest,
    [] { return SetLabel(kKey, "label"); },
    [] { return SetData(kKey, 1, "data"); },
    [] { return VerifyPIN(kKey); },
    [] { return ChangePin(kKey); },
    [] { return InitUKey(kKey); },
    [] { return ImportX509Cert(kKey, "A,B,C"); },
    [] { return ImportEncX509Cert(kKey, "A,B,C", "D"); },
    [] { return Batch_ImportX509Cert(kKey, "SignCert(A)|EncCert(B)|EncPriKey(C)"); },
    [] { return DelCertAndTempKey(kKey, 1, 0); },
    [] { return CheckDriverIntegrity(1); },
};

TEST(Soak, MixedCallsGrowNothing) {
    std::array<int32_t, std::size(kCalls)> first = {};
    for (size_t i = 0; i < first.size(); ++i) {
        first.at(i) = kCalls[i]();
    }
    std::mt19937 random(1);
    growth::ExpectNone("mixed calls", growth::Rounds(100'000, 10'000'000), [&] {
        const size_t call = random() % first.size();
        ASSERT_EQ(kCalls[call](), first.at(call)) << call;
    });
}

TEST(Soak, InitializeAndFinalizeGrowNothing) {
    growth::ExpectNone("Initialize and Finalize", growth::Rounds(1'000, 10'000), [] {
        ASSERT_EQ(Initialize(), 0);
        Finalize();
    });
}

}  // namespace
