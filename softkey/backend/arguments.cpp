#include "backend/arguments.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace softkey {

std::string RequireText(const char* text) {
    Require(text != nullptr, Code::kInvalidParameter, "a text is missing");
    return text;
}

void RequireConstant(bool as_expected) {
    Require(as_expected, Code::kSelector, "an argument that has one value only has another");
}

void HandOver(const std::string& text, char** destination) {
    Require(destination != nullptr, Code::kInvalidParameter, "the result pointer is missing");
    auto copy = std::make_unique<char[]>(text.size() + 1);
    std::memcpy(copy.get(), text.c_str(), text.size() + 1);
    *destination = copy.release();
}

void CopyToFixed(const std::string& text, char* buffer, size_t size) {
    Require(buffer != nullptr, Code::kInvalidParameter, "the buffer is missing");
    Require(text.size() < size, Code::kBufferTooSmall, "the text is longer than the fixed buffer");
    std::memcpy(buffer, text.c_str(), text.size() + 1);
}

void Deliver(const std::string& text, char* buffer, int32_t* length, size_t limit) {
    Require(length != nullptr, Code::kInvalidParameter, "the length is missing");
    const size_t needed = text.size() + 1;
    Require(needed <= limit, Code::kBufferTooSmall, "the text is longer than the entry may give");
    if (buffer == nullptr) {
        *length = static_cast<int32_t>(needed);
        return;
    }
    const size_t capacity = *length > 0 ? static_cast<size_t>(*length) : 0;
    if (capacity < needed) {
        *length = static_cast<int32_t>(needed);
        throw Error(Code::kBufferTooSmall, "the buffer is too small");
    }
    std::memcpy(buffer, text.c_str(), needed);
    *length = static_cast<int32_t>(text.size());
}

}  // namespace softkey
