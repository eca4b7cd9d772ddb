/* Reorg, runstats and statistics-profile policies as the engine asks for them: what has changed, and what is reported.
 */
#include "sqlpiStatsProfAppl.h"

#include <cstdlib>
#include <optional>
#include <type_traits>

#include "sqlpiPolicyCommonParser.h"
#include "unit/servicesSupport.h"

namespace {

using services::LogRecord;

/* One of the two services that read only what has changed. */
struct Service {
    const char* name;
    const sqlpiPolicyKey& key;
    std::string warning;
};
const Service reorg = {"sqlpiGetReorg", SQLPI_REORG_KEY, "Warning: Unable to read reorg policy. Error: "};
const Service runStats = {"sqlpiGetRunStats", SQLPI_RUNSTATS_KEY, "Warning: Unable to read run stats policy. Error: "};

/* What a call made of a record that was preset, and told. */
struct Outcome {
    int32_t status;
    bool changed;
    std::string filter;
    std::string numbers; /* reorg only */
};

char presetFilter[] = "preset";

std::string takeFilter(char* filter) {
    const std::string shown = filter == nullptr ? "null" : filter;
    if (filter != presetFilter) sqlofmblkEx(filter, "test", 0);
    return shown;
}

Outcome call(const Service& service, const time_t* lastRead) {
    // The flag begins as what it must not stay.
    bool changed = lastRead != nullptr;
    if (&service == &runStats) {
        sqlpiRunStatsPolicy policy = {presetFilter};
        const int32_t status = sqlpiGetRunStats(&policy, lastRead, &changed);
        return {status, changed, takeFilter(policy.tablesFilter), ""};
    }
    sqlpiReorgPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6};
    const int32_t status = sqlpiGetReorg(&policy, lastRead, &changed);
    std::string numbers;
    for (const uint64_t number :
         {static_cast<uint64_t>(policy.reorgSizeLimitKB), static_cast<uint64_t>(policy.useTempTbsp),
          static_cast<uint64_t>(policy.indexReorgMode), static_cast<uint64_t>(policy.dictionaryOption),
          policy.reclaimExtentsSizeForMDCTables, policy.numInxPseudoEmptyPagesForVolatileTables})
        numbers += std::to_string(number) + " ";
    return {status, changed, takeFilter(policy.tablesFilter), numbers};
}

const std::string withFilter =
    services::document("<Equals><kel:Sensors>Tables</kel:Sensors><Constant>X</Constant></Equals>");
const std::string unclosed = "<PolicyDocument>";

/* 2024-06-01 12:00:00 local time. */
time_t noon() {
    tm local = {};
    local.tm_year = 2024 - 1900;
    local.tm_mon = 5;
    local.tm_mday = 1;
    local.tm_hour = 12;
    local.tm_isdst = -1;
    return std::mktime(&local);
}

struct Case {
    const char* name;
    std::optional<std::string> document; /* none: no row */
    const char* updateTime;
    std::optional<int> lastReadAfterNoon; /* seconds; none: no last read */
    int32_t status;
    bool changed;
    const char* filter;
    const char* numbers;
    uint32_t probe; /* of the warning; 0: none */
};

const Case cases[] = {
    {"no last read, no row", {}, nullptr, {}, 0, true, "null", "0 0 0 0 0 0 ", 0},
    {"no last read, a row", withFilter, "CURRENT TIMESTAMP", {}, 0, true, "X", "0 0 0 0 0 0 ", 0},
    {"no last read, an old row", withFilter, "'1066-10-14-09.00.00.000000'", {}, 0, true, "X", "0 0 0 0 0 0 ", 0},
    {"no last read, an empty document", "", "CURRENT TIMESTAMP", {}, 0, true, "null", "0 0 0 0 0 0 ", 0},
    {"no last read, no tree", unclosed, "CURRENT TIMESTAMP", {}, SQLPI_PARSE_ERROR, true, "null", "0 0 0 0 0 0 ", 10},
    {"last read, no row", {}, nullptr, 0, 0, false, "preset", "1 2 3 4 5 6 ", 0},
    {"last read, a later row", withFilter, "'2024-06-01-12.00.01.000000'", 0, 0, true, "X", "1 2 3 4 5 6 ", 0},
    {"last read, a row of a later microsecond", withFilter, "'2024-06-01-12.00.00.000001'", 0, 0, true, "X",
     "1 2 3 4 5 6 ", 0},
    {"last read, a row of the same time", withFilter, "'2024-06-01-12.00.00.000000'", 0, 0, false, "preset",
     "1 2 3 4 5 6 ", 0},
    {"last read, an earlier row", withFilter, "'2024-06-01-12.00.00.999999'", 1, 0, false, "preset", "1 2 3 4 5 6 ", 0},
    {"last read, an earlier row without a tree", unclosed, "'2024-06-01-11.00.00.000000'", 0, 0, false, "preset",
     "1 2 3 4 5 6 ", 0},
    {"last read, a later row without a tree", unclosed, "'2024-06-01-13.00.00.000000'", 0, SQLPI_PARSE_ERROR, false,
     "preset", "1 2 3 4 5 6 ", 10},
};

class ChangedPolicies : public services::EngineTest {
protected:
    /* The warnings of the services; the parser reports its own. */
    void expectWarning(const Service& service, int32_t status, uint32_t probe) {
        std::vector<kelhost::LogRecord> warnings;
        for (const auto& record : recordsOf(kelhost::LogKind::diagnostic))
            if (record.text.starts_with("Warning:")) warnings.push_back(record);
        clearLogs();
        ASSERT_EQ(warnings.size(), probe == 0 ? 0U : 1U);
        if (probe == 0) return;
        EXPECT_EQ(warnings[0].text, service.warning + std::to_string(status));
        EXPECT_EQ(warnings[0].importance, PD_WARNING);
        EXPECT_EQ(warnings[0].function, service.name);
        EXPECT_EQ(warnings[0].probe, probe);
    }
};

TEST_F(ChangedPolicies, areReadIfUpdatedSinceTheLastRead) {
    for (const char* zone : {"UTC", "America/New_York"}) {
        setenv("TZ", zone, 1);
        tzset();
        for (const Service& service : {reorg, runStats}) {
            const Service& named = service.key.name == reorg.key.name ? reorg : runStats;
            for (const Case& one : cases) {
                SCOPED_TRACE(std::string(zone) + ", " + named.name + ", " + one.name);
                if (one.document)
                    services::store(named.key, *one.document, one.updateTime);
                else
                    services::remove(named.key);
                clearLogs();
                const time_t lastRead = noon() + one.lastReadAfterNoon.value_or(0);
                const Outcome outcome = call(named, one.lastReadAfterNoon ? &lastRead : nullptr);
                EXPECT_EQ(outcome.status, one.status);
                EXPECT_EQ(outcome.changed, one.changed);
                EXPECT_EQ(outcome.filter, one.filter);
                EXPECT_EQ(outcome.numbers, &named == &reorg ? one.numbers : "");
                expectWarning(named, one.status, one.probe);
            }
        }
    }
}

TEST_F(ChangedPolicies, needNeitherRecordNorFlag) {
    const time_t lastRead = 0;
    for (const std::string& document : {withFilter, unclosed}) {
        services::store(SQLPI_REORG_KEY, document);
        services::store(SQLPI_RUNSTATS_KEY, document);
        for (const time_t* since : {static_cast<const time_t*>(nullptr), &lastRead}) {
            bool changed = false;
            EXPECT_EQ(sqlpiGetReorg(nullptr, since, &changed), 0);
            EXPECT_TRUE(changed);
            changed = false;
            EXPECT_EQ(sqlpiGetRunStats(nullptr, since, &changed), 0);
            EXPECT_TRUE(changed);
            EXPECT_EQ(sqlpiGetReorg(nullptr, since, nullptr), 0);
            EXPECT_EQ(sqlpiGetRunStats(nullptr, since, nullptr), 0);
        }
        services::store(SQLPI_STATS_PROFILE_KEY, document);
        sqlpiGetStatsProfile(nullptr);
    }
    services::execute("DELETE FROM SYSTOOLS.POLICY");
    bool changed = false;
    EXPECT_EQ(sqlpiGetReorg(nullptr, nullptr, &changed), 0);
    EXPECT_TRUE(changed);
    EXPECT_EQ(sqlpiGetReorg(nullptr, &lastRead, &changed), 0);
    EXPECT_FALSE(changed);
}

TEST_F(ChangedPolicies, readTheRowOfTheirOwnKeys) {
    services::execute("DELETE FROM SYSTOOLS.POLICY");
    services::store(SQLPI_REORG_KEY, withFilter);
    EXPECT_EQ(call(reorg, nullptr).filter, "X");
    EXPECT_EQ(call(runStats, nullptr).filter, "null");
    services::execute("DELETE FROM SYSTOOLS.POLICY");
    services::store(SQLPI_RUNSTATS_KEY, withFilter);
    EXPECT_EQ(call(reorg, nullptr).filter, "null");
    EXPECT_EQ(call(runStats, nullptr).filter, "X");
}

/* No engine context: the reader cannot connect. */
class WithoutAnEngine : public services::DocumentTest {};

TEST_F(WithoutAnEngine, theReadersStatusIsReported) {
    const time_t lastRead = 0;
    for (const time_t* since : {static_cast<const time_t*>(nullptr), &lastRead}) {
        for (const Service* service : {&reorg, &runStats}) {
            SCOPED_TRACE(service->name);
            const Outcome outcome = call(*service, since);
            EXPECT_EQ(outcome.status, -1);
            EXPECT_EQ(outcome.changed, since == nullptr);
            EXPECT_EQ(outcome.filter, since == nullptr ? "null" : "preset");
            const auto records = recordsOf(kelhost::LogKind::diagnostic);
            ASSERT_EQ(records.size(), 1U);
            EXPECT_EQ(records[0].text, service->warning + "-1");
            EXPECT_EQ(records[0].importance, PD_WARNING);
            EXPECT_EQ(records[0].probe, 20U);
            clearLogs();
        }
    }
}

/* --- statistics profile ------------------------------------------------------------------------------------------- */

std::vector<int32_t> storedProfile(std::string& filter) {
    sqlpiStatsProfPolicy policy = {presetFilter, 1, 2, 3, 4, 5, 6, 7, 8};
    sqlpiGetStatsProfile(&policy);
    filter = takeFilter(policy.tablesFilter);
    return {policy.maxFiles,         policy.maxFileSize,       policy.maxFWSize,   policy.maxSingleTableStats,
            policy.maxColGroupStats, policy.maxFrequentValues, policy.maxProfiles, policy.profileType};
}

const std::vector<int32_t> profileDefaults = {20, 128, 20, 50, 50, 20, 20, 2};

TEST_F(ChangedPolicies, statisticsProfileStartsAtTheDefaults) {
    std::string filter;
    services::remove(SQLPI_STATS_PROFILE_KEY);
    EXPECT_EQ(storedProfile(filter), profileDefaults);
    EXPECT_EQ(filter, "null");

    services::store(
        SQLPI_STATS_PROFILE_KEY,
        services::document("<kel:StatsProfile><kel:FeedbackWarehouse><kel:StatsProfiling maxProfiles='9' "
                           "profileGeneration='SingleColumn'/></kel:FeedbackWarehouse></kel:StatsProfile>"));
    EXPECT_EQ(storedProfile(filter), (std::vector<int32_t>{20, 128, 20, 50, 50, 20, 9, 0}));
    EXPECT_EQ(filter, "null");

    services::store(SQLPI_STATS_PROFILE_KEY, withFilter);
    EXPECT_EQ(storedProfile(filter), profileDefaults);
    EXPECT_EQ(filter, "X");
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});

    services::store(SQLPI_STATS_PROFILE_KEY, unclosed);
    EXPECT_EQ(storedProfile(filter), profileDefaults);
    expectWarning(reorg, 0, 0);
}

TEST_F(WithoutAnEngine, statisticsProfileHoldsTheDefaultsSilently) {
    std::string filter;
    EXPECT_EQ(storedProfile(filter), profileDefaults);
    EXPECT_EQ(filter, "null");
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

}  // namespace
