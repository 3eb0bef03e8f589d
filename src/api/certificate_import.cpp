#include "call/backend.h"
#include "call/frame.h"
#include "call/request_cache.h"
#include "formats/certificate_package.h"
#include "formats/enveloped_key.h"
#include "log/vexa_log.h"
#include "orval_unified_kpxukey.h"
#include "qrv/string.h"
#include "qrv/wipe.h"

namespace {

constexpr const char* kCertificateFailed = "end, err: %d, Cert GMWritePKCS7 error.";
constexpr const char* kKeyFailed = "end, err: %d, Cert GMImportPriKey error.";
constexpr const char* kKeyTextFormat = "strPriKeyTemp:%s";

void RemoveCommas(QRV::CString& text) {
    text.Replace(",", "");
}

void RemoveCommasAndLineBreaks(QRV::CString& text) {
    RemoveCommas(text);
    text.Replace("\r", "");
    text.Replace("\n", "");
}

// Writes a certificate into the key. What the back-end puts into the string is not used. The text
// is not copied again: memory must not run out between a key's import and its certificate's. (An
// empty one has no buffer of its own yet and gets one here.)
int32_t WriteCertificate(const char* serial_number, QRV::CString& pkcs7) {
    QRV::CString unused;
    return orval::Finish(orval::Backend(&CommonFunction::GMWritePKCS7, serial_number,
                                        pkcs7.GetBuffer(pkcs7.GetLength()), unused));
}

// Hands an enveloped key to the key, unless its text is too long for the back-end's buffer.
int32_t ImportKey(const char* serial_number, const QRV::CString& key_text) {
    orval::EnvelopedKey key;
    if (!orval::ReadEnvelopedKey(key_text, key)) {
        return orval::Refuse();
    }
    return orval::Finish(
        orval::Backend(&CommonFunction::GMImportPriKey, serial_number, key.text, 0));
}

int32_t ImportPackagedKey(const char* serial_number, QRV::CString& key_text) {
    RemoveCommas(key_text);
    orval::LogEntry("CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", kKeyTextFormat,
                    key_text.GetString());
    return ImportKey(serial_number, key_text);
}

struct ItemKind {
    const char* name_with_bracket;
    int32_t (*import)(const char* serial_number, QRV::CString& data);
    const char* failure_tag;
    const char* failure_format;
};

// In the order of import, whatever the order in the text: the signing certificate before the
// encryption key, which is enveloped for it, and the key before its certificate.
constexpr ItemKind kItemKinds[] = {
    {orval::kSignCertItem, WriteCertificate, "Batch_ImportX509Cert", kCertificateFailed},
    {orval::kEncPriKeyItem, ImportPackagedKey, "Batch_ImportX509Cert", kKeyFailed},
    // This one has always been logged under another tag; support tools search for it.
    {orval::kEncCertItem, WriteCertificate, "CGMUsbKeyCommonEx", kCertificateFailed},
};

void LogOutcome(const char* tag, const char* format, int32_t code) {
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): one of the formats above
    orval::LogEntry(tag, format, code);
}

// Imports the items of one kind, up to the first that fails. A key text that is refused here is
// logged like one that the back-end refuses.
int32_t ImportItems(const ItemKind& kind, const char* serial_number, const QRV::CString& package,
                    bool& imported_anything) {
    orval::PackageItems items(package, kind.name_with_bracket);
    while (auto data = items.Next()) {
        const QRV::WipesAtEnd wiped(*data);
        const int32_t code = kind.import(serial_number, *data);
        if (code != ORVAL_OK) {
            LogOutcome(kind.failure_tag, kind.failure_format, code);
            return code;
        }
        imported_anything = true;
    }
    return ORVAL_OK;
}

// Stops at the first failure; what was written before it stays written.
int32_t ImportPackage(const char* serial_number, const QRV::CString& package) {
    bool imported_anything = false;
    for (const ItemKind& kind : kItemKinds) {
        const int32_t code = ImportItems(kind, serial_number, package, imported_anything);
        if (code != ORVAL_OK) {
            return code;
        }
    }
    if (!imported_anything) {
        // Item names are typed without regard to case but looked for with it.
        return orval::Refuse();
    }
    return orval::Finish(ORVAL_OK);
}

int32_t ImportSinglePkcs7(const char* serial_number, QRV::CString& pkcs7) {
    const int32_t code = WriteCertificate(serial_number, pkcs7);
    // Written after a success as well: the line marks the end of a single import.
    LogOutcome("Batch_ImportX509Cert", kCertificateFailed, code);
    return code;
}

}  // namespace

int32_t ImportX509Cert(const char* szSN, const char* szPkcs7) {
    orval::Begin();
    if (orval::AnyNull(szSN, szPkcs7)) {
        return orval::Refuse();
    }
    orval::ReleaseP10Buffer();
    QRV::CString pkcs7(szPkcs7);
    RemoveCommasAndLineBreaks(pkcs7);
    return WriteCertificate(szSN, pkcs7);
}

int32_t ImportEncX509Cert(const char* szSN, const char* szEncCertPkcs7, const char* szEncPriKey) {
    orval::Begin();
    if (orval::AnyNull(szSN, szEncCertPkcs7, szEncPriKey)) {
        return orval::Refuse();
    }
    orval::ReleaseP10Buffer();
    orval::ClearLastError();
    const QRV::CString serial_number(szSN);
    QRV::CString pkcs7(szEncCertPkcs7);
    // Line breaks stay, unlike in ImportX509Cert: the back-end takes this text as it was issued.
    RemoveCommas(pkcs7);
    QRV::CString key_text(szEncPriKey);
    const QRV::WipesAtEnd wiped(key_text);
    RemoveCommas(key_text);
    orval::LogEntry("CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", kKeyTextFormat,
                    key_text.GetString());
    const int32_t code = ImportKey(serial_number.GetString(), key_text);
    if (code != ORVAL_OK) {
        return code;
    }
    return WriteCertificate(serial_number.GetString(), pkcs7);
}

int32_t Batch_ImportX509Cert(const char* szSN, const char* szPackage) {
    orval::Begin();
    if (orval::AnyNull(szSN, szPackage)) {
        return orval::Refuse();
    }
    const QRV::CString serial_number(szSN);
    orval::ClearLastError();
    QRV::CString package(szPackage);
    const QRV::WipesAtEnd wiped(package);
    RemoveCommasAndLineBreaks(package);
    orval::LogEntry("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: %s", package.GetString());
    switch (orval::TypeOfPackage(package)) {
        case orval::PackageType::kMalformed:
            return orval::Refuse();
        case orval::PackageType::kSinglePkcs7:
            return ImportSinglePkcs7(serial_number.GetString(), package);
        case orval::PackageType::kPackage:
            break;
    }
    return ImportPackage(serial_number.GetString(), package);
}
