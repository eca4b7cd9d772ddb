/* Questions about maintenance windows whose answers are measured, and the ways to answer them. */
#ifndef BENCH_MAINT_WIN_WORK_H
#define BENCH_MAINT_WIN_WORK_H

#include <libical/ical.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <stdexcept>
#include <string>

#include "unit/maintWinCases.h"
#include "unit/maintWinReference.h"

namespace maintWinWork {

inline void setZone(const char* zone) {
    if (zone == nullptr) {
        unsetenv("TZ");
    } else {
        setenv("TZ", zone, 1);
    }
    tzset();
}

struct Question {
    sqlpiMaintWindowInfo info;
    OSSTime now;
    int32_t minDuration;
    const char* rule; /* the days as an iCalendar recurrence; null: not comparable */
};

/* Asked on Wednesday, 15 May 2024, 10:00 UTC. */
inline Question question(const std::string& name) {
    Question asked = {maintWinCases::dailyWindow({22, 0, 0}, {23, 0, 0}), {1715767200, 0}, 1800, nullptr};
    sqlpiMaintWindowInfo& info = asked.info;
    const auto clear = [](auto& mask) { std::fill(std::begin(mask), std::end(mask), false); };
    if (name == "daily") {
        asked.rule = "FREQ=DAILY";
    } else if (name == "lastDayOfMonth") {
        clear(info.dayOfMonth);
        info.dayOfMonth[31] = true;
        asked.rule = "FREQ=MONTHLY;BYMONTHDAY=-1";
    } else if (name == "mondayLeapDay") {  // next in 2044
        clear(info.dayOfMonth);
        clear(info.monthOfYear);
        clear(info.dayOfWeek);
        info.dayOfMonth[28] = info.monthOfYear[1] = info.dayOfWeek[1] = true;
        asked.rule = "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=29;BYDAY=MO;UNTIL=20291231T000000";
    } else if (name == "never") {
        clear(info.dayOfMonth);
        asked.rule = "FREQ=YEARLY;BYMONTH=2;BYMONTHDAY=30;UNTIL=20291231T000000";
    } else if (name == "allDayTooLong") {  // every day but 29 February, around the clock, for longer than that lasts
        info.startTime = info.endTime = {0, 0, 0};
        std::fill(info.dayOfMonth + 31, std::end(info.dayOfMonth), false);
        info.dayOfMonth[28] = false;
        asked.minDuration = std::numeric_limits<int32_t>::max();
    } else if (name == "allDayMonth") {  // the same without the 31st, for 31 days
        info.startTime = info.endTime = {0, 0, 0};
        std::fill(info.dayOfMonth + 31, std::end(info.dayOfMonth), false);
        info.dayOfMonth[30] = false;
        asked.minDuration = 31 * 86400;
    } else if (name == "weekendTooLong" || name == "weekendOfAFarPeriod") {  // an hour more than the longest weekend
        info.startTime = info.endTime = {0, 0, 0};
        clear(info.dayOfWeek);
        info.dayOfWeek[0] = info.dayOfWeek[6] = true;
        asked.minDuration = 50 * 3600;
        if (name == "weekendOfAFarPeriod") info.endDateTime = maintWinCases::dateTime(2400, 1, 1, 0, 0);
    } else if (name == "weekendAnHourTooLong") {  // its hour more never comes: October is left out
        info.startTime = info.endTime = {0, 0, 0};
        clear(info.dayOfWeek);
        info.dayOfWeek[0] = info.dayOfWeek[6] = true;
        info.monthOfYear[9] = false;
        asked.minDuration = 49 * 3600;
    } else if (name == "everyOtherDayTooLong") {  // Monday, Wednesday and Friday
        info.startTime = info.endTime = {0, 0, 0};
        clear(info.dayOfWeek);
        info.dayOfWeek[1] = info.dayOfWeek[3] = info.dayOfWeek[5] = true;
        asked.minDuration = 26 * 3600;
    } else if (name == "outsideTooLong") {  // steps over every day of five years
        info.outside = 1;
        asked.minDuration = 25 * 3600;
    } else {
        throw std::invalid_argument("no such question: " + name);
    }
    return asked;
}

inline int64_t askLibrary(const Question& asked) {
    OSSTime start = {};
    OSSTime end = {};
    return sqlpiFindMaintWindow(&asked.info, asked.now, asked.minDuration, &start, &end) + start.seconds + end.seconds;
}

inline int64_t askDayByDay(const Question& asked) {
    OSSTime start = {};
    OSSTime end = {};
    return maintWinReference::find(asked.info, asked.now, asked.minDuration, &start, &end,
                                   maintWinReference::Memory::asLeft) +
           start.seconds + end.seconds;
}

/* The first occurrence of the rule on or after that Wednesday: its start and end as moments. */
inline int64_t askIcal(const icalrecurrencetype& rule, icaltimezone* zone) {
    icaltimetype from = icaltime_null_time();
    from.year = 2024;
    from.month = 5;
    from.day = 15;
    from.hour = 22;
    icalrecur_iterator* iterator = icalrecur_iterator_new(rule, from);
    const icaltimetype start = icalrecur_iterator_next(iterator);
    icalrecur_iterator_free(iterator);
    if (icaltime_is_null_time(start) != 0) return 0;
    icaltimetype end = start;
    end.hour = 23;
    return icaltime_as_timet_with_zone(start, zone) + icaltime_as_timet_with_zone(end, zone);
}

}  // namespace maintWinWork

#endif
