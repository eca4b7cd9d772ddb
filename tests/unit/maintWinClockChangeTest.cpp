/* What happens where the clocks change. The C runtime decides how a local time is read that does not exist or exists
 * twice; the results here are those of glibc. */
#include <gtest/gtest.h>

#include <algorithm>

#include "unit/maintWinCases.h"

using namespace maintWinCases;

namespace {

constexpr int32_t HOUR = 3600;

struct Answer {
    int32_t found;
    int64_t start;
    int64_t end;
};

Answer ask(const sqlpiMaintWindowInfo& info, int64_t now, int32_t minDuration = 1) {
    OSSTime start = {-1, 0};
    OSSTime end = {-1, 0};
    const int32_t found = sqlpiFindMaintWindow(&info, {now, 0}, minDuration, &start, &end);
    return {found, start.seconds, end.seconds};
}

void expectStretch(const Answer& answer, int64_t start, int64_t end, const char* what) {
    EXPECT_EQ(answer.found, 1) << what;
    EXPECT_EQ(answer.start, start) << what << ": " << describeLocal(answer.start) << ", wanted "
                                   << describeLocal(start);
    EXPECT_EQ(answer.end, end) << what << ": " << describeLocal(answer.end) << ", wanted " << describeLocal(end);
}

sqlpiMaintWindowInfo onWeekdays(sqlpiMaintWindowTime start, sqlpiMaintWindowTime end, std::initializer_list<int> days) {
    sqlpiMaintWindowInfo info = dailyWindow(start, end);
    std::fill(std::begin(info.dayOfWeek), std::end(info.dayOfWeek), false);
    for (const int day : days) info.dayOfWeek[day] = true;
    return info;
}

tm brokenDown(int year, int month, int day, int hour, int minute) {
    tm time{};
    time.tm_year = year - 1900;
    time.tm_mon = month - 1;
    time.tm_mday = day;
    time.tm_hour = hour;
    time.tm_min = minute;
    return time;
}

/* Makes the C runtime's last conversion one of that day. */
void convertWithMktime(int year, int month, int day) {
    tm time = brokenDown(year, month, day, 12, 0);
    time.tm_isdst = -1;
    ASSERT_NE(mktime(&time), -1);
}

/* Berlin, 31 March 2024: 01:59:59 CET is followed by 03:00:00 CEST. */
class BerlinSpring : public testing::Test {
protected:
    const ZoneScope scope_{"Europe/Berlin"};
    const int64_t midnight_ = localTime(2024, 3, 31, 0, 0);
    const int64_t halfPastOne_ = localTime(2024, 3, 31, 1, 30);
    const int64_t fourOClock_ = localTime(2024, 3, 31, 4, 0);
};

TEST_F(BerlinSpring, TheNightIsAnHourShorter) {
    EXPECT_EQ(fourOClock_ - halfPastOne_, HOUR + HOUR / 2);
    const sqlpiMaintWindowInfo night = dailyWindow({22, 0, 0}, {6, 0, 0});
    const int64_t evening = localTime(2024, 3, 30, 22, 0);
    const int64_t morning = localTime(2024, 3, 31, 6, 0);
    expectStretch(ask(night, evening, 7 * HOUR), evening, morning, "seven hours");
    expectStretch(ask(night, evening, 7 * HOUR + 1), localTime(2024, 3, 31, 22, 0), localTime(2024, 4, 1, 6, 0),
                  "more than seven hours");
}

TEST_F(BerlinSpring, AStartInTheSkippedHourIsAnHourEarly) {
    expectStretch(ask(dailyWindow({2, 30, 0}, {4, 0, 0}), midnight_), halfPastOne_, fourOClock_, "ends after it");
    expectStretch(ask(dailyWindow({2, 15, 0}, {2, 30, 0}), midnight_), localTime(2024, 3, 31, 1, 15), halfPastOne_,
                  "ends in it");
}

TEST_F(BerlinSpring, AnEndInTheSkippedHourIsAnHourEarly) {
    expectStretch(ask(dailyWindow({1, 0, 0}, {2, 30, 0}), midnight_), localTime(2024, 3, 31, 1, 0), halfPastOne_,
                  "starts before it");
    expectStretch(ask(dailyWindow({22, 0, 0}, {2, 30, 0}), midnight_), midnight_, halfPastOne_, "over midnight");
    expectStretch(ask(dailyWindow({1, 30, 0}, {2, 30, 0}), midnight_), localTime(2024, 4, 1, 1, 30),
                  localTime(2024, 4, 1, 2, 30), "nothing is left");
}

/* A start that is skipped is read as a time that may be over already. */
TEST_F(BerlinSpring, AnAnswerMayBeginAndEvenEndBeforeTheQuestion) {
    const int64_t now = localTime(2024, 3, 31, 1, 50);
    expectStretch(ask(dailyWindow({2, 30, 0}, {4, 0, 0}), now), halfPastOne_, fourOClock_, "begins before it");
    expectStretch(ask(dailyWindow({2, 30, 0}, {2, 40, 0}), now), halfPastOne_, localTime(2024, 3, 31, 1, 40),
                  "is over before it");
    expectStretch(ask(dailyWindow({2, 30, 0}, {2, 40, 0}), localTime(2024, 3, 31, 3, 0)), localTime(2024, 4, 1, 2, 30),
                  localTime(2024, 4, 1, 2, 40), "asked behind the change");
}

TEST_F(BerlinSpring, AWeekendHas47Hours) {
    const sqlpiMaintWindowInfo weekend = onWeekdays({0, 0, 0}, {0, 0, 0}, {0, 6});
    const int64_t wednesday = localTime(2024, 3, 27, 12, 0);
    const int64_t saturday = localTime(2024, 3, 30, 0, 0);
    expectStretch(ask(weekend, wednesday, 47 * HOUR), saturday, localTime(2024, 4, 1, 0, 0), "47 hours");
    expectStretch(ask(weekend, wednesday, 47 * HOUR + 1), localTime(2024, 4, 6, 0, 0), localTime(2024, 4, 8, 0, 0),
                  "more");
    // 24 hours are met by Saturday; Sunday with its 23 does not lengthen the stretch.
    expectStretch(ask(weekend, wednesday, 24 * HOUR), saturday, localTime(2024, 3, 31, 0, 0), "24 hours");
    expectStretch(ask(weekend, wednesday, 23 * HOUR), saturday, localTime(2024, 4, 1, 0, 0), "23 hours");
}

TEST_F(BerlinSpring, OutsideOfAWindowThatTheChangePutsBehind) {
    sqlpiMaintWindowInfo info = dailyWindow({2, 30, 0}, {2, 40, 0});
    info.outside = 1;
    const int64_t now = localTime(2024, 3, 31, 1, 50);
    expectStretch(ask(info, now), now, localTime(2024, 4, 1, 2, 30), "today's would be 01:30 to 01:40");
}

TEST_F(BerlinSpring, AdjustTimeRetriesATimeThatDoesNotExist) {
    for (const int month : {1, 7}) {
        convertWithMktime(2024, month, 1);
        tm time = brokenDown(2024, 3, 31, 2, 30);
        EXPECT_EQ(sqlpiAdjustTime(&time), halfPastOne_);
        EXPECT_EQ(time.tm_hour, 1);
        EXPECT_EQ(time.tm_min, 30);
        EXPECT_EQ(time.tm_isdst, 0);
    }
}

/* Berlin, 27 October 2024: 02:59:59 CEST is followed by 02:00:00 CET. */
class BerlinAutumn : public testing::Test {
protected:
    const ZoneScope scope_{"Europe/Berlin"};
    const int64_t dayBefore_ = localTime(2024, 10, 26, 12, 0);
    const int64_t firstHalfPastTwo_ = localTime(2024, 10, 27, 2, 30);
    const int64_t secondHalfPastTwo_ = firstHalfPastTwo_ + HOUR;
    const int64_t fourOClock_ = localTime(2024, 10, 27, 4, 0);
};

TEST_F(BerlinAutumn, TheNightIsAnHourLonger) {
    EXPECT_EQ(fourOClock_ - firstHalfPastTwo_, 2 * HOUR + HOUR / 2);
    const sqlpiMaintWindowInfo night = dailyWindow({22, 0, 0}, {6, 0, 0});
    const int64_t evening = localTime(2024, 10, 26, 22, 0);
    expectStretch(ask(night, evening, 9 * HOUR), evening, localTime(2024, 10, 27, 6, 0), "nine hours");
}

TEST_F(BerlinAutumn, OfADoubledTimeTheFirstIsTaken) {
    expectStretch(ask(dailyWindow({2, 30, 0}, {4, 0, 0}), dayBefore_), firstHalfPastTwo_, fourOClock_, "start");
    expectStretch(ask(dailyWindow({1, 0, 0}, {2, 30, 0}), dayBefore_), localTime(2024, 10, 27, 1, 0), firstHalfPastTwo_,
                  "end");
    expectStretch(ask(dailyWindow({2, 0, 0}, {2, 30, 0}), dayBefore_), firstHalfPastTwo_ - HOUR / 2, firstHalfPastTwo_,
                  "both");
    sqlpiMaintWindowInfo onceAYear = onWeekdays({2, 30, 0}, {4, 0, 0}, {0});
    std::fill(std::begin(onceAYear.dayOfMonth), std::end(onceAYear.dayOfMonth), false);
    onceAYear.dayOfMonth[26] = true;
    for (const int month : {7, 8, 9})
        expectStretch(ask(onceAYear, localTime(2024, month, 30, 0, 0)), firstHalfPastTwo_, fourOClock_, "from summer");
    onceAYear.monthOfYear[0] = onceAYear.monthOfYear[9] = true;
    std::fill(onceAYear.monthOfYear + 1, onceAYear.monthOfYear + 9, false);
    expectStretch(ask(onceAYear, localTime(2024, 2, 1, 0, 0)), firstHalfPastTwo_, fourOClock_, "from winter");
}

TEST_F(BerlinAutumn, WithinTheSecondHourTheSecondIsTaken) {
    const sqlpiMaintWindowInfo info = dailyWindow({2, 0, 0}, {2, 30, 0});
    const int64_t first = firstHalfPastTwo_ - HOUR / 3;
    const int64_t second = secondHalfPastTwo_ - HOUR / 3;
    expectStretch(ask(info, first), first, firstHalfPastTwo_, "02:10 CEST");
    expectStretch(ask(info, second), second, secondHalfPastTwo_, "02:10 CET");
    expectStretch(ask(info, firstHalfPastTwo_ + 1), localTime(2024, 10, 28, 2, 0), localTime(2024, 10, 28, 2, 30),
                  "after the first, tomorrow's is next");
}

TEST_F(BerlinAutumn, AnswersDoNotDependOnWhatWasConvertedBefore) {
    const sqlpiMaintWindowInfo info = dailyWindow({2, 30, 0}, {4, 0, 0});
    sqlpiMaintWindowInfo limited = dailyWindow({1, 0, 0}, {5, 0, 0});
    limited.startDateTime = dateTime(2024, 10, 27, 2, 30);
    limited.endDateTime = dateTime(2024, 10, 27, 2, 45);
    for (const int month : {1, 7}) {
        convertWithMktime(2024, month, 1);
        expectStretch(ask(info, dayBefore_), firstHalfPastTwo_, fourOClock_, "from the day before");
        convertWithMktime(2024, month, 1);
        expectStretch(ask(info, secondHalfPastTwo_), secondHalfPastTwo_, fourOClock_, "from the second hour");
        convertWithMktime(2024, month, 1);
        expectStretch(ask(limited, dayBefore_), firstHalfPastTwo_, firstHalfPastTwo_ + HOUR / 4, "limits");
    }
}

TEST_F(BerlinAutumn, AWeekendHas49Hours) {
    const sqlpiMaintWindowInfo weekend = onWeekdays({0, 0, 0}, {0, 0, 0}, {0, 6});
    expectStretch(ask(weekend, localTime(2024, 10, 2, 12, 0), 49 * HOUR), localTime(2024, 10, 26, 0, 0),
                  localTime(2024, 10, 28, 0, 0), "the only one this year");
    expectStretch(ask(weekend, localTime(2024, 10, 28, 0, 0), 49 * HOUR), localTime(2025, 10, 25, 0, 0),
                  localTime(2025, 10, 27, 0, 0), "the next one");
}

TEST_F(BerlinAutumn, AdjustTimeTakesWhatThePlatformTakes) {
    // The C runtime tries the offset of its last conversion first.
    convertWithMktime(2024, 7, 1);
    tm time = brokenDown(2024, 10, 27, 2, 30);
    EXPECT_EQ(sqlpiAdjustTime(&time), firstHalfPastTwo_);
    EXPECT_EQ(time.tm_isdst, 1);
    convertWithMktime(2024, 1, 1);
    time = brokenDown(2024, 10, 27, 2, 30);
    EXPECT_EQ(sqlpiAdjustTime(&time), secondHalfPastTwo_);
    EXPECT_EQ(time.tm_isdst, 0);
}

/* New York, 10 March 2024: 01:59:59 EST is followed by 03:00:00 EDT; 3 November: 01:59:59 EDT by 01:00:00 EST. */
TEST(MaintWinNewYork, ClockChanges) {
    const ZoneScope scope("America/New_York");
    expectStretch(ask(dailyWindow({2, 30, 0}, {4, 0, 0}), localTime(2024, 3, 10, 0, 0)), localTime(2024, 3, 10, 1, 30),
                  localTime(2024, 3, 10, 4, 0), "start in the skipped hour");
    const int64_t firstHalfPastOne = localTime(2024, 11, 3, 1, 30);
    expectStretch(ask(dailyWindow({1, 30, 0}, {3, 0, 0}), localTime(2024, 11, 2, 12, 0)), firstHalfPastOne,
                  localTime(2024, 11, 3, 3, 0), "start in the doubled hour");
    EXPECT_EQ(localTime(2024, 11, 3, 3, 0) - firstHalfPastOne, 2 * HOUR + HOUR / 2);
}

/* Seconds past 59 count on from the 59th, into a skipped hour and over midnight. */
TEST_F(BerlinSpring, SecondsPastTheirRange) {
    for (const uint8_t second : {uint8_t{59}, uint8_t{60}, uint8_t{70}, uint8_t{255}}) {
        const sqlpiMaintWindowInfo info = dailyWindow({1, 59, second}, {4, 0, 0});
        // 01:59:59 is CET; what follows is the same number of seconds later.
        expectStretch(ask(info, midnight_), localTime(2024, 3, 31, 1, 59, 59) + second - 59, fourOClock_, "start");
    }
}

/* Clocks that change twice within a month: to daylight-saving time on 10 September, back on 1 October at 03:00. */
TEST(MaintWinTwoChangesInAMonth, TheOffsetOfTheDayLookedAtBeforeDecides) {
    const ZoneScope scope("STD0DST,J253/2,J274/3");
    const int64_t first = localTime(2024, 10, 1, 2, 30);
    sqlpiMaintWindowInfo info = dailyWindow({2, 30, 0}, {4, 0, 0});
    std::fill(info.dayOfMonth + 1, std::end(info.dayOfMonth), false);
    info.monthOfYear[7] = false;
    expectStretch(ask(info, localTime(2024, 9, 10, 0, 0)), first, localTime(2024, 10, 1, 4, 0), "30 September");
    // An unselected month is passed over in one step, from its first day.
    info.monthOfYear[8] = false;
    expectStretch(ask(info, localTime(2024, 7, 10, 0, 0)), first + HOUR, localTime(2024, 10, 1, 4, 0), "1 September");
}

/* Recife went to daylight-saving time on 8 October 2000 and back a week later, for an hour less than seven days. */
TEST(MaintWinRecife, TwoChangesInAWeek) {
    const ZoneScope scope("America/Recife");
    const sqlpiMaintWindowInfo info = onWeekdays({12, 0, 0}, {12, 0, 0}, {5, 6});  // Friday and Saturday
    expectStretch(ask(info, localTime(2000, 9, 10, 13, 0), 48 * HOUR + 1), localTime(2000, 10, 13, 12, 0),
                  localTime(2000, 10, 15, 12, 0), "the one with a 25th hour");
    expectStretch(ask(info, localTime(2000, 10, 1, 13, 0), 48 * HOUR), localTime(2000, 10, 13, 12, 0),
                  localTime(2000, 10, 15, 12, 0), "the one before has 47");
}

/* What makes a weekend of 50 hours: clocks that are set back by two hours. */
TEST(MaintWinTroll, AWeekendHas50Hours) {
    const ZoneScope scope("Antarctica/Troll");
    const sqlpiMaintWindowInfo weekend = onWeekdays({0, 0, 0}, {0, 0, 0}, {0, 6});
    const int64_t saturday = localTime(2024, 10, 26, 0, 0);
    expectStretch(ask(weekend, localTime(2024, 1, 1, 0, 0), 50 * HOUR), saturday, saturday + 50 * HOUR, "in autumn");
    EXPECT_EQ(ask(weekend, localTime(2024, 1, 1, 0, 0), 50 * HOUR + 1).found, 0);
    expectStretch(ask(onWeekdays({0, 0, 0}, {0, 0, 0}, {0, 2, 4}), localTime(2024, 1, 1, 0, 0), 26 * HOUR),
                  localTime(2024, 10, 27, 0, 0), localTime(2024, 10, 28, 0, 0), "one day of 26 hours");
}

/* Lord Howe Island changes by half an hour: on 1 October 2023 from 02:00 to 02:30, on 7 April 2024 from 02:00 back to
 * 01:30. */
TEST(MaintWinLordHowe, HalfAnHour) {
    const ZoneScope scope("Australia/Lord_Howe");
    // The hour stays the same, so this is not corrected: the time is read as half an hour later.
    expectStretch(ask(dailyWindow({2, 10, 0}, {3, 0, 0}), localTime(2023, 10, 1, 0, 0)), localTime(2023, 10, 1, 2, 40),
                  localTime(2023, 10, 1, 3, 0), "start in the skipped half hour");
    const int64_t first = localTime(2024, 4, 7, 1, 40);
    expectStretch(ask(dailyWindow({1, 40, 0}, {3, 0, 0}), localTime(2024, 4, 6, 12, 0)), first,
                  localTime(2024, 4, 7, 3, 0), "start in the doubled half hour");
    EXPECT_EQ(localTime(2024, 4, 7, 3, 0) - first, HOUR + HOUR / 3 + HOUR / 2);
}

/* Sao Paulo, 4 November 2018, a Sunday: 23:59:59 is followed by 01:00:00. Midnight is read as 23:00 on Saturday. */
TEST(MaintWinSaoPaulo, ADayWithoutMidnight) {
    const ZoneScope scope("America/Sao_Paulo");
    const int64_t wednesday = localTime(2018, 10, 31, 12, 0);
    const int64_t saturday = localTime(2018, 11, 3, 0, 0);
    const int64_t oneOClock = localTime(2018, 11, 4, 1, 0);
    const int64_t monday = localTime(2018, 11, 5, 0, 0);
    EXPECT_EQ(monday - saturday, 47 * HOUR);

    const Answer none = ask(dailyWindow({0, 0, 0}, {4, 0, 0}), localTime(2018, 11, 3, 12, 0));
    EXPECT_EQ(none.found, 0) << "Saturday is looked at twice, at 23:00, and is too short both times";

    expectStretch(ask(onWeekdays({0, 0, 0}, {4, 0, 0}, {0}), wednesday), oneOClock, localTime(2018, 11, 4, 4, 0),
                  "Sunday's window");
    expectStretch(ask(onWeekdays({0, 0, 0}, {4, 0, 0}, {2}), localTime(2018, 11, 2, 12, 0)),
                  localTime(2018, 11, 6, 0, 0), localTime(2018, 11, 6, 4, 0), "Tuesday's window, past that Sunday");

    const sqlpiMaintWindowInfo weekend = onWeekdays({0, 0, 0}, {0, 0, 0}, {0, 6});
    for (const int32_t minDuration : {1, 24 * HOUR, 47 * HOUR})
        expectStretch(ask(weekend, wednesday, minDuration), saturday, monday, "the weekend");
    expectStretch(ask(weekend, wednesday, 47 * HOUR + 1), localTime(2018, 11, 10, 0, 0), localTime(2018, 11, 12, 0, 0),
                  "the next weekend");
    expectStretch(ask(onWeekdays({0, 0, 0}, {0, 0, 0}, {0}), wednesday), oneOClock, monday, "Sunday");
}

/* Samoa had no 30 December 2011. */
TEST(MaintWinApia, ADayThatDoesNotExist) {
    const ZoneScope scope("Pacific/Apia");
    EXPECT_EQ(localTime(2011, 12, 31, 0, 0) - localTime(2011, 12, 29, 0, 0), 24 * HOUR);
    expectStretch(ask(dailyWindow({8, 0, 0}, {10, 0, 0}), localTime(2011, 12, 29, 12, 0)),
                  localTime(2011, 12, 31, 8, 0), localTime(2011, 12, 31, 10, 0), "Friday's window is Saturday's");
    expectStretch(ask(onWeekdays({8, 0, 0}, {10, 0, 0}, {5}), localTime(2011, 12, 29, 12, 0)),
                  localTime(2012, 1, 6, 8, 0), localTime(2012, 1, 6, 10, 0), "no Friday in this week");
    expectStretch(ask(dailyWindow({22, 0, 0}, {6, 0, 0}), localTime(2011, 12, 29, 12, 0)),
                  localTime(2011, 12, 29, 22, 0), localTime(2011, 12, 31, 6, 0), "one night");
    expectStretch(ask(onWeekdays({0, 0, 0}, {0, 0, 0}, {4, 6}), localTime(2011, 12, 7, 0, 0), 48 * HOUR),
                  localTime(2011, 12, 29, 0, 0), localTime(2012, 1, 1, 0, 0), "Thursday and Saturday in a row");
}

/* Nepal moved its clocks from 00:00 to 00:15 on 1 January 1986, for good. */
TEST(MaintWinKathmandu, AQuarterOfAnHourForGood) {
    const ZoneScope scope("Asia/Kathmandu");
    expectStretch(ask(dailyWindow({0, 5, 0}, {1, 0, 0}), localTime(1985, 12, 31, 12, 0)), localTime(1986, 1, 1, 0, 20),
                  localTime(1986, 1, 1, 1, 0), "start in the skipped minutes");
}

/* Volgograd moved its clocks from 02:00 to 03:00 on 28 October 2018, for good. Without a daylight-saving flag to turn
 * round, the correction has no answer, and a search that comes to such a time ends. */
TEST(MaintWinVolgograd, AnHourForGood) {
    const ZoneScope scope("Europe/Volgograd");
    const sqlpiMaintWindowInfo skipped = dailyWindow({2, 30, 0}, {4, 0, 0});
    EXPECT_EQ(ask(skipped, localTime(2018, 10, 27, 12, 0)).found, 0);
    EXPECT_EQ(ask(onWeekdays({2, 30, 0}, {4, 0, 0}, {2}), localTime(2018, 10, 26, 12, 0)).found, 0) << "on the way";
    expectStretch(ask(skipped, localTime(2018, 10, 28, 12, 0)), localTime(2018, 10, 29, 2, 30),
                  localTime(2018, 10, 29, 4, 0), "after it");
    expectStretch(ask(dailyWindow({1, 30, 0}, {4, 0, 0}), localTime(2018, 10, 27, 12, 0)),
                  localTime(2018, 10, 28, 1, 30), localTime(2018, 10, 28, 4, 0), "around it");
    tm time = brokenDown(2018, 10, 28, 2, 30);
    EXPECT_EQ(sqlpiAdjustTime(&time), -1);
}

/* Khandyga moved its clocks from 00:00 to 01:00 on 1 January 2004, for good, and an hour on for the summer. */
TEST(MaintWinKhandyga, AnHourForGoodIsSeenThroughTheSummers) {
    const ZoneScope scope("Asia/Khandyga");
    sqlpiMaintWindowInfo june = dailyWindow({0, 0, 0}, {4, 0, 0});
    std::fill(std::begin(june.monthOfYear), std::end(june.monthOfYear), false);
    june.monthOfYear[5] = true;
    std::fill(std::begin(june.dayOfMonth), std::end(june.dayOfMonth), false);
    june.dayOfMonth[19] = true;
    const Answer answer = ask(june, localTime(2003, 12, 21, 12, 0));
    EXPECT_EQ(answer.found, 0) << describeLocal(answer.start);
}

}  // namespace
