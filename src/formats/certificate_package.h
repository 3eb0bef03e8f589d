#ifndef ORVAL_FORMATS_CERTIFICATE_PACKAGE_H
#define ORVAL_FORMATS_CERTIFICATE_PACKAGE_H

#include <cstdint>
#include <optional>

#include "qrv/string.h"

// The items of one name in a certificate package, pulled in the order of the text:
//
//     PackageItems items(package, "SignCert(");
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

#endif
