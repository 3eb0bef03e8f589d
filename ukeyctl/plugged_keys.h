#ifndef UKEYCTL_PLUGGED_KEYS_H
#define UKEYCTL_PLUGGED_KEYS_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ukey.hpp"

// A key that is plugged, as far as it can be told.
struct PluggedKey {
    uint32_t slot = 0;
    std::string serial_number;  // empty: cannot be told
    std::string problem;        // why not
};

struct TokenLibrary;

// Looks which keys are plugged. The product tells only one of them, so its token library is asked,
// as the product asks it when it waits for keys. All of it throws ukey::LoadError, ukey::Error or
// cli::CommandFailure when that library cannot be asked.
class KeyLookout final {
 public:
    explicit KeyLookout(const ukey::Library& library);

    std::vector<PluggedKey> Look() const;

 private:
    std::shared_ptr<const TokenLibrary> token_;
};

// All plugged keys.
std::vector<PluggedKey> ListPluggedKeys(const ukey::Library& library);

#endif
