#ifndef LOGS_DATES_H
#define LOGS_DATES_H

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include "logs/record.h"

// A record tells the day of the month and no month. The last record is from the latest day of its
// number that is not after the file's modification (a day's grace: the client's zone may be ahead
// of ours). From there the months are counted backwards: a day whose number is higher than that of
// the record behind it is in an earlier month, the latest in which there is such a day. A record up
// to a minute late at midnight is that, and no month. What nobody can tell is a pause of a month or
// more in which the day's number rises.
namespace logs {

// A moment in local time: microseconds since 1970 began, as if no clock were ever set.
using Moment = int64_t;
constexpr Moment kNoMoment = INT64_MIN;

struct Month {
    int year;
    int month;  // 1 to 12
};

// The parts of a log between which the month changes. One record alone with a day of its own that
// does not fit those around it is damaged, and changes nothing.
class Dates final {
 public:
    // First, each record in turn: learns where months change.
    void Learn(const Record& record);
    // Once all are learnt. written: when the file was modified.
    void Settle(time_t written);

    // Then each record in turn again, and those that follow, which are from now.
    Moment Of(const Record& record);

    // Forgets what was learnt, for another file.
    void Reset() { *this = Dates(); }

 private:
    struct Part {
        uint64_t first;  // record
        int last_day;
        Month month;
    };

    bool IsLate(const Header& header) const;
    void Go(const Header& header);

    std::vector<Part> parts_;
    uint64_t count_ = 0;  // records so far
    uint64_t learnt_ = 0;
    size_t part_ = 0;
    int day_ = 0;  // of the record before, and its second
    int32_t second_ = 0;
    int day_before_ = 0;    // that it changed from
    uint64_t since_ = 0;    // when it did
    int doubted_from_ = 0;  // the day from which one record has gone down, or 0
};

Moment LocalMoment(time_t time);
// "2026-11-21 09:05:07.042"; the separator stands between date and time.
std::string ShowMoment(Moment moment, char separator);
// Reads "2026-11-21", "2026-11-21 09:05" or "2026-11-21 09:05:07", with a T too; else kNoMoment.
Moment ReadMoment(const std::string& text);

}  // namespace logs

#endif
