#include "logs/masks.h"

#include <algorithm>
#include <array>

namespace logs {
namespace {

constexpr char kFiller = '*';
constexpr std::string_view kBetween = ",requestInfo = ";

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

bool IsOf(std::string_view text, std::string_view characters) {
    return text.find_first_not_of(characters) == std::string_view::npos;
}

// "CertType(1)KeyType(2)HashType(3)|CertType(3)", which tells nothing of anybody.
bool IsPlainDescription(std::string_view text) {
    constexpr std::array<std::string_view, 3> kNames = {"CertType(", "KeyType(", "HashType("};
    while (!text.empty()) {
        if (text.front() == '|') {
            text.remove_prefix(1);
            continue;
        }
        const auto* const name = std::find_if(
            kNames.begin(), kNames.end(),
            [text](std::string_view one) { return text.substr(0, one.size()) == one; });
        if (name == kNames.end() || text.size() < name->size() + 2 ||
            !IsDigit(text[name->size()]) || text[name->size() + 1] != ')') {
            return false;
        }
        text.remove_prefix(name->size() + 2);
    }
    return true;
}

// The front of a caller's buffer that the library wrote. Digits behind it are the caller's.
size_t PlainSize(Holds holds, std::string_view text) {
    const size_t longest =
        std::string_view(holds == Holds::kVersion ? "9.2025.0731.3" : "1780&0301").size();
    return std::min({text.find_first_not_of("0123456789.&"), text.size(), longest});
}

bool IsCode(std::string_view text) {
    constexpr size_t kLongest = std::string_view("-2147483648").size();
    return text.size() <= kLongest && IsOf(text, "-0123456789");
}

// A code and words of the library's own.
bool IsPlainEnd(std::string_view rest) {
    constexpr std::array<std::string_view, 3> kEnds = {"", ", Cert GMWritePKCS7 error.",
                                                       ", Cert GMImportPriKey error."};
    const size_t end = std::min(rest.find(','), rest.size());
    return IsCode(rest.substr(0, end)) &&
           std::find(kEnds.begin(), kEnds.end(), rest.substr(end)) != kEnds.end();
}

// A code, or a slot, and the number of a step.
bool IsPlainStep(std::string_view rest) {
    constexpr std::string_view kLine = ", line = ";
    constexpr size_t kLineDigits = 3;
    const size_t line = rest.find(kLine);
    if (line == std::string_view::npos || !IsCode(rest.substr(0, line))) {
        return false;
    }
    const std::string_view number = rest.substr(line + kLine.size());
    return number.size() <= kLineDigits && IsOf(number, "0123456789");
}

// Numbers, and the library's own words around them.
bool IsPlainRest(Holds holds, std::string_view rest) {
    switch (holds) {
        case Holds::kNothing:
            return rest.empty();
        case Holds::kCapacity:
        case Holds::kEndCode:
            return rest.size() <= 8 && IsOf(rest, "0123456789ABCDEFabcdef");
        case Holds::kDecimalCode:
            return IsPlainEnd(rest);
        case Holds::kStep:
        case Holds::kSlot:
            return IsPlainStep(rest);
        default:
            return false;
    }
}

}  // namespace

RequestParts SplitRequest(std::string_view rest) {
    // The description comes last, and the serial number's place is the caller's as well.
    const size_t between = rest.find(kBetween);
    if (between == std::string_view::npos) {
        return {rest, {}, {}};
    }
    return {rest.substr(0, between), rest.substr(between, kBetween.size()),
            rest.substr(between + kBetween.size())};
}

std::string FromHexadecimal(std::string_view digits) {
    const auto value = [](char digit) { return IsDigit(digit) ? digit - '0' : digit - 'A' + 10; };
    std::string bytes;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes += static_cast<char>(value(digits[i]) * 16 + value(digits[i + 1]));
    }
    return bytes;
}

// The number of a text that is itself a mask; else 0.
int Masks::NumberIn(const Kind& kind, std::string_view text) {
    const std::string front = std::string(kind.name) + "#";
    if (text.substr(0, front.size()) != front) {
        return 0;
    }
    int number = 0;
    size_t at = front.size();
    for (; at < text.size() && IsDigit(text[at]) && number < 100000000; ++at) {
        number = number * 10 + (text[at] - '0');
    }
    return IsOf(text.substr(at), "*") ? number : 0;
}

int Masks::NumberOf(Kind& kind, std::string_view text) {
    if (const int given = NumberIn(kind, text)) {
        kind.last = std::max(kind.last, given);
        return given;
    }
    const auto known = kind.numbers.find(text);
    if (known != kind.numbers.end()) {
        return known->second;
    }
    return kind.numbers.emplace(text, ++kind.last).first->second;
}

std::string Masks::Show(Kind& kind, std::string_view text) {
    if (secrets_ == Secrets::kShown || text.empty()) {
        return std::string(text);
    }
    const std::string mask = std::string(kind.name) + "#" + std::to_string(NumberOf(kind, text));
    return &kind == &serial_numbers_ ? mask
                                     : mask + " (" + std::to_string(text.size()) + " characters)";
}

std::string Masks::SerialNumber(std::string_view text) {
    return Show(serial_numbers_, text);
}

std::string Masks::KeyText(std::string_view text) {
    return Show(key_texts_, text);
}

std::string Masks::Package(std::string_view text) {
    return Show(packages_, text);
}

std::string Masks::Other(std::string_view text) {
    return Show(others_, text);
}

std::string Masks::Name(std::string_view name) {
    return IsKnownName(name) ? std::string(name) : Other(name);
}

std::string Masks::Request(std::string_view description) {
    return IsPlainDescription(description) ? std::string(description) : Other(description);
}

std::string Masks::Constant(Holds holds, std::string_view text) {
    const size_t plain = PlainSize(holds, text);
    std::string shown(text.substr(0, plain));
    if (plain < text.size()) {
        shown +=
            (shown.empty() || secrets_ == Secrets::kShown ? "" : " ") + Other(text.substr(plain));
    }
    return shown;
}

// The mask and as much filling as the text is longer; a text that is too short for a mask is all
// filling.
std::string Masks::Fill(Kind& kind, std::string_view text) {
    std::string mask;
    if (!text.empty() && !IsOf(text, "*")) {
        mask = std::string(kind.name) + "#" + std::to_string(NumberOf(kind, text));
    }
    if (mask.size() > text.size()) {
        mask.clear();
    }
    return mask + std::string(text.size() - mask.size(), kFiller);
}

std::string Masks::FillHex(std::string_view digits) {
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string masked;
    for (const char character : Fill(serial_numbers_, FromHexadecimal(digits))) {
        const auto byte = static_cast<unsigned char>(character);
        masked += kDigits[byte / 16];
        masked += kDigits[byte % 16];
    }
    // A digit is left over where a record is cut.
    return masked + std::string(digits.size() - masked.size(), '0');
}

std::string Masks::RestInPlace(const Record& record, std::string_view rest) {
    const Form& form = *FindForm(record.header.name, record.text);
    switch (form.holds) {
        case Holds::kSerialNumber:
            return Fill(serial_numbers_, rest);
        case Holds::kHexSerialNumber:
            return IsOf(rest, "0123456789ABCDEF") ? FillHex(rest) : Fill(others_, rest);
        case Holds::kKeyText:
            return Fill(key_texts_, rest);
        case Holds::kPackage:
            return Fill(packages_, rest);
        case Holds::kVersion:
        case Holds::kUsbIds: {
            const size_t plain = PlainSize(form.holds, rest);
            return std::string(rest.substr(0, plain)) + Fill(others_, rest.substr(plain));
        }
        case Holds::kRequest: {
            const RequestParts parts = SplitRequest(rest);
            const std::string_view text = parts.description;
            return Fill(serial_numbers_, parts.serial_number) + std::string(parts.words_between) +
                   (IsPlainDescription(text) ? std::string(text) : Fill(others_, text));
        }
        default:
            return IsPlainRest(form.holds, rest) ? std::string(rest) : Fill(others_, rest);
    }
}

std::string Masks::InPlace(const Record& record) {
    const Form* const form = FindForm(record.header.name, record.text);
    if (secrets_ == Secrets::kShown) {
        return std::string(record.text);
    }
    if (form == nullptr) {
        return Fill(others_, record.text);
    }
    return std::string(form->opening) +
           RestInPlace(record, record.text.substr(form->opening.size()));
}

}  // namespace logs
