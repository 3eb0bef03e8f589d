// What the library does in the process of a client, on a key that answers at once.

#include <malloc.h>

#include <cstdio>

#include "families.h"
#include "least/state.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

constexpr bench::Family kFamilies[] = {
    {"calls", bench::AddCallRows},        {"deliveries", bench::AddDeliveryRows},
    {"log", bench::AddLogRows},           {"strings", bench::AddStringRows},
    {"imports", bench::AddImportRows},    {"requests", bench::AddRequestRows},
    {"charsets", bench::AddCharsetRows},  {"binding", bench::AddBindingRows},
    {"stops", bench::AddInstantStopRows},
};

// Blocks of megabytes stay with the process instead of going back to the system each time: fetching
// their pages again would hide how the library's own work grows with its input.
void KeepLargeBlocks() {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
}

}  // namespace

int main(int argc, char** argv) {
    if (Initialize() != ORVAL_OK || !least::Bind()) {
        std::fputs("orval_bench: no key library to call; run it with scripts/bench\n", stderr);
        return 2;
    }
    KeepLargeBlocks();
    return bench::RunFamilies(kFamilies, argc, argv);
}
