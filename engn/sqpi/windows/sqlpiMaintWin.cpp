#include "sqlpiMaintWin.h"

#include <algorithm>
#include <limits>

#include "base/sqlpiTrace.h"
#include "windows/sqlpiMaintWinDays.h"
#include "windows/sqlpiMaintWinSearch.h"

namespace {

constexpr int64_t OUTSIDE_HORIZON = 157680000;  // five years of 365 days

/* A clock change can put an occurrence before the moment it was searched from; the search then goes on so much later.
 */
constexpr int64_t BEYOND_CLOCK_CHANGE = 3600;

int64_t limitTime(const sqlpiMaintWindowDateTime& limit, int32_t openKind, tm* time) {
    if (limit.boundKind == openKind) return 0;
    *time = {};
    time->tm_year = limit.year - 1900;
    time->tm_mon = limit.month - 1;
    time->tm_mday = limit.day;
    time->tm_hour = limit.hour;
    time->tm_min = limit.minute;
    time->tm_sec = limit.second;
    return sqlpiAdjustTime(time);
}

void setTimeOfDay(tm* time, const sqlpiMaintWindowTime& value) {
    time->tm_hour = value.hour;
    time->tm_min = value.minute;
    time->tm_sec = value.second;
}

/* The next gap between occurrences. */
bool findOutside(sqlpiMaintWinSearch* search, OSSTime now, int32_t minDuration, OSSTime* start, OSSTime* end) {
    const int64_t endLimit = search->endLimit();
    OSSTime gap = {std::max(now.seconds, search->startLimit()), now.subSecond};
    if (endLimit != 0 && gap.seconds >= endLimit) return false;
    const int64_t horizon = gap.seconds + OUTSIDE_HORIZON;
    for (int64_t look = gap.seconds; look < horizon;) {
        sqlpiStretch window;
        if (!search->findInside(look, 1, &window)) {
            if (endLimit == 0) {
                *start = gap;
                *end = gap;
                return true;
            }
            if (gap.seconds >= endLimit || endLimit - gap.seconds < minDuration) return false;
            *start = gap;
            end->seconds = endLimit;
            return true;
        }
        if (window.start == window.end) return false;
        if (gap.seconds < window.start && window.start - gap.seconds >= minDuration) {
            *start = gap;
            *end = {window.start, 0};
            return true;
        }
        if (window.end > look) {
            gap = {window.end, 0};
            look = window.end;
        } else {
            look += BEYOND_CLOCK_CHANGE;
        }
    }
    return false;
}

}  // namespace

int32_t sqlpiFindMaintWindow(const sqlpiMaintWindowInfo* info, OSSTime now, int32_t minDuration, OSSTime* start,
                             OSSTime* end) noexcept {
    sqlpiFunctionTrace trace("sqlpiFindMaintWindow");
    if (info == nullptr || start == nullptr || end == nullptr) return trace.exit(0);
    if (info->outside == 0) return trace.exit(sqlpiFindInsideMaintWindow(info, now, minDuration, start, end));
    sqlpiMaintWinSearch search(*info);
    const bool found =
        search.isPossible() && search.hasLocalTime(now.seconds) && findOutside(&search, now, minDuration, start, end);
    return trace.exit(found ? 1 : 0);
}

int32_t sqlpiFindInsideMaintWindow(const sqlpiMaintWindowInfo* info, OSSTime now, int32_t minDuration, OSSTime* start,
                                   OSSTime* end) noexcept {
    sqlpiFunctionTrace trace("sqlpiFindInsideMaintWindow");
    if (info == nullptr || start == nullptr || end == nullptr) return trace.exit(0);
    sqlpiMaintWinSearch search(*info);
    sqlpiStretch found;
    if (!search.isPossible() || !search.findInside(now.seconds, minDuration, &found)) return trace.exit(0);
    start->seconds = found.start;
    end->seconds = found.end;
    return trace.exit(1);
}

int32_t sqlpiCheckWindowSize(const tm* day, const sqlpiMaintWindowInfo* info, int32_t* remaining, tm* windowEnd,
                             bool* carried) noexcept {
    sqlpiFunctionTrace trace("sqlpiCheckWindowSize");
    if (day == nullptr || info == nullptr || remaining == nullptr || windowEnd == nullptr || carried == nullptr)
        return trace.exit(0);
    *carried = false;
    if (day->tm_mday == std::numeric_limits<int>::max()) return trace.exit(0);
    const int32_t start = sqlpiTimeOfDay(info->startTime);
    const int32_t end = sqlpiTimeOfDay(info->endTime);
    const auto timeOfDay = [](const tm& time) {
        return int64_t{time.tm_hour} * 3600 + int64_t{time.tm_min} * 60 + time.tm_sec;
    };

    tm ending = *day;
    setTimeOfDay(&ending, info->endTime);
    if (start < end && info->endDateTime.boundKind != MAINT_WINDOW_THISANDFUTURE) {
        tm limit = {};
        (void)limitTime(info->endDateTime, MAINT_WINDOW_THISANDFUTURE, &limit);
        const bool sameDate =
            limit.tm_year == day->tm_year && limit.tm_mon == day->tm_mon && limit.tm_mday == day->tm_mday;
        if (sameDate && timeOfDay(limit) < end) {
            ending.tm_hour = limit.tm_hour;
            ending.tm_min = limit.tm_min;
            ending.tm_sec = limit.tm_sec;
        }
    }
    if (start == end || (start > end && timeOfDay(*day) >= start)) ++ending.tm_mday;

    // The day before its end: mktime reads the end, where a clock change doubles it, with the offset of the day.
    tm position = *day;
    const int64_t from = sqlpiAdjustTime(&position);
    const int64_t until = sqlpiAdjustTime(&ending);
    const int64_t length = until - from;
    if (length >= *remaining) {
        *windowEnd = ending;
        return trace.exit(until >= 0 ? 1 : 0);
    }
    if (start == end) {
        *carried = true;
        *remaining = sqlpiReduceDuration(*remaining, length);
    }
    return trace.exit(0);
}

int32_t sqlpiIs24x7MaintWindow(const sqlpiMaintWindowInfo* info) noexcept {
    return info != nullptr && sqlpiIsAlwaysOpen(*info, sqlpiDayMasks(*info)) ? 1 : 0;
}

int64_t sqlpiGetStartDateTime(const sqlpiMaintWindowInfo* info, tm* time) noexcept {
    if (info == nullptr || time == nullptr) return -1;
    return limitTime(info->startDateTime, MAINT_WINDOW_THISANDPRIOR, time);
}

int64_t sqlpiGetEndDateTime(const sqlpiMaintWindowInfo* info, tm* time) noexcept {
    if (info == nullptr || time == nullptr) return -1;
    return limitTime(info->endDateTime, MAINT_WINDOW_THISANDFUTURE, time);
}

int32_t sqlpiGetTotalDayInMonth(int32_t year, int32_t month) noexcept {
    if (month == 0) return 0;
    return month < 0 || month > SQLPI_MONTHS ? -1 : sqlpiDaysOfMonth(year, month);
}

int64_t sqlpiAdjustTime(tm* time) noexcept {
    if (time == nullptr) return -1;
    const tm asked = *time;
    constexpr int attempts = 2;
    int64_t seconds = -1;
    time->tm_isdst = -1;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        time->tm_sec = asked.tm_sec;
        time->tm_min = asked.tm_min;
        time->tm_hour = asked.tm_hour;
        time->tm_mday = asked.tm_mday;
        time->tm_mon = asked.tm_mon;
        time->tm_year = asked.tm_year;
        const sqlpiLocalTimeLock lock;
        seconds = mktime(time);
        if (time->tm_hour == asked.tm_hour) break;
    }
    return seconds;
}

void sqlpiConvertMaintWindow(sqlpiMaintWindowInfo* /*info*/) noexcept {}
