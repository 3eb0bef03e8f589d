#include "doubles/silent.h"
#include "maker/backend.h"

__attribute__((weak)) void silent::EntryReached(size_t /*slot*/) {}

namespace {

template <typename Result>
constexpr Result kAnswer{};
template <>
constexpr const char* kAnswer<const char*> = "";

}  // namespace

// The list names the arguments for its readers.
#pragma GCC diagnostic ignored "-Wunused-parameter"

#define ORVAL_SILENT(slot, name, result, arguments) \
    __attribute__((weak)) result name arguments {   \
        silent::EntryReached(slot);                 \
        return kAnswer<result>;                     \
    }
ORVAL_BACKEND_ENTRIES(ORVAL_SILENT)
#undef ORVAL_SILENT
