#include "outside.h"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509v3.h>

#include <stdexcept>
#include <vector>

#include "processes.h"

namespace lifecycle {
namespace {

constexpr char kDefaultSignerId[] = "1234567812345678";
constexpr size_t kDefaultSignerIdLength = sizeof kDefaultSignerId - 1;

template <typename Value>
Value Must(Value value, const char* what) {
    if (!value) {
        throw std::runtime_error(std::string("OpenSSL: ") + what);
    }
    return value;
}

void MustSucceed(int result, const char* what) {
    Must(result > 0, what);
}

const unsigned char* Bytes(const std::string& text) {
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string Text(const std::vector<unsigned char>& bytes) {
    return {bytes.begin(), bytes.end()};
}

Owned<BIO, BIO_free> Input(const std::string& text) {
    return Owned<BIO, BIO_free>(
        Must(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())), "memory"));
}

ASN1_OCTET_STRING* NewSignerId() {
    ASN1_OCTET_STRING* const id = Must(ASN1_OCTET_STRING_new(), "memory");
    ASN1_OCTET_STRING_set(id, reinterpret_cast<const unsigned char*>(kDefaultSignerId),
                          static_cast<int>(kDefaultSignerIdLength));
    return id;
}

// The library's own is a macro.
void FreeStack(STACK_OF(X509) * stack) {
    sk_X509_free(stack);
}

// Signatures by others have no signer's id.
bool IsSm2Key(EVP_PKEY* key) {
    return EVP_PKEY_is_a(key, "SM2") == 1;
}

using PublicKeyContext = Owned<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using DigestContext = Owned<EVP_MD_CTX, EVP_MD_CTX_free>;

}  // namespace

std::string FromBase64(const std::string& text) {
    if (text.empty() || text.size() % 4 != 0) {
        throw std::runtime_error("not Base64: " + text);
    }
    std::vector<unsigned char> bytes(text.size());
    const int length = EVP_DecodeBlock(bytes.data(), Bytes(text), static_cast<int>(text.size()));
    MustSucceed(length, "Base64");
    const size_t padding = text.size() - text.find_last_not_of('=') - 1;
    bytes.resize(static_cast<size_t>(length) - padding);
    return Text(bytes);
}

std::string ToBase64(const std::string& bytes) {
    std::vector<unsigned char> text(4 * (bytes.size() / 3 + 1) + 1);
    const int length = EVP_EncodeBlock(text.data(), Bytes(bytes), static_cast<int>(bytes.size()));
    text.resize(static_cast<size_t>(length));
    return Text(text);
}

std::string FromHex(const std::string& text) {
    long length = 0;
    unsigned char* const bytes = Must(OPENSSL_hexstr2buf(text.c_str(), &length), "hexadecimal");
    const std::string result(bytes, bytes + length);
    OPENSSL_free(bytes);
    return result;
}

Certificate::Certificate(const std::string& pem)
    : x509_(Must(PEM_read_bio_X509(Input(pem).get(), nullptr, nullptr, nullptr), "certificate")) {
    if (IsSm2()) {
        X509_set0_distinguishing_id(x509_.get(), NewSignerId());
    }
}

EVP_PKEY* Certificate::PublicKey() const {
    return Must(X509_get0_pubkey(x509_.get()), "public key");
}

bool Certificate::IsSm2() const {
    return IsSm2Key(PublicKey());
}

std::string Certificate::Subject() const {
    const Owned<BIO, BIO_free> output(Must(BIO_new(BIO_s_mem()), "memory"));
    X509_NAME_print_ex(output.get(), X509_get_subject_name(x509_.get()), 0, XN_FLAG_RFC2253);
    char* text = nullptr;
    const long length = BIO_get_mem_data(output.get(), &text);
    return {text, static_cast<size_t>(length)};
}

std::string Certificate::Der() const {
    std::vector<unsigned char> der(static_cast<size_t>(i2d_X509(x509_.get(), nullptr)));
    unsigned char* cursor = der.data();
    i2d_X509(x509_.get(), &cursor);
    return Text(der);
}

bool Certificate::IsIssuedBy(const Certificate& issuer) const {
    return X509_check_issued(issuer.x509_.get(), x509_.get()) == X509_V_OK &&
           X509_verify(x509_.get(), issuer.PublicKey()) == 1;
}

bool Certificate::Has(uint32_t key_usage) const {
    return (X509_get_key_usage(x509_.get()) & key_usage) != 0;
}

bool Certificate::Verifies(const std::string& message, const std::string& signature) const {
    const DigestContext digest(Must(EVP_MD_CTX_new(), "memory"));
    const PublicKeyContext context(Must(EVP_PKEY_CTX_new(PublicKey(), nullptr), "context"));
    EVP_MD_CTX_set_pkey_ctx(digest.get(), context.get());
    const EVP_MD* const hash = IsSm2() ? EVP_sm3() : EVP_sha256();
    if (IsSm2()) {
        MustSucceed(EVP_PKEY_CTX_set1_id(context.get(), kDefaultSignerId, kDefaultSignerIdLength),
                    "signer's id");
    }
    MustSucceed(EVP_DigestVerifyInit(digest.get(), nullptr, hash, nullptr, PublicKey()),
                "verification");
    return EVP_DigestVerify(digest.get(), Bytes(signature), signature.size(), Bytes(message),
                            message.size()) == 1;
}

bool Certificate::VerifiesPkcs7(const std::string& der, const std::string& content) const {
    const unsigned char* cursor = Bytes(der);
    const Owned<PKCS7, PKCS7_free> pkcs7(
        Must(d2i_PKCS7(nullptr, &cursor, static_cast<long>(der.size())), "PKCS#7"));
    const Owned<STACK_OF(X509), FreeStack> signers(Must(sk_X509_new_null(), "memory"));
    MustSucceed(sk_X509_push(signers.get(), x509_.get()), "memory");
    const Owned<BIO, BIO_free> output(Must(BIO_new(BIO_s_mem()), "memory"));
    // The certificate is trusted as it is: whether it was issued is another question.
    if (PKCS7_verify(pkcs7.get(), signers.get(), nullptr, nullptr, output.get(),
                     PKCS7_NOVERIFY | PKCS7_NOINTERN | PKCS7_BINARY) != 1) {
        return false;
    }
    char* text = nullptr;
    const long length = BIO_get_mem_data(output.get(), &text);
    return std::string(text, static_cast<size_t>(length)) == content;
}

std::string Certificate::Encrypt(const std::string& message) const {
    const PublicKeyContext context(Must(EVP_PKEY_CTX_new(PublicKey(), nullptr), "context"));
    MustSucceed(EVP_PKEY_encrypt_init(context.get()), "encryption");
    size_t length = 0;
    MustSucceed(EVP_PKEY_encrypt(context.get(), nullptr, &length, Bytes(message), message.size()),
                "length of the ciphertext");
    std::vector<unsigned char> cipher(length);
    MustSucceed(
        EVP_PKEY_encrypt(context.get(), cipher.data(), &length, Bytes(message), message.size()),
        "encryption");
    cipher.resize(length);
    return Text(cipher);
}

bool RequestHolds(const std::string& request) {
    const std::string der = FromBase64(request);
    const unsigned char* cursor = Bytes(der);
    const Owned<X509_REQ, X509_REQ_free> parsed(
        Must(d2i_X509_REQ(nullptr, &cursor, static_cast<long>(der.size())), "request"));
    EVP_PKEY* const public_key = Must(X509_REQ_get0_pubkey(parsed.get()), "public key");
    if (IsSm2Key(public_key)) {
        X509_REQ_set0_distinguishing_id(parsed.get(), NewSignerId());
    }
    return X509_REQ_verify(parsed.get(), public_key) == 1;
}

#ifdef ORVAL_BOTAN_VERDICT
bool BotanVerifies(const std::string& certificate_pem, const std::string& message,
                   const std::string& signature) {
    WriteFile("/tmp/botan-certificate", certificate_pem);
    WriteFile("/tmp/botan-message", message);
    WriteFile("/tmp/botan-signature", signature);
    return RunProgram("botan_verdict",
                      "/tmp/botan-certificate /tmp/botan-message /tmp/botan-signature")
               .status == 0;
}
#endif

}  // namespace lifecycle
