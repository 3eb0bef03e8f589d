// How much of the heap a call has in use at most, beyond its caller's texts, in copies of the
// input. A program of its own: counting would slow the others down.
#include <cstdio>
#include <memory>

#include "families.h"
#include "heap_count.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"
#include "texts.h"

namespace {

constexpr const char* kSerialNumber = "0123456789ABCDEF";
constexpr int64_t kSize = 16 << 20;
constexpr int32_t kRoom = 64 << 20;

using Call = int32_t (*)(const char* text, char* output);

struct Work {
    Call call;
    const char* text;
    char* output;
    int32_t code;
};

void MeasurePeak(benchmark::State& state, std::string (*make_text)(size_t), Call call) {
    const std::string text = make_text(kSize);
    const auto output = std::make_unique<char[]>(kRoom);
    Work work{call, text.c_str(), output.get(), ORVAL_OK};
    for ([[maybe_unused]] auto unused : state) {
        const size_t peak = bench::PeakDuring(
            [](void* argument) {
                auto& asked = *static_cast<Work*>(argument);
                asked.code = asked.call(asked.text, asked.output);
            },
            &work);
        state.counters["copies"] = static_cast<double>(peak) / static_cast<double>(text.size());
    }
    if (work.code != ORVAL_OK) {
        state.SkipWithError("the call failed");
    }
    std::remove("/tmp/VexaPinpad_ORVAL.log");
}

void AddPeak(const char* function, std::string (*make_text)(size_t), Call call) {
    const std::string row = bench::Sized(std::string("peak memory of ") + function, kSize);
    bench::Add(row, bench::kOurs, MeasurePeak, make_text, call)->Iterations(1)->Repetitions(3);
}

}  // namespace

void bench::AddMemoryRows() {
    AddPeak("ImportX509Cert", LinedText,
            [](const char* text, char*) { return ImportX509Cert(kSerialNumber, text); });
    const Call import_package = [](const char* text, char*) {
        return Batch_ImportX509Cert(kSerialNumber, text);
    };
    AddPeak("Batch_ImportX509Cert, two items", TwoLargeItems, import_package);
    AddPeak("Batch_ImportX509Cert, one item", OneLargeItem, import_package);
    AddPeak("SignHash", LinedText, [](const char* text, char* output) {
        int32_t length = kRoom;
        return SignHash(kSerialNumber, 1, 0, text, 0, output, &length);
    });
    AddPeak("AsymDec", LinedText, [](const char* text, char* output) {
        int32_t length = kRoom;
        return AsymDec(kSerialNumber, 2, 0, text, output, &length);
    });
}

int main(int argc, char** argv) {
    constexpr bench::Family kFamilies[] = {{"memory", bench::AddMemoryRows}};
    if (Initialize() != ORVAL_OK) {
        std::fputs("orval_memory_bench: no key library to call; run it with scripts/bench\n",
                   stderr);
        return 2;
    }
    return bench::RunFamilies(kFamilies, argc, argv);
}
