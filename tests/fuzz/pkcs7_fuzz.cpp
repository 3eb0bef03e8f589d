// What the software key reads as PKCS#7 signed data either gives certificates, which are the same
// when they are wrapped and read again, or is refused as malformed.
#include "crypto/certificate_texts.h"
#include "crypto/pkcs7.h"
#include "softkey_input.h"

namespace {

using softkey::Bytes;

std::vector<Bytes> Encoded(const std::vector<softkey::ssl::Certificate>& certificates) {
    std::vector<Bytes> encoded;
    for (const auto& certificate : certificates) {
        encoded.push_back(softkey::ssl::ToDer(certificate.get(), i2d_X509, "certificate"));
    }
    return encoded;
}

std::vector<Bytes> Read(const std::string& text) {
    std::vector<Bytes> certificates;
    fuzz::Succeeds([&] { certificates = Encoded(softkey::CertificatesOf(text)); },
                   {softkey::Code::kPkcs7Malformed});
    return certificates;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const std::vector<Bytes> certificates = Read(fuzz::TakeStructure(input));
    if (certificates.empty()) {
        return 0;
    }
    for (const auto names : {softkey::Pkcs7Names::kRfc2315, softkey::Pkcs7Names::kGm}) {
        const Bytes wrapped = softkey::CertificatesOnly(certificates, names);
        fuzz::Require(Read(softkey::ToPem(wrapped, "PKCS7")) == certificates,
                      "certificates that were read are the same when they are read again");
    }
    return 0;
}
