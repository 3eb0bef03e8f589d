// The entries that hand something over, as a real key does.
#include <algorithm>
#include <cstring>

#include "maker/backend.h"

namespace {

constexpr char kRequest[] = "MIIB";
constexpr char kErrorText[] = "The argument is not acceptable.";
constexpr int32_t kCertificateLength = 2048;

int32_t CopyText(const char* input, char* output, int32_t* length) {
    const size_t size = std::strlen(input);
    std::memcpy(output, input, size + 1);
    *length = static_cast<int32_t>(size);
    return 0;
}

}  // namespace

int32_t GMUSBKeyAsymDec2(const char* /*serial_number*/, int64_t /*param1*/, uint32_t /*param2*/,
                         const char* cipher, char* plain, int32_t* length) {
    return CopyText(cipher, plain, length);
}

int32_t GMUsbKeyCommonSign(const char* /*serial_number*/, int64_t /*param1*/, int64_t /*param2*/,
                           const char* data, int64_t /*param3*/, char* signature, int32_t* length) {
    return CopyText(data, signature, length);
}

int32_t GMCreatePKCS10(const char* /*serial_number*/, int32_t /*cert_type*/, int32_t /*key_type*/,
                       int32_t /*hash_type*/, char** request, void* /*null_pointer*/,
                       int32_t /*zero*/) {
    *request = new char[sizeof(kRequest)];
    std::copy(std::begin(kRequest), std::end(kRequest), *request);
    return 0;
}

int32_t GetCertInfo(const char* /*serial_number*/, int32_t /*param1*/, int32_t /*param2*/,
                    char* certificate, int32_t* length) {
    std::memset(certificate, 'M', kCertificateLength);
    *length = kCertificateLength;
    return 0;
}

const char* X_ErrorConvert_UOS(int64_t /*code*/) {
    return kErrorText;
}
