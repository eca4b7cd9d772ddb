#include "maintWinReference.h"

#include <algorithm>
#include <limits>

namespace maintWinReference {

namespace {

constexpr int64_t DAY = 86400;

int64_t civilSeconds(tm time) {
    return timegm(&time);
}

int32_t timeOfDay(const tm& time) {
    return time.tm_hour * 3600 + time.tm_min * 60 + time.tm_sec;
}
int32_t timeOfDay(const sqlpiMaintWindowTime& time) {
    return time.hour * 3600 + time.minute * 60 + time.second;
}

void setTimeOfDay(tm* time, const sqlpiMaintWindowTime& value) {
    time->tm_hour = value.hour;
    time->tm_min = value.minute;
    time->tm_sec = value.second;
}

bool sameDate(const tm& a, const tm& b) {
    return a.tm_year == b.tm_year && a.tm_mon == b.tm_mon && a.tm_mday == b.tm_mday;
}

int daysOfMonth(int year, int month) {
    switch (month) {
        case 0:
        case 2:
        case 4:
        case 6:
        case 7:
        case 9:
        case 11:
            return 31;
        case 3:
        case 5:
        case 8:
        case 10:
            return 30;
        case 1:
            return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 29 : 28;
        default:
            return -1;
    }
}

int32_t reduced(int32_t remaining, int64_t length) {
    return static_cast<int32_t>(std::min<int64_t>(remaining - length, std::numeric_limits<int32_t>::max()));
}

class Conversions {
public:
    explicit Conversions(Memory memory) : pinned_(memory == Memory::pinned) {}

    /* `stand`: the moment whose UTC offset mktime is to try first. */
    int64_t adjust(tm* time, int64_t stand) {
        if (!pinned_) return adjustTime(time);
        const int64_t wanted = offsetAt(stand);
        if (known_ != wanted) prime(stand, wanted);
        const int64_t asked = civilSeconds(*time);
        const int64_t seconds = adjustTime(time);
        known_ = UNKNOWN;
        if (seconds != -1 && seconds + time->tm_gmtoff == asked) known_ = time->tm_gmtoff;
        return seconds;
    }

    /* The platform's first answer alone. */
    int64_t adjustOnce(tm* time, int64_t stand) {
        if (pinned_) prime(stand, offsetAt(stand));
        known_ = UNKNOWN;
        time->tm_isdst = -1;
        return mktime(time);
    }

private:
    int64_t offsetAt(int64_t moment) {
        if (moment != lastMoment_) {
            tm local{};
            localtime_r(&moment, &local);
            lastMoment_ = moment;
            lastOffset_ = local.tm_gmtoff;
        }
        return lastOffset_;
    }

    void prime(int64_t stand, int64_t wanted) {
        for (int64_t distance = 0; distance < 3 * DAY; distance += DAY / 8) {
            for (const int64_t moment : {stand - distance, stand + distance}) {
                tm local{};
                localtime_r(&moment, &local);
                if (local.tm_gmtoff != wanted) continue;
                if (mktime(&local) == moment) return;
            }
        }
    }

    const bool pinned_;
    static constexpr int64_t UNKNOWN = std::numeric_limits<int64_t>::min();
    int64_t known_ = UNKNOWN;  // the UTC offset that mktime will try first
    int64_t lastMoment_ = std::numeric_limits<int64_t>::min();
    int64_t lastOffset_ = 0;
};

int64_t limitOf(Conversions& conversions, const sqlpiMaintWindowDateTime& limit, int32_t openKind, tm* time) {
    if (limit.boundKind == openKind) return 0;
    *time = {};
    time->tm_year = limit.year - 1900;
    time->tm_mon = limit.month - 1;
    time->tm_mday = limit.day;
    time->tm_hour = limit.hour;
    time->tm_min = limit.minute;
    time->tm_sec = limit.second;
    return conversions.adjust(time, civilSeconds(*time) - DAY);  // a limit that comes twice is the first of the two
}

}  // namespace

int64_t adjustTime(tm* time) {
    const tm kept = *time;
    time->tm_isdst = -1;
    int64_t seconds = -1;
    for (int attempt = 0; attempt < 2; ++attempt) {
        time->tm_sec = kept.tm_sec;
        time->tm_min = kept.tm_min;
        time->tm_hour = kept.tm_hour;
        time->tm_mday = kept.tm_mday;
        time->tm_mon = kept.tm_mon;
        time->tm_year = kept.tm_year;
        seconds = mktime(time);
        if (time->tm_hour == kept.tm_hour) break;
    }
    return seconds;
}

bool is24x7(const sqlpiMaintWindowInfo& info) {
    if (!info.defined) return false;
    if (info.endDateTime.boundKind != MAINT_WINDOW_THISANDFUTURE) return false;
    if (info.startTime.hour != info.endTime.hour || info.startTime.minute != info.endTime.minute ||
        info.startTime.second != info.endTime.second)
        return false;
    for (int month = 0; month < 12; ++month) {
        if (!info.monthOfYear[month]) return false;
        const int n = daysOfMonth(2000, month);
        for (int day = 1; day <= n; ++day)
            if (!info.dayOfMonth[day - 1] && !info.dayOfMonth[n - day + 31]) return false;
    }
    return std::all_of(info.dayOfWeek, info.dayOfWeek + 7, [](bool selected) { return selected; });
}

int32_t findInside(const sqlpiMaintWindowInfo& info, OSSTime now, int32_t minDuration, OSSTime* start, OSSTime* end,
                   Memory memory) {
    if (!info.defined) return 0;
    const bool always = is24x7(info);
    const int32_t S = timeOfDay(info.startTime);
    const int32_t E = timeOfDay(info.endTime);
    const bool sameTime = S == E;
    const bool endOpen = info.endDateTime.boundKind == MAINT_WINDOW_THISANDFUTURE;

    Conversions conversions(memory);
    tm position{};
    if (localtime_r(&now.seconds, &position) == nullptr) return 0;
    tm startTime{};
    tm endTime{};
    const int64_t startLimit = limitOf(conversions, info.startDateTime, MAINT_WINDOW_THISANDPRIOR, &startTime);
    const int64_t endLimit = limitOf(conversions, info.endDateTime, MAINT_WINDOW_THISANDFUTURE, &endTime);
    if (startLimit < 0 || endLimit < 0) return 0;

    int64_t stand = now.seconds;
    if (now.seconds < startLimit) {
        position = startTime;
        stand = startLimit;
    }

    bool lookBack = false;
    tm dayBefore{};
    if (!sameTime) {
        const int32_t T = timeOfDay(position);
        if (S < E) {
            if (T < S) {
                setTimeOfDay(&position, info.startTime);
            } else if (T > E) {
                position.tm_mday += 1;
                setTimeOfDay(&position, info.startTime);
            }
        } else if (T > E && T < S) {
            setTimeOfDay(&position, info.startTime);
        } else if (T <= E) {
            if (info.startDateTime.boundKind != MAINT_WINDOW_THISANDPRIOR && sameDate(position, startTime)) {
                setTimeOfDay(&position, info.startTime);
            } else {
                lookBack = true;
                dayBefore = position;
                dayBefore.tm_mday -= 1;
                tm asked = dayBefore;
                // A day before that the platform cannot place is the calendar's day before.
                if (conversions.adjust(&dayBefore, stand) == -1) {
                    timegm(&asked);
                    dayBefore = asked;
                }
            }
        }
    }

    int64_t t = conversions.adjust(&position, stand);
    if (t < 0) return 0;
    const int horizon = position.tm_year + 5;

    if (always) {
        start->seconds = t;
        end->seconds = t;
        return 1;
    }

    int32_t remaining = minDuration;
    bool tooShortSeen = false;
    bool carrying = false;
    bool extending = false;
    bool stepped = false;  // `position` is where an earlier step led
    int64_t stretchStart = 0;
    int64_t stretchEnd = 0;

    while (t < endLimit || (endOpen && position.tm_year <= horizon)) {
        if (!carrying && !extending) {
            remaining = minDuration;
            stretchStart = 0;
        }
        bool found = false;
        bool qualifies = false;
        const bool tooShortBefore = tooShortSeen;
        const tm day = lookBack ? dayBefore : position;
        if (!info.monthOfYear[day.tm_mon]) {
            if (!lookBack) {
                position.tm_mday = 1;
                position.tm_mon += 1;
            }
        } else if (!info.dayOfWeek[day.tm_wday]) {
            if (!lookBack) position.tm_mday += 1;
        } else {
            const int n = daysOfMonth(day.tm_year + 1900, day.tm_mon);
            if (n < 0) return 0;
            qualifies = info.dayOfMonth[day.tm_mday - 1] || info.dayOfMonth[n - day.tm_mday + 31];
            if (!qualifies && !lookBack) position.tm_mday += 1;
        }

        if (qualifies) {
            tm windowEnd = position;
            setTimeOfDay(&windowEnd, info.endTime);
            if (S < E && !endOpen && sameDate(position, endTime) && timeOfDay(endTime) < E) {
                windowEnd.tm_hour = endTime.tm_hour;
                windowEnd.tm_min = endTime.tm_min;
                windowEnd.tm_sec = endTime.tm_sec;
            }
            if (S >= E && (sameTime || timeOfDay(position) >= S)) windowEnd.tm_mday += 1;
            const int64_t endSeconds = conversions.adjust(&windowEnd, t);
            const int64_t length = endSeconds - t;
            if (length < remaining) {
                if (sameTime) {
                    remaining = reduced(remaining, length);
                    if (!carrying && !extending) stretchStart = t;
                    carrying = true;
                } else if (tooShortSeen) {
                    return 0;
                } else {
                    tooShortSeen = true;
                }
            } else {
                stretchEnd = endSeconds;
                if (!carrying && !extending) stretchStart = t;
                if (!sameTime) found = true;
                extending = sameTime;
            }
            if (!found && !lookBack) position.tm_mday += 1;
        } else if (extending) {
            found = true;
        } else {
            carrying = false;  // a stretch is contiguous
        }

        if (found) {
            if (t <= 0 || stretchStart <= 0 || stretchEnd <= 0) return 0;
            start->seconds = stretchStart;
            end->seconds = stretchEnd;
            return 1;
        }

        setTimeOfDay(&position, info.startTime);
        lookBack = false;
        const tm asked = position;
        int64_t next = conversions.adjust(&position, t);
        if (next < 0) return 0;
        // Where midnight falls into a clock change the platform may lead back to where the step began: without this,
        // for ever. The first answer lies behind the change. A stretch goes on meanwhile.
        if (stepped && next <= t && tooShortSeen == tooShortBefore) {
            position = asked;
            next = conversions.adjustOnce(&position, t);
            for (int later = 1; next <= t; ++later) {
                position = asked;
                position.tm_mday += later;
                next = conversions.adjust(&position, t);
                if (next < 0) return 0;
            }
            if (carrying) remaining = reduced(remaining, next - t);
        }
        t = next;
        stepped = true;
    }
    return 0;
}

int32_t find(const sqlpiMaintWindowInfo& info, OSSTime now, int32_t minDuration, OSSTime* start, OSSTime* end,
             Memory memory) {
    if (info.outside == 0) return findInside(info, now, minDuration, start, end, memory);
    if (!info.defined) return 0;
    tm ignored{};
    if (localtime_r(&now.seconds, &ignored) == nullptr) return 0;
    Conversions conversions(memory);
    const int64_t startLimit = limitOf(conversions, info.startDateTime, MAINT_WINDOW_THISANDPRIOR, &ignored);
    const int64_t endLimit = limitOf(conversions, info.endDateTime, MAINT_WINDOW_THISANDFUTURE, &ignored);
    if (startLimit < 0 || endLimit < 0) return 0;
    OSSTime t = {std::max(now.seconds, startLimit), now.subSecond};
    if (endLimit != 0 && t.seconds >= endLimit) return 0;
    const int64_t horizon = t.seconds + 157680000;
    OSSTime look = t;
    do {
        OSSTime windowStart = {};
        OSSTime windowEnd = {};
        if (findInside(info, look, 1, &windowStart, &windowEnd, memory) == 0) {
            if (endLimit == 0) {
                *start = t;
                *end = t;
                return 1;
            }
            if (t.seconds < endLimit && endLimit - t.seconds >= minDuration) {
                *start = t;
                end->seconds = endLimit;
                return 1;
            }
            return 0;
        }
        if (windowStart.seconds == windowEnd.seconds) return 0;
        if (t.seconds < windowStart.seconds && windowStart.seconds - t.seconds >= minDuration) {
            *start = t;
            *end = windowStart;
            return 1;
        }
        // A clock change can put an occurrence behind the moment asked for; asking again from its end never gets past
        // it.
        if (windowEnd.seconds > look.seconds) {
            t = windowEnd;
            look = t;
        } else {
            look.seconds += 3600;
        }
    } while (look.seconds < horizon);
    return 0;
}

}  // namespace maintWinReference
