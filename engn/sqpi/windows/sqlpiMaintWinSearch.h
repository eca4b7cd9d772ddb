/* The search for the next occurrence of one maintenance window. Internal.
 *
 * The answer is that of a walk over the days, one by one, which asks the platform for the moment of each: on every day
 * the masks decide, and then the window on it. The search goes straight to the days that matter. */
#ifndef SQLPI_MAINT_WIN_SEARCH_H
#define SQLPI_MAINT_WIN_SEARCH_H

#include <cstdint>
#include <optional>

#include "sqlpiCommonPolicy.h"
#include "windows/sqlpiMaintWinDays.h"
#include "windows/sqlpiMaintWinLocal.h"

/* In seconds since the epoch. Start equal to end: open from there, with no end. */
struct sqlpiStretch {
    int64_t start;
    int64_t end;
};

/* `remaining` less the difference of two moments, within the range of a duration. */
int32_t sqlpiReduceDuration(int32_t remaining, int64_t length) noexcept;

/* Whether the window is open on every day around the clock, with no end. February counts 29 days. */
bool sqlpiIsAlwaysOpen(const sqlpiMaintWindowInfo& info, const sqlpiDayMasks& masks) noexcept;

/* One question, or several about the same window. REQUIRES: the window outlives it. */
class sqlpiMaintWinSearch {
public:
    explicit sqlpiMaintWinSearch(const sqlpiMaintWindowInfo& info) noexcept;

    /* Whether there is anything to search: a defined window, and limits that are times from 1970 on. */
    bool isPossible() const noexcept { return possible_; }

    /* Whether the platform can tell the local time of a moment. */
    bool hasLocalTime(int64_t moment) const noexcept;

    /* The limits of the validity period; 0 where it is open. */
    int64_t startLimit() const noexcept { return startLimit_ ? startLimit_->seconds : 0; }
    int64_t endLimit() const noexcept { return endLimit_ ? endLimit_->seconds : 0; }

    /* The next occurrence from `now` on that lasts at least `minDuration` seconds; false when there is none.
     * REQUIRES: isPossible(). */
    bool findInside(int64_t now, int32_t minDuration, sqlpiStretch* found) noexcept;

private:
    struct Walk;

    bool readLimit(const sqlpiMaintWindowDateTime& limit, std::optional<sqlpiLocalMoment>* moment) const noexcept;
    int64_t lastDayFrom(int64_t day, int64_t year) const noexcept;
    int64_t selectedFrom(Walk* walk, int64_t day) const noexcept;
    bool mayLastLongEnough(const Walk& walk) const noexcept;
    bool selectsDay(Walk* walk) const noexcept;
    bool begin(Walk* walk, int64_t now) noexcept;
    bool isBeforeEnd(const Walk& walk) const noexcept;
    int64_t windowEnd(const sqlpiLocalMoment& position) const noexcept;
    bool takeDay(Walk* walk) noexcept;
    bool takeSteadyDays(Walk* walk) noexcept;
    bool advance(Walk* walk, bool selected) noexcept;
    int64_t following(int64_t day) const noexcept;
    int64_t nextThatMayDo(Walk* walk) noexcept;
    bool standBefore(const sqlpiLocalMoment& position, int64_t target, sqlpiLocalMoment* stand) const noexcept;
    int64_t followingWhileClocksRest(Walk* walk, int64_t target) noexcept;
    bool step(Walk* walk, int64_t day, int64_t offset) const noexcept;

    const sqlpiMaintWindowInfo& info_;
    const int32_t start_;  // times of day
    const int32_t end_;
    const bool sameTime_;  // a 24-hour window
    const bool regular_;   // the start is a time of day that a clock shows
    const sqlpiDayMasks masks_;
    const bool alwaysOpen_;
    sqlpiLocalClock clock_;
    std::optional<sqlpiLocalMoment> startLimit_;
    std::optional<sqlpiLocalMoment> endLimit_;
    bool possible_ = false;
};

#endif
