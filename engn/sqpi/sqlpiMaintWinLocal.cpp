#include "sqlpiMaintWinLocal.h"

#include <algorithm>
#include <ctime>

namespace {

/* No zone changes its clocks and takes that back within fewer days. The shortest time between the two is an hour less
 * than a week (Recife in 2000, Gaza in years to come). */
constexpr int64_t LONGEST_STRIDE = 6;

int32_t hourOf(const sqlpiLocalMoment& moment) {
    return moment.timeOfDay() / 3600;
}

}  // namespace

sqlpiLocalClock::sqlpiLocalClock() noexcept {
    tzset();
}

bool sqlpiLocalClock::at(int64_t seconds, sqlpiLocalMoment* moment) const noexcept {
    if (!isSteady(seconds)) return ask(seconds, moment);
    *moment = {seconds, seconds + steady_.offset(), steady_.dst};
    return true;
}

bool sqlpiLocalClock::ask(int64_t seconds, sqlpiLocalMoment* moment) const noexcept {
    const time_t platformTime = seconds;
    tm time;
    if (localtime_r(&platformTime, &time) == nullptr) return false;
    const int64_t day = sqlpiDayNumber(int64_t{time.tm_year} + 1900, time.tm_mon + 1, time.tm_mday);
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

bool sqlpiLocalClock::lookAhead(const sqlpiLocalMoment& moment, int64_t days) noexcept {
    if (steadyDays(moment) >= days) return false;
    if (!isSteady(moment.seconds)) {
        steady_ = moment;
        steadyUntil_ = moment.seconds;
        stride_ = LONGEST_STRIDE;
    }
    if (stride_ == 0) return false;
    sqlpiLocalMoment later;
    const bool changes = !ask(steadyUntil_ + stride_ * SQLPI_DAY_SECONDS, &later) ||
                         later.offset() != steady_.offset() || later.dst != steady_.dst;
    if (!changes) steadyUntil_ = later.seconds;
    // Once a change is known to lie ahead, go up to it by halves.
    if (changes || stride_ < LONGEST_STRIDE) stride_ /= 2;
    return !changes;
}

int64_t sqlpiLocalClock::steadyDays(const sqlpiLocalMoment& moment) const noexcept {
    return isSteady(moment.seconds) ? (steadyUntil_ - moment.seconds) / SQLPI_DAY_SECONDS : 0;
}
