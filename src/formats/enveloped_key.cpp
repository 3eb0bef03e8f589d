#include "formats/enveloped_key.h"

#include <cstring>
#include <string_view>

#include "call/frame.h"

namespace {

constexpr std::string_view kPrefix =
    "00000000000000010000000000000001"
    "000000000000000000000000000000000000000000000273";
static_assert(kPrefix.size() == 80);

constexpr int32_t kKeyTextRoom = 1024;

// Wherever the prefix stands, the first 80 characters go: authorities have sent it behind a header
// of their own, and keys that were imported that way must go on being accepted.
int32_t DroppedCharacters(const QRV::CString& key_text) {
    return key_text.Find(kPrefix.data()) >= 0 ? static_cast<int32_t>(kPrefix.size()) : 0;
}

}  // namespace

int32_t ImportEnvelopedKey(const char* serial_number, const QRV::CString& key_text) {
    const int32_t dropped = DroppedCharacters(key_text);
    const int32_t length = key_text.GetLength() - dropped;
    if (length >= kKeyTextRoom) {
        return Refuse();
    }
    char buffer[kKeyTextRoom] = {};
    std::memcpy(buffer, key_text.GetString() + dropped, static_cast<size_t>(length));
    return Finish(Backend(&CommonFunction::GMImportPriKey, serial_number, buffer, 0));
}
