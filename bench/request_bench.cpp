// Descriptions of certificate requests, of as many records as a number says.
#include <memory>

#include "families.h"
#include "least/calls.h"
#include "orval_unified_kpxukey.h"
#include "rows.h"

namespace {

using Generate = int32_t (*)(const char* serial_number, const char* description, char* out,
                             int32_t* length);

constexpr const char* kSerialNumber = "0123456789ABCDEF";
constexpr int32_t kRoom = 1 << 20;

struct Description {
    const char* row;
    int records;
};
constexpr Description kDescriptions[] = {{"request description, 1 record", 1},
                                         {"request description, 100 records", 100},
                                         {"request description, 25600 records", 25600}};

std::string TextOf(int records) {
    std::string text = "CertType(1)KeyType(2)HashType(3)";
    for (int i = 1; i < records; ++i) {
        text += "|CertType(1)KeyType(2)HashType(3)";
    }
    return text;
}

void Request(benchmark::State& state, int records, Generate generate) {
    const std::string text = TextOf(records);
    const auto output = std::make_unique<char[]>(kRoom);
    bench::Repeat(state, [&] {
        int32_t length = kRoom;
        return generate(kSerialNumber, text.c_str(), output.get(), &length);
    });
}

}  // namespace

void bench::AddRequestRows() {
    for (const Description& description : kDescriptions) {
        Add(description.row, kOurs, Request, description.records, &GenerateCertRequest);
        Add(description.row, kLimit, Request, description.records, &least::GenerateCertRequest);
    }
}
