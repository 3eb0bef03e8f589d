#ifndef ORVAL_TESTS_WALK_PLAIN_DESCRIPTION_H
#define ORVAL_TESTS_WALK_PLAIN_DESCRIPTION_H

#include <cstdint>
#include <string>
#include <vector>

// The request description, read a second time and as plainly as it goes.
namespace walk {

struct PlainFields {
    int64_t cert_type = 0;
    int64_t key_type = 0;
    int64_t hash_type = 0;
};

// What came of reading a record.
enum class PlainRead { kDone, kUnknownName, kPositionPastEnd };

// The records that are not empty.
std::vector<std::string> PlainRecords(const std::string& description);

// Fields that the record leaves out keep their values.
PlainRead ReadPlainRecord(const std::string& record, PlainFields& fields);

}  // namespace walk

#endif
