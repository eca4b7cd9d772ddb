#include "windows/sqlpiMaintWinDays.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>

namespace {

constexpr int32_t LONGEST_MONTH = 31;

constexpr uint32_t bitsOf(int32_t days) {
    return (uint32_t{1} << days) - 1;
}  // days 1..31

/* The flags as bits, the first as bit 0. */
template <size_t Count>
uint64_t bitsOfFlags(const bool (&flags)[Count]) {
    static_assert(Count <= 64 && sizeof(bool) == 1);
    constexpr uint64_t lowBits = 0x0101010101010101;
    constexpr uint64_t gather = 0x0102040810204080;  // a product's top byte collects the low bits of the eight bytes
    uint64_t eights[(Count + 7) / 8] = {};
    std::memcpy(eights, flags, Count);
    uint64_t bits = 0;
    for (size_t i = 0; i < std::size(eights); ++i) {
        uint64_t eight = eights[i];
        if constexpr (std::endian::native == std::endian::big) eight = __builtin_bswap64(eight);
        bits |= ((eight & lowBits) * gather >> 56) << (8 * i);
    }
    return bits;
}

uint32_t reverse(uint32_t bits) {
    bits = (bits >> 1 & 0x55555555U) | (bits & 0x55555555U) << 1;
    bits = (bits >> 2 & 0x33333333U) | (bits & 0x33333333U) << 2;
    bits = (bits >> 4 & 0x0F0F0F0FU) | (bits & 0x0F0F0F0FU) << 4;
    return __builtin_bswap32(bits);
}

/* A month of the calendar. */
struct Month {
    int64_t year;
    int32_t month;    // 1..12
    int64_t first;    // the number of its first day
    int32_t days;     // 28..31
    int32_t weekday;  // of its first day
};

Month monthOf(int64_t day, const sqlpiDate& date) {
    const int64_t first = day - (date.day - 1);
    return {date.year, date.month, first, sqlpiDaysOfMonth(date.year, date.month), sqlpiWeekday(first)};
}

/* Inline: a search that finds nothing spends its time here. */
[[gnu::always_inline]] inline void goToNext(Month* month) {
    month->first += month->days;
    month->weekday += month->days - 28;  // 0..9
    if (month->weekday >= SQLPI_WEEK_DAYS) month->weekday -= SQLPI_WEEK_DAYS;
    if (++month->month > SQLPI_MONTHS) {
        month->month = 1;
        ++month->year;
    }
    month->days = sqlpiDaysOfMonth(month->year, month->month);
}

}  // namespace

sqlpiDayMasks::sqlpiDayMasks(const sqlpiMaintWindowInfo& info) noexcept
    : months_(static_cast<uint32_t>(bitsOfFlags(info.monthOfYear))), weekdays_(bitsOfFlags(info.dayOfWeek)) {
    const uint64_t days = bitsOfFlags(info.dayOfMonth);
    fromStart_ = static_cast<uint32_t>(days) & bitsOf(LONGEST_MONTH);
    fromEnd_ = reverse(static_cast<uint32_t>(days >> LONGEST_MONTH)) >> (32 - LONGEST_MONTH);
    for (int weeks = 1; weeks < 8; weeks *= 2) weekdays_ |= weekdays_ << (weeks * SQLPI_WEEK_DAYS);
}

/* The selected days of a month, bit 0 being its first day. */
uint32_t sqlpiDayMasks::monthBits(int32_t month, int32_t days, int32_t firstWeekday) const noexcept {
    if (!selectsMonth(month)) return 0;
    const uint32_t byDate = fromStart_ | fromEnd_ >> (LONGEST_MONTH - days);
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
    const sqlpiDate date = sqlpiDateOfDay(from);
    uint32_t wanted = ~bitsOf(date.day - 1);
    for (Month month = monthOf(from, date); month.first < limit; goToNext(&month)) {
        const uint32_t bits = monthBits(month.month, month.days, month.weekday);
        wanted &= selected ? bits : ~bits & bitsOf(month.days);
        if (wanted != 0) return std::min(month.first + std::countr_zero(wanted), limit);
        wanted = ~uint32_t{0};
    }
    return limit;
}

bool sqlpiDayMasks::hasRun(int64_t from, int64_t limit, int64_t length) const noexcept {
    int64_t day = next(from, limit, true);
    while (day < limit) {
        const int64_t end = next(day + 1, day + length, false);
        if (end - day >= length) return true;
        day = next(end + 1, limit, true);
    }
    return false;
}
