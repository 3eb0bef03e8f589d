#include <iconv.h>

#include <cstring>
#include <memory>

#include "common/commonfunction.h"

namespace {

constexpr uint32_t kUtf8ToGb18030 = 0;
constexpr uint32_t kCopy = 1;
constexpr int32_t kNothingConverted = -1;
// Room that callers have always been given behind the result; it holds no defined content.
constexpr uint32_t kSpareBytes = 10;
// Every UTF-8 sequence of n bytes becomes at most 2n bytes of GB18030.
constexpr uint32_t kLargestGrowth = 2;

int32_t Outcome(uint32_t length) {
    return length != 0 ? 0 : kNothingConverted;
}

// Converts in place of the text. What iconv answers is not looked at: it stops at the first bad
// sequence, and what it made until then is the result. A descriptor that failed to open makes
// nothing.
void ConvertToGb18030(QRV::CString& text) {
    iconv_t const failed = reinterpret_cast<iconv_t>(-1);  // NOLINT: what iconv_open returns
    iconv_t descriptor = iconv_open("GB18030", "UTF-8");
    if (descriptor == nullptr) {
        return;
    }
    const QRV::CString input = text;
    auto bytes = static_cast<size_t>(input.GetLength());
    const size_t room = kLargestGrowth * bytes;
    if (room > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        if (descriptor != failed) {
            iconv_close(descriptor);
        }
        QRV::QrvThrow(QRV::kInvalidArgument);
    }
    size_t left = room;
    char* source = const_cast<char*>(input.GetString());
    char* target = text.GetBuffer(static_cast<int32_t>(room));
    if (descriptor != failed) {
        iconv(descriptor, &source, &bytes, &target, &left);
        iconv_close(descriptor);
    }
    text.SetLength(static_cast<int32_t>(room - left));
}

int32_t CopyBytes(CommonFunction& common, const char* src, uint32_t length, char** out,
                  uint32_t* outLen) {
    *outLen = length;
    const uint32_t size = length + kSpareBytes;
    *out = new char[size];
    common.memcpy_s(*out, size, src, length);
    return Outcome(length);
}

}  // namespace

int32_t CommonFunction::MB2MB(uint32_t direction, const char* src, uint32_t srcLen, char** out,
                              uint32_t* outLen) {
    if (direction == kCopy) {
        return CopyBytes(*this, src, srcLen, out, outLen);
    }
    if (direction != kUtf8ToGb18030) {
        return kNothingConverted;
    }
    QRV::CString text(src, static_cast<int32_t>(srcLen));
    ConvertToGb18030(text);
    const auto length = static_cast<uint32_t>(text.GetLength());
    *outLen = length;
    *out = new char[length + kSpareBytes];
    std::memcpy(*out, text.GetString(), length);
    return Outcome(length);
}
