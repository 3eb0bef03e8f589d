#include "crypto/key_files.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <openssl/provider.h>
#include <openssl/store.h>
#include <openssl/ui.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <optional>
#include <utility>

#include "base/error.h"
#include "cli/failure.h"
#include "cli/words.h"
#include "crypto/key_parts.h"
#include "crypto/ssl.h"

namespace softkey {
namespace {

using ssl::Check;
using Provider = ssl::Owner<OSSL_PROVIDER, OSSL_PROVIDER_unload>;
using Method = ssl::Owner<UI_METHOD, UI_destroy_method>;
using Store = ssl::Owner<OSSL_STORE_CTX, OSSL_STORE_close>;
using Info = ssl::Owner<OSSL_STORE_INFO, OSSL_STORE_INFO_free>;

// No key and no chain of certificates is as long.
constexpr size_t kLargestFile = 1 << 20;

struct Asking {
    const std::function<SecretBytes()>* ask;
    std::optional<SecretBytes> known;
    std::exception_ptr failure;
};

int Answer(char* buffer, int size, int /*writing*/, void* data) noexcept {
    auto* const asking = static_cast<Asking*>(data);
    try {
        if (!asking->known) {
            asking->known = (*asking->ask)();
        }
    } catch (...) {
        asking->failure = std::current_exception();
        return -1;
    }
    const SecretBytes& told = *asking->known;
    if (told.size() > static_cast<size_t>(size)) {
        return -1;
    }
    std::copy(told.begin(), told.end(), reinterpret_cast<unsigned char*>(buffer));
    return static_cast<int>(told.size());
}

// The key as those that are made here, whatever OpenSSL has read it as.
KeyPair OwnPair(const EVP_PKEY* key) {
    char group[64] = {};
    size_t length = 0;
    const bool sm2 = EVP_PKEY_get_group_name(key, group, sizeof group, &length) == 1 &&
                     std::string(group) == "SM2";
    Require(sm2 || ssl::IsA(key, "RSA"), Code::kKeyInfoType, "the key is neither SM2 nor RSA-2048");
    return sm2 ? KeyPair::Sm2FromScalar(Sm2ScalarOf(key))
               : KeyPair::FromPrivate(WritePrivateKey(key));
}

void Take(const OSSL_STORE_INFO* info, KeyFile* file) {
    switch (OSSL_STORE_INFO_get_type(info)) {
        case OSSL_STORE_INFO_PKEY:
            file->pairs.push_back(OwnPair(OSSL_STORE_INFO_get0_PKEY(info)));
            break;
        case OSSL_STORE_INFO_CERT:
            file->certificates.push_back(
                ssl::ToDer(OSSL_STORE_INFO_get0_CERT(info), i2d_X509, "certificate"));
            break;
        default:
            break;
    }
}

// Not read by OpenSSL, to which an interrupted or failed read is the end of the file.
SecretBytes ContentsOf(const std::string& path) {
    SecretBytes contents(kLargestFile);
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    size_t length = 0;
    ssize_t count = file < 0 ? -1 : 1;
    while (count != 0 && length < contents.size() && (count > 0 || errno == EINTR)) {
        count = read(file, contents.data() + length, contents.size() - length);
        length += static_cast<size_t>(std::max<ssize_t>(count, 0));
    }
    const int reason = count < 0 ? errno : EFBIG;
    if (file >= 0) {
        close(file);
    }
    if (count != 0) {
        cli::Throw(cli::ExitStatus::kFile, cli::Say("cannot read {1}", path), cli::SayError(reason),
                   "check the path, the permissions and the free space");
    }
    contents.resize(length);
    return contents;
}

}  // namespace

KeyFile ReadKeyFile(const std::string& path, const std::function<SecretBytes()>& passphrase) {
    // What PKCS#12 of old is encrypted with, where that is installed. It is read with what the
    // whole process has.
    const Provider old(OSSL_PROVIDER_try_load(nullptr, "legacy", 1));
    Asking asking{&passphrase, std::nullopt, nullptr};
    const Method method(UI_UTIL_wrap_read_pem_callback(Answer, 0));
    const SecretBytes contents = ContentsOf(path);
    const ssl::Output input(BIO_new_mem_buf(contents.data(), static_cast<int>(contents.size())));
    Check(input != nullptr, path.c_str(), Code::kMemory);
    const Store store(OSSL_STORE_attach(input.get(), "file", nullptr, nullptr, method.get(),
                                        &asking, nullptr, nullptr, nullptr));
    KeyFile file;
    while (store != nullptr && OSSL_STORE_eof(store.get()) == 0) {
        ERR_clear_error();
        const Info info(OSSL_STORE_load(store.get()));
        if (asking.failure) {
            std::rethrow_exception(asking.failure);
        }
        if (info != nullptr) {
            Take(info.get(), &file);
        } else if (OSSL_STORE_error(store.get()) == 1) {
            // What stands behind the last part, a line end for one, is nothing without a reason.
            file.whole = ERR_peek_error() == 0;
            break;
        }
    }
    file.encrypted = asking.known.has_value();
    file.whole = file.whole && store != nullptr;
    return file;
}

}  // namespace softkey
