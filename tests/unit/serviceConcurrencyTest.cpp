/* All policy services at once, on many threads with an engine context each. */
#include <atomic>
#include <chrono>
#include <thread>

#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiFormat.h"
#include "sqlpiStatsProfAppl.h"
#include "unit/servicesSupport.h"

namespace {

class ConcurrentServices : public services::EngineTest {};

/* Everything that the services say about the stored policies, as one text. */
std::string answers() {
    std::string all;
    for (const char* name :
         {"CommonPolicy", "TableRunstatsPolicy", "TableReorgPolicy", "StatsProfilePolicy", "DBBackupPolicy"}) {
        char line[4096];
        all += std::to_string(sqpiGetPolicyFormatString(line, sizeof line, name)) + " " + line + "\n";
    }
    const time_t lastRead = 0;
    bool changed = false;
    sqlpiReorgPolicy reorg = {};
    all += std::to_string(sqlpiGetReorg(&reorg, &lastRead, &changed)) + (changed ? " changed\n" : " as before\n");
    sqlofmblkEx(reorg.tablesFilter, "test", 0);
    sqlpiRunStatsPolicy runStats = {};
    all += std::to_string(sqlpiGetRunStats(&runStats, &lastRead, &changed)) + (changed ? " changed\n" : " as before\n");
    sqlofmblkEx(runStats.tablesFilter, "test", 0);
    char* document = nullptr;
    int32_t length = 0;
    all += std::to_string(sqlpiGetPolicy("none", SQLPI_KEY_KIND, nullptr, SQLPI_KEY_KIND, nullptr, SQLPI_KEY_KIND,
                                         &document, &length, nullptr));
    return all;
}

TEST_F(ConcurrentServices, giveEveryThreadTheSameAnswers) {
    const std::string tables =
        "<Equals><kel:Sensors>Tables</kel:Sensors><Constant>TABNAME LIKE 'A%'</Constant></Equals>";
    services::store(SQLPI_RUNSTATS_KEY, services::document(tables));
    services::store(SQLPI_REORG_KEY, services::document(tables + "<kel:TableReorg mode='write'/>"));
    services::store(SQLPI_BACKUP_KEY, "<PolicyDocument>");
    services::store(SQLPI_MAINT_WINDOW_KEY,
                    services::document("<kel:MaintenanceWindowCondition windowType='offline'/>"));
    commit();
    const std::string expected = answers();
    ASSERT_NE(expected.find("TABNAME LIKE"), std::string::npos);

    constexpr int rounds = 25;
    std::atomic<int> agreed{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] {
            kelhost::EngineContext context(instance(), {.lockTimeout = std::chrono::hours(1)});
            const kelhost::EngineContext::Scope scope(context);
            for (int round = 0; round < rounds; ++round)
                if (answers() == expected) ++agreed;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(agreed, 8 * rounds);
}

}  // namespace
