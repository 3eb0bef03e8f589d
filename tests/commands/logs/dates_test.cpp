// Months and years, which the log does not write.

#include "logs/dates.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "made_log.h"

namespace {

using testing::ElementsAre;

time_t TimeOf(int year, int month, int day) {
    tm parts = {};
    parts.tm_year = year - 1900;
    parts.tm_mon = month - 1;
    parts.tm_mday = day;
    parts.tm_hour = 12;
    parts.tm_isdst = -1;
    return mktime(&parts);
}

// The moments of records at those times, in a file written then, and of those that follow.
std::vector<std::string> Dated(const std::vector<std::string>& times, time_t written) {
    struct Learner final : logs::Receiver {
        void Take(const logs::Record& record) override {
            if (is_learning) {
                dates.Learn(record);
            } else {
                shown.push_back(logs::ShowMoment(dates.Of(record), ' '));
            }
        }
        void TakeDamage(uint64_t /*offset*/, std::string_view /*bytes*/) override {}
        logs::Dates dates;
        bool is_learning = true;
        std::vector<std::string> shown;
    };
    std::string log;
    for (const std::string& time : times) {
        log += MadeRecord(time, "TestInitUKey", "Begin");
    }
    Learner learner;
    logs::Reader reader(learner);
    reader.Feed(log);
    reader.Finish();
    learner.dates.Settle(written);
    learner.is_learning = false;
    reader.Feed(log);
    reader.Finish();
    for (std::string& shown : learner.shown) {
        shown.resize(std::string("2026-11-21 09").size());
    }
    return learner.shown;
}

TEST(Dates, TheLastRecordIsFromTheDayOfTheFilesModification) {
    EXPECT_THAT(Dated({"21,09:00:00.000", "22,10:00:00.000"}, TimeOf(2026, 11, 22)),
                ElementsAre("2026-11-21 09", "2026-11-22 10"));
}

TEST(Dates, AFileModifiedLaterTellsTheLatestSuchDay) {
    EXPECT_THAT(Dated({"25,09:00:00.000"}, TimeOf(2026, 11, 22)), ElementsAre("2026-10-25 09"));
    EXPECT_THAT(Dated({"31,09:00:00.000"}, TimeOf(2026, 12, 5)), ElementsAre("2026-10-31 09"));
    EXPECT_THAT(Dated({"29,09:00:00.000"}, TimeOf(2025, 3, 5)), ElementsAre("2025-01-29 09"));
}

TEST(Dates, AClientsZoneMayBeADayAhead) {
    EXPECT_THAT(Dated({"23,01:00:00.000"}, TimeOf(2026, 11, 22)), ElementsAre("2026-11-23 01"));
    EXPECT_THAT(Dated({"01,01:00:00.000"}, TimeOf(2026, 12, 31)), ElementsAre("2027-01-01 01"));
    EXPECT_THAT(Dated({"24,01:00:00.000"}, TimeOf(2026, 11, 22)), ElementsAre("2026-10-24 01"))
        << "two days ahead is none's";
}

TEST(Dates, MonthsAreCountedBackwardsOverTheYear) {
    EXPECT_THAT(Dated({"30,09:00:00.000", "30,10:00:00.000", "29,09:00:00.000", "29,10:00:00.000",
                       "02,09:00:00.000"},
                      TimeOf(2026, 1, 2)),
                ElementsAre("2025-11-30 09", "2025-11-30 10", "2025-12-29 09", "2025-12-29 10",
                            "2026-01-02 09"));
}

TEST(Dates, AMonthWithoutTheDayIsPassedOver) {
    EXPECT_THAT(
        Dated({"31,09:00:00.000", "31,10:00:00.000", "05,09:00:00.000"}, TimeOf(2026, 3, 5)),
        ElementsAre("2026-01-31 09", "2026-01-31 10", "2026-03-05 09"));
}

TEST(Dates, ARecordThatIsLateAtMidnightIsNoMonth) {
    EXPECT_THAT(Dated({"20,23:59:59.990", "21,00:00:00.000", "20,23:59:59.999", "21,00:00:00.100"},
                      TimeOf(2026, 11, 21)),
                ElementsAre("2026-11-20 23", "2026-11-21 00", "2026-11-20 23", "2026-11-21 00"));
    EXPECT_THAT(Dated({"30,23:59:59.990", "01,00:00:00.000", "30,23:59:59.999", "01,00:00:00.100"},
                      TimeOf(2026, 12, 1)),
                ElementsAre("2026-11-30 23", "2026-12-01 00", "2026-11-30 23", "2026-12-01 00"));
}

TEST(Dates, SeveralRecordsThatAreLateAtMidnightAreNoMonth) {
    EXPECT_THAT(Dated({"20,23:59:59.980", "21,00:00:00.000", "21,00:00:00.001", "20,23:59:59.990",
                       "20,23:59:59.999", "21,00:00:00.100"},
                      TimeOf(2026, 11, 21)),
                ElementsAre("2026-11-20 23", "2026-11-21 00", "2026-11-21 00", "2026-11-20 23",
                            "2026-11-20 23", "2026-11-21 00"));
}

TEST(Dates, AnEarlierDayThanTheOneBeforeIsNotLateAtMidnight) {
    EXPECT_THAT(Dated({"21,00:00:00.000", "21,00:00:00.100", "19,23:59:59.000", "19,23:59:59.100"},
                      TimeOf(2026, 12, 19)),
                ElementsAre("2026-11-21 00", "2026-11-21 00", "2026-12-19 23", "2026-12-19 23"));
}

TEST(Dates, LateIsUpToAMinuteOnBothSidesOfMidnight) {
    const auto month_of_the_first = [](const char* before, const char* behind) {
        const std::string early = std::string("21,") + behind;
        const std::string late = std::string("20,") + before;
        return Dated({early, early, late, late, "21,00:02:00.000"}, TimeOf(2026, 11, 21))
            .front()
            .substr(0, 7);
    };
    EXPECT_EQ(month_of_the_first("23:59:00.000", "00:00:59.999"), "2026-11");
    EXPECT_EQ(month_of_the_first("23:58:59.999", "00:00:59.999"), "2026-10");
    EXPECT_EQ(month_of_the_first("23:59:00.000", "00:01:00.000"), "2026-10");
}

TEST(Dates, ARecordOfTheShortestMonthMayBeLateOnTheFirst) {
    EXPECT_THAT(Dated({"28,23:59:59.900", "01,00:00:00.000", "01,00:00:00.001", "28,23:59:59.950",
                       "28,23:59:59.960", "01,00:00:00.200"},
                      TimeOf(2026, 3, 1)),
                ElementsAre("2026-02-28 23", "2026-03-01 00", "2026-03-01 00", "2026-02-28 23",
                            "2026-02-28 23", "2026-03-01 00"));
}

// No month ends with it.
TEST(Dates, ARecordOfTheTwentySeventhIsNotLateOnTheFirst) {
    EXPECT_THAT(Dated({"01,00:00:00.000", "01,00:00:00.100", "27,23:59:59.000", "27,23:59:59.100"},
                      TimeOf(2026, 12, 27)),
                ElementsAre("2026-12-01 00", "2026-12-01 00", "2026-12-27 23", "2026-12-27 23"));
}

TEST(Dates, ADamagedDayChangesNothingAroundIt) {
    EXPECT_THAT(Dated({"21,09:00:00.000", "11,09:00:00.000", "21,10:00:00.000", "29,10:00:00.000",
                       "21,11:00:00.000"},
                      TimeOf(2026, 11, 21)),
                ElementsAre("2026-11-21 09", "2026-11-11 09", "2026-11-21 10", "2026-11-29 10",
                            "2026-11-21 11"));
}

TEST(Dates, MomentsAreReadAsTheyAreShown) {
    const std::string shown = logs::ShowMoment(logs::ReadMoment("2024-02-29 23:59:58"), 'T');
    EXPECT_EQ(shown, "2024-02-29T23:59:58.000");
    EXPECT_EQ(logs::ReadMoment("2024-02-29T23:59:58"), logs::ReadMoment("2024-02-29 23:59:58"));
    EXPECT_EQ(logs::ShowMoment(logs::ReadMoment("2026-11-21 09:05"), ' '),
              "2026-11-21 09:05:00.000");
    EXPECT_EQ(logs::ShowMoment(logs::ReadMoment("2026-11-21"), ' '), "2026-11-21 00:00:00.000");
    EXPECT_EQ(logs::ShowMoment(logs::LocalMoment(TimeOf(2026, 11, 21)), ' '),
              "2026-11-21 12:00:00.000");
    for (const char* wrong : {"", "2026", "2026-02-30", "2026-13-01", "2026-11-21 25:00",
                              "2026-11-21 09", "2026-11-21 09:05:07x", "yesterday", "1969-12-31",
                              "2026-00-10", "2026-11-00", "2026-11-31", "2026-11-21 24:00",
                              "2026-11-21 23:60", "2026-11-21 23:59:61", "2100-02-29"}) {
        EXPECT_EQ(logs::ReadMoment(wrong), logs::kNoMoment) << wrong;
    }
    for (const char* right :
         {"1970-01-01 00:00:00", "2000-02-29 23:59:59", "2026-12-31 10:20:30"}) {
        EXPECT_EQ(logs::ShowMoment(logs::ReadMoment(right), ' '), right + std::string(".000"));
    }
    // A leap second, which the log may have and the days here do not.
    EXPECT_EQ(logs::ReadMoment("2026-12-31 23:59:60"), logs::ReadMoment("2027-01-01"));
}

TEST(Dates, EachDayIsTheCalendars) {
    constexpr time_t kDay = 86400;
    constexpr logs::Moment kMicroseconds = 1000000;
    for (time_t at = 0; at < 150 * 365 * kDay; at += kDay) {
        tm parts = {};
        gmtime_r(&at, &parts);
        char text[sizeof "2026-11-21"];
        ASSERT_NE(std::strftime(text, sizeof text, "%Y-%m-%d", &parts), 0U);
        ASSERT_EQ(logs::ReadMoment(text), at * kMicroseconds) << text;
        ASSERT_EQ(logs::ShowMoment(at * kMicroseconds, ' '), text + std::string(" 00:00:00.000"));
    }
}

}  // namespace
