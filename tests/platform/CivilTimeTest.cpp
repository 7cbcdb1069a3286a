#include "platform/CivilTime.h"

#include <gtest/gtest.h>

using namespace ferrow::platform;

TEST(CivilTime, KnownDaysAndEveryDayOfFourCenturiesRoundTrip) {
    struct Known {
        int64_t days;
        int64_t year;
        int month, day;
    };
    const Known known[] = {{0, 1970, 1, 1},       {-1, 1969, 12, 31},     {11016, 2000, 2, 29},
                           {-25509, 1900, 2, 28}, {-25508, 1900, 3, 1},   {47541, 2100, 3, 1},
                           {65535, 2149, 6, 6},   {-141427, 1582, 10, 15}, {-719162, 1, 1, 1}};
    for (const Known& k : known) {
        SCOPED_TRACE(k.days);
        const CivilDate date = CivilFromDays(k.days);
        EXPECT_EQ(date.year, k.year);
        EXPECT_EQ(date.month, k.month);
        EXPECT_EQ(date.day, k.day);
        EXPECT_EQ(DaysFromCivil(k.year, k.month, k.day), k.days);
    }
    const auto monthLength = [](int64_t year, int month) {
        const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
        const int lengths[] = {31, leap ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        return lengths[month - 1];
    };
    CivilDate previous = CivilFromDays(-146098);
    for (int64_t days = -146097; days <= 146097; ++days) {
        const CivilDate date = CivilFromDays(days);
        if (date.day != 1) {
            ASSERT_TRUE(date.day == previous.day + 1 && date.month == previous.month) << days;
        } else {
            ASSERT_EQ(previous.day, monthLength(previous.year, previous.month)) << days;
            ASSERT_EQ(date.month, previous.month % 12 + 1) << days;
            ASSERT_EQ(date.year, previous.year + (date.month == 1)) << days;
        }
        ASSERT_EQ(DaysFromCivil(date.year, date.month, date.day), days);
        previous = date;
    }
    EXPECT_EQ(DaysFromCivil(2023, 2, 31), DaysFromCivil(2023, 3, 3)) << "runs into March";

    const CivilTime before = CivilFromSeconds(-1);
    EXPECT_EQ(before.date.year, 1969);
    EXPECT_EQ(before.hour * 3600 + before.minute * 60 + before.second, 86399);
    const CivilTime last = CivilFromSeconds(4294967295LL);
    EXPECT_EQ(DaysFromCivil(last.date.year, last.date.month, last.date.day), 49710);
    EXPECT_EQ(last.hour * 10000 + last.minute * 100 + last.second, 62815);
}
