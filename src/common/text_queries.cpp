#include <algorithm>
#include <string_view>

#include "common/commonfunction.h"
#include "qrv/string.h"

namespace {

constexpr std::string_view kItemNames[] = {"SignCert", "EncCert", "EncPriKey"};

// The client's locale has no say in what a package is: in a Turkish one, "i" and "I" are no pair.
constexpr char UpperAscii(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

bool IsItemName(const QRV::CString& text) {
    const std::string_view name(text.GetString(), static_cast<size_t>(text.GetLength()));
    return std::any_of(std::begin(kItemNames), std::end(kItemNames), [name](auto known) {
        return std::equal(name.begin(), name.end(), known.begin(), known.end(),
                          [](char a, char b) { return UpperAscii(a) == UpperAscii(b); });
    });
}

PackageType TypeOf(const QRV::CString& text) {
    int32_t bracket = text.Find("(");
    if (bracket <= 0) {
        return PackageType::kSinglePkcs7;
    }
    int32_t item = 0;
    while (IsItemName(text.Mid(item, bracket - item))) {
        const int32_t separator = text.Find("|", bracket + 1);
        if (separator < 0) {
            return PackageType::kPackage;
        }
        item = separator + 1;
        // No bracket gives -1 and with it an empty, unknown name.
        bracket = text.Find("(", int64_t{separator} + 2);
    }
    return PackageType::kMalformed;
}

}  // namespace

int32_t CommonFunction::GetSubStringCount(const std::string& strText, const std::string& strSub) {
    const size_t step = strSub.empty() ? 1 : strSub.size();
    uint32_t count = 0;
    for (size_t at = strText.find(strSub); at != std::string::npos;
         at = strText.find(strSub, at + step)) {
        ++count;
    }
    return static_cast<int32_t>(count);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): clients pass a string by value
int32_t CommonFunction::GetBatchCertDataType(QRV::CString text) {
    return static_cast<int32_t>(TypeOf(text));
}
