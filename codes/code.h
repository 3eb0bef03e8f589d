#ifndef CODES_CODE_H
#define CODES_CODE_H

#include <cstdint>

namespace codes {

// What an entry answers. Where GM/T 0016 has a code for the case, that code is used; the others
// lie in a range of their own, 0x0A1000xx. catalogue.cpp has a row for each.
enum class Code : int32_t {
    kOk = 0,
    kFail = 0x0A000001,
    kNotSupported = 0x0A000003,
    kInvalidParameter = 0x0A000006,
    kNameLength = 0x0A000009,
    kKeyUsage = 0x0A00000A,
    kMemory = 0x0A00000E,
    kDataLength = 0x0A000010,
    kData = 0x0A000011,
    kKeyNotFound = 0x0A00001B,
    kCertificateNotFound = 0x0A00001C,
    kDecryption = 0x0A00001E,
    kBufferTooSmall = 0x0A000020,
    kKeyInfoType = 0x0A000021,
    kNoEvent = 0x0A000022,
    kDeviceRemoved = 0x0A000023,
    kPinIncorrect = 0x0A000024,
    kPinLocked = 0x0A000025,
    kPinInvalid = 0x0A000026,
    kPinLength = 0x0A000027,
    kNotInitialized = 0x0A00002D,
    kDataItemNotFound = 0x0A000031,
    kTooManyKeyPairs = 0x0A000032,

    kSelector = 0x0A100001,
    kKeyTypeHash = 0x0A100002,
    kCancelled = 0x0A100003,
    kNotConfirmed = 0x0A100004,
    kNoDialog = 0x0A100005,
    kPinSourceRefused = 0x0A100006,
    kPinSourceUnreadable = 0x0A100007,
    kPkcs7Malformed = 0x0A100008,
    kCertificateNotOurs = 0x0A100009,
    kEnvelopeMalformed = 0x0A10000A,
    kEnvelopeNotOurs = 0x0A10000B,
    kStoreReadOnly = 0x0A10000C,
    kStoreFull = 0x0A10000D,
    kStoreBusy = 0x0A10000E,
    kStoreDamaged = 0x0A10000F,
    kStoreUnreachable = 0x0A100010,
    kNoContext = 0x0A100011,
    kNewPinMissing = 0x0A100012,
    kAlreadyPlugged = 0x0A100013,
    kSerialTaken = 0x0A100014,
    kNoSuchKey = 0x0A100015,
    kDialogFailed = 0x0A100016,
    kCertificateUsage = 0x0A100017,
};

constexpr int32_t Number(Code code) {
    return static_cast<int32_t>(code);
}

// The library's text handling; exceptions to a client in C++.
constexpr auto kTextOutOfMemory = static_cast<int32_t>(0x8007000E);
constexpr auto kTextMalformed = static_cast<int32_t>(0x80070057);

}  // namespace codes

#endif
