#include "windows/sqlpiMaintWinSearch.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace {

constexpr int64_t HORIZON_YEARS = 5;

/* Days from the one before a window starts to its end. */
constexpr int64_t LONGEST_WINDOW = 3;

/* Days within which a walk begins: the next one's start may be written as hour 255. */
constexpr int64_t LATEST_BEGIN = 14;

/* Days that the first look ahead for clock changes covers with the window that starts on the last of them. */
constexpr int64_t FIRST_LOOK = 4;

/* Days that a stretch may last longer than its selected days are, with the one that two runs join over. */
constexpr int64_t SETBACK_DAYS = 4;

constexpr int64_t SHORT_OF_A_YEAR = 360;

/* Every run of days that is shorter than a year comes within so many. Leap days of one weekday are up to forty years
 * apart. */
constexpr int64_t ALL_SHORT_RUNS = 42 * 366;

/* Days up to which looking ahead for clock changes costs less than asking for the moments at their end. */
constexpr int64_t LONGEST_LOOK = 14;

sqlpiMaintWindowTime timeOfSeconds(int32_t seconds) {
    return {static_cast<uint8_t>(seconds / 3600), static_cast<uint8_t>(seconds / 60 % 60),
            static_cast<uint8_t>(seconds % 60)};
}

/* Whether a zone has moved its clocks forward between two moments other than for daylight-saving time. Somewhere in
 * between, times of day then do not exist, to which the platform gives no moment. */
bool haveClocksLeapt(const sqlpiLocalMoment& from, const sqlpiLocalMoment& to) {
    const int64_t difference = to.offset() - from.offset();
    if (from.dst == to.dst) return difference > 0;
    const int64_t size = std::abs(difference);
    return size != 1800 && size != 3600;  // two hours may be one for the summer and one for good
}

}  // namespace

int32_t sqlpiReduceDuration(int32_t remaining, int64_t length) noexcept {
    using Range = std::numeric_limits<int32_t>;
    return static_cast<int32_t>(std::clamp<int64_t>(remaining - length, Range::min(), Range::max()));
}

bool sqlpiIsAlwaysOpen(const sqlpiMaintWindowInfo& info, const sqlpiDayMasks& masks) noexcept {
    return info.defined && info.endDateTime.boundKind == MAINT_WINDOW_THISANDFUTURE &&
           info.startTime.hour == info.endTime.hour && info.startTime.minute == info.endTime.minute &&
           info.startTime.second == info.endTime.second && masks.selectsWholeYear(SQLPI_LEAP_YEAR);
}

/* Where the walk stands. */
struct sqlpiMaintWinSearch::Walk {
    sqlpiLocalMoment position = {};  // on the day to look at, at the window's start or later
    int64_t day = 0;                 // the day the masks are asked about
    int64_t lastDay = 0;             // days from this one on need not be looked at
    int64_t knownFrom = 0;           // from this day on, none is selected ..
    int64_t knownSelected = -1;      // .. before this one, which is
    int32_t remaining = 0;           // of the least duration, after the days of the stretch so far
    bool lookBack = false;           // `day` is the one before the position's
    bool stepped = false;            // the position is where a step led from a day that was not too short
    bool tooShortSeen = false;       // a day's window was too short
    std::optional<int64_t> start;    // of a stretch of 24-hour days that goes on
    std::optional<int64_t> end;      // the same, as far as it is long enough
};

sqlpiMaintWinSearch::sqlpiMaintWinSearch(const sqlpiMaintWindowInfo& info) noexcept
    : info_(info),
      start_(sqlpiTimeOfDay(info.startTime)),
      end_(sqlpiTimeOfDay(info.endTime)),
      sameTime_(start_ == end_),
      regular_(info.startTime.hour < 24 && info.startTime.minute < 60 && info.startTime.second < 60),
      masks_(info),
      alwaysOpen_(sqlpiIsAlwaysOpen(info, masks_)) {
    possible_ =
        info.defined &&
        (info.startDateTime.boundKind == MAINT_WINDOW_THISANDPRIOR || readLimit(info.startDateTime, &startLimit_)) &&
        (info.endDateTime.boundKind == MAINT_WINDOW_THISANDFUTURE || readLimit(info.endDateTime, &endLimit_));
}

bool sqlpiMaintWinSearch::hasLocalTime(int64_t moment) const noexcept {
    sqlpiLocalMoment ignored;
    return clock_.at(moment, &ignored);
}

/* A limit that occurs twice is the first of the two: it is read with the offset of the day before. */
bool sqlpiMaintWinSearch::readLimit(const sqlpiMaintWindowDateTime& limit,
                                    std::optional<sqlpiLocalMoment>* moment) const noexcept {
    const sqlpiLocalAsk ask = {sqlpiDayNumber(limit.year, limit.month, limit.day),
                               {limit.hour, limit.minute, limit.second}};
    const int64_t utc = ask.day * SQLPI_DAY_SECONDS + sqlpiTimeOfDay(ask.time);
    sqlpiLocalMoment dayBefore;
    sqlpiLocalMoment found;
    if (!clock_.at(utc - SQLPI_DAY_SECONDS, &dayBefore) || !clock_.resolve(ask, dayBefore.offset(), &found))
        return false;
    *moment = found;
    return found.seconds >= 0;
}

/* Of a walk that begins on a day of a year: the first day that it need not look at. */
int64_t sqlpiMaintWinSearch::lastDayFrom(int64_t day, int64_t year) const noexcept {
    if (endLimit_) return std::min(endLimit_->day() + 2, day + SQLPI_CALENDAR_CYCLE);
    return sqlpiFirstDayOfYear(year + HORIZON_YEARS + 1);
}

/* The first selected day from `day` on; at least the last day when there is none before. */
int64_t sqlpiMaintWinSearch::selectedFrom(Walk* walk, int64_t day) const noexcept {
    if (day < walk->knownFrom || day > walk->knownSelected) {
        walk->knownFrom = day;
        walk->knownSelected = masks_.next(day, walk->lastDay, true);
    }
    return walk->knownSelected;
}

/* Whether any days of the walk that are selected in a row may make a stretch of 24-hour days long enough. Two runs can
 * join over a day that a zone leaves out, and the clocks can be set back meanwhile. Runs of a year are not judged: they
 * could join more than once. */
bool sqlpiMaintWinSearch::mayLastLongEnough(const Walk& walk) const noexcept {
    if (start_ >= SQLPI_DAY_SECONDS) return true;  // days are stepped over
    const int64_t fewest = (walk.remaining / SQLPI_DAY_SECONDS - SETBACK_DAYS + 1) / 2;
    if (fewest < 1) return true;
    const int64_t first = walk.day - 1;
    return masks_.hasRun(first, std::min(walk.lastDay + 2, first + ALL_SHORT_RUNS), std::min(fewest, SHORT_OF_A_YEAR));
}

bool sqlpiMaintWinSearch::selectsDay(Walk* walk) const noexcept {
    return walk->day < walk->lastDay ? selectedFrom(walk, walk->day) == walk->day : masks_.selects(walk->day);
}

/* Sets the walk's first position: `now` or the start limit, moved to the window's start unless it lies within. */
bool sqlpiMaintWinSearch::begin(Walk* walk, int64_t now) noexcept {
    sqlpiLocalMoment& position = walk->position;
    if (!clock_.at(now, &position)) return false;
    if (startLimit_ && now < startLimit_->seconds) position = *startLimit_;
    if (position.seconds < 0) return false;

    const int64_t day = position.day();
    const sqlpiDate latest = sqlpiDateOfDay(day + LATEST_BEGIN);
    walk->lastDay = lastDayFrom(day + LATEST_BEGIN, latest.year);
    const int64_t selected = selectedFrom(walk, day);
    if (selected >= walk->lastDay && masks_.next(day - 2, day, true) >= day) return false;
    if (!alwaysOpen_ && selected <= day + FIRST_LOOK) clock_.lookAhead(position, LONGEST_WINDOW);

    const int32_t time = position.timeOfDay();
    sqlpiLocalAsk moved = {day, info_.startTime};
    bool moves = false;
    if (start_ < end_) {
        moves = time < start_ || time > end_;
        if (time > end_) moved.day = day + 1;
    } else if (start_ > end_ && time < start_) {
        // Up to the end lies the tail of a window that began the evening before, if it could begin then.
        moves = time > end_ || (startLimit_ && day == startLimit_->day());
        walk->lookBack = !moves;
    }
    if (moves && (!clock_.resolve(moved, position.offset(), &position) || position.seconds < 0)) return false;

    walk->day = position.day();
    if (endLimit_ || latest.month == 1) walk->lastDay = lastDayFrom(walk->day, sqlpiDateOfDay(walk->day).year);
    if (walk->lookBack) {
        sqlpiLocalMoment before;
        const bool exists = clock_.resolve({day - 1, timeOfSeconds(time)}, position.offset(), &before);
        walk->day = exists ? before.day() : day - 1;
    }
    return true;
}

bool sqlpiMaintWinSearch::isBeforeEnd(const Walk& walk) const noexcept {
    if (!endLimit_) return walk.position.day() < walk.lastDay;
    // Days in a row that are all selected end within the calendar's cycle, unless the start lies past midnight and
    // leads over the others.
    return walk.position.seconds < endLimit_->seconds && (regular_ || walk.position.day() < walk.lastDay);
}

/* The end of the window in which `position` lies, or which starts there; -1 when the platform has no such moment. */
int64_t sqlpiMaintWinSearch::windowEnd(const sqlpiLocalMoment& position) const noexcept {
    sqlpiLocalAsk ask = {position.day(), info_.endTime};
    if (start_ < end_) {
        if (endLimit_ && ask.day == endLimit_->day() && endLimit_->timeOfDay() < end_)
            ask.time = timeOfSeconds(endLimit_->timeOfDay());
    } else if (sameTime_ || position.timeOfDay() >= start_) {
        ++ask.day;
    }
    sqlpiLocalMoment end;
    return clock_.resolve(ask, position.offset(), &end) ? end.seconds : -1;
}

/* Looks at the window on a selected day. Returns false when that ends the search: with what it found or, when the
 * window is the second that is too short, without. */
bool sqlpiMaintWinSearch::takeDay(Walk* walk) noexcept {
    if (sameTime_ && !regular_) (void)clock_.restDays(walk->position, start_ / SQLPI_DAY_SECONDS + 2);
    const int64_t start = walk->position.seconds;
    const int64_t end = windowEnd(walk->position);
    const int64_t length = end - start;
    if (length >= walk->remaining) {
        if (!walk->start) walk->start = start;
        walk->end = end;
        return sameTime_;
    }
    if (sameTime_) {
        if (!walk->start) walk->start = start;
        walk->remaining = sqlpiReduceDuration(walk->remaining, length);
        return true;
    }
    if (walk->tooShortSeen) return false;
    walk->tooShortSeen = true;
    walk->stepped = false;
    return true;
}

/* Takes at once the 24-hour days from a selected one on that are selected, surely 24 hours long, and all lengthen the
 * stretch or all carry on. Returns false when there are none. */
bool sqlpiMaintWinSearch::takeSteadyDays(Walk* walk) noexcept {
    if (!sameTime_ || !regular_ || walk->position.timeOfDay() != start_) return false;
    if (walk->end && walk->remaining > SQLPI_DAY_SECONDS) return false;
    int64_t days = clock_.restDays(walk->position, 1);
    if (!walk->end) days = std::min<int64_t>(days, (int64_t{walk->remaining} - 1) / SQLPI_DAY_SECONDS);
    if (days <= 0) return false;
    const int64_t first = walk->position.day();
    days = masks_.next(first + 1, std::min(first + days, walk->lastDay), false) - first;
    if (days <= 0) return false;

    const int64_t length = days * SQLPI_DAY_SECONDS;
    if (walk->end) {
        walk->end = walk->position.seconds + length;
    } else {
        if (!walk->start) walk->start = walk->position.seconds;
        walk->remaining = sqlpiReduceDuration(walk->remaining, length);
    }
    walk->position.seconds += length;
    walk->position.local += length;
    walk->day = walk->position.day();
    return true;
}

/* Moves the position to the window's start on a later day, or on its own after a look back. */
bool sqlpiMaintWinSearch::advance(Walk* walk, bool selected) noexcept {
    const int64_t offset = walk->position.offset();
    const int64_t day = walk->position.day();
    if (walk->lookBack) return step(walk, day, offset);
    if (selected) return step(walk, day + 1, offset);

    const int64_t target = nextThatMayDo(walk);
    if (target >= walk->lastDay) return false;
    sqlpiLocalMoment before;
    if (target == following(day)) return step(walk, target, offset);
    if (!regular_ || !standBefore(walk->position, target, &before) || haveClocksLeapt(walk->position, before))
        return step(walk, followingWhileClocksRest(walk, target), offset);
    clock_.lookAhead(before, LONGEST_WINDOW);
    return step(walk, target, before.offset());
}

/* The day to look at after one that is not selected. */
int64_t sqlpiMaintWinSearch::following(int64_t day) const noexcept {
    const sqlpiDate date = sqlpiDateOfDay(day);
    return masks_.selectsMonth(date.month) ? day + 1 : sqlpiDayNumber(date.year, date.month + 1, 1);
}

/* The next selected day; of a 24-hour window, without those in a row that are surely too few, for the clocks rest. */
int64_t sqlpiMaintWinSearch::nextThatMayDo(Walk* walk) noexcept {
    const sqlpiLocalMoment& position = walk->position;
    const int64_t today = position.day();
    int64_t day = selectedFrom(walk, today + 1);
    if (!sameTime_ || !regular_ || position.timeOfDay() != start_) return day;
    const int64_t enough = (int64_t{walk->remaining} + SQLPI_DAY_SECONDS - 1) / SQLPI_DAY_SECONDS;
    int64_t rest = clock_.restDays(position, 0);
    while (day < walk->lastDay) {
        const int64_t end = masks_.next(day + 1, day + enough, false);
        if (end - day >= enough) break;
        if (const int64_t wanted = end - today; wanted > rest) {
            if (wanted - rest > LONGEST_LOOK) break;
            rest = clock_.restDays(position, wanted);
            if (wanted > rest) break;
        }
        day = selectedFrom(walk, end + 1);
    }
    return day;
}

/* Where a walk over the days stands last before it reaches `target`. It passes over an unselected month in one step. */
bool sqlpiMaintWinSearch::standBefore(const sqlpiLocalMoment& position, int64_t target,
                                      sqlpiLocalMoment* stand) const noexcept {
    int64_t day = target - 1;
    const sqlpiDate date = sqlpiDateOfDay(day);
    if (!masks_.selectsMonth(date.month)) day = std::max(day - (date.day - 1), position.day());
    return clock_.resolve({day, info_.startTime}, position.offset(), stand);
}

/* The day to look at after those that are not selected and on which the clocks surely rest. A start past midnight leads
 * over days, and maybe over `target`. */
int64_t sqlpiMaintWinSearch::followingWhileClocksRest(Walk* walk, int64_t target) noexcept {
    const int64_t today = walk->position.day();
    const int64_t led = start_ / SQLPI_DAY_SECONDS;
    const int64_t steady = today + clock_.restDays(walk->position, target + led - today) - 1;
    int64_t day = following(today);
    for (;;) {
        const int64_t visited = day + led;
        if (visited > target) target = selectedFrom(walk, visited);
        if (visited == target || visited > steady) return day;
        day = following(visited);
    }
}

bool sqlpiMaintWinSearch::step(Walk* walk, int64_t day, int64_t offset) const noexcept {
    const int64_t from = walk->position.seconds;
    sqlpiLocalAsk ask = {day, info_.startTime};
    sqlpiLocalMoment next;
    if (!clock_.resolve(ask, offset, &next) || next.seconds < 0) return false;
    if (next.seconds <= from && walk->stepped) {
        // The day begins in a clock change, and the platform's correction leads back to the evening where this step
        // began: for ever, so do without it. A stretch goes on meanwhile.
        if (!clock_.resolveOnce(ask, offset, &next)) next.seconds = from;
        while (next.seconds <= from) {
            ++ask.day;
            if (!clock_.resolve(ask, offset, &next) || next.seconds < 0) return false;
        }
        if (walk->start) walk->remaining = sqlpiReduceDuration(walk->remaining, next.seconds - from);
    }
    walk->position = next;
    walk->day = next.day();
    walk->lookBack = false;
    walk->stepped = true;
    return true;
}

bool sqlpiMaintWinSearch::findInside(int64_t now, int32_t minDuration, sqlpiStretch* found) noexcept {
    Walk walk;
    walk.remaining = minDuration;
    if (!begin(&walk, now)) return false;
    if (alwaysOpen_) {
        *found = {walk.position.seconds, walk.position.seconds};
        return true;
    }
    // A stretch of 24-hour days ends on a day that is not selected.
    if (sameTime_ && endLimit_ && masks_.selectsWholeYear(SQLPI_LEAP_YEAR) &&
        masks_.selectsWholeYear(SQLPI_LEAP_YEAR + 1))
        return false;
    if (sameTime_ && !mayLastLongEnough(walk)) return false;
    while (isBeforeEnd(walk)) {
        const bool selected = selectsDay(&walk);
        if (selected && takeSteadyDays(&walk)) continue;
        if (selected ? !takeDay(&walk) : walk.end.has_value()) {
            if (!walk.end) return false;
            *found = {*walk.start, *walk.end};
            return walk.position.seconds > 0 && found->start > 0 && found->end > 0;
        }
        if (!selected) {
            walk.start.reset();  // a stretch is contiguous
            walk.remaining = minDuration;
        }
        if (!advance(&walk, selected)) return false;
    }
    return false;
}
