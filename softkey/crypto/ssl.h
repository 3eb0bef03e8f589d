#ifndef SOFTKEY_CRYPTO_SSL_H
#define SOFTKEY_CRYPTO_SSL_H

#include <openssl/bio.h>
#include <openssl/bn.h>
#include <openssl/crypto.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

#include "base/error.h"
#include "base/process_lock.h"
#include "base/secret.h"

// Owners for OpenSSL's objects, and the one way its failures become ours.
namespace softkey::ssl {

template <auto Free>
struct Deleter {
    template <typename T>
    void operator()(T* object) const {
        Free(object);
    }
};

template <typename T, auto Free>
using Owner = std::unique_ptr<T, Deleter<Free>>;

using Key = Owner<EVP_PKEY, EVP_PKEY_free>;
using KeyContext = Owner<EVP_PKEY_CTX, EVP_PKEY_CTX_free>;
using DigestContext = Owner<EVP_MD_CTX, EVP_MD_CTX_free>;
using CipherContext = Owner<EVP_CIPHER_CTX, EVP_CIPHER_CTX_free>;
using Kdf = Owner<EVP_KDF, EVP_KDF_free>;
using KdfContext = Owner<EVP_KDF_CTX, EVP_KDF_CTX_free>;
using Number = Owner<BIGNUM, BN_clear_free>;
using Group = Owner<EC_GROUP, EC_GROUP_free>;
using Point = Owner<EC_POINT, EC_POINT_free>;
using Request = Owner<X509_REQ, X509_REQ_free>;
using Certificate = Owner<X509, X509_free>;
using BitString = Owner<ASN1_BIT_STRING, ASN1_BIT_STRING_free>;
using Name = Owner<X509_NAME, X509_NAME_free>;
using Output = Owner<BIO, BIO_free_all>;
using Pkcs7 = Owner<PKCS7, PKCS7_free>;

// OpenSSL goes on without the context that it has not made for want of memory, to a null pointer.
// It makes it at its first use in the process, and not again.
inline void RequireOpenSsl() {
    Require(OSSL_LIB_CTX_get0_global_default() != nullptr, Code::kMemory);
}

// Keeps the process's own error queue as it was: the client may use OpenSSL too.
class ErrorMark {
 public:
    ErrorMark() {
        RequireOpenSsl();
        // A thread's first mark enters the thread into a list of OpenSSL's, under a lock.
        const ProcessLock lock;
        is_first_ = !is_marked;
        if (is_first_) {
            is_marked = true;
            has_clients_errors = ERR_peek_error() != 0;
        }
        ERR_set_mark();
    }
    ~ErrorMark() {
        ERR_pop_to_mark();
        if (is_first_) {
            is_marked = false;
            has_clients_errors = false;
        }
    }
    ErrorMark(const ErrorMark&) = delete;
    ErrorMark& operator=(const ErrorMark&) = delete;

    // Whether the failure that is in the queue goes back to memory that ran out: what OpenSSL says
    // last is often what had to fail in consequence. The queue is read from its other end and is
    // shorter then; a client's errors, which would be there, are not touched.
    static bool MemoryRanOut() {
        unsigned long error = ERR_peek_last_error();
        while (error != 0 && ERR_GET_REASON(error) != ERR_R_MALLOC_FAILURE) {
            error = has_clients_errors ? 0 : ERR_get_error();
        }
        return error != 0;
    }

 private:
    inline static thread_local bool is_marked = false;
    inline static thread_local bool has_clients_errors = false;
    bool is_first_ = false;
};

inline void Check(bool succeeded, const char* step, Code code = Code::kFail) {
    if (succeeded) {
        return;
    }
    const char* const reason = ERR_reason_error_string(ERR_peek_last_error());
    const std::string detail =
        std::string(step) + (reason == nullptr ? "" : std::string(": ") + reason);
    throw Error(ErrorMark::MemoryRanOut() ? Code::kMemory : code, detail);
}

// OpenSSL's no, unless it could not tell for want of memory.
inline bool IsYes(bool answer) {
    if (!answer && ErrorMark::MemoryRanOut()) {
        throw Error(Code::kMemory);
    }
    return answer;
}

// A no of OpenSSL's may have been for want of memory, which it does not always tell. One that is
// true is said again.
template <typename Ask>
auto AskedTwice(Ask ask) {
    auto answer = ask();
    if (!answer) {
        answer = ask();
    }
    return answer;
}

inline bool IsA(const EVP_PKEY* key, const char* type) {
    return AskedTwice([&] { return EVP_PKEY_is_a(key, type) == 1; });
}

// A certificate's key, none where it cannot be read. OpenSSL tries that once, and remembers what
// came of it.
inline EVP_PKEY* KeyOf(X509* certificate) {
    EVP_PKEY* const key = X509_get0_pubkey(certificate);
    if (key == nullptr) {
        const Certificate again(X509_dup(certificate));
        Require(again != nullptr && X509_get0_pubkey(again.get()) == nullptr, Code::kMemory);
    }
    return key;
}

// The DER form of `object`, by OpenSSL's own i2d function.
template <typename Container = Bytes, typename T, typename Encode>
Container ToDer(T* object, Encode encode, const char* step) {
    unsigned char* der = nullptr;
    const int length = encode(object, &der);
    Check(length > 0, step);
    Container bytes(der, der + length);
    OPENSSL_clear_free(der, static_cast<size_t>(length));
    return bytes;
}

// What a d2i function of OpenSSL's reads. Empty when that is nothing or something follows it.
template <typename Owner, typename Decode>
Owner FromDer(const Bytes& der, Decode decode) {
    const unsigned char* cursor = nullptr;
    Owner object = AskedTwice([&] {
        cursor = der.data();
        return Owner(decode(nullptr, &cursor, static_cast<long>(der.size())));
    });
    if (object == nullptr && ErrorMark::MemoryRanOut()) {
        throw Error(Code::kMemory);
    }
    if (cursor != der.data() + der.size()) {
        object.reset();
    }
    return object;
}

// "1.2.840.113549.1.7.2"
inline std::string Dotted(const ASN1_OBJECT* object) {
    char text[128] = {};
    OBJ_obj2txt(text, sizeof text, object, 1);
    return text;
}

inline Bytes BytesOf(const ASN1_STRING* string) {
    return Bytes(string->data, string->data + string->length);
}

// A bit string of whole bytes. Without the flag the zero bits at its end would be cut off.
inline void SetBits(ASN1_BIT_STRING* string, const Bytes& bytes) {
    Check(ASN1_BIT_STRING_set(string, const_cast<unsigned char*>(bytes.data()),
                              static_cast<int>(bytes.size())) == 1,
          "bit string");
    string->flags |= ASN1_STRING_FLAG_BITS_LEFT;
}

// The text that `print` writes to an output of OpenSSL's.
template <typename Print>
std::string Printed(Print print, const char* step) {
    const Output output(BIO_new(BIO_s_mem()));
    Check(output != nullptr && print(output.get()), step);
    char* text = nullptr;
    const long length = BIO_get_mem_data(output.get(), &text);
    return {text, static_cast<size_t>(length)};
}

}  // namespace softkey::ssl

#endif
