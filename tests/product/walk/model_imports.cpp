// The import of one certificate or of a whole package.
#include "model.h"

namespace walk {

// Nothing for a key text that does not fit.
std::optional<int32_t> Model::ImportKey(const std::string& key) {
    const std::string prefix =
        "0000000000000001000000000000000100000000"
        "0000000000000000000000000000000000000273";
    const bool prefixed = key.find(prefix) != std::string::npos;
    const std::string rest = prefixed ? key.substr(80) : key;
    if (rest.size() >= 1024) {
        return std::nullopt;
    }
    return Call("GMImportPriKey c0 x1024 0", rest).code;
}

void Model::ImportX509Cert() {
    LazyInitialize();
    if (!TextAt(0) || !TextAt(1)) {
        return Finish(kInvalid);
    }
    cache_.reset();
    Finish(Call("GMWritePKCS7 t0 x z", Without(*TextAt(1), ",\r\n")).code);
}

void Model::ImportEncX509Cert() {
    LazyInitialize();
    if (!TextAt(0) || !TextAt(1) || !TextAt(2)) {
        return Finish(kInvalid);
    }
    cache_.reset();
    last_error_ = 0;
    const std::string key = Without(*TextAt(2), ",");
    Log("CKPXUSBKey::ImportEncX509Cert  strPriKeyTemp:", "strPriKeyTemp:" + key);
    if (!Fails(ImportKey(key).value_or(kInvalid))) {
        Finish(Call("GMWritePKCS7 c0 x z", Without(*TextAt(1), ",")).code);
    }
}

// False when the import has ended. A key text that is refused ends it as one that the key refused.
bool Model::ImportItem(const std::string& name, const std::string& data) {
    const bool is_key = name == "EncPriKey(";
    if (is_key) {
        Log("CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", "strPriKeyTemp:" + data);
    }
    if (!Fails(is_key ? ImportKey(data).value_or(kInvalid)
                      : Call("GMWritePKCS7 c0 x z", data).code)) {
        return true;
    }
    Log(name == "EncCert(" ? "CGMUsbKeyCommonEx" : "Batch_ImportX509Cert",
        "end, err: " + std::to_string(last_error_) + ", Cert " +
            (is_key ? "GMImportPriKey" : "GMWritePKCS7") + " error.");
    return false;
}

void Model::ImportPackage(const std::string& package) {
    bool imported = false;
    for (const char* name : {"SignCert(", "EncPriKey(", "EncCert("}) {
        for (const std::string& data : PlainItems(package, name)) {
            if (!ImportItem(name, data)) {
                return;
            }
            imported = true;
        }
    }
    Finish(imported ? 0 : kInvalid);
}

void Model::Batch_ImportX509Cert() {
    LazyInitialize();
    if (!TextAt(0) || !TextAt(1)) {
        return Finish(kInvalid);
    }
    last_error_ = 0;
    const std::string package = Without(*TextAt(1), ",\r\n");
    Log("CKPXUSBKey::Batch_ImportX509Cert", "begin, strP7: " + package);
    switch (PlainPackageType(package)) {
        case kMalformedPackage:
            return Finish(kInvalid);
        case kNoPackage:
            Finish(Call("GMWritePKCS7 c0 x z", package).code);
            return Log("Batch_ImportX509Cert",
                       "end, err: " + std::to_string(last_error_) + ", Cert GMWritePKCS7 error.");
        default:
            return ImportPackage(package);
    }
}

}  // namespace walk
