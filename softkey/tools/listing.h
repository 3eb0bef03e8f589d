#ifndef SOFTKEY_TOOLS_LISTING_H
#define SOFTKEY_TOOLS_LISTING_H

#include <string>
#include <vector>

#include "slots/slots.h"
#include "tools/key_views.h"

namespace softkey::tools {

// Each key as it is, all of its file read; in order. Many are read by several processes.
std::vector<ListedKey> LookAtAll(const std::vector<std::string>& serials,
                                 const Slots::Snapshot& slots);

}  // namespace softkey::tools

#endif
