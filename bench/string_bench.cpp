#include <benchmark/benchmark.h>

#include <string>

#include "benchmarks.h"
#include "qrv/string.h"

namespace {

using QRV::CString;

// Small enough that both kinds of string are served from the same lists of the heap.
constexpr int32_t kTextLength = 512;
constexpr int32_t kAppended = 1000;

// Every tenth character is a comma, as in the texts that certificates come in.
std::string SampleText() {
    std::string text(kTextLength, 'A');
    for (size_t i = 9; i < text.size(); i += 10) {
        text[i] = ',';
    }
    return text;
}

template <typename String>
String Sample() {
    return String(SampleText().c_str());
}

template <typename String>
void Copy(benchmark::State& state) {
    const auto text = Sample<String>();
    for ([[maybe_unused]] auto unused : state) {
        String copy(text);
        benchmark::DoNotOptimize(copy);
    }
}

void Overwrite(CString& text) {
    text.GetBuffer(text.GetLength())[0] = 'B';
}

void Overwrite(std::string& text) {
    text[0] = 'B';
}

template <typename String>
void CopyAndWrite(benchmark::State& state) {
    const auto text = Sample<String>();
    for ([[maybe_unused]] auto unused : state) {
        String copy(text);
        Overwrite(copy);
        benchmark::DoNotOptimize(copy);
    }
}

template <typename String>
void AppendCharacters(benchmark::State& state) {
    for ([[maybe_unused]] auto unused : state) {
        String text;
        for (int32_t i = 0; i < kAppended; ++i) {
            text += "x";
        }
        benchmark::DoNotOptimize(text);
    }
}

template <typename String>
void AppendTexts(benchmark::State& state) {
    const auto piece = Sample<String>();
    for ([[maybe_unused]] auto unused : state) {
        String text;
        for (int i = 0; i < 16; ++i) {
            text += piece;
        }
        benchmark::DoNotOptimize(text);
    }
}

CString Part(const CString& text, int32_t first, int32_t count) {
    return text.Mid(first, count);
}

std::string Part(const std::string& text, int32_t first, int32_t count) {
    return text.substr(static_cast<size_t>(first), static_cast<size_t>(count));
}

template <typename String>
void TakePart(benchmark::State& state, int32_t first, int32_t count) {
    const auto text = Sample<String>();
    for ([[maybe_unused]] auto unused : state) {
        String part = Part(text, first, count);
        benchmark::DoNotOptimize(part);
    }
}

void ReplaceAll(CString& text, const char* from, const char* to) {
    text.Replace(from, to);
}

// The best that is easily written with the standard string: one pass into a new one.
void ReplaceAll(std::string& text, const char* from, const char* to) {
    const std::string pattern(from);
    std::string result;
    result.reserve(text.size());
    size_t start = 0;
    for (size_t at = text.find(pattern); at != std::string::npos; at = text.find(pattern, start)) {
        result.append(text, start, at - start).append(to);
        start = at + pattern.size();
    }
    text = result.append(text, start);
}

template <typename String>
void Replace(benchmark::State& state, const char* to) {
    const auto text = Sample<String>();
    for ([[maybe_unused]] auto unused : state) {
        String copy(text);
        ReplaceAll(copy, ",", to);
        benchmark::DoNotOptimize(copy);
    }
}

template <typename Ours, typename Plain, typename... Arguments>
void Compare(const std::string& subject, Ours ours, Plain plain, Arguments... arguments) {
    benchmark::RegisterBenchmark((subject + "/ours").c_str(), ours, arguments...);
    benchmark::RegisterBenchmark((subject + "/plain").c_str(), plain, arguments...);
}

}  // namespace

void RegisterStringBenchmarks() {
    Compare("string copy", Copy<CString>, Copy<std::string>);
    Compare("string copy, then write", CopyAndWrite<CString>, CopyAndWrite<std::string>);
    Compare("string append, 1000 x 1 character", AppendCharacters<CString>,
            AppendCharacters<std::string>);
    Compare("string append, 16 x 512 characters", AppendTexts<CString>, AppendTexts<std::string>);
    Compare("string Mid, the whole", TakePart<CString>, TakePart<std::string>, 0, kTextLength);
    Compare("string Mid, half", TakePart<CString>, TakePart<std::string>, 0, kTextLength / 2);
    Compare("string Mid, 8 characters", TakePart<CString>, TakePart<std::string>, 100, 8);
    Compare("string Replace, shrinking", Replace<CString>, Replace<std::string>, "");
    Compare("string Replace, equal", Replace<CString>, Replace<std::string>, ";");
    Compare("string Replace, growing", Replace<CString>, Replace<std::string>, ", ");
}
