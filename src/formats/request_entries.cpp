#include "formats/request_entries.h"

namespace orval {
namespace {

constexpr int32_t kEncryptionCertType = 3;
constexpr int32_t kPairedKeyType = 2;

}  // namespace

bool RequestEntries::Add(const RequestFields& fields) {
    if (fields.cert_type == kEncryptionCertType && fields.key_type != kPairedKeyType) {
        return false;
    }
    if (Pairs(fields)) {
        Fold(fields);
    } else {
        Create(fields);
    }
    ++records_;
    return true;
}

bool RequestEntries::Pairs(const RequestFields& fields) const {
    return pairing_record_ != 0 && fields.key_type == kPairedKeyType &&
           (pairing_cert_type_ == kEncryptionCertType) != (fields.cert_type == kEncryptionCertType);
}

void RequestEntries::Create(const RequestFields& fields) {
    entries_[created_++] = {fields.cert_type, fields.key_type, fields.hash_type, 0, {}};
    if (fields.key_type == kPairedKeyType) {
        pairing_record_ = static_cast<size_t>(records_) + 1;
        pairing_cert_type_ = fields.cert_type;
    }
}

// Within three records, the pairing record's number is also its entry's.
void RequestEntries::Fold(const RequestFields& fields) {
    RequestEntry& entry = entries_[pairing_record_ - 1];
    entry.merged = 1;
    if (fields.cert_type != kEncryptionCertType) {
        entry.certType = fields.cert_type;
    }
}

}  // namespace orval
