#include "functions.h"

#include <tuple>
#include <type_traits>

#include "model.h"
#include "orval_unified_kpxukey.h"

namespace walk {

namespace {

// Hands out the client's arguments of each kind in order.
class Supply final {
 public:
    explicit Supply(const Client& client) : client_(client) {}

    template <typename Parameter>
    Parameter Take() {
        if constexpr (std::is_integral_v<Parameter>) {
            return static_cast<Parameter>(client_.numbers[number_++]);
        } else if constexpr (std::is_const_v<std::remove_pointer_t<Parameter>>) {
            return client_.texts[text_++];
        } else if constexpr (std::is_same_v<Parameter, int32_t*>) {
            return client_.length;
        } else if constexpr (std::is_same_v<Parameter, uint32_t*>) {
            // The wait has an event and then a length, the same bytes as the signed ones.
            return event_++ == 0 ? client_.event : reinterpret_cast<uint32_t*>(client_.length);
        } else {
            return client_.buffer;
        }
    }

 private:
    const Client& client_;
    size_t number_ = 0;
    size_t text_ = 0;
    size_t event_ = 0;
};

template <typename Result, typename... Parameters>
std::optional<int32_t> CallWith(const Client& client, Result (*function)(Parameters...)) {
    Supply supply(client);
    const std::tuple<Parameters...> arguments{supply.Take<Parameters>()...};
    if constexpr (std::is_void_v<Result>) {
        std::apply(function, arguments);
        return std::nullopt;
    } else {
        return std::apply(function, arguments);
    }
}

template <auto function>
std::optional<int32_t> Call(const Client& client) {
    return CallWith(client, function);
}

int32_t PinInfoBound(const Arguments& /*in*/) {
    return 8;
}

int32_t CertInfoBound(const Arguments& /*in*/) {
    return 1280;
}

int32_t TextEstimate(const Arguments& in) {
    return Estimate(*in.texts[1]);
}

int32_t BatchEstimate(const Arguments& in) {
    uint32_t estimate = in.texts[1] ? static_cast<uint32_t>(in.texts[1]->size()) + 2048 : 0;
    const std::string batch = in.texts[3].value_or("");
    for (size_t at = batch.find("||"); at != std::string::npos; at = batch.find("||", at + 2)) {
        estimate += static_cast<uint32_t>(batch.size()) + 2048;
    }
    return static_cast<int32_t>(estimate * 2);
}

// A row a function; the formatter would give each column a line.
// clang-format off
constexpr Function kFunctions[] = {
    // Those that do something of their own.
    {"Initialize", Call<Initialize>, 4, "", 0, {}, &Model::Initialize},
    {"Finalize", Call<Finalize>, 6, "", 0, {}, &Model::Finalize},
    {"GetLastErrCode", Call<GetLastErrCode>, 4, "L", 0, {}, &Model::GetLastErrCode},
    {"GetErrorMsg", Call<GetErrorMsg>, 10, "nBL", 250, {}, &Model::GetErrorMsg},
    {"GetDriverVersion", Call<GetDriverVersion>, 4, "Bl", 0, {}, &Model::GetConstant},
    {"GetDllVersion", Call<GetDllVersion>, 4, "Bl", 0, {}, &Model::GetConstant},
    {"GetVidAndPid", Call<GetVidAndPid>, 4, "Bl", 0, {}, &Model::GetConstant},
    {"GetPrintNumber", Call<GetPrintNumber>, 8, "Bl", 1023, {}, &Model::GetPrintNumber},
    {"GetVendorInfo", Call<GetVendorInfo>, 5, "mBv", 0, {}, &Model::GetVendorInfo},
    {"WaitForKeyEvent", Call<WaitForKeyEvent>, 15, "eBl", 0, {}, &Model::WaitForKeyEvent},
    {"StopDetectUKey", Call<StopDetectUKey>, 3, "", 0, {}, &Model::StopDetectUKey},
    {"CheckDriverIntegrity", Call<CheckDriverIntegrity>, 4, "m", 0,
     {}, &Model::CheckDriverIntegrity},
    {"RegisterCert", Call<RegisterCert>, 1, "", 0, {}, &Model::RefuseSilently},
    {"UnregisterCert", Call<UnregisterCert>, 1, "", 0, {}, &Model::RefuseSilently},
    {"RepairDriver", Call<RepairDriver>, 1, "", 0, {}, &Model::RefuseSilently},
    {"ImportX509Cert", Call<ImportX509Cert>, 8, "sc", 0, {}, &Model::ImportX509Cert},
    {"ImportEncX509Cert", Call<ImportEncX509Cert>, 10, "sck", 0, {}, &Model::ImportEncX509Cert},
    {"Batch_ImportX509Cert", Call<Batch_ImportX509Cert>, 20, "sp", 0,
     {}, &Model::Batch_ImportX509Cert},
    {"GenerateCertRequest", Call<GenerateCertRequest>, 40, "srBL", 300,
     {}, &Model::GenerateCertRequest},
    {"Batch_InitAndGenerateCertRequest", Call<Batch_InitAndGenerateCertRequest>, 40, "smrBL", 300,
     {},
     &Model::Batch_InitAndGenerateCertRequest},
    // PIN.
    {"ChangePin", Call<ChangePin>, 4, "S", 0, {"lhir", "", nullptr, "ChangePin t0", kCode}},
    {"VerifyPIN", Call<VerifyPIN>, 4, "s", 0, {"i", "", nullptr, "VerifyPIN t0", kCode}},
    {"TestVerifyAndCachePin", Call<TestVerifyAndCachePin>, 4, "sn", 0,
     {"i", "", nullptr, "VerifyAndCachePin t0 w0", kCode}},
    {"GetPinInfo", Call<GetPinInfo>, 6, "sBL", 8,
     {"i", "L", PinInfoBound, "GetPinInfo t0 B L", kOwnBytes}},
    {"RemovePinCache", Call<RemovePinCache>, 3, "", 0,
     {"ir", "", nullptr, "GM_RemoveUserPin", kCode}},
    {"SetCachePinFlag", Call<SetCachePinFlag>, 6, "sn", 0,
     {"r", "", nullptr, "SetCachePinFlag t0 w0", kCode}},
    // Key storage.
    {"InitUKey", Call<InitUKey>, 6, "S", 0,
     {"lhnr", "", nullptr, "CustInitCard t0 0 null 0", kCode}},
    {"TestInitUKey", Call<TestInitUKey>, 4, "sB", 0,
     {"lir", "", nullptr, "CustInitCard t0 0 B 0", kCode}},
    {"GetLabel", Call<GetLabel>, 10, "sBL", 511,
     {"ir", "L0E", nullptr, "GetLabel c0 z512", kTested}},
    {"SetLabel", Call<SetLabel>, 4, "st", 0, {"i", "01", nullptr, "SetLabel t0 t1", kCode}},
    {"GetData", Call<GetData>, 10, "snBL", 259,
     {"ir", "LK", nullptr, "GetData t0 n0 z260", kTestedAndTerminator}},
    {"SetData", Call<SetData>, 8, "snd", 0, {"i", "KD", nullptr, "SetData t0 n0 t1", kCode}},
    {"SetCharset", Call<SetCharset>, 4, "tt", 0,
     {"i", "01", nullptr, "UOS_SetCharset t1 t0", kCode}},
    {"SetLanguage", Call<SetLanguage>, 4, "tt", 0,
     {"i", "01", nullptr, "UOS_SetLanguage t1 t0", kCode}},
    // Signing and decryption.
    {"Sign", Call<Sign>, 8, "snnttBL", 400,
     {"i", "L12", TextEstimate,
      "SetWarningMsg t0 t2;GMUsbKeyCriticalSign t0 n0 n1 t1 b L", kOwnText}},
    {"SignHash", Call<SignHash>, 8, "snntnBL", 8191,
     {"ir", "L1", TextEstimate, "GMUsbKeyCommonSign c0 n0 n1 c1 n2 z~ L", kUntested}},
    {"Batch_Sign", Call<Batch_Sign>, 10, "nsnnttnnnbnBL", 400,
     {"i", "LF", BatchEstimate, "Batch_Sign n0 t0 n1 n2 t1 p2 w3 n4 n5 t3 n6 b L", kOwnText}},
    {"AsymDec", Call<AsymDec>, 10, "snncBL", 8191,
     {"ir", "L1", TextEstimate, "GMUSBKeyAsymDec2 c0 n0 u1 y1 z~ &~", kTested}},
    // Reading certificates, and removing them.
    {"GetCert", Call<GetCert>, 10, "snnBL", 4095,
     {"i", "L0", nullptr, "GetCertInfo t0 n0 n1 z4096 &4096", kTested}},
    {"GetCertDN", Call<GetCertDN>, 10, "snnBL", 1023,
     {"ir", "L0", nullptr, "GM_GetCertDN t0 n0 n1 z1024", kTested}},
    {"GetCertInfo", Call<GetCertInfo>, 6, "snBL", 1280,
     {"i", "L", CertInfoBound, "GetCertInfo_UOS t0 w0 B L", kOwnBytes}},
    {"DelCertAndTempKey", Call<DelCertAndTempKey>, 4, "snn", 0,
     {"i", "", nullptr, "DelCertAndTempKey t0 n0 n1", kCode}},
};
// clang-format on

}  // namespace

int32_t Estimate(const std::string& text) {
    return static_cast<int32_t>((static_cast<uint32_t>(text.size()) + 4096) * 2);
}

const std::vector<Function>& Functions() {
    static const std::vector<Function> functions(std::begin(kFunctions), std::end(kFunctions));
    return functions;
}

}  // namespace walk
