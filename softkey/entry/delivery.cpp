#include "entry/delivery.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>

#include "base/error.h"
#include "entry/answer.h"
#include "entry/foreign_certificate.h"

namespace softkey {
namespace {

constexpr char kFiller = 'x';

bool IsOrdered(Effect effect) {
    const Fault* const ordered = CallInProgress::OrderedData();
    return ordered != nullptr && ordered->effect == effect;
}

size_t By() {
    return static_cast<size_t>(CallInProgress::OrderedData()->by);
}

// A buffer that is text to its last byte.
void FillWithoutEnd(const std::string& text, char* buffer, size_t room) {
    char* const end = std::copy_n(text.data(), std::min(text.size(), room), buffer);
    std::fill(end, buffer + room, kFiller);
}

// A text that was made too long stops at the room that there is, as a key's own would.
std::string Bounded(const std::string& text, size_t whole, size_t room) {
    return whole < room && text.size() >= room ? text.substr(0, room - 1) : text;
}

}  // namespace

std::string ToldText(const std::string& text) {
    if (IsOrdered(Effect::kLonger)) {
        return text + std::string(By(), kFiller);
    }
    if (IsOrdered(Effect::kShorter)) {
        return text.substr(0, text.size() - std::min(text.size(), By()));
    }
    if (IsOrdered(Effect::kEmpty)) {
        return std::string();
    }
    return IsOrdered(Effect::kForeignCertificate) ? ForeignCertificate(text) : text;
}

int32_t ToldLength(size_t length) {
    auto told = static_cast<int64_t>(length);
    if (IsOrdered(Effect::kLongerLength)) {
        told += CallInProgress::OrderedData()->by;
    }
    if (IsOrdered(Effect::kShorterLength)) {
        told -= CallInProgress::OrderedData()->by;
    }
    return static_cast<int32_t>(std::clamp<int64_t>(told, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

void HandOver(const std::string& text, char** destination) {
    Require(destination != nullptr, Code::kInvalidParameter, "the result pointer is missing");
    const std::string told = ToldText(text);
    auto copy = std::make_unique<char[]>(told.size() + 1);
    std::memcpy(copy.get(), told.c_str(), told.size() + 1);
    *destination = copy.release();
}

void CopyToFixed(const std::string& text, char* buffer, size_t size) {
    Require(buffer != nullptr, Code::kInvalidParameter, "the buffer is missing");
    if (IsOrdered(Effect::kUnterminated)) {
        return FillWithoutEnd(text, buffer, size);
    }
    const std::string told = Bounded(ToldText(text), text.size(), size);
    Require(told.size() < size, Code::kBufferTooSmall, "the text is longer than the fixed buffer");
    std::memcpy(buffer, told.c_str(), told.size() + 1);
}

void Deliver(const std::string& text, char* buffer, int32_t* length, size_t limit) {
    Require(length != nullptr, Code::kInvalidParameter, "the length is missing");
    const std::string told = Bounded(ToldText(text), text.size(), limit);
    const size_t needed = told.size() + 1;
    Require(needed <= limit, Code::kBufferTooSmall, "the text is longer than the entry may give");
    if (buffer == nullptr) {
        *length = ToldLength(needed);
        return;
    }
    const size_t capacity = *length > 0 ? static_cast<size_t>(*length) : 0;
    if (capacity < needed) {
        *length = ToldLength(needed);
        throw Error(Code::kBufferTooSmall, "the buffer is too small");
    }
    if (IsOrdered(Effect::kUnterminated)) {
        const size_t room = std::min(capacity, limit);
        FillWithoutEnd(text, buffer, room);
        *length = static_cast<int32_t>(room);
        return;
    }
    std::memcpy(buffer, told.c_str(), needed);
    *length = ToldLength(told.size());
}

std::string DataToSign(const char* text) {
    Require(text != nullptr, Code::kInvalidParameter, "a text is missing");
    std::string data = text;
    if (IsOrdered(Effect::kForeignSignature)) {
        // A digit is a digit in each of the encodings in which data may stand.
        constexpr std::string_view kInEveryEncoding = "1111";
        data.empty() ? data = kInEveryEncoding : data.replace(0, 1, data[0] == '1' ? "2" : "1");
    }
    return data;
}

}  // namespace softkey
