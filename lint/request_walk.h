#ifndef ORVAL_LINT_REQUEST_WALK_H
#define ORVAL_LINT_REQUEST_WALK_H

#include <vector>

#include "lint/finding.h"

namespace lint {

// A record that is not empty.
struct Record {
    size_t at;
    size_t length;
};

// Goes through a description in the library's steps, and notes what is odd and where. Only what one
// call makes of a whole record is not its affair.
class RequestWalk final {
 public:
    RequestWalk(std::string_view text, Findings& findings);

    const std::vector<Record>& Records() const { return records_; }

    // For findings about a whole record, counted from 0.
    Finding& NoteRecord(const Rule& rule, size_t index, const Sentence& sentence);

 private:
    struct Field;

    void WalkRecord(std::string_view record);
    bool WalkField(std::string_view record, int32_t& position);
    void NoteUnknown(std::string_view name, bool ends_record);
    void NoteValue(const Field& field);
    void NoteTwice(const Field& field);
    void NoteMissing(std::string_view record);
    void NoteEmptyRecords(size_t from, size_t to);
    size_t Offset(std::string_view part) const;
    Finding& Note(const Rule& rule, size_t at, size_t length, const Sentence& sentence);
    Finding& NoteText(const Rule& rule, std::string_view part, const Sentence& sentence);

    std::string_view text_;
    Places places_;
    Findings& findings_;
    std::vector<Record> records_;
    uint32_t seen_ = 0;  // the fields of the record so far, as bits
};

}  // namespace lint

#endif
