#include "call/frame.h"
#include "call/request_cache.h"
#include "formats/certificate_package.h"
#include "formats/enveloped_key.h"
#include "log/vexa_log.h"
#include "qrv/string.h"

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
    return Finish(Backend(&CommonFunction::GMWritePKCS7, serial_number,
                          pkcs7.GetBuffer(pkcs7.GetLength()), unused));
}

int32_t ImportPackagedKey(const char* serial_number, QRV::CString& key_text) {
    RemoveCommas(key_text);
    LogEntry("CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", kKeyTextFormat,
             key_text.GetString());
    return ImportEnvelopedKey(serial_number, key_text);
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
    {"SignCert(", WriteCertificate, "Batch_ImportX509Cert", kCertificateFailed},
    {"EncPriKey(", ImportPackagedKey, "Batch_ImportX509Cert", kKeyFailed},
    // This one has always been logged under another tag; support tools search for it.
    {"EncCert(", WriteCertificate, "CGMUsbKeyCommonEx", kCertificateFailed},
};

void LogOutcome(const char* tag, const char* format) {
    // NOLINTNEXTLINE(clang-diagnostic-format-nonliteral): one of the formats above
    LogEntry(tag, format, G_LastError);
}

// Imports the items of one kind and returns whether the import may go on. A key text that is
// refused here is logged like one that the back-end refuses.
bool ImportItems(const ItemKind& kind, const char* serial_number, const QRV::CString& package,
                 bool& imported_anything) {
    PackageItems items(package, kind.name_with_bracket);
    while (auto data = items.Next()) {
        if (kind.import(serial_number, *data) != ORVAL_OK) {
            LogOutcome(kind.failure_tag, kind.failure_format);
            return false;
        }
        imported_anything = true;
    }
    return true;
}

// Stops at the first failure; what was written before it stays written.
int32_t ImportPackage(const char* serial_number, const QRV::CString& package) {
    bool imported_anything = false;
    for (const ItemKind& kind : kItemKinds) {
        if (!ImportItems(kind, serial_number, package, imported_anything)) {
            return G_LastError;
        }
    }
    // Item names are typed without regard to case but looked for with it.
    return imported_anything ? G_LastError : Refuse();
}

int32_t ImportSinglePkcs7(const char* serial_number, QRV::CString& pkcs7) {
    WriteCertificate(serial_number, pkcs7);
    // Written after a success as well: the line marks the end of a single import.
    LogOutcome("Batch_ImportX509Cert", kCertificateFailed);
    return G_LastError;
}

}  // namespace

int32_t ImportX509Cert(const char* szSN, const char* szPkcs7) {
    EnsureInitialized();
    if (AnyNull(szSN, szPkcs7)) {
        return Refuse();
    }
    ReleaseP10Buffer();
    QRV::CString pkcs7(szPkcs7);
    RemoveCommasAndLineBreaks(pkcs7);
    return WriteCertificate(szSN, pkcs7);
}

int32_t ImportEncX509Cert(const char* szSN, const char* szEncCertPkcs7, const char* szEncPriKey) {
    EnsureInitialized();
    if (AnyNull(szSN, szEncCertPkcs7, szEncPriKey)) {
        return Refuse();
    }
    ReleaseP10Buffer();
    G_LastError = ORVAL_OK;
    const QRV::CString serial_number(szSN);
    QRV::CString pkcs7(szEncCertPkcs7);
    // Line breaks stay, unlike in ImportX509Cert: the back-end takes this text as it was issued.
    RemoveCommas(pkcs7);
    QRV::CString key_text(szEncPriKey);
    RemoveCommas(key_text);
    LogEntry("CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", kKeyTextFormat, key_text.GetString());
    if (ImportEnvelopedKey(serial_number.GetString(), key_text) != ORVAL_OK) {
        return G_LastError;
    }
    return WriteCertificate(serial_number.GetString(), pkcs7);
}

int32_t Batch_ImportX509Cert(const char* szSN, const char* szPackage) {
    EnsureInitialized();
    if (AnyNull(szSN, szPackage)) {
        return Refuse();
    }
    const QRV::CString serial_number(szSN);
    G_LastError = ORVAL_OK;
    QRV::CString package(szPackage);
    RemoveCommasAndLineBreaks(package);
    LogEntry("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: %s", package.GetString());
    switch (static_cast<PackageType>(ORVAL_ComFunc.GetBatchCertDataType(package))) {
        case PackageType::kMalformed:
            return Refuse();
        case PackageType::kSinglePkcs7:
            return ImportSinglePkcs7(serial_number.GetString(), package);
        case PackageType::kPackage:
            break;
    }
    return ImportPackage(serial_number.GetString(), package);
}
