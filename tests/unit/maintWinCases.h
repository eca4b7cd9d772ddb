/* Zones, and questions about maintenance windows drawn at random, many of them beside clock changes. */
#ifndef TESTS_UNIT_MAINT_WIN_CASES_H
#define TESTS_UNIT_MAINT_WIN_CASES_H

#include <cstdint>
#include <ctime>
#include <iosfwd>
#include <string>
#include <vector>

#include "sqlpiMaintWin.h"

namespace maintWinCases {

/* The process's time zone for as long as this lives. For one thread. */
class ZoneScope {
public:
    explicit ZoneScope(const std::string& zone); /* empty: TZ is unset */
    ~ZoneScope();
    ZoneScope(const ZoneScope&) = delete;
    ZoneScope& operator=(const ZoneScope&) = delete;

private:
    std::string former_;
    bool hadFormer_;
};

/* A zone and the years from which moments are drawn. */
struct Zone {
    const char* name;
    int firstYear;
    int lastYear;
};
void PrintTo(const Zone& zone, std::ostream* stream);

/* Where the zone's clocks, or their daylight-saving flag, change: the first second of the new time. */
std::vector<int64_t> clockChanges(const Zone& zone);

struct Case {
    sqlpiMaintWindowInfo info;
    OSSTime now;
    int32_t minDuration;
};

/* The same seed gives the same case. Needs the zone to be set. */
Case randomCase(uint64_t seed, const Zone& zone, const std::vector<int64_t>& changes);

/* A window on every day, inside, without limits. */
sqlpiMaintWindowInfo dailyWindow(sqlpiMaintWindowTime start, sqlpiMaintWindowTime end);

/* Local time to a moment; of two the first. */
int64_t localTime(int year, int month, int day, int hour, int minute, int second = 0);

sqlpiMaintWindowDateTime dateTime(int year, int month, int day, int hour, int minute, int second = 0);

/* A zone's name as part of a test's. */
std::string testNameOf(std::string zone);

std::string describe(const sqlpiMaintWindowInfo& info);
std::string describe(const Case& question);
std::string describeLocal(int64_t moment);

}  // namespace maintWinCases

#endif
