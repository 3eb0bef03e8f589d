// What an authority answers, and how the cost of a call grows with its input.
#include <cstdio>
#include <memory>

#include "families.h"
#include "least/calls.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"
#include "texts.h"

namespace {

using MakeText = std::string (*)(size_t);
using Import = int32_t (*)(const char* serial_number, const char* text);

constexpr const char* kSerialNumber = "0123456789ABCDEF";
constexpr int64_t kSizes[] = {64 << 10, 1 << 20, 16 << 20};
constexpr size_t kItems = 10000;
constexpr size_t kItemSize = sizeof("|EncCert(MIIB,0)") - 1;

// What a call logs is thrown away between the measurements: the log's own limit is not the subject.
void OnText(benchmark::State& state, MakeText make_text, size_t size, Import import) {
    const std::string text = make_text(size);
    for ([[maybe_unused]] auto unused : state) {
        if (import(kSerialNumber, text.c_str()) != ORVAL_OK) {
            state.SkipWithError("the call failed");
            break;
        }
        state.PauseTiming();
        std::remove("/tmp/VexaPinpad_ORVAL.log");
        std::remove("/tmp/limit.log");
        state.ResumeTiming();
    }
}

// Ample for what the instant key hands back.
constexpr size_t kRoom = size_t{64} << 20;
char* Output() {
    static const auto buffer = std::make_unique<char[]>(kRoom);
    return buffer.get();
}

int32_t Decrypt(const char* serial_number, const char* cipher) {
    int32_t length = kRoom;
    return AsymDec(serial_number, 0, 0, cipher, Output(), &length);
}

int32_t SignText(const char* serial_number, const char* text) {
    int32_t length = kRoom;
    return SignHash(serial_number, 0, 0, text, 0, Output(), &length);
}

struct Growing {
    const char* row;
    MakeText make_text;
    Import ours;
    Import limit;  // null: only how it grows is of interest
};

constexpr Growing kGrowing[] = {
    {"ImportX509Cert", bench::LinedText, &ImportX509Cert, &least::ImportX509Cert},
    {"Batch_ImportX509Cert, two items", bench::TwoLargeItems, &Batch_ImportX509Cert,
     &least::BatchImportX509Cert},
    {"Batch_ImportX509Cert, many items", bench::ManySmallItems, &Batch_ImportX509Cert, nullptr},
    {"Batch_ImportX509Cert, unclosed items", bench::UnclosedItems, &Batch_ImportX509Cert, nullptr},
    {"AsymDec of a long text", bench::LinedText, Decrypt, nullptr},
    {"SignHash of a long text", bench::LinedText, SignText, nullptr},
};

}  // namespace

void bench::AddImportRows() {
    for (const Growing& growing : kGrowing) {
        for (const int64_t size : kSizes) {
            const std::string row = Sized(growing.row, size);
            const auto bytes = static_cast<size_t>(size);
            Add(row, kOurs, OnText, growing.make_text, bytes, growing.ours);
            if (growing.limit != nullptr) {
                Add(row, kLimit, OnText, growing.make_text, bytes, growing.limit);
            }
        }
    }
    Add("package of 10,000 items", kOurs, OnText, ManySmallItems, kItems * kItemSize,
        &Batch_ImportX509Cert);
    Add("package of 10,000 items", kLimit, OnText, ManySmallItems, kItems * kItemSize,
        &least::BatchImportX509Cert);
}
