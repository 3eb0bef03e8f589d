// SM2 signatures of a digest: through the library and the software key, and by libcrypto alone.
#include <openssl/evp.h>

#include <memory>

#include "families.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"
#include "signature_peers.h"

namespace {

constexpr int kBatch = 1000;
constexpr int kBatchRepetitions = 7;
constexpr const char* kDigest = "66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0";
// The software key's numbers: the signing certificate, the signature's value in hexadecimal, a
// digest in hexadecimal.
constexpr int32_t kSigning = 1;
constexpr int32_t kHexValue = 3;
constexpr int32_t kHexDigest = 3;

// The serial number of the plugged key, whose PIN is asked for once.
const char* KeyWithPin() {
    static char serial_number[ORVAL_SERIAL_NUMBER_ROOM] = {};
    if (serial_number[0] == '\0') {
        int32_t length = sizeof(serial_number);
        GetPrintNumber(serial_number, &length);
        SetCachePinFlag(serial_number, 1);
        TestVerifyAndCachePin(serial_number, 0);
    }
    return serial_number;
}

void SignOne(benchmark::State& state) {
    const char* const key = KeyWithPin();
    char signature[512];
    int32_t code = ORVAL_OK;
    bench::Repeat(state, [&] {
        int32_t length = sizeof(signature);
        return code |= SignHash(key, kSigning, kHexValue, kDigest, kHexDigest, signature, &length);
    });
    if (code != ORVAL_OK) {
        state.SkipWithError("SignHash failed");
    }
}

void SignBatch(benchmark::State& state) {
    const char* const key = KeyWithPin();
    std::string batch;
    for (int i = 0; i < kBatch; ++i) {
        batch.append(i == 0 ? "" : "||").append(kDigest);
    }
    const size_t room = kBatch * size_t{512};
    const auto signatures = std::make_unique<char[]>(room);
    int32_t code = ORVAL_OK;
    bench::Repeat(state, [&] {
        auto length = static_cast<int32_t>(room);
        return code |= Batch_Sign(0, key, 0, 0, nullptr, nullptr, 0, kSigning, kHexValue,
                                  batch.c_str(), kHexDigest, signatures.get(), &length);
    });
    if (code != ORVAL_OK) {
        state.SkipWithError("Batch_Sign failed");
    }
}

}  // namespace

void bench::AddSignatureRows() {
    const auto by_libcrypto = [](benchmark::State& state, int count) {
        SignByLibcrypto(state, EVP_PKEY_Q_keygen(nullptr, nullptr, "SM2"), count);
    };
    Add("SM2 signature, SignHash", kOurs, SignOne);
    Add("SM2 signature, SignHash", kLimit, by_libcrypto, 1);
    Add("SM2 signature, Batch_Sign of 1000", kOurs, SignBatch)
        ->Iterations(1)
        ->Repetitions(kBatchRepetitions);
    Add("SM2 signature, Batch_Sign of 1000", kLimit, by_libcrypto, kBatch)
        ->Iterations(1)
        ->Repetitions(kBatchRepetitions);
#ifdef ORVAL_BENCH_TOKEN_PROXY
    AddTokenModuleRow();
#endif
}
