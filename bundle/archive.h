#ifndef BUNDLE_ARCHIVE_H
#define BUNDLE_ARCHIVE_H

#include <ctime>
#include <string>
#include <vector>

namespace bundle {

// A file of the bundle.
struct Part {
    std::string name;
    std::string what;  // in a few words
    std::string contents;
};

// The bytes of a tar archive, compressed by gzip, that has the parts in a folder of that name,
// readable by their owner alone.
std::string Archived(const std::string& folder, const std::vector<Part>& parts, std::time_t made);

}  // namespace bundle

#endif
