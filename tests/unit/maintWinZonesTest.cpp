/* What the search takes for granted about zones, for every zone that is installed: how long its clocks rest. */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <sstream>

#include "unit/maintWinCases.h"
#include "windows/sqlpiMaintWinLocal.h"

using namespace maintWinCases;

namespace {

namespace fs = std::filesystem;

constexpr int64_t HOUR = 3600;
constexpr int64_t DAY = 86400;

/* One name for each of the zones. */
std::vector<std::string> installedZones() {
    const fs::path directory = "/usr/share/zoneinfo";
    std::map<std::string, std::string> zones;
    for (const auto& entry : fs::recursive_directory_iterator(directory)) {
        const std::string name = fs::relative(entry.path(), directory);
        if (!entry.is_regular_file() || name.starts_with("right/") || name.starts_with("posix/")) continue;
        std::ostringstream content;
        content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        if (content.str().starts_with("TZif")) zones.emplace(content.str(), name);
    }
    std::vector<std::string> names;
    for (const auto& [content, name] : zones) names.push_back(name);
    return names;
}

TEST(MaintWinZones, ClocksRestForAsLongAsIsKnown) {
    int zones = 0;
    int64_t restsUpToAChange = 0;
    for (const std::string& name : installedZones()) {
        const Zone zone = {name.c_str(), 1970, 2045};
        const ZoneScope scope(name);
        ++zones;
        const std::vector<int64_t> changes = clockChanges(zone);
        for (const int64_t change : changes) {
            for (const int64_t before : {HOUR, DAY, 2 * DAY, 4 * DAY, 6 * DAY, 9 * DAY, 17 * DAY, 30 * DAY}) {
                sqlpiLocalClock clock;
                sqlpiLocalMoment moment = {};
                ASSERT_TRUE(clock.at(change - before, &moment));
                const int64_t until = moment.seconds + clock.restDays(moment, 60) * DAY;
                const auto next = std::upper_bound(changes.begin(), changes.end(), moment.seconds);
                ASSERT_TRUE(next == changes.end() || *next > until)
                    << name << " from " << describeLocal(moment.seconds) << " to " << describeLocal(until)
                    << ", and changes " << describeLocal(*next);
                restsUpToAChange += until > moment.seconds ? 1 : 0;
            }
        }
    }
    EXPECT_GT(zones, 100) << "no zones are installed";
    EXPECT_GT(restsUpToAChange, 10000);
}

/* From 2101 on, years of one kind are alike, as far as years go: what was learnt of some is what the platform says of
 * others, to the second. */
TEST(MaintWinZones, YearsOfOneKindAreAlikeInTimesToCome) {
    std::vector<std::string> zones = installedZones();
    zones.insert(zones.end(), {"A0B-2,M3.5.0/0,M10.5.0/0", "X0Y,M1.1.0/-167,M12.5.0/167", "P3Q,J60/0,J300/1",
                               "N-5:45O,59/12,300/-30", "E0F,J1/0,J365/25"});
    for (const std::string& name : zones) {
        const ZoneScope scope(name);
        sqlpiLocalClock clock;
        sqlpiLocalMoment moment = {};
        ASSERT_TRUE(clock.at(localTime(2101, 1, 2, 12, 0), &moment));
        for (int rests = 0; rests < 100; ++rests) {  // 28 years' and more
            ASSERT_TRUE(clock.at(moment.seconds + (clock.restDays(moment, 366) + 1) * DAY, &moment));
        }
        std::mt19937_64 engine(7);
        const auto expectAlike = [&](int64_t seconds) {
            sqlpiLocalMoment known = {};
            ASSERT_TRUE(clock.at(seconds, &known));
            tm local{};
            localtime_r(&seconds, &local);
            ASSERT_EQ(known.offset(), local.tm_gmtoff) << name << " " << describeLocal(seconds);
            ASSERT_EQ(known.dst, local.tm_isdst > 0) << name << " " << describeLocal(seconds);
        };
        for (int i = 0; i < 400; ++i) expectAlike(localTime(2101, 1, 1, 12, 0) + engine() % (6000 * 365 * DAY));
        const int year = 2130 + static_cast<int>(engine() % 7000);
        for (const int64_t change : clockChanges({name.c_str(), year, year + 3}))
            for (const int64_t seconds : {change - 1, change}) expectAlike(seconds);
        ASSERT_FALSE(HasFatalFailure());
    }
}

}  // namespace
