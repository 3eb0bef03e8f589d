#ifndef ORVAL_FORMATS_REQUEST_ENTRIES_H
#define ORVAL_FORMATS_REQUEST_ENTRIES_H

#include <array>
#include <cstdint>

#include "formats/request_description.h"
#include "maker/entries.h"

namespace orval {

// The request entries of one combined call: up to three records, of which a pair for one SM2 key
// pair (one of certificate type 3, one of another) is folded into a single, merged entry.
class RequestEntries final {
 public:
    static constexpr int32_t kMostRecords = 3;

    bool IsFull() const { return records_ == kMostRecords; }

    // Adds a record; false when its types do not go together.
    bool Add(const RequestFields& fields);

    // All three in order; one that was never created is zero throughout.
    std::array<RequestEntry, kMostRecords>& All() { return entries_; }

 private:
    void Create(const RequestFields& fields);
    bool Pairs(const RequestFields& fields) const;
    void Fold(const RequestFields& fields);

    std::array<RequestEntry, kMostRecords> entries_ = {};
    int32_t records_ = 0;
    size_t created_ = 0;
    // The record, counted from 1, that last created an entry of key type 2, and its certificate
    // type; 0 while there is none.
    size_t pairing_record_ = 0;
    int32_t pairing_cert_type_ = 0;
};

}  // namespace orval

#endif
