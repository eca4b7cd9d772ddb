/* Days of the calendar, as numbers, and the masks of a maintenance window that select them. Pure arithmetic. Internal.
 */
#ifndef SQLPI_MAINT_WIN_DAYS_H
#define SQLPI_MAINT_WIN_DAYS_H

#include <cstdint>

#include "sqlpiCommonPolicy.h"

constexpr int64_t SQLPI_DAY_SECONDS = 86400;
constexpr int64_t SQLPI_CALENDAR_CYCLE = 146097; /* days after which dates and weekdays repeat: 400 years */
constexpr int64_t SQLPI_LEAP_YEAR = 2000;

/* A date of the Gregorian calendar, also before it was introduced. */
struct sqlpiDate {
    int64_t year;
    int32_t month; /* 1..12 */
    int32_t day;   /* 1..31 */
};

/* A time of day as seconds since midnight. */
constexpr int32_t sqlpiTimeOfDay(const sqlpiMaintWindowTime& time) noexcept {
    return time.hour * 3600 + time.minute * 60 + time.second;
}

constexpr int64_t sqlpiFloorDivide(int64_t value, int64_t divisor) noexcept {
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

constexpr bool sqlpiIsLeapYear(int64_t year) noexcept {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

/* month 1..12 */
constexpr int32_t sqlpiDaysOfMonth(int64_t year, int32_t month) noexcept {
    if (month == 2) return sqlpiIsLeapYear(year) ? 29 : 28;
    return 30 + ((month + (month >> 3)) & 1);  // odd months have 31 days, from August on even ones
}

/* The number of a day, 1970-01-01 being 0. `month` and `day` may lie outside their ranges: month 13 is January of the
 * next year, day 0 the last day of the month before. */
constexpr int64_t sqlpiDayNumber(int64_t year, int64_t month, int64_t day) noexcept {
    const int64_t marchYear =
        year + sqlpiFloorDivide(month - 3, 12);  // years that begin in March end with the leap day
    const int64_t marchMonth = month - 3 - 12 * sqlpiFloorDivide(month - 3, 12);  // 0..11
    const int64_t era = sqlpiFloorDivide(marchYear, 400);
    const int64_t yearOfEra = marchYear - era * 400;                 // 0..399
    const int64_t dayOfYear = (153 * marchMonth + 2) / 5 + day - 1;  // 0..365 for a day of the month
    const int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
    return era * SQLPI_CALENDAR_CYCLE + dayOfEra - 719468;
}

/* The number of a year's first day, for the years that fit a platform record. */
constexpr int64_t sqlpiFirstDayOfYear(int64_t year) noexcept {
    constexpr int64_t cycles = 6'000'000;  // lead over the negative years, for unsigned division costs less
    const auto before = static_cast<uint64_t>(year + cycles * 400 - 1);
    const uint64_t days = before * 365 + before / 4 - before / 100 + before / 400;
    return static_cast<int64_t>(days) - cycles * SQLPI_CALENDAR_CYCLE - 719162;
}

constexpr sqlpiDate sqlpiDateOfDay(int64_t number) noexcept {
    const int64_t shifted = number + 719468;
    const int64_t era = sqlpiFloorDivide(shifted, SQLPI_CALENDAR_CYCLE);
    const auto dayOfEra = static_cast<uint32_t>(shifted - era * SQLPI_CALENDAR_CYCLE);                     // 0..146096
    const uint32_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;  // 0..399
    const uint32_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);             // 0..365
    const uint32_t marchMonth = (5 * dayOfYear + 2) / 153;                                                 // 0..11
    const auto day = static_cast<int32_t>(dayOfYear - (153 * marchMonth + 2) / 5 + 1);                     // 1..31
    const auto month = static_cast<int32_t>(marchMonth < 10 ? marchMonth + 3 : marchMonth - 9);            // 1..12
    return {era * 400 + yearOfEra + (month <= 2 ? 1 : 0), month, day};
}

/* 0 is Sunday. */
constexpr int32_t sqlpiWeekday(int64_t number) noexcept {
    const int64_t shifted = number + 4;  // 1970-01-01 was a Thursday
    return static_cast<int32_t>(shifted - 7 * sqlpiFloorDivide(shifted, 7));
}

/* The month, day-of-month and day-of-week masks of one window, folded into bits. */
class sqlpiDayMasks {
public:
    explicit sqlpiDayMasks(const sqlpiMaintWindowInfo& info) noexcept;

    bool selects(int64_t day) const noexcept;
    bool selectsMonth(int32_t month) const noexcept { return (months_ >> (month - 1) & 1U) != 0; }

    /* Whether every day of a year is selected. Weekdays wander, so this depends on the year's length alone. */
    bool selectsWholeYear(int64_t year) const noexcept;

    /* The first day from `from` on that is selected (or, with `selected` false, that is not), at most `limit`. */
    int64_t next(int64_t from, int64_t limit, bool selected) const noexcept;

    /* Whether so many days in a row (1 or more) are selected from a day from `from` on, and before `limit`. */
    bool hasRun(int64_t from, int64_t limit, int64_t length) const noexcept;

private:
    uint32_t monthBits(int32_t month, int32_t days, int32_t firstWeekday) const noexcept;

    uint32_t months_ = 0;     // bit 0 is January
    uint32_t fromStart_ = 0;  // bit 0 is the first day of a month
    uint32_t fromEnd_ = 0;    // bit 30 is the last day of a month, bit 29 the one before
    uint64_t weekdays_ = 0;   // bit 0 is Sunday, repeated every 7 bits
};

#endif
