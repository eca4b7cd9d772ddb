#include "sqlpiMaintWinLocal.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

namespace {

constexpr int64_t HOUR = 3600;

/* No zone changes its clocks and takes that back within fewer hours: an hour less than a week is the shortest time
 * between the two (Recife in 2000, Gaza in years to come), so that one of two moments closer to each other shows it. */
constexpr int64_t STEADY_STRIDE = int64_t{7} * 24 - 2;

/* The same for clocks that are not calm: nineteen days are the shortest time between the two (Catamarca in 2004), but
 * for Tucuman, which moved its clocks back by an hour and forward again within twelve. */
constexpr int64_t CALM_STRIDE = int64_t{18} * 24;

/* A stride that is not halved any more. */
constexpr int64_t LEAST_STRIDE = 100;

/* Whether the difference of two moments, not further apart than that, comes of calm clocks. */
bool isCalmDifference(const sqlpiLocalMoment& from, const sqlpiLocalMoment& to) {
    const int64_t change = to.offset() - from.offset();
    return from.dst == to.dst ? change == 0 : std::abs(change) <= HOUR;
}

bool toLocalTime(time_t seconds, tm* time) {
    const sqlpiLocalTimeLock lock;
    return localtime_r(&seconds, time) != nullptr;
}

int32_t hourOf(const sqlpiLocalMoment& moment) {
    return moment.timeOfDay() / 3600;
}

}  // namespace

sqlpiLocalClock::sqlpiLocalClock() noexcept {
    const sqlpiLocalTimeLock lock;
    tzset();
}

bool sqlpiLocalClock::at(int64_t seconds, sqlpiLocalMoment* moment) const noexcept {
    if (!isSteady(seconds)) return ask(seconds, moment);
    *moment = {seconds, seconds + steady_.from.offset(), steady_.from.dst};
    return true;
}

bool sqlpiLocalClock::ask(int64_t seconds, sqlpiLocalMoment* moment) const noexcept {
    const time_t platformTime = seconds;
    tm time;
    if (!toLocalTime(platformTime, &time)) return false;
    const int64_t day = sqlpiFirstDayOfYear(int64_t{time.tm_year} + 1900) + time.tm_yday;
    moment->seconds = seconds;
    moment->local = day * SQLPI_DAY_SECONDS + int64_t{time.tm_hour} * 3600 + int64_t{time.tm_min} * 60 + time.tm_sec;
    moment->dst = time.tm_isdst > 0;
    return true;
}

/* mktime's way: guess, correct the guess by the error of its local time, until there is none or the guesses go back and
 * forth over a gap. Then the one with another flag than the wanted one is the answer, or, with none wanted, the one in
 * daylight-saving time. */
bool sqlpiLocalClock::probe(int64_t local, Flag wanted, int64_t offset, sqlpiLocalMoment* moment) const noexcept {
    constexpr int mostProbes = 6;
    int64_t guess = local - offset;
    int64_t last = guess;
    int64_t beforeLast = guess;
    bool lastDst = false;
    for (int probes = 0; probes < mostProbes; ++probes) {
        if (!at(guess, moment)) return false;
        const int64_t error = local - moment->local;
        if (error == 0) return true;
        const bool backAndForth = guess == beforeLast && guess != last;
        const bool takesThis = wanted == Flag::any ? !lastDst || moment->dst : (wanted == Flag::dst) != moment->dst;
        if (backAndForth && takesThis) return true;
        beforeLast = last;
        last = guess;
        lastDst = moment->dst;
        guess += error;
    }
    return false;
}

bool sqlpiLocalClock::resolve(const sqlpiLocalAsk& ask, int64_t offset, bool again,
                              sqlpiLocalMoment* moment) const noexcept {
    // Like a leap second, seconds past 59 are added to the moment that has been found.
    const int32_t excess = std::max(ask.time.second - 59, 0);
    const int64_t local = ask.day * SQLPI_DAY_SECONDS + sqlpiTimeOfDay(ask.time) - excess;
    if (excess == 0 && offset == steady_.from.offset() && isSteady(local - offset)) {
        *moment = {local - offset, local, steady_.from.dst};
        return true;
    }
    const auto addExcess = [&] { return excess == 0 || at(moment->seconds + excess, moment); };
    if (!probe(local, Flag::any, offset, moment)) return false;
    const bool exists = moment->local == local;
    const int64_t foundOffset = local - moment->seconds;
    if (!addExcess()) return false;
    if (exists || !again || hourOf(*moment) == ask.time.hour) return true;
    return probe(local, moment->dst ? Flag::dst : Flag::standard, foundOffset, moment) && addExcess();
}

bool sqlpiLocalClock::resolve(const sqlpiLocalAsk& ask, int64_t offset, sqlpiLocalMoment* moment) const noexcept {
    return resolve(ask, offset, true, moment);
}

bool sqlpiLocalClock::resolveOnce(const sqlpiLocalAsk& ask, int64_t offset, sqlpiLocalMoment* moment) const noexcept {
    return resolve(ask, offset, false, moment);
}

bool sqlpiLocalClock::lookAhead(sqlpiClockRest rest, const sqlpiLocalMoment& moment, int64_t days) noexcept {
    const bool isCalm = rest == sqlpiClockRest::calm;
    const int64_t longest = isCalm ? CALM_STRIDE : STEADY_STRIDE;
    Known& known = isCalm ? calm_ : steady_;
    if (known.contains(moment.seconds) && known.until.seconds - moment.seconds >= days * SQLPI_DAY_SECONDS)
        return false;
    if (!known.contains(moment.seconds)) known = {moment, moment, longest};
    if (isCalm && isSteady(moment.seconds) && steady_.until.seconds > known.until.seconds) known.until = steady_.until;
    if (known.stride == 0) return false;
    sqlpiLocalMoment later;
    bool rests = ask(known.until.seconds + known.stride * HOUR, &later);
    if (isCalm)
        rests = rests && isCalmDifference(known.until, later) &&
                std::abs(later.offset() - known.from.offset()) <= HOUR;  // two small changes are a large one
    else
        rests = rests && later.offset() == known.from.offset() && later.dst == known.from.dst;
    if (rests) known.until = later;
    // Once a change is known to lie ahead, go up to it by halves, as long as that is worth the asking.
    if (!rests || known.stride < longest) known.stride = known.stride < LEAST_STRIDE ? 0 : known.stride / 2;
    return rests;
}

int64_t sqlpiLocalClock::restDays(sqlpiClockRest rest, const sqlpiLocalMoment& moment) const noexcept {
    const Known& known = rest == sqlpiClockRest::calm ? calm_ : steady_;
    return known.contains(moment.seconds) ? (known.until.seconds - moment.seconds) / SQLPI_DAY_SECONDS : 0;
}
