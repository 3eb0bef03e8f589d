// Entries about requests and certificates.
#include "backend/arguments.h"
#include "backend/entries.h"
#include "base/settings.h"
#include "key/certificate_requests.h"
#include "key/certificates.h"
#include "key/device.h"

namespace softkey::backend {
namespace {

// A text in the client's character set that goes into a buffer: its names are shortened until it
// does. Only the conversion tells how long it becomes.
template <typename TextOfLimit>
std::string Fitting(size_t buffer_size, TextOfLimit text_of_limit) {
    constexpr size_t kShortestName = 32;
    size_t limit = buffer_size - 1;
    for (;;) {
        std::string text = softkey::ToClient(text_of_limit(limit));
        if (text.size() < buffer_size || limit < kShortestName) {
            return text;
        }
        limit -= limit / 16;
    }
}

}  // namespace

int32_t GMCreatePKCS10(const char* serial_number, int32_t cert_type, int32_t key_type,
                       int32_t hash_type, char** request, void* null_pointer, int32_t zero) {
    return Answer("GMCreatePKCS10", serial_number, [&] {
        RequireConstant(null_pointer == nullptr && zero == 0);
        Device device = Device::Plugged(serial_number);
        softkey::HandOver(softkey::CreateRequest(device, {cert_type, key_type, hash_type, false}),
                          request);
    });
}

int32_t GMCreatePKCS10Ex(const char* serial_number, RequestEntry* entry, char** request,
                         int32_t one, void* null_pointer, int32_t zero) {
    return Answer("GMCreatePKCS10Ex", serial_number, [&] {
        RequireConstant(one == 1 && null_pointer == nullptr && zero == 0);
        Require(entry != nullptr, Code::kInvalidParameter, "the request entry is missing");
        Require(entry->merged <= 1, Code::kSelector, "the merged flag is 0 or 1");
        Device device = Device::Plugged(serial_number);
        softkey::HandOver(softkey::CreateRequest(device, {entry->certType, entry->keyType,
                                                          entry->hashType, entry->merged == 1}),
                          request);
    });
}

// The string is the product's own and stays as it is: it is thrown away unread.
int32_t GMWritePKCS7(const char* serial_number, char* pkcs7, QRV::CString& /*output*/) {
    return Answer("GMWritePKCS7", serial_number, [&] {
        Device device = Device::Plugged(serial_number);
        softkey::WriteCertificates(device, softkey::RequireText(pkcs7));
    });
}

int32_t GMImportPriKey(const char* serial_number, char key[maker::kKeyTextRoom], int32_t zero) {
    return Answer("GMImportPriKey", serial_number, [&] {
        RequireConstant(zero == 0);
        const std::string text = softkey::RequireText(key);
        Require(text.size() < maker::kKeyTextRoom, Code::kDataLength,
                "an enveloped key has at most 1023 characters");
        Device device = Device::Plugged(serial_number);
        softkey::ImportEncryptionKey(device, text);
    });
}

int32_t GetCertInfo(const char* serial_number, int32_t param1, int32_t param2, char* certificate,
                    int32_t* length) {
    return Answer("GetCertInfo", serial_number, [&] {
        Device device = Device::Plugged(serial_number);
        softkey::Deliver(softkey::CertificateText(device, softkey::ReadCertificateSelector(param1),
                                                  softkey::ReadCertificateFormat(param2)),
                         certificate, length, maker::kCertificateRoom);
    });
}

int32_t GM_GetCertDN(const char* serial_number, int32_t param1, int32_t param2,
                     char name[maker::kNameRoom]) {
    return Answer("GM_GetCertDN", serial_number, [&] {
        const softkey::NameOf which = softkey::ReadNameOf(param2);
        Device device = Device::Plugged(serial_number);
        const softkey::CertificateSelector selector = softkey::ReadCertificateSelector(param1);
        softkey::CopyToFixed(Fitting(maker::kNameRoom,
                                     [&](size_t limit) {
                                         return softkey::CertificateName(device, selector, which,
                                                                         limit);
                                     }),
                             name, maker::kNameRoom);
    });
}

int32_t GetCertInfo_UOS(const char* serial_number, intptr_t selector, void* info, int32_t* length) {
    return Answer("GetCertInfo_UOS", serial_number, [&] {
        Device device = Device::Plugged(serial_number);
        const softkey::CertificateSelector chosen = softkey::ReadCertificateSelector(selector);
        softkey::Deliver(Fitting(maker::kCertInfoRoom,
                                 [&](size_t limit) {
                                     return softkey::CertificateInformation(device, chosen, limit);
                                 }),
                         static_cast<char*>(info), length, maker::kCertInfoRoom);
    });
}

int32_t DelCertAndTempKey(const char* serial_number, int32_t param1, int32_t param2) {
    return Answer("DelCertAndTempKey", serial_number, [&] {
        Device device = Device::Plugged(serial_number);
        softkey::DeleteCertificate(device, softkey::ReadCertificateSelector(param1),
                                   softkey::ReadDeleteScope(param2));
    });
}

}  // namespace softkey::backend
