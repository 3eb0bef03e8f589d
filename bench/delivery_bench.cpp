// Calls that hand over a text of the key.
#include <cstring>

#include "families.h"
#include "least/calls.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

constexpr const char* kSerialNumber = "0123456789ABCDEF";
// A digest in hexadecimal.
constexpr const char* kDigest = "66C7F0F462EEEDD9D1F2D46BDC10E4E24167C4875CF2F7A2297DA02B8F4BA8E0";
char output[16384];

// A ciphertext of 1 KiB in lines.
const char* Cipher() {
    static const std::string text = [] {
        std::string lines;
        while (lines.size() < 1024) {
            lines += std::string(64, 'M') + "\r\n";
        }
        return lines;
    }();
    return text.c_str();
}

// `call` is handed the function, and the length to pass with `output`.
template <typename Function, typename Call>
void AddDelivery(const std::string& row, Function* ours, Function* limit, Call call) {
    const auto repeat = [call](benchmark::State& state, Function* function) {
        bench::Repeat(state, [&] {
            int32_t length = sizeof(output);
            return call(function, &length);
        });
    };
    bench::Add(row, bench::kOurs, repeat, ours);
    bench::Add(row, bench::kLimit, repeat, limit);
}

}  // namespace

void bench::AddDeliveryRows() {
    AddDelivery("GetErrorMsg", &GetErrorMsg, &least::GetErrorMsg,
                [](auto* function, int32_t* length) { return function(-401, output, length); });
    AddDelivery("GetCert", &GetCert, &least::GetCert, [](auto* function, int32_t* length) {
        return function(kSerialNumber, 1, 0, output, length);
    });
    AddDelivery("SignHash", &SignHash, &least::SignHash, [](auto* function, int32_t* length) {
        return function(kSerialNumber, 1, 0, kDigest, 3, output, length);
    });
    AddDelivery("AsymDec", &AsymDec, &least::AsymDec, [](auto* function, int32_t* length) {
        return function(kSerialNumber, 2, 0, Cipher(), output, length);
    });
}
