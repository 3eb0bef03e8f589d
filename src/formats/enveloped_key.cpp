#include "formats/enveloped_key.h"

#include <cstring>
#include <string_view>

namespace orval {
namespace {

constexpr std::string_view kPrefix =
    "00000000000000010000000000000001"
    "000000000000000000000000000000000000000000000273";
static_assert(kPrefix.size() == 80);

// Wherever the prefix stands, the first 80 characters go: authorities have sent it behind a header
// of their own, and keys that were imported that way must go on being accepted.
int32_t DroppedCharacters(const QRV::CString& key_text) {
    return key_text.Find(kPrefix.data()) >= 0 ? static_cast<int32_t>(kPrefix.size()) : 0;
}

}  // namespace

bool ReadEnvelopedKey(const QRV::CString& key_text, EnvelopedKey& key) {
    const int32_t dropped = DroppedCharacters(key_text);
    const auto length = static_cast<size_t>(key_text.GetLength() - dropped);
    if (length >= sizeof(key.text)) {
        return false;
    }
    std::memcpy(key.text, key_text.GetString() + dropped, length);
    return true;
}

}  // namespace orval
