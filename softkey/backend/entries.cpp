// The 29 entries of the key's library. Each only translates: arguments in, one call, result out.
#include <cstring>
#include <memory>
#include <string>

#include "backend/boundary.h"
#include "common/backend_entries.h"
#include "core/device.h"
#include "core/requests.h"
#include "core/settings.h"

// Declares every entry from the one list, so that a definition that differs does not compile.
extern "C" {
#define DECLARE_ENTRY(slot, name, result, arguments) ENTRY result name arguments;
ORVAL_BACKEND_ENTRIES(DECLARE_ENTRY)
#undef DECLARE_ENTRY
}

using softkey::Answer;
using softkey::Code;
using softkey::Device;
using softkey::Require;

namespace {

constexpr int32_t kPresentKeys = 1;

// The caller releases it with array delete.
void HandOver(const std::string& text, char** destination) {
    Require(destination != nullptr, Code::kInvalidParameter, "the result pointer is missing");
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    *destination = copy.release();
}

int32_t NotSupported(const char* entry) {
    return Answer(entry, [] { throw softkey::Error(Code::kNotSupported); });
}

}  // namespace

int32_t CheckDeviceEx(uint32_t* value, _S_DEV_CONFIG* config, int32_t one, char* serial_number) {
    return Answer("CheckDeviceEx", [&] {
        Require(one == kPresentKeys, Code::kSelector, "the third argument is 1");
        Require(config != nullptr && serial_number != nullptr, Code::kInvalidParameter,
                "the record or the serial number's buffer is missing");
        const Device device = Device::First();
        const std::string& serial = device.Key().serial;
        if (value != nullptr) *value = device.Key().slot;
        std::memcpy(config->mediaId, serial.data(), sizeof config->mediaId);
        std::memcpy(serial_number, serial.c_str(), serial.size() + 1);
    });
}

int32_t VerifyPIN(const char* serial_number) {
    return Answer("VerifyPIN",
                  [&] { Device::Plugged(serial_number).VerifyPin(Device::Cache::kAsFlagged); });
}

int32_t GMCreatePKCS10(const char* serial_number, int32_t cert_type, int32_t key_type,
                       int32_t hash_type, char** request, void* /*null_pointer*/,
                       int32_t /*zero*/) {
    return Answer("GMCreatePKCS10", [&] {
        Device device = Device::Plugged(serial_number);
        HandOver(softkey::CreateRequest(device, {cert_type, key_type, hash_type, false}), request);
    });
}

const char* X_ErrorConvert_UOS(int64_t code) {
    thread_local std::string text;
    const int32_t failure = Answer("X_ErrorConvert_UOS", [&] { text = softkey::TextOfCode(code); });
    return failure == 0 ? text.c_str() : nullptr;
}

#define NOT_YET(name, arguments)    \
    int32_t name arguments {        \
        return NotSupported(#name); \
    }
NOT_YET(GetLabel, (char*, char*))
NOT_YET(SetLabel, (const char*, const char*))
NOT_YET(ChangePin, (const char*))
NOT_YET(CustInitCard, (const char*, int32_t, void*, int32_t))
NOT_YET(GMWritePKCS7, (const char*, char*, QRV::CString&))
NOT_YET(GetCertInfo, (const char*, int32_t, int32_t, char*, int32_t*))
NOT_YET(GM_GetCertDN, (const char*, int32_t, int32_t, char*))
NOT_YET(UOS_SetCharset, (const char*, const char*))
NOT_YET(UOS_SetLanguage, (const char*, const char*))
NOT_YET(SetWarningMsg, (const char*, const char*))
NOT_YET(GMUsbKeyCriticalSign, (const char*, int64_t, int64_t, const char*, char*, int32_t*))
NOT_YET(GetMediaID, (void))
NOT_YET(GM_RemoveUserPin, (void))
NOT_YET(GMImportPriKey, (const char*, char*, int32_t))
NOT_YET(GMUsbKeyCommonSign, (const char*, int64_t, int64_t, const char*, int64_t, char*, int32_t*))
NOT_YET(GMUSBKeyAsymDec2, (const char*, int64_t, uint32_t, const char*, char*, int32_t*))
NOT_YET(GMCreatePKCS10Ex, (const char*, RequestEntry*, char**, int32_t, void*, int32_t))
NOT_YET(DelCertAndTempKey, (const char*, int32_t, int32_t))
NOT_YET(VerifyAndCachePin, (const char*, intptr_t))
NOT_YET(GetPinInfo, (const char*, void*, int32_t*))
NOT_YET(GetCertInfo_UOS, (const char*, intptr_t, void*, int32_t*))
NOT_YET(SetData, (const char*, int32_t, const char*))
NOT_YET(GetData, (const char*, int32_t, char*))
NOT_YET(Batch_Sign, (int32_t, const char*, int32_t, int32_t, const char*, const void*, int64_t,
                     int32_t, int32_t, const char*, int32_t, char*, int32_t*))
NOT_YET(SetCachePinFlag, (const char*, intptr_t))
#undef NOT_YET
