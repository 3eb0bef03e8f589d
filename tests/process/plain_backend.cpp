#include "maker/entries.h"
#include "plain_key.h"

#define EXPORTED extern "C" __attribute__((visibility("default")))

extern "C" {
__attribute__((visibility("default"))) PlainCalls plain_calls;
}

void CallChosenEntry();

namespace {

void Reach(int slot) {
    ++plain_calls[slot];
    CallChosenEntry();
}

template <typename Result>
Result Answer(int slot);

template <>
int32_t Answer<int32_t>(int slot) {
    Reach(slot);
    return 0;
}

template <>
const char* Answer<const char*>(int slot) {
    Reach(slot);
    return "plain text";
}

}  // namespace

// The list names the arguments for its readers.
#pragma GCC diagnostic ignored "-Wunused-parameter"

#define PLAIN_ENTRY(slot, name, result, arguments) \
    EXPORTED result name arguments {               \
        return Answer<result>(slot);               \
    }
ORVAL_BACKEND_ENTRIES(PLAIN_ENTRY)
#undef PLAIN_ENTRY
