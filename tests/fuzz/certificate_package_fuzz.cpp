// Any certificate package, through Batch_ImportX509Cert: the key is given the items that a plain
// reading of the package gives, in the order of import, up to the one that it refuses.
#include <string>

#include "fuzz_target.h"
#include "product.h"

namespace {

constexpr int32_t kRefused = 0x0A000001;
constexpr size_t kCalls = 4;

walk::Step Import(const std::string& package) {
    walk::Step step = fuzz::CallOf("Batch_ImportX509Cert");
    step.in.texts[0] = "SN0123456789";
    step.in.texts[1] = package;
    return step;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzz::PrepareProduct();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A package is a C text: it ends at the first NUL.
    const std::string text = std::string(reinterpret_cast<const char*>(data), size).c_str();
    fuzz::BeginAnew();
    walk::Model model;
    walk::Step import = Import(text);
    fuzz::TakeStep(model, import);
    // The key refuses the first thing that it is given, or the second, and so on.
    for (size_t accepted = 0; accepted < kCalls; ++accepted) {
        import.replies.assign(accepted + 1, walk::Reply());
        import.replies.back().code = kRefused;
        fuzz::TakeStep(model, import);
    }
    return 0;
}
