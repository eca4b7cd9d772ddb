/* What the search takes for granted about zones, for every zone that is installed: how long its clocks rest. */
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "sqlpiMaintWinLocal.h"
#include "unit/maintWinCases.h"

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

struct Change {
    int64_t moment;
    bool isLarge; /* by more than an hour, or forward and not for daylight-saving time */
};

std::vector<Change> changesOf(const Zone& zone) {
    std::vector<Change> changes;
    for (const int64_t moment : clockChanges(zone)) {
        const int64_t last = moment - 1;
        tm before{};
        tm after{};
        localtime_r(&last, &before);
        localtime_r(&moment, &after);
        const int64_t size = after.tm_gmtoff - before.tm_gmtoff;
        changes.push_back({moment, std::abs(size) > HOUR || (size > 0 && before.tm_isdst == after.tm_isdst)});
    }
    return changes;
}

TEST(MaintWinZones, ClocksRestForAsLongAsIsKnown) {
    int zones = 0;
    int64_t restsUpToAChange = 0;
    for (const std::string& name : installedZones()) {
        const Zone zone = {name.c_str(), 1970, 2045};
        const ZoneScope scope(name);
        ++zones;
        const std::vector<Change> changes = changesOf(zone);
        for (const Change& change : changes) {
            for (const int64_t before : {HOUR, DAY, 2 * DAY, 4 * DAY, 6 * DAY, 9 * DAY, 17 * DAY, 30 * DAY}) {
                for (const sqlpiClockRest rest : {sqlpiClockRest::steady, sqlpiClockRest::calm}) {
                    // Tucuman moved its clocks back by an hour and forward again within twelve days.
                    if (rest == sqlpiClockRest::calm && name == "America/Argentina/Tucuman") continue;
                    sqlpiLocalClock clock;
                    sqlpiLocalMoment moment = {};
                    ASSERT_TRUE(clock.at(change.moment - before, &moment));
                    while (clock.lookAhead(rest, moment, 60)) continue;
                    const int64_t until = moment.seconds + clock.restDays(rest, moment) * DAY;
                    const auto within = [&](const Change& other) {
                        return other.moment > moment.seconds && other.moment <= until &&
                               (other.isLarge || rest == sqlpiClockRest::steady);
                    };
                    const auto found = std::find_if(changes.begin(), changes.end(), within);
                    ASSERT_EQ(found, changes.end())
                        << name << (rest == sqlpiClockRest::calm ? " calm" : " steady") << " from "
                        << describeLocal(moment.seconds) << " to " << describeLocal(until) << ", and changes "
                        << describeLocal(found->moment);
                    restsUpToAChange += until > moment.seconds ? 1 : 0;
                }
            }
        }
    }
    EXPECT_GT(zones, 100) << "no zones are installed";
    EXPECT_GT(restsUpToAChange, 10000);
}

}  // namespace
