#include "crypto/pkcs10.h"

#include <openssl/x509v3.h>

namespace softkey {
namespace {

using ssl::Check;
using Extension = ssl::Owner<X509_EXTENSION, X509_EXTENSION_free>;

const char* UsageOf(RequestKind kind) {
    if (kind == RequestKind::kDual) {
        return kDualUsage;
    }
    return kind == RequestKind::kSigning ? kSigningUsage : kEncryptionUsage;
}

struct ExtensionStack {
    STACK_OF(X509_EXTENSION) * list = sk_X509_EXTENSION_new_null();
    ExtensionStack() = default;
    ~ExtensionStack() { sk_X509_EXTENSION_pop_free(list, X509_EXTENSION_free); }
    ExtensionStack(const ExtensionStack&) = delete;
    ExtensionStack& operator=(const ExtensionStack&) = delete;
};

void AddUsage(X509_REQ* request, RequestKind kind) {
    Extension usage(X509V3_EXT_conf_nid(nullptr, nullptr, NID_key_usage, UsageOf(kind)));
    const ExtensionStack extensions;
    Check(usage != nullptr && sk_X509_EXTENSION_push(extensions.list, usage.get()) > 0,
          "request extension");
    static_cast<void>(usage.release());
    Check(X509_REQ_add_extensions(request, extensions.list) == 1, "request extension");
}

void AddPart(X509_NAME* name, const NamePart& part) {
    constexpr int kAtTheEnd = -1;
    const std::string step = "\"" + part.value + "\" as the name's field " + part.field;
    Check(X509_NAME_add_entry_by_txt(name, part.field.c_str(), MBSTRING_UTF8, AsBytes(part.value),
                                     static_cast<int>(part.value.size()), kAtTheEnd,
                                     part.joins_previous ? -1 : 0) == 1,
          step.c_str(), Code::kInvalidParameter);
}

}  // namespace

ssl::Name MakeName(const std::vector<NamePart>& parts) {
    ssl::Name name(X509_NAME_new());
    Check(name != nullptr, "name");
    for (const NamePart& part : parts) {
        AddPart(name.get(), part);
    }
    return name;
}

Bytes MakeRequest(const KeyPair& pair, const std::string& common_name, RequestKind kind) {
    const ssl::Request request(X509_REQ_new());
    Check(request != nullptr && X509_REQ_set_version(request.get(), X509_REQ_VERSION_1) == 1,
          "request");
    const ssl::Name subject = MakeName({{"C", "CN"}, {"O", "Software Key"}, {"CN", common_name}});
    Check(X509_REQ_set_subject_name(request.get(), subject.get()) == 1, "request subject");
    Check(X509_REQ_set_pubkey(request.get(), pair.Get()) == 1, "request public key");
    AddUsage(request.get(), kind);
    ssl::KeyContext key_context;
    const ssl::DigestContext context = pair.MessageContext(&key_context);
    Check(EVP_DigestSignInit(context.get(), nullptr, pair.Digest(), nullptr, pair.Get()) == 1,
          "request signature");
    Check(X509_REQ_sign_ctx(request.get(), context.get()) > 0, "request signature");
    return ssl::ToDer(request.get(), i2d_X509_REQ, "request");
}

}  // namespace softkey
