#include "formats/certificate_package.h"

PackageItems::PackageItems(const QRV::CString& package, const char* name_with_bracket)
    : package_(package), name_(name_with_bracket) {}

std::optional<QRV::CString> PackageItems::Next() {
    const int32_t match = package_.Find(name_.GetString(), position_);
    if (match < 0) {
        return std::nullopt;
    }
    const int32_t data = match + name_.GetLength();
    const int32_t end = rest_is_unclosed_ ? -1 : package_.Find(")", data);
    if (end < 0) {
        // Remembered, because looking for it again from every item takes quadratic time.
        rest_is_unclosed_ = true;
        // Going on behind the match, an item that is never closed is given once and no more.
        position_ = match + 1;
        return QRV::CString();
    }
    // Past the ")" and the "|" that follows it.
    position_ = int64_t{end} + 2;
    return package_.Mid(data, end - data);
}
