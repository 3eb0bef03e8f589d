#include "formats/charset.h"

#include <iconv.h>

#include <cstring>
#include <limits>

#include "formats/bounded_copy.h"
#include "qrv/string.h"

namespace orval {
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

// A conversion descriptor. One that failed to open makes nothing and is not closed; a null one does
// not convert at all.
class Converter final {
 public:
    Converter(const char* to, const char* from) : descriptor_(iconv_open(to, from)) {}
    ~Converter() {
        if (IsOpen() && !IsNull()) {
            iconv_close(descriptor_);
        }
    }
    Converter(const Converter&) = delete;
    Converter& operator=(const Converter&) = delete;

    bool IsNull() const { return descriptor_ == nullptr; }

    // Writes at most `room` bytes and returns how many. What iconv answers is not looked at: it
    // stops at the first bad sequence, and what it made until then is the result.
    size_t Convert(const QRV::CString& input, char* output, size_t room) {
        auto bytes = static_cast<size_t>(input.GetLength());
        size_t left = room;
        char* source = const_cast<char*>(input.GetString());
        if (IsOpen()) {
            iconv(descriptor_, &source, &bytes, &output, &left);
        }
        return room - left;
    }

 private:
    bool IsOpen() const { return reinterpret_cast<intptr_t>(descriptor_) != -1; }

    iconv_t descriptor_;
};

void ConvertToGb18030(QRV::CString& text) {
    const size_t room = kLargestGrowth * static_cast<size_t>(text.GetLength());
    if (room > static_cast<size_t>(std::numeric_limits<int32_t>::max())) {
        QRV::QrvThrow(QRV::kInvalidArgument);
    }
    Converter converter("GB18030", "UTF-8");
    if (converter.IsNull()) {
        return;
    }
    const QRV::CString input = text;
    char* output = text.GetBuffer(static_cast<int32_t>(room));
    text.SetLength(static_cast<int32_t>(converter.Convert(input, output, room)));
}

int32_t CopyBytes(const char* src, uint32_t length, char** out, uint32_t* out_length) {
    *out_length = length;
    const uint32_t size = length + kSpareBytes;
    *out = new char[size];
    CopyBounded(*out, size, src, length);
    return Outcome(length);
}

}  // namespace

int32_t ConvertCharset(uint32_t direction, const char* src, uint32_t src_length, char** out,
                       uint32_t* out_length) {
    if (direction == kCopy) {
        return CopyBytes(src, src_length, out, out_length);
    }
    if (direction != kUtf8ToGb18030) {
        return kNothingConverted;
    }
    QRV::CString text(src, static_cast<int32_t>(src_length));
    ConvertToGb18030(text);
    const auto length = static_cast<uint32_t>(text.GetLength());
    *out_length = length;
    *out = new char[length + kSpareBytes];
    std::memcpy(*out, text.GetString(), length);
    return Outcome(length);
}

}  // namespace orval
