// Entries that use a private key: signatures and decryption.
#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <string_view>

#include "backend/arguments.h"
#include "backend/entries.h"
#include "base/settings.h"
#include "key/device.h"
#include "key/signatures.h"

namespace softkey::backend {
namespace {

constexpr size_t kNoLimit = std::numeric_limits<int32_t>::max();
constexpr int32_t kWithCriticalText = 1;

// GMUsbKeyCommonSign has room for twice the data and this much, whatever its length argument says:
// that is what a client's own buffer has, and not what it hands over.
constexpr size_t kSignatureAllowance = 4096;

// A certificate and the structures around it.
constexpr size_t kSignatureOverhead = 4096;

SignatureOrder ReadOrder(int64_t key, int64_t format, int64_t kind) {
    return {softkey::ReadCertificateSelector(key), softkey::ReadSignatureFormat(format), kind};
}

// Critical signatures have no argument for the kind of their data: it is the second digit.
SignatureOrder ReadCriticalOrder(int64_t key, int64_t format_and_kind) {
    return ReadOrder(key, format_and_kind & 0xF, format_and_kind >> 4);
}

// Nothing is signed to answer how large a buffer must be: signatures differ in length from one to
// the next, so the answer is a bound that holds for all.
bool AnswersSizeQuery(const char* buffer, int32_t* length,
                      std::initializer_list<const char*> texts) {
    if (buffer != nullptr) {
        return false;
    }
    Require(length != nullptr, Code::kInvalidParameter, "the length is missing");
    size_t bound = 0;
    for (const char* const text : texts) {
        const std::string_view view = text == nullptr ? std::string_view() : text;
        const auto items = 1 + std::count(view.begin(), view.end(), '|') / 2;
        bound += 2 * (view.size() + kSignatureOverhead * static_cast<size_t>(items));
    }
    Require(bound <= kNoLimit, Code::kDataLength, "the data is too long");
    *length = softkey::ToldLength(bound);
    return true;
}

// Of any length: the dialog says when it cannot show it all.
std::string ReadWarning(const char* text) {
    return softkey::FromClient(RequireText(text));
}

}  // namespace

int32_t SetWarningMsg(const char* serial_number, const char* warning) {
    return Answer("SetWarningMsg", serial_number, [&] {
        const Device device = Device::Plugged(serial_number);
        softkey::KeepWarning(device.Key().serial, ReadWarning(warning));
    });
}

int32_t GMUsbKeyCriticalSign(const char* serial_number, int64_t param1, int64_t param2,
                             const char* data, char* signature, int32_t* length) {
    return Answer("GMUsbKeyCriticalSign", serial_number, [&] {
        if (AnswersSizeQuery(signature, length, {data})) {
            return;
        }
        Device device = Device::Plugged(serial_number);
        // The warning serves one attempt, also a failing one.
        const std::string warning = softkey::TakeWarning(device.Key().serial);
        softkey::Deliver(softkey::SignConfirmed(device, ReadCriticalOrder(param1, param2),
                                                DataToSign(data), warning),
                         signature, length, kNoLimit);
    });
}

int32_t GMUsbKeyCommonSign(const char* serial_number, int64_t param1, int64_t param2,
                           const char* data, int64_t param3, char* signature, int32_t* length) {
    return Answer("GMUsbKeyCommonSign", serial_number, [&] {
        if (AnswersSizeQuery(signature, length, {data})) {
            return;
        }
        Device device = Device::Plugged(serial_number);
        const std::string content = DataToSign(data);
        softkey::Deliver(softkey::Sign(device, ReadOrder(param1, param2, param3), content),
                         signature, length, 2 * (std::strlen(data) + kSignatureAllowance));
    });
}

// With bit 0 of the flags, position 5 is signed first, critically: the warning is position 6 and
// the kind of data position 7; positions 3 and 4 select key and format. Then come the items of
// position 10, with key and format from positions 8 and 9 and the kind from position 11.
int32_t Batch_Sign(int32_t flags, const char* serial_number, int32_t param3, int32_t param4,
                   const char* text, const void* param6, int64_t param7, int32_t param8,
                   int32_t param9, const char* batch, int32_t param11, char* output,
                   int32_t* length) {
    return Answer("Batch_Sign", serial_number, [&] {
        Require(flags == 0 || flags == kWithCriticalText, Code::kSelector, "the flags are 0 or 1");
        const bool critical = flags == kWithCriticalText;
        Require(critical || batch != nullptr, Code::kInvalidParameter, "there is nothing to sign");
        if (AnswersSizeQuery(output, length, {text, batch})) {
            return;
        }
        Device device = Device::Plugged(serial_number);
        std::string signatures;
        if (critical) {
            signatures =
                softkey::SignConfirmed(device, ReadOrder(param3, param4, param7), DataToSign(text),
                                       ReadWarning(static_cast<const char*>(param6)));
        }
        if (batch != nullptr) {
            const SignatureOrder order = ReadOrder(param8, param9, param11);
            signatures +=
                (critical ? "||" : "") + softkey::SignBatch(device, order, DataToSign(batch));
        }
        softkey::Deliver(signatures, output, length, kNoLimit);
    });
}

int32_t GMUSBKeyAsymDec2(const char* serial_number, int64_t param1, uint32_t param2,
                         const char* cipher, char* plain, int32_t* length) {
    return Answer("GMUSBKeyAsymDec2", serial_number, [&] {
        if (AnswersSizeQuery(plain, length, {cipher})) {
            return;
        }
        Device device = Device::Plugged(serial_number);
        softkey::Deliver(softkey::Decrypt(device, softkey::ReadCertificateSelector(param1),
                                          softkey::ReadCipherSelector(param2), RequireText(cipher)),
                         plain, length, kNoLimit);
    });
}

}  // namespace softkey::backend
