#include "product.h"

#include <dlfcn.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <set>

#include "application_directory.h"
#include "functions.h"
#include "fuzz_target.h"
#include "maker/entries.h"
#include "orval_unified_kpxukey.h"
#include "runner.h"
#include "scripted_key.h"

namespace fuzz {

namespace {

// What is handed through by contract (SECURITY.md): no capacity is tested, or a length that the key
// reports decides how much of a text is written. The model tells their bytes; only the capacity has
// no say in them.
const std::set<std::string> kTestNoCapacity = {
    "GetDriverVersion",
    "GetDllVersion",
    "GetVidAndPid",
    "GetVendorInfo",
    "GetPrintNumber",
    "SignHash",
    "WaitForKeyEvent",
    // The key itself writes to the caller's buffer.
    "Sign",
    "Batch_Sign",
    "GetPinInfo",
    "GetCertInfo",
    "TestInitUKey",
    // The key's length is the one that a capacity is tested against.
    "GetCert",
    "AsymDec",
};

// One byte behind the capacity is written as well: the terminator, where a capacity of the text's
// length suffices.
constexpr size_t kTerminator = 1;

void RequireWithinCapacity(const walk::Step& step, const walk::Outcome& seen) {
    const std::string name = walk::Functions()[step.function].name;
    if (!step.in.buffer || !step.in.length || kTestNoCapacity.count(name) != 0) {
        return;
    }
    const auto capacity = static_cast<size_t>(std::max(*step.in.length, -1) + int64_t{kTerminator});
    const size_t from = std::min(capacity, step.in.buffer->size());
    Require(step.in.buffer->compare(from, std::string::npos, *seen.after.buffer, from,
                                    std::string::npos) == 0,
            name + " writes nothing beyond the caller's capacity");
}

void CallEach(std::initializer_list<walk::Step> steps) {
    for (const walk::Step& step : steps) {
        walk::Run(step);
    }
}

// Found by name: linked to, it would be a second copy in this program.
void EmptySlots() {
    static void* const table = dlsym(RTLD_DEFAULT, "ORVAL_ComFunc");
    std::memset(table, 0, (maker::kHandleSlot + 1) * sizeof(void*));
}

void UnloadBackend() {
    // Every bind has opened it once more.
    while (void* handle = dlopen(maker::kBackendPath, RTLD_LAZY | RTLD_NOLOAD)) {
        dlclose(handle);
        dlclose(handle);
    }
}

walk::Step Import() {
    walk::Step step = CallOf("ImportX509Cert");
    step.backend = walk::Backend();
    step.in.texts[0] = step.in.texts[1] = "";
    return step;
}

walk::Step Wait() {
    walk::Step step = CallOf("WaitForKeyEvent");
    step.in.buffer = std::string(64, '\0');
    step.in.length = 64;
    step.in.event = 0;
    return step;
}

}  // namespace

void PrepareProduct() {
    setenv("TZ", "<+0845>-8:45", 1);
    tzset();
}

void BeginAnew() {
    // An import forgets the requests that were made, a wait the slots that it knew.
    CallEach({Import(), Wait(), CallOf("Finalize")});
    EmptySlots();
    UnloadBackend();
    scripted::ForgetCalls();
}

void TakeStep(walk::Model& model, const walk::Step& step) {
    const walk::Outcome seen = walk::Run(step);
    const std::string differences = walk::Differences(model.Expect(step), seen);
    if (!differences.empty()) {
        std::fprintf(stderr, "%s%s", walk::Describe(step).c_str(), differences.c_str());
    }
    Require(differences.empty(), "a call does what its contract says");
    RequireWithinCapacity(step, seen);
}

walk::Step CallOf(const char* name) {
    const auto& functions = walk::Functions();
    const auto found = std::find_if(functions.begin(), functions.end(), [name](const auto& row) {
        return std::strcmp(row.name, name) == 0;
    });
    walk::Step step;
    step.function = static_cast<size_t>(found - functions.begin());
    return step;
}

}  // namespace fuzz
