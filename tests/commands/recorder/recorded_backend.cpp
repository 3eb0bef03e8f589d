// A key whose answers differ from call to call: nobody can give them again without having them
// recorded.
#include <atomic>
#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>

#include "doubles/silent.h"
#include "maker/backend.h"
#include "maker/token.h"
#include "recorded_key.h"

namespace {

// Some calls fail, with codes that differ.
int32_t Code(int count) {
    return count % 7 == 3 ? 0x0A000000 + count : 0;
}

int Count() {
    static std::atomic<int> count{0};
    return ++count;
}

int32_t Deliver(const std::string& text, char* buffer, int32_t* length) {
    if (*length <= static_cast<int32_t>(text.size())) {
        *length = static_cast<int32_t>(text.size()) + 1;
        return -404;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    *length = static_cast<int32_t>(text.size());
    return 0;
}

int32_t Answer(const std::string& text, char* buffer) {
    const int count = Count();
    const std::string answer = text + std::to_string(count);
    std::memcpy(buffer, answer.c_str(), answer.size() + 1);
    return Code(count);
}

}  // namespace

int32_t CheckDeviceEx(uint32_t* value, _S_DEV_CONFIG* config, int32_t /*one*/,
                      char serial_number[maker::kSerialNumberRoom]) {
    *value = recorded::kSlot;
    std::memcpy(config->mediaId, recorded::kSerialNumber, sizeof config->mediaId);
    std::strcpy(serial_number, recorded::kSerialNumber);
    return 0;
}

int32_t GetLabel(char* /*serial_number*/, char label[maker::kLabelRoom]) {
    return Answer(recorded::kLabel, label);
}

int32_t GetData(const char* serial_number, int32_t /*index*/, char data[maker::kDataRoom]) {
    // Its own serial number inside a text.
    return Answer(std::string("item of ") + serial_number + " ", data);
}

int32_t GM_GetCertDN(const char* serial_number, int32_t /*param1*/, int32_t /*param2*/,
                     char name[maker::kNameRoom]) {
    return Answer(std::string("CN=") + serial_number + ",OU=", name);
}

int32_t GetPinInfo(const char* /*serial_number*/, void* info, int32_t* length) {
    const int32_t numbers[] = {Count() % 10, 10};
    std::memcpy(info, numbers, sizeof numbers);
    *length = sizeof numbers;
    return 0;
}

int32_t GetCertInfo(const char* /*serial_number*/, int32_t /*param1*/, int32_t /*param2*/,
                    char* certificate, int32_t* length) {
    return Deliver("certificate " + std::to_string(Count()), certificate, length);
}

int32_t GMUsbKeyCommonSign(const char* /*serial_number*/, int64_t /*param1*/, int64_t /*param2*/,
                           const char* data, int64_t /*param3*/, char* signature, int32_t* length) {
    if (std::strcmp(data, recorded::kCrash) == 0) {
        std::raise(SIGSEGV);
    }
    return Deliver("signature " + std::to_string(Count()), signature, length);
}

int32_t GMUsbKeyCriticalSign(const char* /*serial_number*/, int64_t /*param1*/, int64_t /*param2*/,
                             const char* /*data*/, char* signature, int32_t* length) {
    return Deliver("confirmed " + std::to_string(Count()), signature, length);
}

int32_t GMUSBKeyAsymDec2(const char* /*serial_number*/, int64_t /*param1*/, uint32_t /*param2*/,
                         const char* /*cipher*/, char* plain, int32_t* length) {
    return Deliver(recorded::kPlain + std::to_string(Count()), plain, length);
}

int32_t GMCreatePKCS10(const char* serial_number, int32_t /*cert_type*/, int32_t /*key_type*/,
                       int32_t /*hash_type*/, char** request, void* /*null_pointer*/,
                       int32_t /*zero*/) {
    const std::string text = std::string("request ") + serial_number + std::to_string(Count());
    *request = new char[text.size() + 1];
    std::memcpy(*request, text.c_str(), text.size() + 1);
    return 0;
}

int32_t VerifyPIN(const char* serial_number) {
    if (std::strcmp(serial_number, recorded::kThrow) == 0) {
        throw std::runtime_error("thrown by the key");
    }
    return 0;
}

const char* X_ErrorConvert_UOS(int64_t code) {
    static thread_local std::string text;
    text = "text of " + std::to_string(code) + ", " + std::to_string(Count());
    return text.c_str();
}
