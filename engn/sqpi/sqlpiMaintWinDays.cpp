#include "sqlpiMaintWinDays.h"

#include <algorithm>
#include <bit>

namespace {

constexpr uint32_t bitsOf(int32_t days) {
    return (uint32_t{1} << days) - 1;
}  // days 1..31

}  // namespace

sqlpiDayMasks::sqlpiDayMasks(const sqlpiMaintWindowInfo& info) noexcept {
    constexpr int longestMonth = SQLPI_MONTH_DAYS / 2;
    for (int month = 0; month < SQLPI_MONTHS; ++month) months_ |= uint32_t{info.monthOfYear[month]} << month;
    for (int day = 0; day < longestMonth; ++day) {
        fromStart_ |= uint32_t{info.dayOfMonth[day]} << day;
        fromEnd_ |= uint32_t{info.dayOfMonth[longestMonth + day]} << (longestMonth - 1 - day);
    }
    for (int weekday = 0; weekday < SQLPI_WEEK_DAYS; ++weekday)
        weekdays_ |= uint64_t{info.dayOfWeek[weekday]} << weekday;
    for (int weeks = 1; weeks < 8; weeks *= 2) weekdays_ |= weekdays_ << (weeks * SQLPI_WEEK_DAYS);
}

/* The selected days of a month, bit 0 being its first day. */
uint32_t sqlpiDayMasks::monthBits(int32_t month, int32_t days, int32_t firstWeekday) const noexcept {
    if (!selectsMonth(month)) return 0;
    const uint32_t byDate = fromStart_ | fromEnd_ >> (31 - days);
    return byDate & static_cast<uint32_t>(weekdays_ >> firstWeekday) & bitsOf(days);
}

bool sqlpiDayMasks::selects(int64_t day) const noexcept {
    const sqlpiDate date = sqlpiDateOfDay(day);
    const int64_t first = day - (date.day - 1);
    const uint32_t bits = monthBits(date.month, sqlpiDaysOfMonth(date.year, date.month), sqlpiWeekday(first));
    return (bits >> (date.day - 1) & 1U) != 0;
}

bool sqlpiDayMasks::selectsWholeYear(int64_t year) const noexcept {
    for (int32_t month = 1; month <= SQLPI_MONTHS; ++month) {
        const int32_t days = sqlpiDaysOfMonth(year, month);
        if (monthBits(month, days, 0) != bitsOf(days)) return false;
    }
    return true;
}

int64_t sqlpiDayMasks::next(int64_t from, int64_t limit, bool selected) const noexcept {
    if (from >= limit) return limit;
    sqlpiDate date = sqlpiDateOfDay(from);
    int64_t first = from - (date.day - 1);
    int32_t weekday = sqlpiWeekday(first);
    uint32_t past = bitsOf(date.day - 1);
    while (first < limit) {
        const int32_t days = sqlpiDaysOfMonth(date.year, date.month);
        uint32_t bits = monthBits(date.month, days, weekday);
        if (!selected) bits = ~bits & bitsOf(days);
        bits &= ~past;
        if (bits != 0) return std::min(first + std::countr_zero(bits), limit);
        past = 0;
        first += days;
        weekday = (weekday + days) % SQLPI_WEEK_DAYS;
        if (++date.month > SQLPI_MONTHS) {
            date.month = 1;
            ++date.year;
        }
    }
    return limit;
}
