#ifndef ORVAL_FORMATS_OCCURRENCES_H
#define ORVAL_FORMATS_OCCURRENCES_H

#include <cstdint>
#include <string_view>

#include "qrv/scan.h"

namespace orval {

// Counts occurrences that do not overlap. An empty part is found at every position and at the end:
// the text's length + 1 times.
inline int32_t CountOccurrences(std::string_view text, std::string_view part) {
    if (part.empty()) {
        return static_cast<int32_t>(static_cast<uint32_t>(text.size()) + 1U);
    }
    uint32_t count = 0;
    const char* const end = text.data() + text.size();
    for (const char* at = QRV::FirstIn(text.data(), end, part); at != nullptr;
         at = QRV::FirstIn(at + part.size(), end, part)) {
        ++count;
    }
    return static_cast<int32_t>(count);
}

}  // namespace orval

#endif
