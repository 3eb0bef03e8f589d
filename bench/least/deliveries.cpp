// Calls that hand a text over: a zeroed buffer, because the back-end may leave a text without its
// end; copies of the texts, which the back-end may write into; and the length rules.
#include <memory>

#include "least/bare_string.h"
#include "least/calls.h"
#include "maker/rooms.h"

namespace least {
namespace {

struct Freed {
    void operator()(char* block) const { std::free(block); }
};
using Zeroed = std::unique_ptr<char, Freed>;

int32_t Bound(size_t length) {
    return static_cast<int32_t>((static_cast<uint32_t>(length) + 4096) * 2);
}

Zeroed ZeroedRoom(int32_t size) {
    return Zeroed(static_cast<char*>(std::calloc(static_cast<size_t>(size) + 1, 1)));
}

int32_t Deliver(const char* text, int32_t text_length, char* out, int32_t* length) {
    if (*length < text_length) {
        *length = text_length;
        return Finish(-404);
    }
    *length = text_length;
    std::memcpy(out, text, std::strlen(text) + 1);
    return Finish(0);
}

}  // namespace

// The text's copy is contract: what the back-end hands out is its own.
int32_t GetErrorMsg(int32_t code, char* message, int32_t* length) {
    Begin();
    const BareString text(table.X_ErrorConvert_UOS(code));
    const auto needed = static_cast<int32_t>(text.Length()) + 1;
    if (*length < needed) {
        *length = needed;
        return Finish(-404);
    }
    *length = needed;
    std::memcpy(message, text.Text(), text.Length() + 1);
    return 0;
}

int32_t GetCert(const char* serial_number, int32_t param1, int32_t param2, char* certificate,
                int32_t* length) {
    Begin();
    char text[maker::kCertificateRoom + 1] = {};
    int32_t text_length = maker::kCertificateRoom;
    const int32_t code =
        CallEntry(table.GetCertInfo, serial_number, param1, param2, text, &text_length);
    return code != 0 ? Finish(code) : Deliver(text, text_length, certificate, length);
}

int32_t SignHash(const char* serial_number, int32_t param1, int32_t param2, const char* data,
                 int32_t param3, char* signature, int32_t* length) {
    Begin();
    Finish(0);
    const BareString data_text(data);
    const BareString key(serial_number);
    const Zeroed text = ZeroedRoom(Bound(data_text.Length()));
    const int32_t code = CallEntry(table.GMUsbKeyCommonSign, key.Text(), param1, param2,
                                   data_text.Text(), param3, text.get(), length);
    if (code == 0) {
        std::memcpy(signature, text.get(), std::strlen(text.get()) + 1);
    }
    return Finish(code);
}

int32_t AsymDec(const char* serial_number, int32_t param1, uint32_t param2, const char* cipher,
                char* plain, int32_t* length) {
    Begin();
    Finish(0);
    BareString cipher_text(cipher);
    int32_t text_length = Bound(cipher_text.Length());
    const Zeroed text = ZeroedRoom(text_length);
    const BareString key(serial_number);
    cipher_text.RemoveAll('\r');
    cipher_text.RemoveAll('\n');
    const int32_t code = CallEntry(table.GMUSBKeyAsymDec2, key.Text(), param1, param2,
                                   cipher_text.Text(), text.get(), &text_length);
    return code != 0 ? Finish(code) : Deliver(text.get(), text_length, plain, length);
}

}  // namespace least
