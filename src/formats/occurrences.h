#ifndef ORVAL_FORMATS_OCCURRENCES_H
#define ORVAL_FORMATS_OCCURRENCES_H

#include <cstdint>
#include <string_view>

namespace orval {

// Counts occurrences that do not overlap. An empty part is found at every position and at the end:
// the text's length + 1 times.
inline int32_t CountOccurrences(std::string_view text, std::string_view part) {
    const size_t step = part.empty() ? 1 : part.size();
    uint32_t count = 0;
    for (size_t at = text.find(part); at != std::string_view::npos;
         at = text.find(part, at + step)) {
        ++count;
    }
    return static_cast<int32_t>(count);
}

}  // namespace orval

#endif
