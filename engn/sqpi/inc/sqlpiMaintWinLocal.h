/* Local time and back, for one search. Internal.
 *
 * The platform's mktime reads a local time that occurs twice, or never, with the UTC offset of whatever conversion the
 * process did before, in any thread. Here that offset is an argument, so that an answer depends on its question alone;
 * otherwise times are read as mktime reads them. mktime also looks at the zone's file again in each call; here that is
 * done once for all conversions of a search. */
#ifndef SQLPI_MAINT_WIN_LOCAL_H
#define SQLPI_MAINT_WIN_LOCAL_H

#include <cstdint>
#include <mutex>

#include "sqlpiCommonPolicy.h"
#include "sqlpiForks.h"
#include "sqlpiMaintWinDays.h"

inline constinit std::mutex sqlpiInLocalTime;
/* Held while the C runtime is asked about local time, so that no fork finds its lock taken by one of us. */
using sqlpiLocalTimeLock = sqlpiForkSafeLock<sqlpiInLocalTime>;

/* A moment and its local time. */
struct sqlpiLocalMoment {
    int64_t seconds; /* since the epoch */
    int64_t local;   /* date and time of day, counted as if they were UTC */
    bool dst;        /* daylight-saving time is in force */

    int64_t offset() const noexcept { return local - seconds; }
    int64_t day() const noexcept { return sqlpiFloorDivide(local, SQLPI_DAY_SECONDS); }
    int32_t timeOfDay() const noexcept { return static_cast<int32_t>(local - day() * SQLPI_DAY_SECONDS); }
};

/* A local date and time as somebody wrote it down: it may not exist, and hours, minutes and seconds may lie past their
 * ranges. */
struct sqlpiLocalAsk {
    int64_t day;
    sqlpiMaintWindowTime time;
};

/* What the clocks do not do for a while. */
enum class sqlpiClockRest {
    steady, /* they do not change */
    calm,   /* they are set by an hour at most, and forward for daylight-saving time alone */
};

class sqlpiLocalClock {
public:
    /* Takes note of the zone that is set now. */
    sqlpiLocalClock() noexcept;

    /* The local time of a moment; false when its year fits no platform record. */
    bool at(int64_t seconds, sqlpiLocalMoment* moment) const noexcept;

    /* The moment of a local time; `offset` is tried first. A time in the gap of a clock change is read with the
     * daylight-saving flag the other way round when the hour would change; false when the platform has no answer. */
    bool resolve(const sqlpiLocalAsk& ask, int64_t offset, sqlpiLocalMoment* moment) const noexcept;

    /* The platform's first answer, without that correction. */
    bool resolveOnce(const sqlpiLocalAsk& ask, int64_t offset, sqlpiLocalMoment* moment) const noexcept;

    /* Unless it is known that the clocks rest for so many days after `moment`: looks once whether they do so for some
     * days more. True when they do. While they are steady, the functions above need not ask the platform. */
    bool lookAhead(sqlpiClockRest rest, const sqlpiLocalMoment& moment, int64_t days) noexcept;

    /* How many whole days of that rest after `moment` are known. */
    int64_t restDays(sqlpiClockRest rest, const sqlpiLocalMoment& moment) const noexcept;

private:
    enum class Flag { any, standard, dst };

    bool ask(int64_t seconds, sqlpiLocalMoment* moment) const noexcept;
    bool probe(int64_t local, Flag wanted, int64_t offset, sqlpiLocalMoment* moment) const noexcept;
    bool resolve(const sqlpiLocalAsk& ask, int64_t offset, bool again, sqlpiLocalMoment* moment) const noexcept;
    bool isSteady(int64_t seconds) const noexcept { return steady_.contains(seconds); }

    /* What is known about one kind of rest: the moments at both ends. */
    struct Known {
        sqlpiLocalMoment from = {};
        sqlpiLocalMoment until = {-1, -1, false};
        int64_t stride = 0; /* hours that the next look ahead tries; 0: the rest ends about here */

        bool contains(int64_t seconds) const noexcept { return seconds >= from.seconds && seconds <= until.seconds; }
    };

    Known steady_ = {};
    Known calm_ = {};
};

#endif
