// The entries that hand over as much as they were given, as a real key does.
#include <cstring>

#include "maker/backend.h"

namespace {

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
