#include "formats/request_description.h"

namespace orval {
namespace {

struct FieldName {
    const char* name;
    int32_t RequestFields::*value;
};

constexpr FieldName kFieldNames[] = {
    {"CertType", &RequestFields::cert_type},
    {"KeyType", &RequestFields::key_type},
    {"HashType", &RequestFields::hash_type},
};

// The field of that name, whatever its case and the white space around it, or null.
const FieldName* FindField(QRV::CString name) {
    name.TrimSpace();
    name.MakeUpper();
    for (const FieldName& field : kFieldNames) {
        QRV::CString known(field.name);
        known.MakeUpper();
        if (name == known) {
            return &field;
        }
    }
    return nullptr;
}

// One character, whatever it is: back-ends have been given values beyond the digits this way. It
// counts as unsigned, so that every architecture gives the same value for each byte.
int32_t DigitValue(char character) {
    return static_cast<unsigned char>(character) - '0';
}

}  // namespace

bool RequestDescription::TakeRecord() {
    record_ = text_.Tokenize("|", position_);
    return position_ != QRV::CString::kNoToken;
}

bool RequestDescription::ReadFields(RequestFields& fields) const {
    int32_t position = 0;
    while (position != QRV::CString::kNoToken) {
        const QRV::CString name = record_.Tokenize("(", position);
        if (position == QRV::CString::kNoToken) {
            break;
        }
        const FieldName* field = FindField(name);
        if (field == nullptr) {
            return false;
        }
        fields.*(field->value) = DigitValue(record_.GetAt(position));
        // Steps over the value. A token skips the delimiters in front of it, so after an empty
        // value the next field is stepped over with it.
        record_.Tokenize(")", position);
    }
    return true;
}

}  // namespace orval
