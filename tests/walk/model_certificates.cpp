// Reading certificates, and the import of one certificate or a whole package.
#include "model.h"
#include "plain_package.h"

namespace walk {

void Model::GetCert() {
    LazyInitialize();
    if (!In().length || !TextAt(0)) {
        return Finish(kInvalid);
    }
    const Reply reply = Call("GetCertInfo", {Own(0), Value(Number(0)), Value(Number(1)),
                                             CopyIn("", 4096), Private("&4096")});
    Finish(reply.code);
    if (reply.code != 0) {
        return;
    }
    const int32_t length = reply.length.value_or(4096);
    out_.length = In().buffer ? length : length + 1;
    if (!In().buffer) {
        return;
    }
    if (*In().length < length) {
        return Finish(kTooSmall);
    }
    Write(reply.text.value_or("") + '\0');
}

void Model::GetCertDN() {
    LazyInitialize();
    if (!In().length || !TextAt(0)) {
        return Finish(kInvalid);
    }
    last_error_ = 0;
    const Reply reply =
        Call("GM_GetCertDN", {Own(0), Value(Number(0)), Value(Number(1)), CopyIn("", 1024)});
    Finish(reply.code);
    if (reply.code == 0) {
        const std::string name = reply.text.value_or("");
        CopyOut(name, static_cast<int32_t>(name.size()));
    }
}

void Model::GetCertInfo() {
    LazyInitialize();
    if (!In().length) {
        return Finish(kInvalid);
    }
    FixedBound("GetCertInfo_UOS", 1280,
               {Own(0), Value(In().numbers[0]), OwnBuffer("pointer"), OwnLength()});
}

void Model::DelCertAndTempKey() {
    LazyInitialize();
    PassOn("DelCertAndTempKey", {Own(0), Value(Number(0)), Value(Number(1))});
}

void Model::Refuse() {
    Return(kUnsupported);
}

int32_t Model::WritePkcs7(const Shown& serial_number, const std::string& pkcs7) {
    return Call("GMWritePKCS7", {serial_number, Copy(pkcs7), Private("\"\"")}).code;
}

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
    return Call("GMImportPriKey", {Copy(*TextAt(0)), CopyIn(rest, 1024), Value(0)}).code;
}

void Model::ImportX509Cert() {
    LazyInitialize();
    if (!TextAt(0) || !TextAt(1)) {
        return Finish(kInvalid);
    }
    cache_.reset();
    Finish(WritePkcs7(Own(0), Without(*TextAt(1), ",\r\n")));
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
    Finish(ImportKey(key).value_or(kInvalid));
    if (last_error_ == 0) {
        Finish(WritePkcs7(Copy(*TextAt(0)), Without(*TextAt(1), ",")));
    }
}

// False when the import has ended. A key text that is refused ends it as one that the key refused.
bool Model::ImportItem(const std::string& name, const std::string& data) {
    if (name == "EncPriKey(") {
        Log("CKPXUSBKey::Batch_ImportX509Cert  strPriKeyTemp:", "strPriKeyTemp:" + data);
    }
    const std::optional<int32_t> code =
        name == "EncPriKey(" ? ImportKey(data) : WritePkcs7(Copy(*TextAt(0)), data);
    Finish(code.value_or(kInvalid));
    if (last_error_ != 0) {
        Log(name == "EncCert(" ? "CGMUsbKeyCommonEx" : "Batch_ImportX509Cert",
            "end, err: " + std::to_string(last_error_) +
                (name == "EncPriKey(" ? ", Cert GMImportPriKey error."
                                      : ", Cert GMWritePKCS7 error."));
    }
    return last_error_ == 0;
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
            Finish(WritePkcs7(Copy(*TextAt(0)), package));
            return Log("Batch_ImportX509Cert",
                       "end, err: " + std::to_string(last_error_) + ", Cert GMWritePKCS7 error.");
        default:
            return ImportPackage(package);
    }
}

}  // namespace walk
