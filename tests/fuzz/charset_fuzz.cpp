// MB2MB converts as far as one character after the other can be converted, and copies everything.
// The first byte of the input is the direction.
#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <memory>

#include "common/commonfunction.h"
#include "fuzz_target.h"

namespace {

using fuzz::Require;

constexpr size_t kSpareBytes = 10;

// The bytes of one character, converted alone; empty when that cannot be done.
std::string ConvertAlone(std::string bytes) {
    static iconv_t const descriptor = iconv_open("GB18030", "UTF-8");
    Require(reinterpret_cast<intptr_t>(descriptor) != -1, "the C library knows both sets");
    iconv(descriptor, nullptr, nullptr, nullptr, nullptr);
    char converted[16];
    char* source = bytes.data();
    char* target = converted;
    size_t source_left = bytes.size();
    size_t target_left = sizeof(converted);
    const size_t outcome = iconv(descriptor, &source, &source_left, &target, &target_left);
    const bool whole = outcome != static_cast<size_t>(-1) && source_left == 0;
    return whole ? std::string(converted, target) : "";
}

// How many bytes the character has that starts with this one, if it is one.
size_t LengthFromLead(char lead) {
    const auto byte = static_cast<uint8_t>(lead);
    return byte < 0x80 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

std::string PlainConversion(const std::string& text) {
    std::string converted;
    for (size_t at = 0; at < text.size();) {
        const size_t length = LengthFromLead(text[at]);
        const std::string character = ConvertAlone(text.substr(at, length));
        if (character.empty() || at + length > text.size()) {
            break;
        }
        converted += character;
        at += length;
    }
    return converted;
}

void RequireOutput(uint32_t direction, const std::string& text, const std::string& expected) {
    // Not the text's own memory: its exact size lets a sanitizer see what is read past it.
    auto source = std::make_unique<char[]>(text.size());
    std::copy(text.begin(), text.end(), source.get());
    char* out = nullptr;
    uint32_t length = 0;
    const int32_t outcome = ORVAL_ComFunc.MB2MB(direction, source.get(),
                                                static_cast<uint32_t>(text.size()), &out, &length);
    const std::unique_ptr<char[]> owned(out);
    Require(std::string(out, length) == expected, "the output is the plain conversion's");
    Require(outcome == (expected.empty() ? -1 : 0), "an output of no bytes is a failure");
    std::memset(out + length, 0, kSpareBytes);  // room that callers have always been given
}

void RequireRefusal(uint32_t direction, const std::string& text) {
    char here = 0;
    char* out = &here;
    uint32_t length = 77;
    Require(ORVAL_ComFunc.MB2MB(direction, text.data(), static_cast<uint32_t>(text.size()), &out,
                                &length) == -1,
            "an unknown direction is refused");
    Require(out == &here && length == 77, "a refusal writes nothing");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input input(data, size);
    const uint32_t direction = input.TakeByte();
    const std::string text = input.TakeRest();
    if (direction == 0) {
        RequireOutput(direction, text, PlainConversion(text));
    } else if (direction == 1) {
        RequireOutput(direction, text, text);
    } else {
        RequireRefusal(direction, text);
    }
    return 0;
}
