// Any sequence of calls, on a key's libraries that answer as they please within the room that they
// are given, does what the contract says of each call, given all calls before it.
//
// The bytes of the input are the choices of tests/product/walk: function, arguments, capacities,
// what the libraries below answer, throw and report, and what of them and of the log is missing. A
// library that writes beyond its room is left out: nothing can hold it back.
#include "fuzz_target.h"
#include "generator.h"
#include "product.h"

namespace {

constexpr int kMostCalls = 40;

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    fuzz::PrepareProduct();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::BeginAnew();
    walk::Model model;
    walk::Chance chance(std::string(reinterpret_cast<const char*>(data), size));
    for (int calls = 0; calls < kMostCalls && !chance.IsUsedUp(); ++calls) {
        chance.remembered_length = model.RememberedLength();
        fuzz::TakeStep(model, walk::AnyStep(chance));
    }
    return 0;
}
