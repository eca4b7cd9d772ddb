#include "windows/sqlpiMaintWinLocal.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <new>

namespace {

constexpr int64_t HOUR = 3600;

/* No zone changes its clocks and takes that back within fewer hours: an hour less than a week is the shortest time
 * between the two (Recife in 2000, Gaza in years to come), so that one of two moments closer to each other shows it. */
constexpr int64_t STRIDE = int64_t{7} * 24 - 2;

/* A stride that is not halved any more. */
constexpr int64_t LEAST_STRIDE = 40;

/* From this year on no zone has a table of its own changes (Gaza's and Casablanca's end in 2087): clocks follow a rule
 * about months, weekdays and days of the year, by which years of one kind are alike. */
constexpr int64_t FIRST_RULE_YEAR = 2101;
constexpr int64_t FIRST_RULE_MOMENT = sqlpiDayNumber(FIRST_RULE_YEAR, 1, 1) * SQLPI_DAY_SECONDS;
constexpr int64_t LAST_RULE_MOMENT = sqlpiDayNumber(100000, 1, 1) * SQLPI_DAY_SECONDS;

bool followsRule(int64_t seconds) {
    return seconds >= FIRST_RULE_MOMENT && seconds < LAST_RULE_MOMENT;
}

bool toLocalTime(time_t seconds, tm* time) {
    const sqlpiLocalTimeLock lock;
    return localtime_r(&seconds, time) != nullptr;
}

size_t kindOfYear(int64_t year) {
    return static_cast<size_t>(2 * sqlpiWeekday(sqlpiFirstDayOfYear(year)) + (sqlpiIsLeapYear(year) ? 1 : 0));
}

int32_t hourOf(const sqlpiLocalMoment& moment) {
    return moment.timeOfDay() / 3600;
}

}  // namespace

/* The year, in universal time, of a moment from FIRST_RULE_YEAR on. */
struct sqlpiLocalClock::RuleYear {
    int64_t start;  // seconds
    size_t kind;

    explicit RuleYear(int64_t seconds) noexcept {
        const int64_t year = sqlpiDateOfDay(sqlpiFloorDivide(seconds, SQLPI_DAY_SECONDS)).year;
        start = sqlpiFirstDayOfYear(year) * SQLPI_DAY_SECONDS;
        kind = kindOfYear(year);
    }
};

sqlpiLocalClock::sqlpiLocalClock() noexcept {
    const sqlpiLocalTimeLock lock;
    tzset();
}

bool sqlpiLocalClock::at(int64_t seconds, sqlpiLocalMoment* moment) const noexcept {
    if (isSteady(seconds)) {
        *moment = {seconds, seconds + rest_.from.offset(), rest_.from.dst};
        return true;
    }
    if (years_ != nullptr && followsRule(seconds)) {
        if (const YearRest* rest = restByRule(RuleYear(seconds), seconds)) {
            *moment = {seconds, seconds + rest->offset, rest->dst};
            return true;
        }
    }
    return ask(seconds, moment);
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
    if (excess == 0 && offset == rest_.from.offset() && isSteady(local - offset)) {
        *moment = {local - offset, local, rest_.from.dst};
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

/* What the rules say of a moment in a year; null when they have not been learnt. */
const sqlpiLocalClock::YearRest* sqlpiLocalClock::restByRule(const RuleYear& year, int64_t seconds) const noexcept {
    if (years_ == nullptr || years_[year.kind].count == 0) return nullptr;
    const YearRest* rest = years_[year.kind].rests;
    while (rest->until < seconds - year.start) ++rest;
    return rest;
}

/* Asks about the clocks of a whole year of this kind, once. Where there is no memory for that they stay unknown. */
void sqlpiLocalClock::learn(const RuleYear& year) noexcept {
    if (years_ == nullptr) years_.reset(new (std::nothrow) YearRests[YEAR_KINDS]);
    if (years_ == nullptr || years_[year.kind].learnt) return;
    YearRests& known = years_[year.kind];
    known.learnt = true;
    int64_t example = FIRST_RULE_YEAR;
    while (kindOfYear(example) != year.kind) ++example;
    const int64_t start = sqlpiFirstDayOfYear(example) * SQLPI_DAY_SECONDS;
    const int64_t last = sqlpiFirstDayOfYear(example + 1) * SQLPI_DAY_SECONDS - 1;
    int count = 0;
    for (int64_t from = start; from <= last; ++count) {
        sqlpiLocalMoment first;
        sqlpiLocalMoment other;
        if (count == YearRests::MOST || !ask(from, &first)) return;
        int64_t until = from;
        int64_t change = last + 1;  // or later than the first moment that differs
        while (change - until > 1) {
            const bool seen = change <= last;
            const int64_t next = seen ? until + (change - until) / 2 : std::min(until + STRIDE * HOUR, last);
            if (!ask(next, &other)) return;
            (other.hasClocksOf(first) ? until : change) = next;
        }
        known.rests[count] = {from - start, until - start, first.offset(), first.dst};
        from = change;
    }
    known.count = count;
}

bool sqlpiLocalClock::lookAhead(const sqlpiLocalMoment& moment, int64_t days) noexcept {
    if (!isSteady(moment.seconds)) rest_ = {moment, moment, STRIDE};
    if (rest_.until.seconds - moment.seconds >= days * SQLPI_DAY_SECONDS || rest_.stride == 0) return false;
    int64_t next = rest_.until.seconds + rest_.stride * HOUR;
    int64_t lastStride = LEAST_STRIDE;
    if (const int64_t coming = rest_.until.seconds + 1; followsRule(coming)) {
        const RuleYear year(coming);
        learn(year);
        if (const YearRest* rest = restByRule(year, coming)) {
            next = year.start + rest->until;
            lastStride = STRIDE + 1;  // nothing is left to find out
        }
    }
    sqlpiLocalMoment later;
    const bool rests = at(next, &later) && later.hasClocksOf(rest_.from);
    if (rests) rest_.until = later;
    // Once a change is known to lie ahead, go up to it by halves, as long as that is worth the asking.
    if (!rests || rest_.stride < STRIDE) rest_.stride = rest_.stride < lastStride ? 0 : rest_.stride / 2;
    return rests;
}

int64_t sqlpiLocalClock::restDays(const sqlpiLocalMoment& moment, int64_t days) noexcept {
    const auto known = [&] { return (rest_.until.seconds - moment.seconds) / SQLPI_DAY_SECONDS; };
    do {
        lookAhead(moment, days);
    } while (rest_.stride != 0 && known() < days);
    return known();
}
