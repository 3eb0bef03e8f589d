#include "formats/request_description.h"

#include <algorithm>
#include <iterator>

#include "qrv/scan.h"

namespace orval {
namespace {

using QRV::NextToken;

constexpr std::string_view kRecordEnd = "|";
constexpr std::string_view kNameEnd = "(";
constexpr std::string_view kValueEnd = ")";

struct FieldName {
    std::string_view name;
    int32_t RequestFields::*value;
};

constexpr FieldName kFieldNames[] = {
    {"CertType", &RequestFields::cert_type},
    {"KeyType", &RequestFields::key_type},
    {"HashType", &RequestFields::hash_type},
};

using Traits = QRV::ChTraitsEx<char>;

std::string_view WithoutSpaceAround(std::string_view text) {
    while (!text.empty() && Traits::IsSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && Traits::IsSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Clients write the names as they are documented, nearly always: those need no character's case.
bool IsWhateverTheCase(std::string_view name, std::string_view known) {
    return name == known ||
           std::equal(name.begin(), name.end(), known.begin(), known.end(),
                      [](char a, char b) { return Traits::ToUpper(a) == Traits::ToUpper(b); });
}

// The field of that name, whatever its case and the white space around it, or null.
const FieldName* FindField(std::string_view name) {
    name = WithoutSpaceAround(name);
    const auto* const found = std::find_if(
        std::begin(kFieldNames), std::end(kFieldNames),
        [name](const FieldName& field) { return IsWhateverTheCase(name, field.name); });
    return found == std::end(kFieldNames) ? nullptr : found;
}

// The end of a record reads as its terminator.
char CharacterAt(std::string_view record, int32_t position) {
    const auto at = static_cast<size_t>(position);
    if (at > record.size()) {
        QRV::QrvThrow(QRV::kInvalidArgument);
    }
    return at < record.size() ? record[at] : '\0';
}

// One character, whatever it is: back-ends have been given values beyond the digits this way. It
// counts as unsigned, so that every architecture gives the same value for each byte.
int32_t DigitValue(char character) {
    return static_cast<unsigned char>(character) - '0';
}

}  // namespace

bool RequestDescription::TakeRecord() {
    record_ = NextToken(text_.AsView(), kRecordEnd, position_);
    return position_ != QRV::kNoToken;
}

bool RequestDescription::ReadFields(RequestFields& fields) const {
    int32_t position = 0;
    while (position != QRV::kNoToken) {
        const std::string_view name = NextToken(record_, kNameEnd, position);
        if (position == QRV::kNoToken) {
            break;
        }
        const FieldName* field = FindField(name);
        if (field == nullptr) {
            return false;
        }
        fields.*(field->value) = DigitValue(CharacterAt(record_, position));
        // Steps over the value. A token skips the delimiters in front of it, so after an empty
        // value the next field is stepped over with it.
        NextToken(record_, kValueEnd, position);
    }
    return true;
}

}  // namespace orval
