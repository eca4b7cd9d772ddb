/* What a maintenance window means: the answers a person expects, in zones with and without clock changes. */
#include "sqlpiMaintWin.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "unit/maintWinCases.h"

using namespace maintWinCases;

namespace {

constexpr OSSTime UNTOUCHED = {-77, -78};
constexpr int32_t HOUR = 3600;
constexpr int32_t DAY = 24 * HOUR;

struct Answer {
    int32_t found;
    OSSTime start = UNTOUCHED;
    OSSTime end = UNTOUCHED;
};

Answer ask(const sqlpiMaintWindowInfo& info, int64_t now, int32_t minDuration = 1) {
    Answer answer{};
    answer.found = sqlpiFindMaintWindow(&info, {now, 5}, minDuration, &answer.start, &answer.end);
    return answer;
}

void expectStretch(const Answer& answer, int64_t start, int64_t end, const std::string& what) {
    EXPECT_EQ(answer.found, 1) << what;
    EXPECT_EQ(answer.start.seconds, start)
        << what << ": starts " << describeLocal(answer.start.seconds) << ", wanted " << describeLocal(start);
    EXPECT_EQ(answer.end.seconds, end) << what << ": ends " << describeLocal(answer.end.seconds) << ", wanted "
                                       << describeLocal(end);
}

void expectNone(const Answer& answer, const std::string& what) {
    EXPECT_EQ(answer.found, 0) << what << ": " << describeLocal(answer.start.seconds) << " to "
                               << describeLocal(answer.end.seconds);
    EXPECT_EQ(answer.start.seconds, UNTOUCHED.seconds) << what;
    EXPECT_EQ(answer.end.seconds, UNTOUCHED.seconds) << what;
}

template <size_t Size>
void selectOnly(bool (&mask)[Size], std::initializer_list<int> indexes) {
    std::fill(std::begin(mask), std::end(mask), false);
    for (const int index : indexes) mask[index] = true;
}

/* The examples hold in every zone, on days without clock changes. */
class MaintWin : public testing::TestWithParam<const char*> {
protected:
    const ZoneScope scope_{GetParam()};
};
INSTANTIATE_TEST_SUITE_P(Zones, MaintWin, testing::Values("UTC", "Europe/Berlin", "America/New_York"),
                         [](const auto& zone) { return testNameOf(zone.param); });

TEST_P(MaintWin, AlwaysOpenStartsAndEndsNow) {
    const sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    const int64_t now = localTime(2024, 5, 10, 3, 0);
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&info), 1);
    for (const int32_t minDuration : {1, DAY, std::numeric_limits<int32_t>::max()}) {
        const Answer answer = ask(info, now, minDuration);
        expectStretch(answer, now, now, "open without end");
        EXPECT_EQ(answer.start.subSecond, UNTOUCHED.subSecond);
        EXPECT_EQ(answer.end.subSecond, UNTOUCHED.subSecond);
    }
}

TEST_P(MaintWin, AlwaysOpenFromItsStartLimitOn) {
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    info.startDateTime = dateTime(2024, 6, 1, 12, 0);
    const int64_t limit = localTime(2024, 6, 1, 12, 0);
    expectStretch(ask(info, localTime(2024, 5, 10, 3, 0)), limit, limit, "before the limit");
    const int64_t later = localTime(2024, 6, 2, 3, 0);
    expectStretch(ask(info, later), later, later, "after the limit");
}

TEST_P(MaintWin, OutsideOfAlwaysOpenThereIsNothing) {
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    info.outside = 1;
    expectNone(ask(info, localTime(2024, 5, 10, 3, 0)), "no gap");
}

TEST_P(MaintWin, OverMidnightTheEveningBeforeDecides) {
    const sqlpiMaintWindowInfo info = dailyWindow({22, 0, 0}, {6, 0, 0});
    const int64_t now = localTime(2024, 5, 10, 3, 0);
    const int64_t morning = localTime(2024, 5, 10, 6, 0);
    const int64_t evening = localTime(2024, 5, 10, 22, 0);
    const int64_t nextMorning = localTime(2024, 5, 11, 6, 0);
    expectStretch(ask(info, now), now, morning, "in the tail");
    expectStretch(ask(info, now, 3 * HOUR), now, morning, "in the tail, just long enough");
    expectStretch(ask(info, now, 3 * HOUR + 1), evening, nextMorning, "in the tail, too short");
    expectStretch(ask(info, localTime(2024, 5, 10, 12, 0)), evening, nextMorning, "at noon");
    expectStretch(ask(info, localTime(2024, 5, 10, 23, 30)), localTime(2024, 5, 10, 23, 30), nextMorning, "at night");
    expectStretch(ask(info, morning), evening, nextMorning, "at its end");
    expectStretch(ask(info, morning, 0), morning, morning, "at its end, for no time at all");
}

TEST_P(MaintWin, OverMidnightAnUnselectedEveningHasNoTail) {
    sqlpiMaintWindowInfo info = dailyWindow({22, 0, 0}, {6, 0, 0});
    selectOnly(info.dayOfWeek, {5});  // Friday; the 10th of May 2024 is one
    const int64_t friday = localTime(2024, 5, 10, 22, 0);
    const int64_t end = localTime(2024, 5, 11, 6, 0);
    expectStretch(ask(info, localTime(2024, 5, 10, 3, 0)), friday, end, "Thursday has no window");
    expectStretch(ask(info, localTime(2024, 5, 11, 3, 0)), localTime(2024, 5, 11, 3, 0), end, "Friday's tail");
}

TEST_P(MaintWin, OverMidnightNothingBeginsBeforeThePeriod) {
    sqlpiMaintWindowInfo info = dailyWindow({22, 0, 0}, {6, 0, 0});
    info.startDateTime = dateTime(2024, 5, 10, 0, 0);
    const int64_t evening = localTime(2024, 5, 10, 22, 0);
    expectStretch(ask(info, localTime(2024, 5, 10, 3, 0)), evening, localTime(2024, 5, 11, 6, 0), "first day");
    expectStretch(ask(info, localTime(2024, 5, 11, 3, 0)), localTime(2024, 5, 11, 3, 0), localTime(2024, 5, 11, 6, 0),
                  "second day");
}

TEST_P(MaintWin, OverMidnightAWindowThatBeganInThePeriodRunsPastItsEnd) {
    sqlpiMaintWindowInfo info = dailyWindow({22, 0, 0}, {6, 0, 0});
    info.endDateTime = dateTime(2024, 5, 10, 23, 0);
    expectStretch(ask(info, localTime(2024, 5, 10, 12, 0)), localTime(2024, 5, 10, 22, 0), localTime(2024, 5, 11, 6, 0),
                  "last window");
    expectNone(ask(info, localTime(2024, 5, 10, 23, 0)), "after the period");
}

TEST_P(MaintWin, WithinOneDay) {
    const sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    const int64_t next = localTime(2024, 5, 11, 1, 0);
    const int64_t nextEnd = localTime(2024, 5, 11, 5, 0);
    expectStretch(ask(info, localTime(2024, 5, 10, 5, 30)), next, nextEnd, "after it");
    expectStretch(ask(info, localTime(2024, 5, 11, 0, 30)), next, nextEnd, "before it");
    expectStretch(ask(info, next), next, nextEnd, "at its start");
    expectStretch(ask(info, localTime(2024, 5, 11, 4, 59, 59)), localTime(2024, 5, 11, 4, 59, 59), nextEnd,
                  "in its last second");
    expectStretch(ask(info, localTime(2024, 5, 10, 5, 0)), next, nextEnd, "at its end");
}

TEST_P(MaintWin, GivesUpAfterTwoDaysThatAreTooShort) {
    const sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    expectStretch(ask(info, localTime(2024, 5, 10, 2, 0), 4 * HOUR), localTime(2024, 5, 11, 1, 0),
                  localTime(2024, 5, 11, 5, 0), "what is left of today is too short");
    expectNone(ask(info, localTime(2024, 5, 10, 0, 0), 4 * HOUR + 1), "longer than the window");
    const sqlpiMaintWindowInfo night = dailyWindow({22, 0, 0}, {6, 0, 0});
    expectNone(ask(night, localTime(2024, 5, 10, 3, 0), 8 * HOUR + 1), "longer than the night");
    expectStretch(ask(night, localTime(2024, 5, 10, 3, 0), 8 * HOUR), localTime(2024, 5, 10, 22, 0),
                  localTime(2024, 5, 11, 6, 0), "as long as the night");
}

TEST_P(MaintWin, ThePeriodsEndCutsTheLastDay) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    info.endDateTime = dateTime(2024, 5, 11, 3, 0);
    expectStretch(ask(info, localTime(2024, 5, 11, 0, 0)), localTime(2024, 5, 11, 1, 0), localTime(2024, 5, 11, 3, 0),
                  "cut");
    expectNone(ask(info, localTime(2024, 5, 11, 0, 0), 2 * HOUR + 1), "cut too short");
    expectNone(ask(info, localTime(2024, 5, 11, 3, 0)), "after the period");
    info.endDateTime = dateTime(2024, 5, 11, 5, 0, 1);
    expectStretch(ask(info, localTime(2024, 5, 11, 0, 0)), localTime(2024, 5, 11, 1, 0), localTime(2024, 5, 11, 5, 0),
                  "not cut");
}

TEST_P(MaintWin, ThePeriodsStartIsWhereTheSearchBegins) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    info.startDateTime = dateTime(2024, 5, 11, 2, 0);
    expectStretch(ask(info, localTime(2024, 5, 1, 0, 0)), localTime(2024, 5, 11, 2, 0), localTime(2024, 5, 11, 5, 0),
                  "within a window");
    info.startDateTime = dateTime(2024, 5, 11, 6, 0);
    expectStretch(ask(info, localTime(2024, 5, 1, 0, 0)), localTime(2024, 5, 12, 1, 0), localTime(2024, 5, 12, 5, 0),
                  "after a window");
}

TEST_P(MaintWin, MasksSelectDays) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    selectOnly(info.dayOfWeek, {1, 2, 3, 4, 5});
    expectStretch(ask(info, localTime(2024, 5, 11, 0, 0)), localTime(2024, 5, 13, 1, 0), localTime(2024, 5, 13, 5, 0),
                  "weekdays, asked on Saturday");
    info = dailyWindow({1, 0, 0}, {5, 0, 0});
    selectOnly(info.monthOfYear, {11});
    expectStretch(ask(info, localTime(2024, 5, 11, 0, 0)), localTime(2024, 12, 1, 1, 0), localTime(2024, 12, 1, 5, 0),
                  "December");
    selectOnly(info.dayOfMonth, {12});
    selectOnly(info.dayOfWeek, {5});
    expectStretch(ask(info, localTime(2024, 5, 11, 0, 0)), localTime(2024, 12, 13, 1, 0), localTime(2024, 12, 13, 5, 0),
                  "Friday, 13 December");
}

TEST_P(MaintWin, DaysCountFromTheMonthsEnd) {
    struct Example {
        int index;
        int year, month, nowDay;
        int wantedMonth, wantedDay;
    };
    constexpr Example examples[] = {
        {31, 2024, 2, 1, 2, 29},  {31, 2023, 2, 1, 2, 28}, {31, 2100, 2, 1, 2, 28}, {31, 2024, 4, 5, 4, 30},
        {31, 2024, 5, 31, 5, 31}, {32, 2024, 2, 1, 2, 28}, {32, 2023, 2, 1, 2, 27}, {61, 2024, 4, 5, 5, 1},
        {61, 2024, 2, 2, 3, 1},   {60, 2024, 4, 5, 5, 2},  {60, 2024, 4, 1, 4, 1},  {59, 2024, 2, 1, 2, 1},
        {30, 2024, 4, 1, 5, 31},  {28, 2023, 2, 1, 3, 29}, {28, 2024, 2, 1, 2, 29},
    };
    for (const Example& example : examples) {
        sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
        selectOnly(info.dayOfMonth, {example.index});
        expectStretch(ask(info, localTime(example.year, example.month, example.nowDay, 0, 0)),
                      localTime(example.year, example.wantedMonth, example.wantedDay, 1, 0),
                      localTime(example.year, example.wantedMonth, example.wantedDay, 5, 0),
                      "index " + std::to_string(example.index) + " in " + std::to_string(example.year) + "-" +
                          std::to_string(example.month));
    }
}

TEST_P(MaintWin, MasksThatNeverMatchFindNothing) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    selectOnly(info.dayOfMonth, {});
    expectNone(ask(info, localTime(2024, 5, 11, 0, 0)), "no day of the month");
    selectOnly(info.dayOfMonth, {29});
    selectOnly(info.monthOfYear, {1});
    expectNone(ask(info, localTime(2024, 5, 11, 0, 0)), "30 February");
    selectOnly(info.monthOfYear, {});
    expectNone(ask(info, localTime(2024, 5, 11, 0, 0)), "no month");
}

TEST_P(MaintWin, TheSearchEndsWithTheFifthYear) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    selectOnly(info.monthOfYear, {1});
    selectOnly(info.dayOfMonth, {28});
    selectOnly(info.dayOfWeek, {4});  // Thursday, 29 February: 2024, 2052
    expectStretch(ask(info, localTime(2019, 1, 1, 0, 0)), localTime(2024, 2, 29, 1, 0), localTime(2024, 2, 29, 5, 0),
                  "in the fifth year");
    expectNone(ask(info, localTime(2018, 12, 31, 0, 0)), "in the sixth year");
    expectStretch(ask(info, localTime(2018, 12, 31, 23, 0)), localTime(2024, 2, 29, 1, 0), localTime(2024, 2, 29, 5, 0),
                  "counted from the first window looked at, on 1 January");
    info.startDateTime = dateTime(2019, 1, 1, 0, 0);
    expectStretch(ask(info, localTime(2010, 12, 31, 23, 0)), localTime(2024, 2, 29, 1, 0), localTime(2024, 2, 29, 5, 0),
                  "counted from the start limit");
    info.startDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR;
    info.endDateTime = dateTime(2030, 1, 1, 0, 0);
    expectStretch(ask(info, localTime(2008, 12, 31, 23, 0)), localTime(2024, 2, 29, 1, 0), localTime(2024, 2, 29, 5, 0),
                  "a closed period is searched to its end");
}

TEST_P(MaintWin, WeekendDaysAddUp) {
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    selectOnly(info.dayOfWeek, {0, 6});
    const int64_t saturday = localTime(2024, 5, 11, 0, 0);
    const int64_t monday = localTime(2024, 5, 13, 0, 0);
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&info), 0);
    expectStretch(ask(info, localTime(2024, 5, 8, 12, 0), 30 * HOUR), saturday, monday, "30 hours, from Wednesday");
    expectStretch(ask(info, localTime(2024, 5, 8, 12, 0), 1), saturday, monday, "a second takes the weekend too");
    expectStretch(ask(info, localTime(2024, 5, 8, 12, 0), 2 * DAY), saturday, monday, "all of it");
    expectNone(ask(info, localTime(2024, 5, 8, 12, 0), 2 * DAY + 2 * HOUR), "more than any weekend");
    const int64_t saturdayNoon = localTime(2024, 5, 11, 12, 0);
    expectStretch(ask(info, saturdayNoon, 30 * HOUR), saturdayNoon, monday, "from Saturday noon");
    expectStretch(ask(info, saturdayNoon, 40 * HOUR), localTime(2024, 5, 18, 0, 0), localTime(2024, 5, 20, 0, 0),
                  "this weekend's rest is too short, and does not add up with the next");
    const int64_t sundayNoon = localTime(2024, 5, 12, 12, 0);
    expectStretch(ask(info, sundayNoon), sundayNoon, monday, "from Sunday noon");
}

TEST_P(MaintWin, A24HourDayNeedNotBeginAtMidnight) {
    sqlpiMaintWindowInfo info = dailyWindow({6, 0, 0}, {6, 0, 0});
    selectOnly(info.dayOfWeek, {0, 6});
    expectStretch(ask(info, localTime(2024, 5, 8, 12, 0)), localTime(2024, 5, 11, 6, 0), localTime(2024, 5, 13, 6, 0),
                  "from Wednesday");
    // The day asked on decides, though the window that runs then began the day before.
    expectStretch(ask(info, localTime(2024, 5, 11, 3, 0)), localTime(2024, 5, 11, 3, 0), localTime(2024, 5, 13, 6, 0),
                  "early on Saturday");
    expectStretch(ask(info, localTime(2024, 5, 13, 3, 0)), localTime(2024, 5, 18, 6, 0), localTime(2024, 5, 20, 6, 0),
                  "early on Monday");
}

TEST_P(MaintWin, EveryDayAroundTheClockWithAnEndFindsNothing) {
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    info.endDateTime = dateTime(2024, 6, 1, 0, 0);
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&info), 0);
    expectNone(ask(info, localTime(2024, 5, 8, 12, 0)), "the stretch never ends on a day");
    info.endDateTime.year = std::numeric_limits<uint16_t>::max();
    expectNone(ask(info, localTime(2024, 5, 8, 12, 0)), "nor in a far year");
}

TEST_P(MaintWin, AStretchThatReachesThePeriodsEndIsNotFound) {
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
    selectOnly(info.dayOfWeek, {0, 6});
    info.endDateTime = dateTime(2024, 5, 12, 12, 0);
    expectNone(ask(info, localTime(2024, 5, 8, 12, 0)), "on Sunday");
    info.endDateTime = dateTime(2024, 5, 13, 0, 1);
    expectStretch(ask(info, localTime(2024, 5, 8, 12, 0)), localTime(2024, 5, 11, 0, 0), localTime(2024, 5, 13, 0, 0),
                  "on Monday");
}

TEST_P(MaintWin, NegativeDurationsAreAlwaysMet) {
    const sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    const int64_t end = localTime(2024, 5, 10, 5, 0);
    for (const int32_t minDuration : {0, -1, std::numeric_limits<int32_t>::min()})
        expectStretch(ask(info, end, minDuration), end, end, "at the end");
}

TEST_P(MaintWin, OutsideLooksForGaps) {
    sqlpiMaintWindowInfo info = dailyWindow({8, 0, 0}, {18, 0, 0});
    info.outside = 1;
    const int64_t evening = localTime(2024, 5, 10, 18, 0);
    const int64_t morning = localTime(2024, 5, 11, 8, 0);
    expectStretch(ask(info, localTime(2024, 5, 10, 12, 0)), evening, morning, "asked inside");
    expectStretch(ask(info, localTime(2024, 5, 10, 6, 0)), localTime(2024, 5, 10, 6, 0), localTime(2024, 5, 10, 8, 0),
                  "asked in a gap");
    expectStretch(ask(info, localTime(2024, 5, 10, 6, 0), 2 * HOUR + 1), evening, morning, "its rest is too short");
    expectStretch(ask(info, evening), evening, morning, "asked at the window's end");
    expectNone(ask(info, evening, 14 * HOUR + HOUR + 1), "longer than any gap");
    selectOnly(info.dayOfWeek, {1, 2, 3, 4, 5});
    expectStretch(ask(info, localTime(2024, 5, 8, 12, 0), 20 * HOUR), evening, localTime(2024, 5, 13, 8, 0),
                  "the weekend");
    info.outside = -7;
    expectStretch(ask(info, evening), evening, localTime(2024, 5, 13, 8, 0), "any flag but 0");
}

TEST_P(MaintWin, OutsideLooksForFiveYearsOf365Days) {
    // Every day but 29 February (2096, then 2104), which is the last of its month; others are the last but one, or two,
    // or the 30th or 31st.
    sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {23, 59, 0});
    info.outside = 1;
    info.dayOfMonth[28] = info.dayOfMonth[31] = false;
    std::fill(info.dayOfMonth + 34, std::end(info.dayOfMonth), false);
    const int64_t gap = localTime(2104, 2, 28, 23, 59);
    const int64_t gapEnd = localTime(2104, 3, 1, 0, 0);
    const auto now = [&](int64_t daysBefore) { return gap - daysBefore * DAY; };
    expectStretch(ask(info, now(1824), 12 * HOUR), gap, gapEnd, "1824 days before");
    expectStretch(ask(info, now(1825) + 1, 12 * HOUR), gap, gapEnd, "a second less than 1825 days before");
    expectNone(ask(info, now(1825), 12 * HOUR), "1825 days before");
}

TEST_P(MaintWin, OutsideCopiesSubSeconds) {
    sqlpiMaintWindowInfo info = dailyWindow({8, 0, 0}, {18, 0, 0});
    info.outside = 1;
    Answer answer = ask(info, localTime(2024, 5, 10, 6, 0));
    EXPECT_EQ(answer.start.subSecond, 5) << "of now";
    EXPECT_EQ(answer.end.subSecond, 0) << "of a window's start";
    answer = ask(info, localTime(2024, 5, 10, 12, 0));
    EXPECT_EQ(answer.start.subSecond, 0) << "of a window's end";
    info.endDateTime = dateTime(2024, 5, 10, 20, 0);
    answer = ask(info, localTime(2024, 5, 10, 19, 0));
    EXPECT_EQ(answer.start.subSecond, 5) << "of now";
    EXPECT_EQ(answer.end.subSecond, UNTOUCHED.subSecond) << "the end limit has none";
    selectOnly(info.dayOfWeek, {});
    info.endDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
    answer = ask(info, localTime(2024, 5, 10, 19, 0));
    EXPECT_EQ(answer.start.subSecond, 5);
    EXPECT_EQ(answer.end.subSecond, 5);
}

TEST_P(MaintWin, OutsideWithinAPeriod) {
    sqlpiMaintWindowInfo info = dailyWindow({8, 0, 0}, {18, 0, 0});
    info.outside = 1;
    info.startDateTime = dateTime(2024, 5, 10, 3, 0);
    info.endDateTime = dateTime(2024, 5, 11, 4, 0);
    const int64_t end = localTime(2024, 5, 11, 4, 0);
    expectStretch(ask(info, localTime(2024, 5, 1, 0, 0)), localTime(2024, 5, 10, 3, 0), localTime(2024, 5, 10, 8, 0),
                  "from the start limit");
    expectStretch(ask(info, localTime(2024, 5, 10, 20, 0)), localTime(2024, 5, 10, 20, 0), end, "to the end limit");
    expectStretch(ask(info, localTime(2024, 5, 10, 20, 0), 8 * HOUR), localTime(2024, 5, 10, 20, 0), end,
                  "just long enough");
    expectNone(ask(info, localTime(2024, 5, 10, 20, 0), 8 * HOUR + 1), "too short");
    expectNone(ask(info, end), "at the end limit");
    expectNone(ask(info, end, 0), "at the end limit, any length");
    info.endDateTime = dateTime(2024, 5, 11, 18, 0);
    expectNone(ask(info, localTime(2024, 5, 11, 12, 0), 0), "the window lasts to the end limit");
}

TEST_P(MaintWin, OutsideOfAWindowThatNeverOpensIsAlways) {
    sqlpiMaintWindowInfo info = dailyWindow({8, 0, 0}, {18, 0, 0});
    info.outside = 1;
    selectOnly(info.dayOfWeek, {});
    const int64_t now = localTime(2024, 5, 10, 12, 0);
    expectStretch(ask(info, now, std::numeric_limits<int32_t>::max()), now, now, "open without end");
}

TEST_P(MaintWin, AnUndefinedWindowFindsNothing) {
    for (const int32_t outside : {0, 1}) {
        sqlpiMaintWindowInfo info = dailyWindow({0, 0, 0}, {0, 0, 0});
        info.defined = false;
        info.outside = outside;
        expectNone(ask(info, localTime(2024, 5, 10, 12, 0)), "outside " + std::to_string(outside));
        EXPECT_EQ(sqlpiIs24x7MaintWindow(&info), 0);
    }
}

TEST_P(MaintWin, InsideSearchIgnoresTheOutsideFlag) {
    sqlpiMaintWindowInfo info = dailyWindow({8, 0, 0}, {18, 0, 0});
    info.outside = 1;
    Answer answer{};
    answer.found = sqlpiFindInsideMaintWindow(&info, {localTime(2024, 5, 10, 6, 0), 5}, 1, &answer.start, &answer.end);
    expectStretch(answer, localTime(2024, 5, 10, 8, 0), localTime(2024, 5, 10, 18, 0), "inside");
}

TEST_P(MaintWin, LimitsBefore1970FindNothing) {
    for (const int32_t outside : {0, 1}) {
        sqlpiMaintWindowInfo info = dailyWindow({8, 0, 0}, {18, 0, 0});
        info.outside = outside;
        info.startDateTime = dateTime(1969, 12, 30, 0, 0);
        expectNone(ask(info, localTime(2024, 5, 10, 6, 0)), "start limit");
        info.startDateTime = dateTime(2024, 5, 1, 0, 0);
        info.endDateTime = dateTime(0, 0, 0, 0, 0);
        expectNone(ask(info, localTime(2024, 5, 10, 6, 0)), "end limit");
    }
}

/* Second 0 of the epoch is the caller's word for no moment: nothing starts there, and all later ones are like others.
 */
TEST(MaintWinAtTheEpoch, AMomentIsAnyButTheFirst) {
    const ZoneScope scope("UTC");
    const sqlpiMaintWindowInfo hour = dailyWindow({0, 0, 0}, {1, 0, 0});
    expectNone(ask(hour, 0), "starts at 0");
    expectStretch(ask(hour, 1), 1, HOUR, "starts at 1");
    expectStretch(ask(dailyWindow({0, 0, 0}, {0, 0, 1}), 1, 0), 1, 1, "ends at 1");
    sqlpiMaintWindowInfo later = hour;
    later.startDateTime = dateTime(1970, 1, 1, 0, 0);
    expectStretch(ask(later, 5), 5, HOUR, "a start limit at 0");
    later.startDateTime = dateTime(1969, 12, 31, 23, 59, 59);
    expectNone(ask(later, 5), "a start limit before it");
    later = hour;
    later.endDateTime = dateTime(1970, 1, 1, 0, 0);
    expectNone(ask(later, 5), "an end limit at 0");
    sqlpiMaintWindowInfo saturdays = hour;
    selectOnly(saturdays.dayOfWeek, {6});
    expectStretch(ask(saturdays, 1), 2 * DAY, 2 * DAY + HOUR, "the first day is no Saturday");
}

/* A start one past what a clock shows is the next minute, hour or day. */
TEST_P(MaintWin, AStartJustPastTheClockIsNormalised) {
    const struct {
        sqlpiMaintWindowTime start;
        int hour, minute;
    } cases[] = {{{9, 59, 60}, 10, 0}, {{9, 60, 0}, 10, 0}, {{9, 60, 60}, 10, 1}};
    for (const auto& one : cases) {
        sqlpiMaintWindowInfo info = dailyWindow(one.start, {18, 0, 0});
        selectOnly(info.dayOfWeek, {1, 3});
        for (const int day : {13, 15})
            expectStretch(ask(info, localTime(2024, 5, day, 2, 0)), localTime(2024, 5, day, one.hour, one.minute),
                          localTime(2024, 5, day, 18, 0), "on its day");
        expectStretch(ask(info, localTime(2024, 5, 16, 2, 0)), localTime(2024, 5, 20, one.hour, one.minute),
                      localTime(2024, 5, 20, 18, 0), "days before");
    }
}

}  // namespace
