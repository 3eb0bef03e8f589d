// A certificate package is of the type, and has the items, that a plain reading of it gives.
#include "formats/certificate_package.h"
#include "fuzz_target.h"
#include "plain_readings.h"
#include "qrv/string.h"

namespace {

using fuzz::Require;

QRV::CString AsString(const std::string& text) {
    return QRV::CString(text.data(), static_cast<int32_t>(text.size()));
}

std::string AsPlain(const QRV::CString& text) {
    return std::string(text.GetString(), static_cast<size_t>(text.GetLength()));
}

void RequireSameItems(const QRV::CString& package, const std::string& plain, const char* name) {
    orval::PackageItems items(package, name);
    for (const std::string& item : walk::PlainItems(plain, name)) {
        const auto data = items.Next();
        Require(data.has_value(), "each plain item is one of the package's");
        Require(AsPlain(*data) == item, "an item's data is the plain reading's");
    }
    Require(!items.Next(), "there are no more items than plain ones");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string plain(reinterpret_cast<const char*>(data), size);
    const QRV::CString package = AsString(plain);
    Require(static_cast<int32_t>(orval::TypeOfPackage(package)) == walk::PlainPackageType(plain),
            "the type is the plain reading's");
    for (const char* name : {"SignCert(", "EncPriKey(", "EncCert("}) {
        RequireSameItems(package, plain, name);
    }
    Require(AsPlain(package) == plain, "reading a package leaves it as it was");
    return 0;
}
