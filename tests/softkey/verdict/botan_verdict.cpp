// Botan's verdict on an SM2-with-SM3 signature:
//
//     botan_verdict CERTIFICATE MESSAGE SIGNATURE
//
// CERTIFICATE is a PEM or DER file, MESSAGE the bytes that were signed, SIGNATURE the DER of the
// signature value. Exit status 0 and "verified by Botan" when it holds, 1 when it does not, 2 when
// it could not be checked.
#include <botan/data_src.h>
#include <botan/ecc_key.h>
#include <botan/pubkey.h>
#include <botan/sm2.h>
#include <botan/version.h>
#include <botan/x509cert.h>

#include <cstdio>
#include <exception>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::vector<uint8_t> ReadFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error(std::string("cannot read ") + path);
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// Certificates name SM2 keys as keys of the general elliptic-curve algorithm on the SM2 curve.
Botan::SM2_PublicKey SubjectKey(const char* path) {
    Botan::DataSource_Stream source(path, true);
    const Botan::X509_Certificate certificate(source);
    const std::unique_ptr<Botan::Public_Key> key(certificate.load_subject_public_key());
    const auto* point = dynamic_cast<const Botan::EC_PublicKey*>(key.get());
    if (point == nullptr) {
        throw std::runtime_error("the certificate's key is not an elliptic-curve key");
    }
    return Botan::SM2_PublicKey(Botan::EC_Group("sm2p256v1"), point->public_point());
}

bool Holds(const char* certificate, const char* message, const char* signature) {
    const Botan::SM2_PublicKey key = SubjectKey(certificate);
    // The signer's id that the standard gives where none was agreed on.
    Botan::PK_Verifier verifier(key, "1234567812345678,SM3", Botan::DER_SEQUENCE);
    return verifier.verify_message(ReadFile(message), ReadFile(signature));
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fputs("usage: botan_verdict CERTIFICATE MESSAGE SIGNATURE\n", stderr);
        return 2;
    }
    try {
        if (!Holds(argv[1], argv[2], argv[3])) {
            std::fputs("botan_verdict: the signature does not hold\n", stderr);
            return 1;
        }
        std::printf("verified by Botan %s\n", Botan::short_version_string().c_str());
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "botan_verdict: %s\n", error.what());
        return 2;
    }
}
