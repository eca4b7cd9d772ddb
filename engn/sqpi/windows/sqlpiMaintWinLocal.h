/* Local time and back, for one search. Internal.
 *
 * The platform's mktime reads a local time that occurs twice, or never, with the UTC offset of whatever conversion the
 * process did before, in any thread. Here that offset is an argument, so that an answer depends on its question alone;
 * otherwise times are read as mktime reads them. mktime also looks at the zone's file again in each call; here that is
 * done once for all conversions of a search. */
#ifndef SQLPI_MAINT_WIN_LOCAL_H
#define SQLPI_MAINT_WIN_LOCAL_H

#include <cstdint>
#include <memory>
#include <mutex>

#include "base/sqlpiForks.h"
#include "sqlpiCommonPolicy.h"
#include "windows/sqlpiMaintWinDays.h"

inline constinit std::mutex sqlpiInLocalTime;
/* Held while the C runtime is asked about local time, so that no fork finds its lock taken by one of us. */
using sqlpiLocalTimeLock = sqlpiForkSafeLock<sqlpiInLocalTime>;

/* A moment and its local time. */
struct sqlpiLocalMoment {
    int64_t seconds; /* since the epoch */
    int64_t local;   /* date and time of day, counted as if they were UTC */
    bool dst;        /* daylight-saving time is in force */

    int64_t offset() const noexcept { return local - seconds; }
    bool hasClocksOf(const sqlpiLocalMoment& other) const noexcept {
        return offset() == other.offset() && dst == other.dst;
    }
    int64_t day() const noexcept { return sqlpiFloorDivide(local, SQLPI_DAY_SECONDS); }
    int32_t timeOfDay() const noexcept { return static_cast<int32_t>(local - day() * SQLPI_DAY_SECONDS); }
};

/* A local date and time as somebody wrote it down: it may not exist, and hours, minutes and seconds may lie past their
 * ranges. */
struct sqlpiLocalAsk {
    int64_t day;
    sqlpiMaintWindowTime time;
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

    /* Unless it is known that the clocks do not change for so many days after `moment`: looks once whether they rest
     * for some days more. True when they do. While they rest, the functions above need not ask the platform. */
    bool lookAhead(const sqlpiLocalMoment& moment, int64_t days) noexcept;

    /* Looks ahead for so many days. For how many whole days after `moment` the clocks surely rest. */
    int64_t restDays(const sqlpiLocalMoment& moment, int64_t days) noexcept;

private:
    enum class Flag { any, standard, dst };

    bool ask(int64_t seconds, sqlpiLocalMoment* moment) const noexcept;
    bool probe(int64_t local, Flag wanted, int64_t offset, sqlpiLocalMoment* moment) const noexcept;
    bool resolve(const sqlpiLocalAsk& ask, int64_t offset, bool again, sqlpiLocalMoment* moment) const noexcept;
    bool isSteady(int64_t seconds) const noexcept {
        return seconds >= rest_.from.seconds && seconds <= rest_.until.seconds;
    }

    /* A stretch of a year without a change, in seconds since the year's first. */
    struct YearRest {
        int64_t from;
        int64_t until; /* its last second */
        int64_t offset;
        bool dst;
    };
    /* What the clocks do in the years that begin on one weekday and are as long as each other. */
    struct YearRests {
        static constexpr int MOST = 8;

        bool learnt = false;
        int count = 0; /* 0: not known */
        YearRest rests[MOST] = {};
    };
    static constexpr int YEAR_KINDS = 14;
    struct RuleYear;

    const YearRest* restByRule(const RuleYear& year, int64_t seconds) const noexcept;
    void learn(const RuleYear& year) noexcept;

    /* What is known about the clocks around a moment that was asked about. */
    struct {
        sqlpiLocalMoment from = {};
        sqlpiLocalMoment until = {-1, -1, false};
        int64_t stride = 0; /* hours that the next look ahead tries; 0: the rest ends about here */
    } rest_;
    std::unique_ptr<YearRests[]> years_; /* for each kind, once they matter */
};

#endif
