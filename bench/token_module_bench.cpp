// What others add to libcrypto: p11-kit's proxy in front of SoftHSM, a software token. It has no
// SM2, so both sign with ECDSA over P-256.
#include <dlfcn.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <p11-kit/pkcs11.h>

#include <array>
#include <cstdlib>
#include <cstring>

#include "rows.h"
#include "signature_peers.h"

namespace {

constexpr const char* kRow = "ECDSA P-256 signature, p11-kit and SoftHSM";
constexpr const char* kTokenLabel = "bench ";
unsigned char pin[] = "12345678";
constexpr CK_ULONG kPinLength = sizeof(pin) - 1;
// The object identifier of P-256.
unsigned char curve[] = {0x06, 0x08, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x03, 0x01, 0x07};

// A session with a key pair on the token that bench/with_token made; null where there is none.
class TokenSigner final {
 public:
    TokenSigner() : ready_(Load() && OpenSession() && MakeKeyPair()) {}

    bool IsReady() const { return ready_; }

    bool Sign() {
        std::array<unsigned char, bench::kDigestSize> digest = {0x66, 0xC7};
        std::array<unsigned char, 64> signature = {};
        CK_ULONG size = signature.size();
        CK_MECHANISM mechanism = {CKM_ECDSA, nullptr, 0};
        return module_->C_SignInit(session_, &mechanism, private_key_) == CKR_OK &&
               module_->C_Sign(session_, digest.data(), digest.size(), signature.data(), &size) ==
                   CKR_OK;
    }

 private:
    bool Load() {
        void* const library = dlopen(ORVAL_BENCH_TOKEN_PROXY, RTLD_NOW);
        const auto get =
            library == nullptr
                ? nullptr
                : reinterpret_cast<CK_C_GetFunctionList>(dlsym(library, "C_GetFunctionList"));
        return get != nullptr && get(&module_) == CKR_OK &&
               module_->C_Initialize(nullptr) == CKR_OK;
    }

    bool OpenSession() {
        std::array<CK_SLOT_ID, 64> slots = {};
        CK_ULONG count = slots.size();
        if (module_->C_GetSlotList(CK_TRUE, slots.data(), &count) != CKR_OK) {
            return false;
        }
        for (CK_ULONG i = 0; i < count; ++i) {
            CK_TOKEN_INFO token = {};
            if (module_->C_GetTokenInfo(slots[i], &token) == CKR_OK &&
                std::memcmp(token.label, kTokenLabel, std::strlen(kTokenLabel)) == 0) {
                return module_->C_OpenSession(slots[i], CKF_SERIAL_SESSION | CKF_RW_SESSION,
                                              nullptr, nullptr, &session_) == CKR_OK &&
                       module_->C_Login(session_, CKU_USER, pin, kPinLength) == CKR_OK;
            }
        }
        return false;
    }

    bool MakeKeyPair() {
        CK_BBOOL yes = CK_TRUE;
        CK_MECHANISM mechanism = {CKM_EC_KEY_PAIR_GEN, nullptr, 0};
        CK_ATTRIBUTE public_template[] = {{CKA_EC_PARAMS, curve, sizeof(curve)},
                                          {CKA_VERIFY, &yes, sizeof(yes)}};
        CK_ATTRIBUTE private_template[] = {{CKA_SIGN, &yes, sizeof(yes)}};
        CK_OBJECT_HANDLE public_key = 0;
        return module_->C_GenerateKeyPair(session_, &mechanism, public_template, 2,
                                          private_template, 1, &public_key,
                                          &private_key_) == CKR_OK;
    }

    CK_FUNCTION_LIST* module_ = nullptr;
    CK_SESSION_HANDLE session_ = 0;
    CK_OBJECT_HANDLE private_key_ = 0;
    bool ready_;
};

void SignByToken(benchmark::State& state) {
    static TokenSigner signer;
    if (!signer.IsReady()) {
        state.SkipWithError("the token cannot be used through p11-kit");
        return;
    }
    bool signed_all = true;
    bench::Repeat(state, [&] { return signed_all = signer.Sign() && signed_all; });
    if (!signed_all) {
        state.SkipWithError("the token does not sign");
    }
}

}  // namespace

void bench::AddTokenModuleRow() {
    if (std::getenv("SOFTHSM2_CONF") == nullptr) {
        return;
    }
    Add(kRow, "p11-kit", SignByToken);
    Add(kRow, kLimit,
        [](benchmark::State& state) { SignByLibcrypto(state, EVP_EC_gen("P-256"), 1); });
}
