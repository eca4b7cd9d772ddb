/* The calendar, against std::chrono. */
#include "windows/sqlpiMaintWinDays.h"

#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <random>

#include "unit/maintWinCases.h"

using namespace std::chrono;
using maintWinCases::dailyWindow;

namespace {

constexpr int64_t FIRST_DAY = sys_days(year(1970) / January / 1).time_since_epoch().count();
constexpr int64_t PAST_DAY = sys_days(year(2370) / January / 1).time_since_epoch().count();

year_month_day dateOf(int64_t day) {
    return sys_days(days(day));
}

unsigned daysOfMonth(year_month_day date) {
    return static_cast<unsigned>(year_month_day_last(date.year(), month_day_last(date.month())).day());
}

/* What the masks mean, day by day. */
bool isSelected(const sqlpiMaintWindowInfo& info, int64_t day) {
    const year_month_day date = dateOf(day);
    const auto number = static_cast<unsigned>(date.day());
    return info.monthOfYear[static_cast<unsigned>(date.month()) - 1] &&
           info.dayOfWeek[weekday(sys_days(days(day))).c_encoding()] &&
           (info.dayOfMonth[number - 1] || info.dayOfMonth[daysOfMonth(date) - number + 31]);
}

void clearDaysOfMonth(sqlpiMaintWindowInfo* info) {
    std::fill(info->dayOfMonth, std::end(info->dayOfMonth), false);
}

TEST(MaintWinDays, EveryDayOf400YearsHasItsDate) {
    static_assert(PAST_DAY - FIRST_DAY == SQLPI_CALENDAR_CYCLE);
    for (int64_t day = FIRST_DAY; day < PAST_DAY; ++day) {
        const year_month_day wanted = dateOf(day);
        const sqlpiDate date = sqlpiDateOfDay(day);
        ASSERT_EQ(date.year, static_cast<int>(wanted.year())) << day;
        ASSERT_EQ(date.month, static_cast<int>(static_cast<unsigned>(wanted.month()))) << day;
        ASSERT_EQ(date.day, static_cast<int>(static_cast<unsigned>(wanted.day()))) << day;
        ASSERT_EQ(sqlpiDayNumber(date.year, date.month, date.day), day);
        ASSERT_EQ(sqlpiFirstDayOfYear(date.year), sqlpiDayNumber(date.year, 1, 1));
        ASSERT_EQ(sqlpiWeekday(day), static_cast<int>(weekday(sys_days(days(day))).c_encoding())) << day;
        ASSERT_EQ(sqlpiDaysOfMonth(date.year, date.month), static_cast<int>(daysOfMonth(wanted))) << day;
        ASSERT_EQ(sqlpiGetTotalDayInMonth(static_cast<int32_t>(date.year), date.month),
                  static_cast<int>(daysOfMonth(wanted)))
            << day;
    }
}

TEST(MaintWinDays, DatesRepeatEvery400Years) {
    for (const int64_t cycles : {-7, -1, 1, 170, 5000000}) {
        for (int64_t day = FIRST_DAY; day < PAST_DAY; day += 17) {
            const sqlpiDate date = sqlpiDateOfDay(day);
            const int64_t other = day + cycles * SQLPI_CALENDAR_CYCLE;
            const sqlpiDate shifted = sqlpiDateOfDay(other);
            ASSERT_EQ(shifted.year, date.year + 400 * cycles);
            ASSERT_EQ(shifted.month, date.month);
            ASSERT_EQ(shifted.day, date.day);
            ASSERT_EQ(sqlpiDayNumber(shifted.year, shifted.month, shifted.day), other);
            ASSERT_EQ(sqlpiFirstDayOfYear(shifted.year), sqlpiDayNumber(shifted.year, 1, 1));
            ASSERT_EQ(sqlpiWeekday(other), sqlpiWeekday(day));
        }
    }
}

TEST(MaintWinDays, MonthsAndDaysPastTheirRangesAreCounted) {
    for (int month = -30; month <= 300; ++month) {
        const year_month wanted = year(2024) / January + months(month - 1);
        for (int day = -5; day <= 260; day += 5) {
            const int64_t number = sys_days(wanted / 1).time_since_epoch().count() + day - 1;
            ASSERT_EQ(sqlpiDayNumber(2024, month, day), number) << month << " " << day;
        }
    }
}

TEST(MaintWinDays, MasksSelectWhatTheySay) {
    for (uint64_t seed = 0; seed < 25; ++seed) {
        std::mt19937_64 engine(seed);
        const auto chance = [&](unsigned percent) { return engine() % 100 < percent; };
        constexpr std::array<unsigned, 5> shares = {0, 5, 50, 95, 100};
        sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {2, 0, 0});
        unsigned share = shares[engine() % shares.size()];
        for (bool& month : info.monthOfYear) month = chance(share + 40);
        share = shares[engine() % shares.size()];
        for (bool& day : info.dayOfMonth) day = chance(share);
        share = shares[engine() % shares.size()];
        for (bool& day : info.dayOfWeek) day = chance(share + 20);

        const sqlpiDayMasks masks(info);
        int64_t next[2] = {PAST_DAY, PAST_DAY};
        for (int64_t day = PAST_DAY - 1; day >= FIRST_DAY; --day) {
            const bool selected = isSelected(info, day);
            next[selected] = day;
            ASSERT_EQ(masks.selects(day), selected) << "seed " << seed << " day " << day;
            if (day % 7 != 0) continue;
            ASSERT_EQ(masks.next(day, PAST_DAY, true), next[1]) << "seed " << seed << " day " << day;
            ASSERT_EQ(masks.next(day, PAST_DAY, false), next[0]) << "seed " << seed << " day " << day;
            ASSERT_EQ(masks.next(day, day + 3, true), std::min(next[1], day + 3)) << "seed " << seed << " day " << day;
        }
        EXPECT_EQ(masks.next(5, 5, true), 5);
        EXPECT_EQ(masks.next(6, 5, true), 5);
    }
}

TEST(MaintWinDays, RunsOfSelectedDaysAreFound) {
    constexpr int64_t lengths[] = {1, 2, 3, 5, 7, 8, 28, 31, 32, 33, 59, 61, 365, 1461};
    int64_t found = 0;
    for (uint64_t seed = 0; seed < 60; ++seed) {
        std::mt19937_64 engine(seed);
        const auto chance = [&](unsigned percent) { return engine() % 100 < percent; };
        constexpr std::array<unsigned, 6> shares = {30, 60, 90, 97, 99, 100};
        sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
        unsigned share = shares[engine() % shares.size()];
        for (bool& day : info.dayOfMonth) day = chance(share);
        if (chance(50)) std::fill(info.dayOfMonth + 31, std::end(info.dayOfMonth), false);
        share = shares[engine() % shares.size()];
        if (chance(50))
            for (bool& day : info.dayOfWeek) day = chance(share);
        if (chance(40))
            for (bool& month : info.monthOfYear) month = chance(90);

        const sqlpiDayMasks masks(info);
        const int64_t first = FIRST_DAY + static_cast<int64_t>(engine() % 100000);
        const int64_t limit = first + 2200;
        std::array<int64_t, std::size(lengths)> next{};
        next.fill(limit);
        int64_t run = masks.next(limit, limit + 1500, false) - limit;  // selected days in a row from the day on
        for (int64_t day = limit - 1; day >= first; --day) {
            run = isSelected(info, day) ? run + 1 : 0;
            for (size_t i = 0; i < std::size(lengths); ++i) {
                if (run >= lengths[i]) next.at(i) = day;
                if (day % 29 != 0) continue;
                ASSERT_EQ(masks.hasRun(day, limit, lengths[i]), next.at(i) < limit)
                    << "seed " << seed << " day " << day << " length " << lengths[i];
                found += next.at(i) < limit ? 1 : 0;
            }
        }
        EXPECT_FALSE(masks.hasRun(limit, limit, 3));
        EXPECT_FALSE(masks.hasRun(limit + 1, limit, 40));
    }
    EXPECT_GT(found, 10000);
}

TEST(MaintWinDays, AWholeYearDependsOnItsLength) {
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    EXPECT_TRUE(sqlpiDayMasks(info).selectsWholeYear(2000));
    EXPECT_TRUE(sqlpiDayMasks(info).selectsWholeYear(2001));
    info.dayOfMonth[28] = false;  // but the 29th also counts from the month's end
    EXPECT_TRUE(sqlpiDayMasks(info).selectsWholeYear(2000));
    std::fill(info.dayOfMonth + 31, std::end(info.dayOfMonth), false);
    EXPECT_FALSE(sqlpiDayMasks(info).selectsWholeYear(2000));
    EXPECT_FALSE(sqlpiDayMasks(info).selectsWholeYear(2001)) << "January has a 29th";

    // The 10th is day 22, 21, 20 or 19 from the end: the last of these only in a February of 28 days.
    info = dailyWindow({0, 0, 0}, {0, 0, 0});
    info.dayOfMonth[9] = false;
    info.dayOfMonth[31 + 18] = false;
    EXPECT_TRUE(sqlpiDayMasks(info).selectsWholeYear(2000));
    EXPECT_FALSE(sqlpiDayMasks(info).selectsWholeYear(2001));
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&info), 1) << "February counts 29 days";
}

/* For every day of 400 years, windows that only that day has in its month or week, asked on the day before. */
TEST(MaintWinDays, EveryDayOf400YearsIsFound) {
    const maintWinCases::ZoneScope scope("UTC");
    for (int64_t day = FIRST_DAY + 1; day < PAST_DAY; ++day) {
        const year_month_day date = dateOf(day);
        const auto number = static_cast<unsigned>(date.day());
        sqlpiMaintWindowInfo byDate = dailyWindow({1, 0, 0}, {2, 0, 0});
        clearDaysOfMonth(&byDate);
        byDate.dayOfMonth[number - 1] = true;
        sqlpiMaintWindowInfo fromEnd = dailyWindow({1, 0, 0}, {2, 0, 0});
        clearDaysOfMonth(&fromEnd);
        fromEnd.dayOfMonth[daysOfMonth(date) - number + 31] = true;
        sqlpiMaintWindowInfo byWeekday = dailyWindow({1, 0, 0}, {2, 0, 0});
        std::fill(byWeekday.dayOfWeek, std::end(byWeekday.dayOfWeek), false);
        byWeekday.dayOfWeek[weekday(sys_days(days(day))).c_encoding()] = true;
        for (const sqlpiMaintWindowInfo* info : {&byDate, &fromEnd, &byWeekday}) {
            OSSTime start = {};
            OSSTime end = {};
            const OSSTime noonBefore = {(day - 1) * SQLPI_DAY_SECONDS + 12 * 3600, 0};
            ASSERT_EQ(sqlpiFindMaintWindow(info, noonBefore, 3600, &start, &end), 1) << day;
            ASSERT_EQ(start.seconds, day * SQLPI_DAY_SECONDS + 3600) << maintWinCases::describe(*info);
            ASSERT_EQ(end.seconds, day * SQLPI_DAY_SECONDS + 7200) << maintWinCases::describe(*info);
        }
    }
}

}  // namespace
