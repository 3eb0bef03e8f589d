#ifndef ORVAL_TESTS_WALK_PLAIN_PACKAGE_H
#define ORVAL_TESTS_WALK_PLAIN_PACKAGE_H

#include <cstdint>
#include <string>
#include <vector>

// The certificate package, read a second time and as plainly as it goes.
namespace walk {

constexpr int32_t kMalformedPackage = 1;
constexpr int32_t kNoPackage = 2;
constexpr int32_t kPackage = 3;

int32_t PlainPackageType(const std::string& text);

// The data of the items whose name with its bracket is `name`. An item that is not closed has no
// data; it counts once, as every other.
std::vector<std::string> PlainItems(const std::string& package, const std::string& name);

}  // namespace walk

#endif
