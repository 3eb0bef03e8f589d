#include "logs/dates.h"

#include <algorithm>

namespace logs {
namespace {

constexpr Moment kMicrosecondsOfSecond = 1000000;
constexpr int64_t kSecondsOfDay = 86400;
constexpr int32_t kMinute = 60;
constexpr int kShortestMonth = 28;

bool IsLeap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int DaysOf(Month month) {
    constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return kDays[month.month - 1] + (month.month == 2 && IsLeap(month.year) ? 1 : 0);
}

Month Before(Month month) {
    return month.month == 1 ? Month{month.year - 1, 12} : Month{month.year, month.month - 1};
}

// Days since 1970 began; proleptic Gregorian.
int64_t DayNumber(Month month, int day) {
    const int64_t years = month.month > 2 ? month.year : month.year - 1;
    const int64_t era = years / 400;
    const int64_t of_era = years - era * 400;
    const int64_t of_year = (153 * (month.month + (month.month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
    return era * 146097 + of_era * 365 + of_era / 4 - of_era / 100 + of_year - 719468;
}

struct Day {
    Month month;
    int day;
};

Day DayOf(int64_t number) {
    const int64_t shifted = number + 719468;
    const int64_t era = shifted / 146097;
    const int64_t of_era = shifted - era * 146097;
    const int64_t years = (of_era - of_era / 1460 + of_era / 36524 - of_era / 146096) / 365;
    const int64_t of_year = of_era - (365 * years + years / 4 - years / 100);
    const int64_t month = (5 * of_year + 2) / 153;
    const auto day = static_cast<int>(of_year - (153 * month + 2) / 5 + 1);
    const auto shown = static_cast<int>(month < 10 ? month + 3 : month - 9);
    return {{static_cast<int>(years + era * 400 + (shown <= 2 ? 1 : 0)), shown}, day};
}

// The latest month with such a day, not after `month`.
Month WithDay(Month month, int day) {
    while (DaysOf(month) < day) {
        month = Before(month);
    }
    return month;
}

Month LatestWith(int day, time_t not_after) {
    const Day last = DayOf(LocalMoment(not_after) / kMicrosecondsOfSecond / kSecondsOfDay + 1);
    return WithDay(last.day >= day ? last.month : Before(last.month), day);
}

}  // namespace

// Written a moment after midnight with the time from before it.
bool Dates::IsLate(const Header& header) const {
    const bool from_the_day_before =
        header.day == day_ - 1 || (day_ == 1 && header.day >= kShortestMonth);
    return from_the_day_before && second_ < kMinute && header.second >= kSecondsOfDay - kMinute;
}

void Dates::Go(const Header& header) {
    if (header.day != day_) {
        day_before_ = day_;
        since_ = count_;
    }
    day_ = header.day;
    second_ = header.second;
}

void Dates::Learn(const Record& record) {
    const Header& header = record.header;
    if (record.is_doubtful || (++count_ > 1 && IsLate(header))) {
        return;
    }
    if (parts_.empty()) {
        parts_.push_back({1, 0, {}});
    } else if (doubted_from_ != 0) {
        // The record before went down: so does the month if this one stays down.
        if (header.day < doubted_from_) {
            parts_.back().last_day = doubted_from_;
            parts_.push_back({since_, 0, {}});
        }
        doubted_from_ = 0;
    }
    const bool was_alone = since_ + 1 == count_ && header.day == day_before_;
    if (header.day < day_ && !was_alone) {
        doubted_from_ = day_;
    }
    Go(header);
}

void Dates::Settle(time_t written) {
    if (doubted_from_ != 0) {
        parts_.back().last_day = doubted_from_;
        parts_.push_back({since_, 0, {}});
    }
    if (!parts_.empty()) {
        parts_.back().last_day = day_;
        parts_.back().month = LatestWith(day_, written);
    }
    for (size_t part = parts_.size(); part > 1;) {
        --part;
        parts_[part - 1].month = WithDay(Before(parts_[part].month), parts_[part - 1].last_day);
    }
    learnt_ = count_;
    count_ = 0;
    part_ = 0;
    day_ = 0;
}

Moment Dates::Of(const Record& record) {
    const Header& header = record.header;
    const bool is_late = !record.is_doubtful && count_ > 0 && IsLate(header);
    count_ += record.is_doubtful ? 0 : 1;
    const bool is_new = count_ > learnt_ && !is_late && (parts_.empty() || header.day < day_);
    if (is_new) {
        parts_.push_back({count_, 0, LatestWith(header.day, time(nullptr))});
    }
    while (part_ + 1 < parts_.size() && parts_[part_ + 1].first <= count_) {
        ++part_;
    }
    const Month part_month =
        parts_.empty() ? LatestWith(header.day, time(nullptr)) : parts_[part_].month;
    const Month month = is_late && header.day > day_ ? Before(part_month) : part_month;
    if (!is_late && !record.is_doubtful) {
        Go(header);
    }
    const int64_t second = DayNumber(month, header.day) * kSecondsOfDay + header.second;
    return second * kMicrosecondsOfSecond + record.Microsecond();
}

Moment LocalMoment(time_t time) {
    tm parts = {};
    localtime_r(&time, &parts);
    const int64_t day = DayNumber({parts.tm_year + 1900, parts.tm_mon + 1}, parts.tm_mday);
    const int64_t second = parts.tm_hour * 3600 + parts.tm_min * 60 + parts.tm_sec;
    return (day * kSecondsOfDay + second) * kMicrosecondsOfSecond;
}

std::string ShowMoment(Moment moment, char separator) {
    const int64_t seconds = moment / kMicrosecondsOfSecond;
    const Day day = DayOf(seconds / kSecondsOfDay);
    const auto of_day = static_cast<int>(seconds % kSecondsOfDay);
    const auto milliseconds = static_cast<int>(moment % kMicrosecondsOfSecond / 1000);
    // Without printf, which would be a third of a line's time.
    std::string text = "0000-00-00 00:00:00.000";
    const auto put = [&text](size_t at, int width, int number) {
        for (size_t i = at + static_cast<size_t>(width); i != at; number /= 10) {
            text[--i] = static_cast<char>('0' + number % 10);
        }
    };
    put(0, 4, day.month.year);
    put(5, 2, day.month.month);
    put(8, 2, day.day);
    put(11, 2, of_day / 3600);
    put(14, 2, of_day / 60 % 60);
    put(17, 2, of_day % 60);
    put(20, 3, milliseconds);
    text[10] = separator;
    return text;
}

Moment ReadMoment(const std::string& text) {
    // What stands where; the rest may be left out from the clock on.
    const std::string form = "0000-00-00 00:00:00";
    const bool has_length = text.size() == 10 || text.size() == 16 || text.size() == form.size();
    if (!has_length) {
        return kNoMoment;
    }
    std::string given = form;
    for (size_t i = 0; i < text.size(); ++i) {
        const bool is_digit = text[i] >= '0' && text[i] <= '9';
        if (form[i] == '0' ? !is_digit : text[i] != form[i] && (form[i] != ' ' || text[i] != 'T')) {
            return kNoMoment;
        }
        given[i] = text[i];
    }
    const auto number = [&given](size_t at, size_t width) {
        return std::stoi(given.substr(at, width));
    };
    const Month month = {number(0, 4), number(5, 2)};
    const int day = number(8, 2);
    const int hour = number(11, 2);
    const int minute = number(14, 2);
    const int second = number(17, 2);
    const bool is_day = month.year >= 1970 && month.month >= 1 && month.month <= 12 && day >= 1 &&
                        day <= DaysOf(month);
    if (!is_day || hour > 23 || minute > 59 || second > 60) {
        return kNoMoment;
    }
    const int64_t of_day = hour * 3600 + minute * 60 + second;
    return (DayNumber(month, day) * kSecondsOfDay + of_day) * kMicrosecondsOfSecond;
}

}  // namespace logs
