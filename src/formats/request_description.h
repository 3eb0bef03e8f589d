#ifndef ORVAL_FORMATS_REQUEST_DESCRIPTION_H
#define ORVAL_FORMATS_REQUEST_DESCRIPTION_H

#include <cstdint>
#include <string_view>

#include "qrv/string.h"

namespace orval {

// The three fields of a request. A record that leaves a field out keeps the value of the record
// before it, so one object goes through all records.
struct RequestFields {
    int32_t cert_type = 0;
    int32_t key_type = 0;
    int32_t hash_type = 0;
};

// A request description such as "CertType(1)KeyType(2)HashType(3)|HashType(4)", pulled record by
// record, because the single-request call talks to the key between two records:
//
//     RequestDescription description(szRequestInfo);
//     RequestFields fields;
//     while (description.TakeRecord()) {
//         if (!description.ReadFields(fields)) { ... }
//     }
//
// The format and its odd corners are in docs/request-description.md.
class RequestDescription final {
 public:
    explicit RequestDescription(const char* text) : text_(text) {}

    // Takes the next record that is not empty; false when none is left.
    bool TakeRecord();

    // Reads the fields of the record taken; false for a field of an unknown name. Raises
    // CQrvException 0x80070057 when a known name ends the record without a "(".
    bool ReadFields(RequestFields& fields) const;

 private:
    // A copy: the back-end is called between two records, and may change what it was given.
    QRV::CString text_;
    std::string_view record_;
    int32_t position_ = 0;
};

}  // namespace orval

#endif
