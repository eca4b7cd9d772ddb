/* Each tzset, mktime and localtime makes the C runtime look at TZ, and at the zone's file where TZ is unset. A question
 * costs at most two of these calls, which are counted where the library makes them (see maintWin.cmake). */
#include <gtest/gtest.h>

#include <ctime>

#include "unit/maintWinCases.h"

using namespace maintWinCases;

namespace {
int zoneCalls = 0;
}

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
void __real_tzset();
time_t __real_mktime(tm* time);
tm* __real_localtime(const time_t* moment);

void __wrap_tzset() {
    ++zoneCalls;
    __real_tzset();
}
time_t __wrap_mktime(tm* time) {
    ++zoneCalls;
    return __real_mktime(time);
}
tm* __wrap_localtime(const time_t* moment) {
    ++zoneCalls;
    return __real_localtime(moment);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

TEST(MaintWinZoneReads, TheCountIsTaken) {
    zoneCalls = 0;
    tm time{};
    sqlpiAdjustTime(&time);
    EXPECT_GE(zoneCalls, 1);
}

TEST(MaintWinZoneReads, AQuestionCostsAtMostTwo) {
    for (const char* name : {"", "Europe/Berlin"}) {
        const ZoneScope scope(name);
        const Zone zone = {name, 2000, 2031};
        const std::vector<int64_t> changes = clockChanges(zone);
        for (uint64_t seed = 0; seed < 3000; ++seed) {
            const Case question = randomCase(seed, zone, changes);
            OSSTime start = {};
            OSSTime end = {};
            zoneCalls = 0;
            sqlpiFindMaintWindow(&question.info, question.now, question.minDuration, &start, &end);
            ASSERT_LE(zoneCalls, 2) << describe(question);
        }
    }
}

/* A process that changes its zone is noticed by the next question. */
TEST(MaintWinZoneReads, TheZoneOfTheQuestionCounts) {
    const sqlpiMaintWindowInfo info = dailyWindow({22, 0, 0}, {23, 0, 0});
    const ZoneScope scope("UTC");
    const OSSTime noon = {1715342400, 0};
    const auto start = [&] {
        OSSTime found = {};
        OSSTime end = {};
        EXPECT_EQ(sqlpiFindMaintWindow(&info, noon, 1, &found, &end), 1);
        return found.seconds;
    };
    EXPECT_EQ(start(), noon.seconds + 10 * 3600);
    setenv("TZ", "Europe/Berlin", 1);  // and no tzset
    EXPECT_EQ(start(), noon.seconds + 8 * 3600);
}

}  // namespace
