/* The routines beside the search: limits, months, the size of one day's window; and input that nobody should send. */
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>

#include "hostLogs.h"
#include "trace.h"
#include "unit/maintWinCases.h"
#include "unit/maintWinReference.h"

using namespace maintWinCases;

namespace {

constexpr int32_t HOUR = 3600;
constexpr int32_t DAY = 24 * HOUR;

tm brokenDown(int year, int month, int day, int hour, int minute, int second = 0) {
    tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    time.tm_sec = second;
    return time;
}

bool sameFields(const tm& a, const tm& b) {
    return a.tm_sec == b.tm_sec && a.tm_min == b.tm_min && a.tm_hour == b.tm_hour && a.tm_mday == b.tm_mday &&
           a.tm_mon == b.tm_mon && a.tm_year == b.tm_year;
}

TEST(MaintWinRoutines, TotalDayInMonth) {
    struct Example {
        int32_t year, month, days;
    };
    constexpr Example examples[] = {{2000, 2, 29},
                                    {1900, 2, 28},
                                    {2024, 12, 31},
                                    {2024, 0, 0},
                                    {2024, 13, -1},
                                    {2024, 2, 29},
                                    {2023, 2, 28},
                                    {2024, 1, 31},
                                    {2024, 3, 31},
                                    {2024, 4, 30},
                                    {2024, 5, 31},
                                    {2024, 6, 30},
                                    {2024, 7, 31},
                                    {2024, 8, 31},
                                    {2024, 9, 30},
                                    {2024, 10, 31},
                                    {2024, 11, 30},
                                    {2024, -1, -1},
                                    {0, 2, 29},
                                    {-4, 2, 29},
                                    {-100, 2, 28},
                                    {2100, 2, 28},
                                    {2400, 2, 29},
                                    {std::numeric_limits<int32_t>::max(), 2, 28},
                                    {std::numeric_limits<int32_t>::min(), 2, 29},
                                    {2024, std::numeric_limits<int32_t>::max(), -1},
                                    {2024, std::numeric_limits<int32_t>::min(), -1}};
    for (const Example& example : examples)
        EXPECT_EQ(sqlpiGetTotalDayInMonth(example.year, example.month), example.days)
            << example.year << "-" << example.month;
}

TEST(MaintWinRoutines, Is24x7NeedsEveryDayAroundTheClock) {
    EXPECT_EQ(sqlpiIs24x7MaintWindow(nullptr), 0);
    const sqlpiMaintWindowInfo always = dailyWindow({7, 8, 9}, {7, 8, 9});
    EXPECT_EQ(sqlpiIs24x7MaintWindow(&always), 1);
    const auto without = [&](auto change) {
        sqlpiMaintWindowInfo info = always;
        change(info);
        return sqlpiIs24x7MaintWindow(&info);
    };
    EXPECT_EQ(without([](auto& info) { info.startDateTime = dateTime(2030, 1, 1, 0, 0); }), 1) << "the start limit";
    EXPECT_EQ(without([](auto& info) { info.outside = 1; }), 1);
    EXPECT_EQ(without([](auto& info) { info.defined = false; }), 0);
    EXPECT_EQ(without([](auto& info) { info.endDateTime = dateTime(2030, 1, 1, 0, 0); }), 0);
    EXPECT_EQ(without([](auto& info) { info.endDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR; }), 0);
    EXPECT_EQ(without([](auto& info) { info.endTime.hour = 8; }), 0);
    EXPECT_EQ(without([](auto& info) { info.endTime.minute = 9; }), 0);
    EXPECT_EQ(without([](auto& info) { info.endTime.second = 8; }), 0);
    EXPECT_EQ(without([](auto& info) { info.endTime = {6, 68, 9}; }), 0) << "the same time, written otherwise";
    for (int month = 0; month < SQLPI_MONTHS; ++month)
        EXPECT_EQ(without([&](auto& info) { info.monthOfYear[month] = false; }), 0) << month;
    for (int day = 0; day < SQLPI_WEEK_DAYS; ++day)
        EXPECT_EQ(without([&](auto& info) { info.dayOfWeek[day] = false; }), 0) << day;
    for (int day = 0; day < SQLPI_MONTH_DAYS; ++day)
        EXPECT_EQ(without([&](auto& info) { info.dayOfMonth[day] = false; }), 1) << "selected twice " << day;
    for (int day = 0; day < 31; ++day) {
        EXPECT_EQ(without([&](auto& info) {
                      std::fill(info.dayOfMonth + 31, std::end(info.dayOfMonth), false);
                      info.dayOfMonth[day] = false;
                  }),
                  0)
            << day;
        EXPECT_EQ(without([&](auto& info) {
                      std::fill(info.dayOfMonth, info.dayOfMonth + 31, false);
                      info.dayOfMonth[31 + day] = false;
                  }),
                  0)
            << day;
    }
}

TEST(MaintWinRoutines, LimitsAreLocalTimes) {
    for (const char* zone : {"UTC", "Europe/Berlin", "America/New_York"}) {
        const ZoneScope scope(zone);
        sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {2, 0, 0});
        tm time{};
        time.tm_year = -5;
        EXPECT_EQ(sqlpiGetStartDateTime(&info, &time), 0) << "open";
        EXPECT_EQ(sqlpiGetEndDateTime(&info, &time), 0) << "open";
        EXPECT_EQ(time.tm_year, -5) << "nothing to write";
        info.startDateTime = dateTime(2024, 7, 3, 4, 5, 6);
        info.endDateTime = dateTime(2024, 12, 30, 23, 59, 58);
        EXPECT_EQ(sqlpiGetStartDateTime(&info, &time), localTime(2024, 7, 3, 4, 5, 6));
        EXPECT_TRUE(sameFields(time, brokenDown(2024, 7, 3, 4, 5, 6)));
        EXPECT_EQ(time.tm_wday, 3);
        EXPECT_EQ(sqlpiGetEndDateTime(&info, &time), localTime(2024, 12, 30, 23, 59, 58));
        EXPECT_TRUE(sameFields(time, brokenDown(2024, 12, 30, 23, 59, 58)));
        info.startDateTime = dateTime(2024, 14, 31, 24, 60, 61);
        EXPECT_EQ(sqlpiGetStartDateTime(&info, &time), localTime(2025, 3, 4, 1, 1, 1)) << "past their ranges";
        EXPECT_TRUE(sameFields(time, brokenDown(2025, 3, 4, 1, 1, 1)));
        // Each limit has one kind that leaves it open; the other one does not.
        info.startDateTime.boundKind = MAINT_WINDOW_THISANDFUTURE;
        EXPECT_EQ(sqlpiGetStartDateTime(&info, &time), localTime(2025, 3, 4, 1, 1, 1));
        info.endDateTime.boundKind = MAINT_WINDOW_THISANDPRIOR;
        EXPECT_EQ(sqlpiGetEndDateTime(&info, &time), localTime(2024, 12, 30, 23, 59, 58));
    }
}

TEST(MaintWinRoutines, AdjustTimeNormalises) {
    const ZoneScope scope("Europe/Berlin");
    tm time = brokenDown(2024, 13, 32, 23, 59, 59);
    time.tm_isdst = 1;
    EXPECT_EQ(sqlpiAdjustTime(&time), localTime(2025, 2, 1, 23, 59, 59));
    EXPECT_TRUE(sameFields(time, brokenDown(2025, 2, 1, 23, 59, 59)));
    EXPECT_EQ(time.tm_wday, 6);
    EXPECT_EQ(time.tm_yday, 31);
    EXPECT_EQ(time.tm_isdst, 0);
    time = brokenDown(2024, 7, 1, 49, -1);
    EXPECT_EQ(sqlpiAdjustTime(&time), localTime(2024, 7, 3, 0, 59));
    time = brokenDown(1900, 1, 1, 0, 0);
    EXPECT_LT(sqlpiAdjustTime(&time), -1);
}

TEST(MaintWinRoutines, AdjustTimeMakesTwoAttempts) {
    const ZoneScope scope("America/Sao_Paulo");
    // The first attempt gives 01:00, where the hour is another; the second 23:00 on the day before.
    tm time = brokenDown(2018, 11, 4, 0, 0);
    EXPECT_EQ(sqlpiAdjustTime(&time), localTime(2018, 11, 3, 23, 0));
    EXPECT_TRUE(sameFields(time, brokenDown(2018, 11, 3, 23, 0)));
    tm other = brokenDown(2018, 11, 4, 0, 0);
    EXPECT_EQ(maintWinReference::adjustTime(&other), localTime(2018, 11, 3, 23, 0));
}

TEST(MaintWinRoutines, CheckWindowSize) {
    struct Example {
        const char* what;
        sqlpiMaintWindowTime start, end;
        int dayHour;
        int32_t remaining;
        int32_t wanted;
        int32_t wantedRemaining;
        bool wantedCarried;
        int endDay, endHour; /* in May 2024 */
    };
    const Example examples[] = {
        {"within a day", {1, 0, 0}, {5, 0, 0}, 2, 3 * HOUR, 1, 3 * HOUR, false, 10, 5},
        {"within a day, too short", {1, 0, 0}, {5, 0, 0}, 2, 3 * HOUR + 1, 0, 3 * HOUR + 1, false, 0, 0},
        {"past its end", {1, 0, 0}, {5, 0, 0}, 6, -HOUR, 1, -HOUR, false, 10, 5},
        {"past its end, too short", {1, 0, 0}, {5, 0, 0}, 6, 0, 0, 0, false, 0, 0},
        {"in the evening", {22, 0, 0}, {6, 0, 0}, 22, 8 * HOUR, 1, 8 * HOUR, false, 11, 6},
        {"in the evening, too short", {22, 0, 0}, {6, 0, 0}, 22, 8 * HOUR + 1, 0, 8 * HOUR + 1, false, 0, 0},
        {"in the morning", {22, 0, 0}, {6, 0, 0}, 3, 3 * HOUR, 1, 3 * HOUR, false, 10, 6},
        {"24 hours", {0, 0, 0}, {0, 0, 0}, 0, DAY, 1, DAY, false, 11, 0},
        {"24 hours, from noon", {0, 0, 0}, {0, 0, 0}, 12, 12 * HOUR, 1, 12 * HOUR, false, 11, 0},
        {"24 hours, too short", {0, 0, 0}, {0, 0, 0}, 12, DAY, 0, 12 * HOUR, true, 0, 0},
        {"24 hours from six, early", {6, 0, 0}, {6, 0, 0}, 3, 27 * HOUR, 1, 27 * HOUR, false, 11, 6},
        {"24 hours from six, too short", {6, 0, 0}, {6, 0, 0}, 7, DAY, 0, HOUR, true, 0, 0},
    };
    for (const char* zone : {"UTC", "Europe/Berlin", "America/New_York"}) {
        const ZoneScope scope(zone);
        for (const Example& example : examples) {
            const sqlpiMaintWindowInfo info = dailyWindow(example.start, example.end);
            const tm day = brokenDown(2024, 5, 10, example.dayHour, 0);
            int32_t remaining = example.remaining;
            tm end{};
            bool carried = !example.wantedCarried;
            EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, &remaining, &end, &carried), example.wanted) << example.what;
            EXPECT_EQ(remaining, example.wantedRemaining) << example.what;
            EXPECT_EQ(carried, example.wantedCarried) << example.what;
            if (example.wanted != 0) {
                EXPECT_TRUE(sameFields(end, brokenDown(2024, 5, example.endDay, example.endHour, 0))) << example.what;
                EXPECT_EQ(end.tm_wday, example.endDay == 10 ? 5 : 6) << example.what;
            }
        }
    }
}

TEST(MaintWinRoutines, CheckWindowSizeLooksAtTheEndLimitOnItsDate) {
    const ZoneScope scope("Europe/Berlin");
    const tm day = brokenDown(2024, 5, 10, 2, 0);
    const auto endHour = [&](const sqlpiMaintWindowInfo& info) {
        int32_t remaining = HOUR;
        tm end{};
        bool carried = false;
        return sqlpiCheckWindowSize(&day, &info, &remaining, &end, &carried) == 1 ? end.tm_hour : -1;
    };
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    info.endDateTime = dateTime(2024, 5, 10, 4, 0);
    EXPECT_EQ(endHour(info), 4);
    info.endDateTime.hour = 2;
    EXPECT_EQ(endHour(info), -1) << "nothing is left";
    info.endDateTime.hour = 6;
    EXPECT_EQ(endHour(info), 5) << "later than the window";
    info.endDateTime = dateTime(2024, 5, 9, 4, 0);
    EXPECT_EQ(endHour(info), 5) << "another date";
    info.endDateTime = dateTime(2024, 5, 10, 4, 0);
    info.startTime = {5, 0, 0};
    EXPECT_EQ(endHour(info), 5) << "24 hours from five";
    info.startTime = {22, 0, 0};
    EXPECT_EQ(endHour(info), 5) << "over midnight";
}

/* mktime tries the offset of its last conversion first, which is the day's. */
TEST(MaintWinRoutines, CheckWindowSizeReadsADoubledEndWithTheOffsetOfItsDay) {
    const ZoneScope scope("Europe/Berlin");
    const sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {2, 30, 0});
    for (const int month : {1, 7}) {
        tm before = brokenDown(2024, month, 1, 12, 0);
        sqlpiAdjustTime(&before);
        const tm day = brokenDown(2024, 10, 27, 1, 30);  // CEST; 02:30 comes in CEST and again in CET
        int32_t remaining = HOUR;
        tm end{};
        bool carried = false;
        EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, &remaining, &end, &carried), 1);
        EXPECT_EQ(end.tm_isdst, 1) << "after a conversion in month " << month;
    }
}

TEST(MaintWinRoutines, CheckWindowSizeTakesAnEndWith1970) {
    const ZoneScope scope("UTC");
    const sqlpiMaintWindowInfo info = dailyWindow({23, 0, 0}, {0, 0, 0});
    const tm day = brokenDown(1969, 12, 31, 23, 0);
    int32_t remaining = HOUR;
    tm end{};
    bool carried = true;
    EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, &remaining, &end, &carried), 1);
    EXPECT_TRUE(sameFields(end, brokenDown(1970, 1, 1, 0, 0)));
}

TEST(MaintWinRoutines, CheckWindowSizeSaysNoToAnEndBefore1970) {
    const ZoneScope scope("UTC");
    const sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    const tm day = brokenDown(1969, 5, 10, 2, 0);
    int32_t remaining = 1;
    tm end{};
    bool carried = true;
    EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, &remaining, &end, &carried), 0);
    EXPECT_FALSE(carried);
    EXPECT_EQ(remaining, 1);
}

TEST(MaintWinRoutines, NullPointers) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
    OSSTime time = {};
    const OSSTime now = {1715299200, 0};
    for (const int32_t outside : {0, 1}) {
        info.outside = outside;
        EXPECT_EQ(sqlpiFindMaintWindow(nullptr, now, 1, &time, &time), 0);
        EXPECT_EQ(sqlpiFindMaintWindow(&info, now, 1, nullptr, &time), 0);
        EXPECT_EQ(sqlpiFindMaintWindow(&info, now, 1, &time, nullptr), 0);
        EXPECT_EQ(sqlpiFindInsideMaintWindow(nullptr, now, 1, &time, &time), 0);
        EXPECT_EQ(sqlpiFindInsideMaintWindow(&info, now, 1, nullptr, &time), 0);
        EXPECT_EQ(sqlpiFindInsideMaintWindow(&info, now, 1, &time, nullptr), 0);
    }
    tm day{};
    int32_t remaining = 1;
    bool carried = false;
    EXPECT_EQ(sqlpiCheckWindowSize(nullptr, &info, &remaining, &day, &carried), 0);
    EXPECT_EQ(sqlpiCheckWindowSize(&day, nullptr, &remaining, &day, &carried), 0);
    EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, nullptr, &day, &carried), 0);
    EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, &remaining, nullptr, &carried), 0);
    EXPECT_EQ(sqlpiCheckWindowSize(&day, &info, &remaining, &day, nullptr), 0);
    EXPECT_EQ(sqlpiGetStartDateTime(nullptr, &day), -1);
    EXPECT_EQ(sqlpiGetStartDateTime(&info, nullptr), -1);
    EXPECT_EQ(sqlpiGetEndDateTime(nullptr, &day), -1);
    EXPECT_EQ(sqlpiGetEndDateTime(&info, nullptr), -1);
    EXPECT_EQ(sqlpiAdjustTime(nullptr), -1);
    sqlpiConvertMaintWindow(nullptr);
}

/* Entry, and exit with the result, of every routine that answers the engine. */
TEST(MaintWinRoutines, AreTraced) {
    const ZoneScope scope("UTC");
    const auto traced = [](const auto& ask) {
        const kelhost::LogCapture capture;
        kelhost::setTraceFlags(PDT_FLAG_ENTRY | PDT_FLAG_EXIT);
        ask();
        kelhost::setTraceFlags(0);
        std::vector<std::string> records;
        for (const kelhost::LogRecord& record : capture.records(kelhost::LogKind::trace))
            records.push_back(record.event == kelhost::LogRecord::Event::entry
                                  ? "> " + record.function
                                  : "< " + record.function + " " + std::to_string(record.code));
        return records;
    };
    using Records = std::vector<std::string>;
    const OSSTime now = {1715299200, 0};
    OSSTime start = {};
    OSSTime end = {};
    for (const bool finds : {true, false}) {
        sqlpiMaintWindowInfo info = dailyWindow({1, 0, 0}, {5, 0, 0});
        info.defined = finds;
        const std::string result = finds ? "1" : "0";
        EXPECT_EQ(traced([&] { sqlpiFindInsideMaintWindow(&info, now, 1, &start, &end); }),
                  (Records{"> sqlpiFindInsideMaintWindow", "< sqlpiFindInsideMaintWindow " + result}));
        EXPECT_EQ(traced([&] { sqlpiFindMaintWindow(&info, now, 1, &start, &end); }),
                  (Records{"> sqlpiFindMaintWindow", "> sqlpiFindInsideMaintWindow",
                           "< sqlpiFindInsideMaintWindow " + result, "< sqlpiFindMaintWindow " + result}));
        info.outside = 1;
        EXPECT_EQ(traced([&] { sqlpiFindMaintWindow(&info, now, 1, &start, &end); }),
                  (Records{"> sqlpiFindMaintWindow", "< sqlpiFindMaintWindow " + result}));
        const tm day = brokenDown(2024, 5, 10, 2, 0);
        int32_t remaining = finds ? HOUR : 4 * HOUR;
        tm windowEnd{};
        bool carried = false;
        EXPECT_EQ(traced([&] { sqlpiCheckWindowSize(&day, &info, &remaining, &windowEnd, &carried); }),
                  (Records{"> sqlpiCheckWindowSize", "< sqlpiCheckWindowSize " + result}));
    }
}

TEST(MaintWinRoutines, ConvertChangesNothing) {
    sqlpiMaintWindowInfo info = dailyWindow({1, 2, 3}, {4, 5, 6});
    info.startDateTime = dateTime(2024, 5, 10, 4, 0);
    const std::string before = describe(info);
    sqlpiConvertMaintWindow(&info);
    EXPECT_EQ(describe(info), before);
}

/* Whatever is asked, an answer comes back, and a stretch that was found is one. */
TEST(MaintWinRoutines, NoInputIsTooStrange) {
    constexpr int64_t moments[] = {std::numeric_limits<int64_t>::min(),
                                   std::numeric_limits<int64_t>::min() + 1,
                                   -67768040609740800,
                                   -1,
                                   0,
                                   1,
                                   1715299200,
                                   2147483647,
                                   4102444800,
                                   67767976233532799,
                                   67768036191676799,
                                   std::numeric_limits<int64_t>::max() - 86400,
                                   std::numeric_limits<int64_t>::max()};
    constexpr int32_t durations[] = {std::numeric_limits<int32_t>::min(), -1, 0, 1, 86400, 90000,
                                     std::numeric_limits<int32_t>::max()};
    int found = 0;
    for (const char* zone : {"Europe/Berlin", "America/Sao_Paulo", "Pacific/Apia"}) {
        const ZoneScope scope(zone);
        for (uint64_t seed = 0; seed < 400; ++seed) {
            std::mt19937_64 engine(seed);
            const auto byte = [&](unsigned most) { return static_cast<uint8_t>(engine() % (most + 1)); };
            const auto oneIn = [&](unsigned count) { return engine() % count == 0; };
            const unsigned most = oneIn(2) ? 255 : 59;
            const auto time = [&]() -> sqlpiMaintWindowTime { return {byte(most), byte(most), byte(most)}; };
            sqlpiMaintWindowInfo info = dailyWindow(time(), time());
            if (oneIn(3)) info.endTime = info.startTime;
            if (oneIn(2))
                for (bool& day : info.dayOfMonth) day = oneIn(8);
            if (oneIn(2))
                for (bool& day : info.dayOfWeek) day = oneIn(2);
            if (oneIn(3))
                for (bool& month : info.monthOfYear) month = oneIn(3);
            const auto limit = [&](int32_t kind) -> sqlpiMaintWindowDateTime {
                return {kind, static_cast<uint16_t>(engine()), byte(255), byte(255), byte(255), byte(255), byte(255)};
            };
            if (oneIn(3)) info.startDateTime = limit(static_cast<int32_t>(engine()));
            if (oneIn(3)) info.endDateTime = limit(0);
            info.outside = oneIn(4) ? static_cast<int32_t>(engine()) : 0;
            for (const int64_t moment : moments) {
                const int32_t minDuration = durations[engine() % std::size(durations)];
                OSSTime start = {-1, -1};
                OSSTime end = {-1, -1};
                const int32_t answer = sqlpiFindMaintWindow(&info, {moment, std::numeric_limits<int64_t>::max()},
                                                            minDuration, &start, &end);
                ASSERT_TRUE(answer == 0 || answer == 1);
                if (answer == 0) {
                    ASSERT_EQ(start.seconds, -1);
                    ASSERT_EQ(end.seconds, -1);
                } else if (end.seconds != start.seconds) {
                    ASSERT_GE(end.seconds - start.seconds, minDuration) << describe(info) << " at " << moment;
                }
                found += answer;
            }
        }
    }
    EXPECT_GT(found, 1000);
}

TEST(MaintWinRoutines, StrangeDays) {
    const ZoneScope scope("Europe/Berlin");
    constexpr int values[] = {std::numeric_limits<int>::min(), -1, 0, 31, std::numeric_limits<int>::max()};
    for (uint64_t seed = 0; seed < 5000; ++seed) {
        std::mt19937_64 engine(seed);
        const auto value = [&] { return values[engine() % std::size(values)]; };
        tm day{};
        day.tm_sec = value();
        day.tm_min = value();
        day.tm_hour = value();
        day.tm_mday = value();
        day.tm_mon = value();
        day.tm_year = value();
        sqlpiMaintWindowInfo info = dailyWindow({23, 0, 0}, {static_cast<uint8_t>(engine() % 2 == 0 ? 5 : 23), 0, 0});
        info.endDateTime = dateTime(2024, 5, 10, 4, 0);
        int32_t remaining = value();
        tm end{};
        bool carried = false;
        const int32_t answer = sqlpiCheckWindowSize(&day, &info, &remaining, &end, &carried);
        ASSERT_TRUE(answer == 0 || (answer == 1 && !carried));
        sqlpiAdjustTime(&day);
    }
}

/* A limit so far away costs no more than the calendar's cycle of 400 years: without that bound these questions would
 * look at more than twenty million days. */
TEST(MaintWinRoutines, AFarEndLimitEndsTheSearch) {
    const ZoneScope scope("Europe/Berlin");
    const int64_t now = localTime(2024, 5, 10, 0, 0);
    const auto found = [&](const sqlpiMaintWindowInfo& info, int32_t minDuration) {
        OSSTime start = {};
        OSSTime end = {};
        return sqlpiFindMaintWindow(&info, {now, 0}, minDuration, &start, &end);
    };
    for (const uint8_t hour : {uint8_t{1}, uint8_t{30}}) {
        sqlpiMaintWindowInfo never = dailyWindow({hour, 0, 0}, {5, 0, 0});
        never.endDateTime = dateTime(65535, 12, 31, 0, 0);
        std::fill(never.dayOfMonth, std::end(never.dayOfMonth), false);
        EXPECT_EQ(found(never, 1), 0) << "no day";
        never.dayOfMonth[29] = true;
        std::fill(never.monthOfYear, std::end(never.monthOfYear), false);
        never.monthOfYear[1] = true;
        EXPECT_EQ(found(never, 1), 0) << "30 February";
    }
    sqlpiMaintWindowInfo all = dailyWindow({0, 0, 0}, {0, 0, 0});
    all.endDateTime = dateTime(65535, 12, 31, 0, 0);
    EXPECT_EQ(found(all, 1), 0) << "around the clock";
    std::fill(all.dayOfMonth + 31, std::end(all.dayOfMonth), false);
    all.dayOfMonth[28] = false;
    EXPECT_EQ(found(all, std::numeric_limits<int32_t>::max()), 0) << "68 years without the 29th";
    sqlpiMaintWindowInfo rare = dailyWindow({1, 0, 0}, {5, 0, 0});
    rare.endDateTime = all.endDateTime;
    std::fill(rare.monthOfYear, std::end(rare.monthOfYear), false);
    std::fill(rare.dayOfMonth, std::end(rare.dayOfMonth), false);
    std::fill(rare.dayOfWeek, std::end(rare.dayOfWeek), false);
    rare.monthOfYear[1] = rare.dayOfMonth[28] = rare.dayOfWeek[1] = true;  // Monday, 29 February 2044
    OSSTime start = {};
    OSSTime end = {};
    EXPECT_EQ(sqlpiFindMaintWindow(&rare, {now, 0}, 1, &start, &end), 1);
    EXPECT_EQ(start.seconds, localTime(2044, 2, 29, 1, 0));
}

}  // namespace
