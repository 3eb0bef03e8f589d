#ifndef ORVAL_TESTS_PRODUCT_WALK_PLAIN_READINGS_H
#define ORVAL_TESTS_PRODUCT_WALK_PLAIN_READINGS_H

#include <cstdint>
#include <string>
#include <vector>

// The two text formats, read a second time and as plainly as it goes.
namespace walk {

std::string Without(const std::string& text, const std::string& characters);

// The request description.

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

// The certificate package.

constexpr int32_t kMalformedPackage = 1;
constexpr int32_t kNoPackage = 2;
constexpr int32_t kPackage = 3;

int32_t PlainPackageType(const std::string& text);

// The data of the items whose name with its bracket is `name`. An item that is not closed has no
// data; it counts once, as every other.
std::vector<std::string> PlainItems(const std::string& package, const std::string& name);

}  // namespace walk

#endif
