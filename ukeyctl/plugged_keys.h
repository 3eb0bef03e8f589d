#ifndef UKEYCTL_PLUGGED_KEYS_H
#define UKEYCTL_PLUGGED_KEYS_H

#include <cstdint>
#include <string>
#include <vector>

#include "ukey.hpp"

// A key that is plugged, as far as it can be told.
struct PluggedKey {
    uint32_t slot = 0;
    std::string serial_number;  // empty: cannot be told
    std::string problem;        // why not
};

// All plugged keys. The product tells only one of them, so its token library is asked, as the
// product asks it when it waits for keys. Throws ukey::LoadError, ukey::Error or
// cli::CommandFailure when that library cannot be asked.
std::vector<PluggedKey> ListPluggedKeys(const ukey::Library& library);

#endif
