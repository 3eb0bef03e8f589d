#include "formats/certificate_package.h"

#include <algorithm>
#include <string_view>

namespace orval {
namespace {

constexpr std::string_view kItemNames[] = {kSignCertItem, kEncCertItem, kEncPriKeyItem};

// The client's locale has no say in what a package is: in a Turkish one, "i" and "I" are no pair.
constexpr char UpperAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsItemName(std::string_view name) {
    return std::any_of(std::begin(kItemNames), std::end(kItemNames), [name](auto known) {
        known.remove_suffix(1);  // the bracket
        return std::equal(name.begin(), name.end(), known.begin(), known.end(),
                          [](char a, char b) { return UpperAscii(a) == UpperAscii(b); });
    });
}

}  // namespace

PackageType TypeOfPackage(const QRV::CString& package) {
    const std::string_view text = package.AsView();
    size_t item = 0;
    size_t bracket = text.find('(');
    if (bracket == 0 || bracket == text.npos) {
        return PackageType::kSinglePkcs7;
    }
    while (bracket != text.npos && IsItemName(text.substr(item, bracket - item))) {
        const size_t separator = text.find('|', bracket + 1);
        if (separator == text.npos) {
            return PackageType::kPackage;
        }
        item = separator + 1;
        bracket = text.find('(', separator + 2);
    }
    return PackageType::kMalformed;
}

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

}  // namespace orval
