// Calendar arithmetic in UTC on the proleptic Gregorian calendar, exact over
// any 64-bit day count and with no call into the C library, whose gmtime_r
// and timegm are not everywhere and whose time_t may be 32-bit.
#pragma once

#include <cstdint>

namespace ferrow::platform {

struct CivilDate {
    int64_t year;
    int month;  // 1 to 12
    int day;    // 1 to 31
};

struct CivilTime {
    CivilDate date;
    int hour;
    int minute;
    int second;
};

// Days since 1970-01-01. A day beyond its month's end runs into the next
// month, as timegm normalises it.
constexpr int64_t DaysFromCivil(int64_t year, int month, int day) {
    year -= month <= 2;
    const int64_t era = (year >= 0 ? year : year - 399) / 400;
    const int64_t yearOfEra = year - era * 400;
    const int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * 146097 + dayOfEra - 719468;
}

constexpr CivilDate CivilFromDays(int64_t days) {
    days += 719468;
    const int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const int64_t dayOfEra = days - era * 146097;
    const int64_t yearOfEra =
        (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const int64_t shifted = (5 * dayOfYear + 2) / 153;
    const int month = static_cast<int>(shifted < 10 ? shifted + 3 : shifted - 9);
    return {yearOfEra + era * 400 + (month <= 2), month,
            static_cast<int>(dayOfYear - (153 * shifted + 2) / 5 + 1)};
}

// Seconds since the epoch, negative ones counting back from it.
constexpr CivilTime CivilFromSeconds(int64_t seconds) {
    int64_t days = seconds / 86400;
    int64_t rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    return {CivilFromDays(days), static_cast<int>(rest / 3600), static_cast<int>(rest / 60 % 60),
            static_cast<int>(rest % 60)};
}

}  // namespace ferrow::platform
