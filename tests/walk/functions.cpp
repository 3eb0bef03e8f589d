#include "functions.h"

#include "model.h"
#include "orval_unified_kpxukey.h"

namespace walk {

namespace {

using Buffer = Recipe::Buffer;
using Length = Recipe::Length;
using Result = std::optional<int32_t>;

int32_t Number(const Client& c, size_t index) {
    return static_cast<int32_t>(c.numbers[index]);
}

std::vector<Function> LifecycleFunctions() {
    return {
        {"Initialize",
         4,
         {},
         [](const Client&) -> Result { return Initialize(); },
         &Model::Initialize},
        {"Finalize",
         6,
         {},
         [](const Client&) -> Result {
             Finalize();
             return std::nullopt;
         },
         &Model::Finalize},
        {"GetLastErrCode",
         4,
         {"", Buffer::kNone, Length::kOptional},
         [](const Client& c) -> Result {
             GetLastErrCode(c.length);
             return std::nullopt;
         },
         &Model::GetLastErrCode},
        {"GetErrorMsg",
         10,
         {"", Buffer::kOptional, Length::kOptional, 250},
         [](const Client& c) -> Result { return GetErrorMsg(Number(c, 0), c.buffer, c.length); },
         &Model::GetErrorMsg},
    };
}

std::vector<Function> IdentityFunctions() {
    return {
        {"GetDriverVersion",
         4,
         {"", Buffer::kOptional, Length::kRequired},
         [](const Client& c) -> Result { return GetDriverVersion(c.buffer, c.length); },
         &Model::GetDriverVersion},
        {"GetDllVersion",
         4,
         {"", Buffer::kOptional, Length::kRequired},
         [](const Client& c) -> Result { return GetDllVersion(c.buffer, c.length); },
         &Model::GetDllVersion},
        {"GetVidAndPid",
         4,
         {"", Buffer::kOptional, Length::kRequired},
         [](const Client& c) -> Result { return GetVidAndPid(c.buffer, c.length); },
         &Model::GetVidAndPid},
        {"GetPrintNumber",
         8,
         {"", Buffer::kOptional, Length::kRequired, 1023},
         [](const Client& c) -> Result { return GetPrintNumber(c.buffer, c.length); },
         &Model::GetPrintNumber},
        {"GetVendorInfo",
         5,
         {"", Buffer::kOptional, Length::kOptionalWithBuffer},
         [](const Client& c) -> Result { return GetVendorInfo(Number(c, 6), c.buffer, c.length); },
         &Model::GetVendorInfo},
    };
}

std::vector<Function> DeviceFunctions() {
    return {
        {"WaitForKeyEvent",
         15,
         {"", Buffer::kOptional, Length::kRequired, 0, true},
         [](const Client& c) -> Result {
             // The same bytes as the signed lengths of the other functions.
             auto* length = reinterpret_cast<uint32_t*>(c.length);
             return WaitForKeyEvent(c.event, c.buffer, length);
         },
         &Model::WaitForKeyEvent},
        {"StopDetectUKey",
         3,
         {},
         [](const Client&) -> Result { return StopDetectUKey(); },
         &Model::StopDetectUKey},
        {"CheckDriverIntegrity",
         4,
         {},
         [](const Client& c) -> Result { return CheckDriverIntegrity(Number(c, 6)); },
         &Model::CheckDriverIntegrity},
    };
}

std::vector<Function> PinFunctions() {
    return {
        {"ChangePin",
         4,
         {"S"},
         [](const Client& c) -> Result { return ChangePin(c.texts[0]); },
         &Model::ChangePin},
        {"VerifyPIN",
         4,
         {"s"},
         [](const Client& c) -> Result { return VerifyPIN(c.texts[0]); },
         &Model::VerifyPIN},
        {"TestVerifyAndCachePin",
         4,
         {"s"},
         [](const Client& c) -> Result { return TestVerifyAndCachePin(c.texts[0], c.numbers[0]); },
         &Model::TestVerifyAndCachePin},
        {"GetPinInfo",
         6,
         {"s", Buffer::kOptional, Length::kOptional, 8},
         [](const Client& c) -> Result { return GetPinInfo(c.texts[0], c.buffer, c.length); },
         &Model::GetPinInfo},
        {"RemovePinCache",
         3,
         {},
         [](const Client&) -> Result { return RemovePinCache(); },
         &Model::RemovePinCache},
        {"SetCachePinFlag",
         6,
         {"s"},
         [](const Client& c) -> Result { return SetCachePinFlag(c.texts[0], c.numbers[0]); },
         &Model::SetCachePinFlag},
    };
}

std::vector<Function> StorageFunctions() {
    return {
        {"InitUKey",
         6,
         {"S"},
         [](const Client& c) -> Result { return InitUKey(c.texts[0]); },
         &Model::InitUKey},
        {"TestInitUKey",
         4,
         {"s", Buffer::kOptional},
         [](const Client& c) -> Result { return TestInitUKey(c.texts[0], c.buffer); },
         &Model::TestInitUKey},
        {"GetLabel",
         10,
         {"s", Buffer::kOptional, Length::kOptional, 511},
         [](const Client& c) -> Result { return GetLabel(c.texts[0], c.buffer, c.length); },
         &Model::GetLabel},
        {"SetLabel",
         4,
         {"st"},
         [](const Client& c) -> Result { return SetLabel(c.texts[0], c.texts[1]); },
         &Model::SetLabel},
        {"GetData",
         10,
         {"s", Buffer::kOptional, Length::kOptional, 259},
         [](const Client& c) -> Result {
             return GetData(c.texts[0], Number(c, 0), c.buffer, c.length);
         },
         &Model::GetData},
        {"SetData",
         8,
         {"sd"},
         [](const Client& c) -> Result { return SetData(c.texts[0], Number(c, 0), c.texts[1]); },
         &Model::SetData},
        {"SetCharset",
         4,
         {"tt"},
         [](const Client& c) -> Result { return SetCharset(c.texts[0], c.texts[1]); },
         &Model::SetCharset},
        {"SetLanguage",
         4,
         {"tt"},
         [](const Client& c) -> Result { return SetLanguage(c.texts[0], c.texts[1]); },
         &Model::SetLanguage},
    };
}

std::vector<Function> CryptographyFunctions() {
    return {
        {"Sign",
         8,
         {"stt", Buffer::kOptional, Length::kOptional, 400},
         [](const Client& c) -> Result {
             return Sign(c.texts[0], Number(c, 0), Number(c, 1), c.texts[1], c.texts[2], c.buffer,
                         c.length);
         },
         &Model::Sign},
        {"SignHash",
         8,
         {"st", Buffer::kOptional, Length::kOptional, 8191},
         [](const Client& c) -> Result {
             return SignHash(c.texts[0], Number(c, 0), Number(c, 1), c.texts[1], Number(c, 2),
                             c.buffer, c.length);
         },
         &Model::SignHash},
        {"Batch_Sign",
         10,
         {"stbt", Buffer::kOptional, Length::kOptional, 400},
         [](const Client& c) -> Result {
             return Batch_Sign(Number(c, 0), c.texts[0], Number(c, 1), Number(c, 2), c.texts[1],
                               c.texts[3], c.numbers[3], Number(c, 4), Number(c, 5), c.texts[2],
                               Number(c, 6), c.buffer, c.length);
         },
         &Model::Batch_Sign},
        {"AsymDec",
         10,
         {"sc", Buffer::kOptional, Length::kOptional, 8191},
         [](const Client& c) -> Result {
             return AsymDec(c.texts[0], Number(c, 0), static_cast<uint32_t>(c.numbers[1]),
                            c.texts[1], c.buffer, c.length);
         },
         &Model::AsymDec},
    };
}

std::vector<Function> CertificateFunctions() {
    return {
        {"GetCert",
         10,
         {"s", Buffer::kOptional, Length::kOptional, 4095},
         [](const Client& c) -> Result {
             return GetCert(c.texts[0], Number(c, 0), Number(c, 1), c.buffer, c.length);
         },
         &Model::GetCert},
        {"GetCertDN",
         10,
         {"s", Buffer::kOptional, Length::kOptional, 1023},
         [](const Client& c) -> Result {
             return GetCertDN(c.texts[0], Number(c, 0), Number(c, 1), c.buffer, c.length);
         },
         &Model::GetCertDN},
        {"GetCertInfo",
         6,
         {"s", Buffer::kOptional, Length::kOptional, 1280},
         [](const Client& c) -> Result {
             return GetCertInfo(c.texts[0], c.numbers[0], c.buffer, c.length);
         },
         &Model::GetCertInfo},
        {"DelCertAndTempKey",
         4,
         {"s"},
         [](const Client& c) -> Result {
             return DelCertAndTempKey(c.texts[0], Number(c, 0), Number(c, 1));
         },
         &Model::DelCertAndTempKey},
        {"RegisterCert",
         1,
         {},
         [](const Client&) -> Result { return RegisterCert(); },
         &Model::Refuse},
        {"UnregisterCert",
         1,
         {},
         [](const Client&) -> Result { return UnregisterCert(); },
         &Model::Refuse},
        {"RepairDriver",
         1,
         {},
         [](const Client&) -> Result { return RepairDriver(); },
         &Model::Refuse},
    };
}

std::vector<Function> ImportFunctions() {
    return {
        {"ImportX509Cert",
         8,
         {"sc"},
         [](const Client& c) -> Result { return ImportX509Cert(c.texts[0], c.texts[1]); },
         &Model::ImportX509Cert},
        {"ImportEncX509Cert",
         10,
         {"sck"},
         [](const Client& c) -> Result {
             return ImportEncX509Cert(c.texts[0], c.texts[1], c.texts[2]);
         },
         &Model::ImportEncX509Cert},
        {"Batch_ImportX509Cert",
         20,
         {"sp"},
         [](const Client& c) -> Result { return Batch_ImportX509Cert(c.texts[0], c.texts[1]); },
         &Model::Batch_ImportX509Cert},
    };
}

std::vector<Function> RequestFunctions() {
    return {
        {"GenerateCertRequest",
         40,
         {"sr", Buffer::kOptional, Length::kOptional, 300},
         [](const Client& c) -> Result {
             return GenerateCertRequest(c.texts[0], c.texts[1], c.buffer, c.length);
         },
         &Model::GenerateCertRequest},
        {"Batch_InitAndGenerateCertRequest",
         40,
         {"sr", Buffer::kOptional, Length::kOptional, 300},
         [](const Client& c) -> Result {
             return Batch_InitAndGenerateCertRequest(
                 c.texts[0], static_cast<uint32_t>(c.numbers[6]), c.texts[1], c.buffer, c.length);
         },
         &Model::Batch_InitAndGenerateCertRequest},
    };
}

std::vector<Function> AllFunctions() {
    std::vector<Function> all;
    for (const auto& family : {LifecycleFunctions(), IdentityFunctions(), DeviceFunctions(),
                               PinFunctions(), StorageFunctions(), CryptographyFunctions(),
                               CertificateFunctions(), ImportFunctions(), RequestFunctions()}) {
        all.insert(all.end(), family.begin(), family.end());
    }
    return all;
}

}  // namespace

const std::vector<Function>& Functions() {
    static const std::vector<Function> functions = AllFunctions();
    return functions;
}

}  // namespace walk
