#include <benchmark/benchmark.h>

#include <cstdio>
#include <memory>
#include <string>

#include "benchmarks.h"
#include "orval_unified_kpxukey.h"

namespace {

constexpr const char* kSerialNumber = "0123456789ABCDEF";
constexpr const char* kLog = "/tmp/VexaPinpad_ORVAL.log";
constexpr int64_t kSmallest = int64_t{64} << 10;
constexpr int64_t kMiddle = int64_t{1} << 20;
constexpr int64_t kLargest = int64_t{16} << 20;

// Base64 in lines of 64 characters, with a comma now and then: everything that is to be removed.
std::string LinedText(size_t size) {
    std::string text;
    text.reserve(size + 2);
    for (size_t i = 0; text.size() < size; ++i) {
        text += i % 100 == 99 ? ',' : 'M';
        if (i % 64 == 63) {
            text += "\r\n";
        }
    }
    return text;
}

std::string TwoLargeItems(size_t size) {
    return "SignCert(" + LinedText(size / 2) + ")|EncCert(" + LinedText(size / 2) + ")";
}

std::string ManySmallItems(size_t size) {
    std::string text;
    while (text.size() < size) {
        text += text.empty() ? "SignCert(MIIB,0)" : "|EncCert(MIIB,0)";
    }
    return text;
}

std::string UnclosedItems(size_t size) {
    std::string text;
    while (text.size() < size) {
        text += "SignCert(";
    }
    return text;
}

// Runs `call` on an input of the size that the run asks for. What a call logs is thrown away
// between the measurements: the log's own limit is not the subject.
template <typename Call>
void OnInput(benchmark::State& state, std::string (*make_input)(size_t), Call call) {
    const std::string input = make_input(static_cast<size_t>(state.range(0)));
    for ([[maybe_unused]] auto unused : state) {
        if (call(input.c_str()) != ORVAL_OK) {
            state.SkipWithError("the call failed");
            break;
        }
        state.PauseTiming();
        std::remove(kLog);
        state.ResumeTiming();
    }
    state.SetBytesProcessed(state.iterations() * state.range(0));
}

template <typename Call>
void Register(const char* subject, std::string (*make_input)(size_t), Call call) {
    const std::string name = std::string(kLargePrefix) + subject;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state) { OnInput(state, make_input, call); })
        ->Arg(kSmallest)
        ->Arg(kMiddle)
        ->Arg(kLargest)
        ->Unit(benchmark::kMicrosecond)
        ->UseRealTime();
}

// Ample for what the instant key hands back.
char* OutputBuffer() {
    static const auto buffer = std::make_unique<char[]>(static_cast<size_t>(4 * kLargest));
    return buffer.get();
}

int32_t Decrypt(const char* cipher) {
    int32_t length = static_cast<int32_t>(4 * kLargest);
    return AsymDec(kSerialNumber, 0, 0, cipher, OutputBuffer(), &length);
}

int32_t SignText(const char* text) {
    int32_t length = static_cast<int32_t>(4 * kLargest);
    return SignHash(kSerialNumber, 0, 0, text, 0, OutputBuffer(), &length);
}

}  // namespace

void RegisterLargeInputBenchmarks() {
    Register("ImportX509Cert, certificate", LinedText,
             [](const char* text) { return ImportX509Cert(kSerialNumber, text); });
    Register("Batch_ImportX509Cert, two large items", TwoLargeItems,
             [](const char* text) { return Batch_ImportX509Cert(kSerialNumber, text); });
    Register("Batch_ImportX509Cert, many small items", ManySmallItems,
             [](const char* text) { return Batch_ImportX509Cert(kSerialNumber, text); });
    Register("Batch_ImportX509Cert, unclosed items", UnclosedItems,
             [](const char* text) { return Batch_ImportX509Cert(kSerialNumber, text); });
    Register("AsymDec, ciphertext", LinedText, Decrypt);
    Register("SignHash, signature text", LinedText, SignText);
}
