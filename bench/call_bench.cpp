// What a quiet call adds to a direct call of the key's entry.
#include "families.h"
#include "least/calls.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

constexpr const char* kSerialNumber = "0123456789ABCDEF";

// Many short ones, because what is looked for is a nanosecond: the judge takes the fastest part.
constexpr int kRepetitions = 151;
constexpr double kSeconds = 0.002;

// All are called through a pointer, of which the compiler knows nothing here.
template <typename... Parameters>
void AddCall(const std::string& row, int32_t (*ours)(Parameters...),
             int32_t (*limit)(Parameters...), int32_t (*direct)(Parameters...),
             Parameters... arguments) {
    const auto repeat = [=](benchmark::State& state, auto* entry) {
        bench::Repeat(state, [&] { return entry(arguments...); });
    };
    const auto add = [&](const char* way, auto* entry) {
        bench::Add("quiet call, " + row, way, repeat, entry)
            ->Repetitions(kRepetitions)
            ->MinTime(kSeconds);
    };
    add(bench::kOurs, ours);
    add(bench::kLimit, limit);
    add(bench::kDirect, direct);
}

}  // namespace

void bench::AddCallRows() {
    static char buffer[64];
    static int32_t length = sizeof(buffer);
    const auto& key = least::table;
    AddCall("1 argument", &VerifyPIN, &least::VerifyPIN, key.VerifyPIN, kSerialNumber);
    AddCall("2 arguments", &SetLabel, &least::SetLabel, key.SetLabel, kSerialNumber, "label");
    AddCall("3 arguments", &DelCertAndTempKey, &least::DelCertAndTempKey, key.DelCertAndTempKey,
            kSerialNumber, 1, 2);
    AddCall<const char*, intptr_t, void*, int32_t*>("4 arguments", &GetCertInfo,
                                                    &least::GetCertInfo, key.GetCertInfo_UOS,
                                                    kSerialNumber, 1, buffer, &length);
    AddCall<int32_t, const char*, int32_t, int32_t, const char*, const void*, int64_t, int32_t,
            int32_t, const char*, int32_t, char*, int32_t*>(
        "13 arguments", &Batch_Sign, &least::BatchSign, key.Batch_Sign, 1, kSerialNumber, 1, 0,
        "text", "warning", 0, 1, 0, "a||b", 0, buffer, &length);
}
