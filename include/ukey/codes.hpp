// Part of ukey.hpp: the codes by name, and what a client asks of them.
#ifndef ORVAL_UKEY_CODES_HPP
#define ORVAL_UKEY_CODES_HPP

#include <cstdint>

#include "../orval_unified_kpxukey.h"

namespace ukey {

// The codes with a name: the product's own, those of GM/T 0016, which many keys give, and those
// that the software key has besides. A key may have others, and other meanings for the last.
enum class Errc : int32_t {
    // The product's. The last two are what its text handling throws.
    kBackendUnavailable = ORVAL_BACKEND_UNAVAILABLE,
    kNotInitialized = ORVAL_NOT_INITIALIZED,
    kUnsupported = ORVAL_UNSUPPORTED,
    kInvalidArgument = ORVAL_INVALID_ARGUMENT,
    kBufferTooSmall = ORVAL_BUFFER_TOO_SMALL,
    kTextOutOfMemory = static_cast<int32_t>(0x8007000E),
    kTextMalformed = static_cast<int32_t>(0x80070057),

    // GM/T 0016's.
    kFail = 0x0A000001,
    kUnknown = 0x0A000002,
    kNotSupported = 0x0A000003,
    kFile = 0x0A000004,
    kInvalidHandle = 0x0A000005,
    kInvalidParameter = 0x0A000006,
    kReadFile = 0x0A000007,
    kWriteFile = 0x0A000008,
    kNameLength = 0x0A000009,
    kKeyUsage = 0x0A00000A,
    kModulusLength = 0x0A00000B,
    kKeyNotInitialized = 0x0A00000C,
    kObject = 0x0A00000D,
    kMemory = 0x0A00000E,
    kTimeout = 0x0A00000F,
    kDataLength = 0x0A000010,
    kData = 0x0A000011,
    kRandom = 0x0A000012,
    kHashObject = 0x0A000013,
    kHash = 0x0A000014,
    kRsaKeyGeneration = 0x0A000015,
    kRsaModulusLength = 0x0A000016,
    kPublicKeyImport = 0x0A000017,
    kRsaEncryption = 0x0A000018,
    kRsaDecryption = 0x0A000019,
    kHashNotEqual = 0x0A00001A,
    kKeyNotFound = 0x0A00001B,
    kCertificateNotFound = 0x0A00001C,
    kNotExportable = 0x0A00001D,
    kDecryption = 0x0A00001E,
    kMacLength = 0x0A00001F,
    kKeyBufferTooSmall = 0x0A000020,
    kKeyInfoType = 0x0A000021,
    kNoEvent = 0x0A000022,
    kDeviceRemoved = 0x0A000023,
    kPinIncorrect = 0x0A000024,
    kPinLocked = 0x0A000025,
    kPinInvalid = 0x0A000026,
    kPinLength = 0x0A000027,
    kAlreadyLoggedIn = 0x0A000028,
    kPinNotInitialized = 0x0A000029,
    kUserType = 0x0A00002A,
    kApplicationName = 0x0A00002B,
    kApplicationExists = 0x0A00002C,
    kNotLoggedIn = 0x0A00002D,
    kNoApplication = 0x0A00002E,
    kFileExists = 0x0A00002F,
    kNoRoom = 0x0A000030,
    kDataItemNotFound = 0x0A000031,
    kTooManyKeyPairs = 0x0A000032,

    // The software key's.
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

// What a client does something about, whichever code says it:
//
//     catch (const ukey::Error& error) {
//         if (error.code() == ukey::Condition::kPinWrong) { ...
enum class Condition {
    kNone = 0,   // no code is one of these
    kNoKey,      // no key is plugged, or not the one that was named
    kPinWrong,   // the PIN is wrong, and a try is spent
    kPinLocked,  // the PIN is locked
    kCancelled,  // who was asked for the PIN or for consent did not give it, or could not be asked
    kTooSmall,   // a buffer is too small
};

// ConditionOf: what a code comes down to; kNone for most.
constexpr Condition ConditionOf(int32_t code) noexcept {
    switch (static_cast<Errc>(code)) {
        case Errc::kDeviceRemoved:
        case Errc::kNoSuchKey:
            return Condition::kNoKey;
        case Errc::kPinIncorrect:
            return Condition::kPinWrong;
        case Errc::kPinLocked:
            return Condition::kPinLocked;
        case Errc::kCancelled:
        case Errc::kNotConfirmed:
        case Errc::kNoDialog:
            return Condition::kCancelled;
        case Errc::kBufferTooSmall:
        case Errc::kKeyBufferTooSmall:
            return Condition::kTooSmall;
        default:
            return Condition::kNone;
    }
}

// OwnText: the meaning of a code that the product itself gives, for when the key's library has no
// text for it or cannot be asked; null for any other code.
constexpr const char* OwnText(int32_t code) noexcept {
    switch (static_cast<Errc>(code)) {
        case Errc::kBackendUnavailable:
            return "the key maker's library cannot be loaded or lacks an entry point";
        case Errc::kNotInitialized:
            return "the library is not initialised";
        case Errc::kUnsupported:
            return "not supported, or the key's software is not completely installed";
        case Errc::kInvalidArgument:
            return "an argument is missing or its length is out of bounds";
        case Errc::kBufferTooSmall:
            return "the output buffer is too small";
        case Errc::kTextOutOfMemory:
            return "the library's text handling ran out of memory";
        case Errc::kTextMalformed:
            return "the library's text handling met a malformed text";
        default:
            return nullptr;
    }
}

}  // namespace ukey

#endif
