#ifndef ORVAL_FORMATS_CERTIFICATE_PACKAGE_H
#define ORVAL_FORMATS_CERTIFICATE_PACKAGE_H

#include <cstdint>
#include <optional>

#include "qrv/string.h"

// The answer of a certificate authority: one PKCS#7 text, or a package of named items such as
// "SignCert(...)|EncCert(...)|EncPriKey(...)". The format and its odd corners are in
// docs/certificate-package.md.
namespace orval {

// The names of a package's items, with the bracket that follows them.
inline constexpr const char* kSignCertItem = "SignCert(";
inline constexpr const char* kEncCertItem = "EncCert(";
inline constexpr const char* kEncPriKeyItem = "EncPriKey(";

// What an answer is, in the numbers of CommonFunction::GetBatchCertDataType.
enum class PackageType : int32_t {
    kMalformed = 1,    // an item name is unknown
    kSinglePkcs7 = 2,  // no package at all
    kPackage = 3,
};

// Names are compared without regard to case here, unlike below.
PackageType TypeOfPackage(const QRV::CString& package);

// The items of one name in a certificate package, pulled in the order of the text:
//
//     PackageItems items(package, kSignCertItem);
//     while (const auto data = items.Next()) { ... }
//
// Names are looked for with their bracket and with regard to case. The data of an item ends before
// the first ")"; an item without one is given once, with empty data.
class PackageItems final {
 public:
    PackageItems(const QRV::CString& package, const char* name_with_bracket);

    std::optional<QRV::CString> Next();

 private:
    QRV::CString package_;
    QRV::CString name_;
    int64_t position_ = 0;  // may lie beyond the largest length
    bool rest_is_unclosed_ = false;
};

}  // namespace orval

#endif
