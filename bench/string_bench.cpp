// The string class against its limit, the standard string and Qt's. Every kind does the same work.
#include <algorithm>
#include <cstring>
#include <random>

#include "families.h"
#include "least/bare_string.h"
#include "qrv/string.h"
#include "rows.h"
#include "texts.h"

#ifdef ORVAL_BENCH_QT
#include <QByteArray>
#include <QString>
#endif

namespace {

using least::BareString;
using QRV::CString;

constexpr int32_t kTextLength = 1024;
constexpr int kAppended = 64 << 10;
constexpr int32_t kPartLengths[] = {8, 64, 500};
constexpr int64_t kCleanedSizes[] = {64 << 10, 1 << 20, 64 << 20};
constexpr const char* kPrefix =
    "00000000000000010000000000000001000000000000000000000000000000000000000000000273";

// What a kind calls the same thing.

CString Part(const CString& text, int32_t first, int32_t count) {
    return text.Mid(first, count);
}
BareString Part(const BareString& text, int32_t first, int32_t count) {
    return text.Mid(static_cast<size_t>(first), static_cast<size_t>(count));
}
std::string Part(const std::string& text, int32_t first, int32_t count) {
    return text.substr(static_cast<size_t>(first), static_cast<size_t>(count));
}

void AppendOne(CString& text) {
    text += "x";
}
void AppendOne(BareString& text) {
    text.Append("x", 1);
}
void AppendOne(std::string& text) {
    text += "x";
}

void RemoveAll(CString& text, char unwanted) {
    const char from[] = {unwanted, '\0'};
    text.Replace(from, "");
}
void RemoveAll(BareString& text, char unwanted) {
    text.RemoveAll(unwanted);
}
void RemoveAll(std::string& text, char unwanted) {
    text.erase(std::remove(text.begin(), text.end(), unwanted), text.end());
}

bool Has(const CString& text, const CString& part) {
    return text.Find(part.GetString()) >= 0;
}
bool Has(const BareString& text, const BareString& part) {
    return memmem(text.Text(), text.Length(), part.Text(), part.Length()) != nullptr;
}
bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

#ifdef ORVAL_BENCH_QT
QByteArray Part(const QByteArray& text, int32_t first, int32_t count) {
    return text.mid(first, count);
}
QString Part(const QString& text, int32_t first, int32_t count) {
    return text.mid(first, count);
}
void AppendOne(QByteArray& text) {
    text += "x";
}
void AppendOne(QString& text) {
    text += QLatin1String("x");
}
void RemoveAll(QByteArray& text, char unwanted) {
    const char from[] = {unwanted, '\0'};
    text.replace(from, "");
}
void RemoveAll(QString& text, char unwanted) {
    text.remove(QLatin1Char(unwanted));
}
bool Has(const QByteArray& text, const QByteArray& part) {
    return text.contains(part);
}
bool Has(const QString& text, const QString& part) {
    return text.contains(part);
}
#endif

template <typename String>
void Make(benchmark::State& state) {
    const std::string text(kTextLength, 'A');
    bench::Repeat(state, [&] { return String(text.c_str()); });
}

template <typename String>
void Share(benchmark::State& state) {
    const String text(std::string(kTextLength, 'A').c_str());
    bench::Repeat(state, [&] { return String(text); });
}

template <typename String>
void TakePart(benchmark::State& state, int32_t first, int32_t count) {
    const String text(std::string(kTextLength, 'A').c_str());
    bench::Repeat(state, [&] { return Part(text, first, count); });
}

template <typename String>
void AppendOneByOne(benchmark::State& state) {
    bench::Repeat(state, [] {
        String text;
        for (int i = 0; i < kAppended; ++i) {
            AppendOne(text);
        }
        return text;
    });
}

template <typename String>
void CleanUp(benchmark::State& state, int64_t size) {
    const std::string source = bench::LinedText(static_cast<size_t>(size));
    bench::Repeat(state, [&] {
        String text(source.c_str());
        for (const char unwanted : {',', '\r', '\n'}) {
            RemoveAll(text, unwanted);
        }
        return text;
    });
}

template <typename String>
void FindPrefix(benchmark::State& state, std::string (*make_text)(size_t)) {
    const String text(make_text(size_t{1} << 20).c_str());
    const String prefix(kPrefix);
    bench::Repeat(state, [&] { return Has(text, prefix); });
}

// What a key text looks like in the worst case for a search, and what it looks like otherwise.
std::string Zeros(size_t size) {
    return std::string(size, '0');
}
std::string RandomDigits(size_t size) {
    std::mt19937 random(1);
    std::string text(size, '0');
    for (char& digit : text) {
        digit = "0123456789ABCDEF"[random() % 16];
    }
    return text;
}

template <typename String>
void AddWay(const char* way) {
    bench::Add("string made from 1 KiB of text", way, Make<String>);
    bench::Add("copy of a string, 1 KiB", way, Share<String>);
    bench::Add("Mid of a whole string, 1 KiB", way, TakePart<String>, 0, kTextLength);
    for (const int32_t length : kPartLengths) {
        bench::Add(bench::Sized("Mid of a part", length), way, TakePart<String>, 100, length);
    }
    bench::Add("append one character at a time, 64 KiB", way, AppendOneByOne<String>);
    for (const int64_t size : kCleanedSizes) {
        bench::Add(bench::Sized("clean-up of commas and line breaks", size), way, CleanUp<String>,
                   size);
    }
    bench::Add("find the key prefix among zeros, 1 MiB", way, FindPrefix<String>, Zeros);
    bench::Add("find the key prefix among digits, 1 MiB", way, FindPrefix<String>, RandomDigits);
}

}  // namespace

void bench::AddStringRows() {
    AddWay<CString>(kOurs);
    AddWay<BareString>(kLimit);
    AddWay<std::string>("std::string");
#ifdef ORVAL_BENCH_QT
    AddWay<QByteArray>("QByteArray");
    AddWay<QString>("QString");
#endif
}
