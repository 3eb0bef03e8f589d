// What the back-end does beside its silence: it counts, and it calls entries of its own that have
// the names of exported functions. How the names are resolved depends on how the back-end was
// built; the compiler cannot resolve them, because they are defined elsewhere.
#include <cstring>

#include "doubles/silent.h"
#include "maker/backend.h"
#include "plain_key.h"

extern "C" {
__attribute__((visibility("default"))) PlainCalls plain_calls;
__attribute__((visibility("default"))) PlainInner plain_inner;

__attribute__((visibility("default"))) void* plain_inner_callee() {
    return reinterpret_cast<void*>(&VerifyPIN);
}
}

namespace {

constexpr const char* kSerialNumber = "SN0123456789";

char g_text[4096];
int32_t g_length = sizeof(g_text);

// The exported GetLabel and GetData take one argument more than the entries: what happens to lie
// in its register. Here that is a null pointer, every time.
int32_t CallGetLabel() {
    using Longer = int32_t (*)(const char*, char*, void*);
    return reinterpret_cast<Longer>(reinterpret_cast<void*>(&GetLabel))(kSerialNumber, g_text,
                                                                        nullptr);
}
int32_t CallGetData() {
    using Longer = int32_t (*)(const char*, int32_t, char*, void*);
    return reinterpret_cast<Longer>(reinterpret_cast<void*>(&GetData))(kSerialNumber, 0, g_text,
                                                                       nullptr);
}

// The exported GetCertInfo takes one argument less: param2 arrives as the output buffer, the output
// buffer as the length.
int32_t CallGetCertInfo() {
    alignas(int32_t) char certificate[4096] = {};
    const int32_t result = GetCertInfo(kSerialNumber, 1, 0, certificate, &g_length);
    std::memcpy(&plain_inner.certificate, certificate, sizeof(plain_inner.certificate));
    return result;
}

struct Choice {
    const char* name;
    int32_t (*call)();
};

constexpr Choice kChoices[] = {
    {"GetLabel", CallGetLabel},
    {"SetLabel", [] { return SetLabel(kSerialNumber, "label"); }},
    {"ChangePin", [] { return ChangePin(kSerialNumber); }},
    {"VerifyPIN", [] { return VerifyPIN(kSerialNumber); }},
    {"GetPinInfo", [] { return GetPinInfo(kSerialNumber, g_text, &g_length); }},
    {"GetCertInfo", CallGetCertInfo},
    {"GetData", CallGetData},
    {"SetData", [] { return SetData(kSerialNumber, 0, "data"); }},
    {"Batch_Sign",
     [] {
         return Batch_Sign(0, kSerialNumber, 0, 0, "", nullptr, 0, 0, 0, "", 0, g_text, &g_length);
     }},
    {"DelCertAndTempKey", [] { return DelCertAndTempKey(kSerialNumber, 0, 0); }},
    {"SetCachePinFlag", [] { return SetCachePinFlag(kSerialNumber, 0); }},
};

void CallChosenEntry() {
    const char* name = plain_inner.name;
    plain_inner.name = nullptr;
    for (const Choice& choice : kChoices) {
        if (name != nullptr && std::strcmp(choice.name, name) == 0) {
            plain_inner.result = choice.call();
        }
    }
}

}  // namespace

void silent::EntryReached(size_t slot) {
    ++plain_calls[slot];
    CallChosenEntry();
}

const char* X_ErrorConvert_UOS(int64_t /*code*/) {
    silent::EntryReached(maker::SlotOf("X_ErrorConvert_UOS"));
    return "plain text";
}
