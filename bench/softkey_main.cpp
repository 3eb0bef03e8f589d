// What a client and a user wait for with the software key.

#include <cstdio>

#include "families.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

constexpr bench::Family kFamilies[] = {
    {"signatures", bench::AddSignatureRows},
    {"stops", bench::AddKeyStopRows},
    {"starts", bench::AddStartRows},
    {"traces", bench::AddTraceRows},
};

}  // namespace

int main(int argc, char** argv) {
    if (Initialize() != ORVAL_OK) {
        std::fputs("orval_softkey_bench: no key library to call; run it with scripts/bench\n",
                   stderr);
        return 2;
    }
    return bench::RunFamilies(kFamilies, argc, argv);
}
