/* What a question about a maintenance window costs: how often it asks the platform for local time, counted where the
 * library asks (see maintWin.cmake). The answers are the same with more of it; these bounds are what the search's look
 * ahead, its memory of the clocks and its masks are for. */
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "unit/maintWinCases.h"

using namespace maintWinCases;

namespace {
int localTimes = 0;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
tm* __real_localtime_r(const time_t* moment, tm* time);

tm* __wrap_localtime_r(const time_t* moment, tm* time) {
    ++localTimes;
    return __real_localtime_r(moment, time);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

constexpr int32_t HOUR = 3600;
constexpr int32_t DAY = 24 * HOUR;

int64_t costOf(const sqlpiMaintWindowInfo& info, int64_t now, int32_t minDuration) {
    OSSTime start = {};
    OSSTime end = {};
    localTimes = 0;
    sqlpiFindMaintWindow(&info, {now, 0}, minDuration, &start, &end);
    return localTimes;
}

template <size_t Size>
void selectOnly(bool (&mask)[Size], std::initializer_list<int> indexes) {
    std::fill(std::begin(mask), std::end(mask), false);
    for (const int index : indexes) mask[index] = true;
}

/* Rules written out, which no release of the zone files changes. */
constexpr const char* centralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(MaintWinCost, IsBoundedForUsualWindows) {
    const ZoneScope scope(centralEurope);
    using Info = sqlpiMaintWindowInfo;
    const auto everyDay = [](Info&) {};
    const auto weekends = [](Info& info) { selectOnly(info.dayOfWeek, {0, 6}); };
    const auto lastDays = [](Info& info) { selectOnly(info.dayOfMonth, {31}); };
    const auto someMonths = [](Info& info) { selectOnly(info.monthOfYear, {0, 6, 7}); };
    const auto february30 = [](Info& info) {
        selectOnly(info.dayOfMonth, {29});
        selectOnly(info.monthOfYear, {1});
    };
    const auto outside = [](Info& info) { info.outside = 1; };
    const auto later = [](Info& info) { info.startDateTime = dateTime(2034, 6, 1, 12, 0); };
    const auto over = [](Info& info) { info.endDateTime = dateTime(2014, 6, 1, 12, 0); };
    const struct {
        const char* what;
        sqlpiMaintWindowTime start;
        sqlpiMaintWindowTime end;
        void (*choose)(Info&);
        int32_t minDuration;
        int64_t mostLocalTimes;
    } cases[] = {
        {"always open", {0, 0, 0}, {0, 0, 0}, everyDay, 1, 1},
        {"every night", {22, 0, 0}, {6, 0, 0}, everyDay, 1, 3},
        {"every morning", {1, 0, 0}, {5, 0, 0}, everyDay, 1, 2},
        {"too short", {1, 0, 0}, {5, 0, 0}, everyDay, 5 * HOUR, 2},
        {"outside of it", {1, 0, 0}, {5, 0, 0}, outside, 1, 3},
        {"weekends", {1, 0, 0}, {5, 0, 0}, weekends, 1, 2},
        {"last day of the month", {1, 0, 0}, {5, 0, 0}, lastDays, 1, 3},
        {"never", {1, 0, 0}, {5, 0, 0}, february30, 1, 1},
        {"whole weekends", {0, 0, 0}, {0, 0, 0}, weekends, 2 * DAY, 2},
        {"whole weekends, an hour too short", {0, 0, 0}, {0, 0, 0}, weekends, 2 * DAY + HOUR, 40},
        {"whole weekends, a day too short", {0, 0, 0}, {0, 0, 0}, weekends, 3 * DAY, 440},
        {"whole months", {0, 0, 0}, {0, 0, 0}, someMonths, 40 * DAY, 13},
        {"a period that begins in ten years", {1, 0, 0}, {5, 0, 0}, later, 1, 4},
        {"a period that has ended", {1, 0, 0}, {5, 0, 0}, over, 1, 4},
    };
    for (const auto& one : cases) {
        sqlpiMaintWindowInfo info = dailyWindow(one.start, one.end);
        one.choose(info);
        EXPECT_LE(costOf(info, localTime(2024, 5, 10, 3, 0), one.minDuration), one.mostLocalTimes) << one.what;
    }
}

/* However long the period is and whatever its clocks do: days in a row that are too few by far are not searched for. */
TEST(MaintWinCost, IsThatOfTheLimitsForWhatNoStretchOfDaysCanLast) {
    const ZoneScope scope("<+00>0<+02>-2,M3.5.0/1,M10.5.0/3");
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    selectOnly(info.dayOfWeek, {1});
    selectOnly(info.monthOfYear, {0, 1, 3, 4, 5});
    info.startDateTime = dateTime(1970, 1, 2, 0, 0);
    info.endDateTime = dateTime(9999, 12, 31, 0, 0);
    for (const int32_t minDuration : {7 * DAY, 365 * DAY, 1'716'540'928, INT32_MAX})
        EXPECT_LE(costOf(info, localTime(2024, 5, 10, 3, 0), minDuration), 10) << minDuration;
    EXPECT_GT(costOf(info, localTime(2024, 5, 10, 3, 0), 3 * DAY), 1000) << "clocks might be set back by so much";
}

/* Each might be found over centuries, in clocks that move by two hours. Days are 146,097, weeks 20,871. */
TEST(MaintWinCost, OfCenturiesIsThatOfALookAtEachWeekOfTheFirst) {
    const ZoneScope scope("<+00>0<+02>-2,M3.5.0/1,M10.5.0/3");
    using Info = sqlpiMaintWindowInfo;
    const struct {
        const char* what;
        sqlpiMaintWindowTime time;
        void (*choose)(Info&);
        int32_t minDuration;
    } cases[] = {
        {"a day of each month", {0, 0, 0}, [](Info& info) { selectOnly(info.dayOfMonth, {56}); }, 3 * DAY - HOUR},
        {"weekends",
         {0, 0, 0},
         [](Info& info) {
             selectOnly(info.dayOfWeek, {0, 6});
         },
         2 * DAY + 3 * HOUR},
        {"every other day",
         {0, 0, 0},
         [](Info& info) {
             selectOnly(info.dayOfWeek, {1, 3, 5});
         },
         DAY + 3 * HOUR},
        {"a start on a later day",
         {43, 0, 0},
         [](Info& info) {
             selectOnly(info.dayOfWeek, {1, 2, 3});
         },
         90 * DAY},
        {"a start that leads over days", {49, 30, 0}, [](Info& info) { info.dayOfMonth[9] = false; }, 20000 * DAY},
        {"a start written in seconds too many",
         {150, 200, 200},
         [](Info& info) { info.dayOfWeek[3] = false; },
         INT32_MAX},
        {"no 24-hour window", {50, 0, 0}, [](Info& info) { selectOnly(info.dayOfMonth, {}); }, 1},
    };
    for (const auto& one : cases) {
        Info info = dailyWindow(one.time, one.time);
        if (one.minDuration == 1) info.endTime.minute = 30;
        one.choose(info);
        info.startDateTime = dateTime(1970, 1, 2, 0, 0);
        info.endDateTime = dateTime(9999, 12, 31, 0, 0);
        EXPECT_LE(costOf(info, localTime(1990, 5, 10, 3, 0), one.minDuration), 15000) << one.what;
    }
}

/* Friday, 30 December 2011, did not exist in Samoa: the days around it follow each other. */
TEST(MaintWinCost, CountsTheDaysThatJoinOverOneThatAZoneLeavesOut) {
    const ZoneScope scope("Pacific/Apia");
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    selectOnly(info.dayOfWeek, {0, 1, 2, 3, 4, 6});
    OSSTime start = {};
    OSSTime end = {};
    ASSERT_EQ(sqlpiFindMaintWindow(&info, {localTime(2011, 12, 1, 3, 0), 0}, 12 * DAY, &start, &end), 1);
    EXPECT_EQ(start.seconds, localTime(2011, 12, 24, 0, 0));
    EXPECT_EQ(end.seconds, localTime(2012, 1, 6, 0, 0));
    EXPECT_EQ(sqlpiFindMaintWindow(&info, {localTime(2011, 12, 1, 3, 0), 0}, 12 * DAY + 1, &start, &end), 0);
}

TEST(MaintWinCost, IsBoundedForQuestionsAtRandom) {
    const struct {
        const char* zone;
        int64_t all;
        int64_t most;
    } cases[] = {{"UTC0", 24500, 810}, {centralEurope, 32200, 640}, {"LHST-10:30LHDT-11,M10.1.0,M4.1.0", 36300, 660}};
    for (const auto& [name, all, most] : cases) {
        const ZoneScope scope(name);
        const Zone zone = {name, 2000, 2031};
        const std::vector<int64_t> changes = clockChanges(zone);
        int64_t sum = 0;
        int64_t highest = 0;
        for (uint64_t seed = 0; seed < 4000; ++seed) {
            const Case question = randomCase(seed, zone, changes);
            const int64_t cost = costOf(question.info, question.now.seconds, question.minDuration);
            sum += cost;
            highest = std::max(highest, cost);
        }
        EXPECT_LE(sum, all) << name;
        EXPECT_LE(highest, most) << name;
    }
}

}  // namespace
