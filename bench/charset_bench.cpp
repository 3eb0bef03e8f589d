// UTF-8 to GB18030.
#include <iconv.h>

#include <memory>

#include "common/commonfunction.h"
#include "families.h"
#include "rows.h"

#ifdef ORVAL_BENCH_ICU
#include <unicode/ucnv.h>
#endif
#ifdef ORVAL_BENCH_QT
#include <QTextCodec>
#endif

namespace {

constexpr int64_t kSizes[] = {16, 1 << 10, 1 << 20};
// Behind the result, as callers have always been given.
constexpr size_t kSpareBytes = 10;

// Of characters of three bytes, as a customer's name is; filled up with what has one.
std::string ChineseText(int64_t size) {
    std::string text;
    while (static_cast<int64_t>(text.size()) + 3 <= size) {
        text += "马";
    }
    text.resize(static_cast<size_t>(size), 'x');
    return text;
}

using Text = std::unique_ptr<char[]>;

Text ConvertByOurs(const std::string& text) {
    char* out = nullptr;
    uint32_t length = 0;
    ORVAL_ComFunc.MB2MB(0, text.data(), static_cast<uint32_t>(text.size()), &out, &length);
    return Text(out);
}

// A descriptor for each conversion, and one block that becomes the caller's.
Text ConvertByIconv(const std::string& text) {
    const size_t size = 2 * text.size() + kSpareBytes;
    Text result(new char[size]);
    size_t room = size;
    iconv_t descriptor = iconv_open("GB18030", "UTF-8");
    char* source = const_cast<char*>(text.data());
    size_t left = text.size();
    char* target = result.get();
    iconv(descriptor, &source, &left, &target, &room);
    iconv_close(descriptor);
    return result;
}

#ifdef ORVAL_BENCH_ICU
Text ConvertByIcu(const std::string& text) {
    const size_t size = 2 * text.size() + kSpareBytes;
    Text result(new char[size]);
    UErrorCode error = U_ZERO_ERROR;
    ucnv_convert("GB18030", "UTF-8", result.get(), static_cast<int32_t>(size), text.data(),
                 static_cast<int32_t>(text.size()), &error);
    return result;
}
#endif

#ifdef ORVAL_BENCH_QT
QByteArray ConvertByQt(const std::string& text) {
    return QTextCodec::codecForName("GB18030")->fromUnicode(QString::fromStdString(text));
}
#endif

template <typename Convert>
void AddWay(int64_t size, const char* way, Convert* convert) {
    const auto repeat = [convert](benchmark::State& state, const std::string& text) {
        bench::Repeat(state, [&] { return convert(text); });
    };
    bench::Add(bench::Sized("UTF-8 to GB18030", size), way, repeat, ChineseText(size));
}

}  // namespace

void bench::AddCharsetRows() {
    for (const int64_t size : kSizes) {
        AddWay(size, kOurs, ConvertByOurs);
        AddWay(size, kLimit, ConvertByIconv);
#ifdef ORVAL_BENCH_ICU
        AddWay(size, "ICU", ConvertByIcu);
#endif
#ifdef ORVAL_BENCH_QT
        AddWay(size, "QString", ConvertByQt);
#endif
    }
}
