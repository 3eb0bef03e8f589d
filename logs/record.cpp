#include "logs/record.h"

#include <algorithm>
#include <cstring>

namespace logs {
namespace {

// The longest name in use has 46 characters.
constexpr size_t kLongestName = 80;
constexpr int kSecondsOfMinute = 60;
constexpr int kSecondsOfHour = 3600;

bool IsDigit(char character) {
    return character >= '0' && character <= '9';
}

// The names that writers give: words, colons between and behind them, blanks.
bool IsOfName(char character) {
    return IsDigit(character) || (character >= 'A' && character <= 'Z') ||
           (character >= 'a' && character <= 'z') || character == '_' || character == ':' ||
           character == ' ';
}

// Takes a header apart from its front. Once something does not fit, nothing more is taken.
class Cursor final {
 public:
    explicit Cursor(std::string_view bytes) : begin_(bytes.data()), at_(begin_) {
        end_ = begin_ + bytes.size();
    }

    Cursor& Literal(std::string_view text) {
        if (verdict_ == Verdict::kIs) {
            const size_t some = std::min(text.size(), Left());
            if (std::memcmp(at_, text.data(), some) != 0) {
                verdict_ = Verdict::kIsNot;
            } else if (some < text.size()) {
                verdict_ = Verdict::kUnfinished;
            }
            at_ += some;
        }
        return *this;
    }

    // Any number of digits from `least` to `most`; how many there were is the result.
    int Digits(int least, int most, int64_t& number) {
        int count = 0;
        number = 0;
        while (verdict_ == Verdict::kIs && count < most && at_ != end_ && IsDigit(*at_)) {
            number = number * 10 + (*at_++ - '0');
            ++count;
        }
        if (count < least || at_ == end_) {
            Fail();
        }
        return count;
    }

    // Two digits of at most that number.
    Cursor& Pair(int most, int& number) {
        int64_t value = 0;
        Digits(2, 2, value);
        number = static_cast<int>(value);
        return number <= most ? *this : Refuse();
    }

    Cursor& Signed(int most_digits, int64_t& number) {
        const bool negative = verdict_ == Verdict::kIs && at_ != end_ && *at_ == '-';
        at_ += negative ? 1 : 0;
        Digits(1, most_digits, number);
        number = negative ? -number : number;
        return *this;
    }

    // Up to the bracket before "Process".
    Cursor& Name(std::string_view& name) {
        const char* const start = at_;
        while (verdict_ == Verdict::kIs && at_ != end_ && IsOfName(*at_) &&
               static_cast<size_t>(at_ - start) < kLongestName) {
            ++at_;
        }
        if (verdict_ != Verdict::kIs || at_ == end_) {
            Fail();
            return *this;
        }
        name = {start, static_cast<size_t>(at_ - start)};
        if (*at_ != '(' || name.size() < 3 || name.substr(name.size() - 2) != ": ") {
            return Refuse();
        }
        name.remove_suffix(2);
        return *this;
    }

    Cursor& Refuse() {
        if (verdict_ == Verdict::kIs) {
            verdict_ = Verdict::kIsNot;
        }
        return *this;
    }

    Verdict Result() const { return verdict_; }
    size_t Taken() const { return static_cast<size_t>(at_ - begin_); }

 private:
    size_t Left() const { return static_cast<size_t>(end_ - at_); }

    void Fail() {
        if (verdict_ == Verdict::kIs) {
            verdict_ = at_ == end_ ? Verdict::kUnfinished : Verdict::kIsNot;
        }
    }

    const char* begin_;
    const char* at_;
    const char* end_;
    Verdict verdict_ = Verdict::kIs;
};

}  // namespace

Verdict ReadHeader(std::string_view bytes, Header& header) {
    Cursor cursor(bytes);
    int hour = 0;
    int minute = 0;
    int second = 0;
    cursor.Literal("[").Pair(31, header.day).Literal(",");
    cursor.Pair(23, hour).Literal(":").Pair(59, minute).Literal(":").Pair(60, second).Literal(".");
    int64_t number = 0;
    header.fraction_digits = cursor.Digits(3, 6, number);
    header.fraction = static_cast<uint32_t>(number);
    cursor.Literal("] ").Name(header.name).Literal("(Process is ").Signed(10, header.process);
    int64_t thread = 0;
    cursor.Literal(", thread is ").Signed(10, thread).Literal(")\r\n\t[");
    if (header.day == 0 || thread < INT32_MIN || thread > INT32_MAX) {
        cursor.Refuse();
    }
    header.second = hour * kSecondsOfHour + minute * kSecondsOfMinute + second;
    header.thread = static_cast<int32_t>(thread);
    header.size = cursor.Taken();
    return cursor.Result();
}

bool IsHexadecimal(std::string_view text) {
    return text.size() % 2 == 0 && std::all_of(text.begin(), text.end(), [](char character) {
               return IsDigit(character) || (character >= 'A' && character <= 'F');
           });
}

bool Record::IsHex() const {
    return !header.name.empty() && header.name.back() == ':' && IsHexadecimal(text);
}

int32_t Record::Microsecond() const {
    const auto fraction = static_cast<int32_t>(header.fraction);
    return header.fraction_digits > 3 || IsHex() ? fraction : fraction * 1000;
}

}  // namespace logs
