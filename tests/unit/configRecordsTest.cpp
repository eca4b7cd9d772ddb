/* The configuration records: their fields' order and room, which callers of the generators rely on. */
#include "sqlpiPolicyRecords.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string_view>
#include <type_traits>

#include "configuration/sqlpiPolicyGen.h"

namespace {

struct Place {
    const char* field;
    size_t offset;
    size_t size;
};

/* Fields stand in the order of the table and do not overlap. */
template <size_t Count>
void expectOrder(const char* record, const Place (&places)[Count], size_t size) {
    for (size_t i = 1; i < Count; ++i)
        EXPECT_GE(places[i].offset, places[i - 1].offset + places[i - 1].size) << record << '.' << places[i].field;
    EXPECT_EQ(places[0].offset, 0U) << record;
    EXPECT_LE(places[Count - 1].offset + places[Count - 1].size, size) << record;
}

#define PLACE(Record, field) \
    { #field, offsetof(Record, field), sizeof(Record::field) }

TEST(ConfigRecords, OldWindow) {
    const Place places[] = {
        PLACE(maintenanceOldWindow, dayOfWeekMask), PLACE(maintenanceOldWindow, monthOfYearMask),
        PLACE(maintenanceOldWindow, dayNumbers),    PLACE(maintenanceOldWindow, dayOfMonthMask),
        PLACE(maintenanceOldWindow, timeRange),     PLACE(maintenanceOldWindow, occurrence),
    };
    expectOrder("maintenanceOldWindow", places, sizeof(maintenanceOldWindow));
    const size_t sizes[] = {7 + 1, 12 + 1, (62 + 1) * sizeof(int32_t), 62 + 1, 19 + 1, 9 + 1};
    for (size_t i = 0; i < std::size(places); ++i) EXPECT_EQ(places[i].size, sizes[i]) << places[i].field;
}

TEST(ConfigRecords, OldWindows) {
    const Place places[] = {
        PLACE(maintenanceOldPolicy, onlinePresent),
        PLACE(maintenanceOldPolicy, offlinePresent),
        PLACE(maintenanceOldPolicy, online),
        PLACE(maintenanceOldPolicy, offline),
    };
    expectOrder("maintenanceOldPolicy", places, sizeof(maintenanceOldPolicy));
    EXPECT_EQ(places[0].size, 1U);
    EXPECT_EQ(places[1].size, 1U);
}

TEST(ConfigRecords, NewWindows) {
    const Place windowPlaces[] = {
        PLACE(maintenanceNewWindow, daysOfWeek),   PLACE(maintenanceNewWindow, daysOfMonth),
        PLACE(maintenanceNewWindow, monthsOfYear), PLACE(maintenanceNewWindow, startTime),
        PLACE(maintenanceNewWindow, duration),     PLACE(maintenanceNewWindow, occurrence),
    };
    expectOrder("maintenanceNewWindow", windowPlaces, sizeof(maintenanceNewWindow));
    const size_t sizes[] = {100, 200, 100, 100, 10, 100};
    for (size_t i = 0; i < std::size(sizes); ++i) EXPECT_EQ(windowPlaces[i].size, sizes[i]) << windowPlaces[i].field;
    const Place places[] = {PLACE(maintenanceNewPolicy, onlinePresent), PLACE(maintenanceNewPolicy, online),
                            PLACE(maintenanceNewPolicy, offlinePresent), PLACE(maintenanceNewPolicy, offline)};
    expectOrder("maintenanceNewPolicy", places, sizeof(maintenanceNewPolicy));
    EXPECT_EQ(sizeof(maintenanceNewPolicy), 1222U);
}

TEST(ConfigRecords, Backup) {
    const Place places[] = {
        PLACE(backupPolicy, mode),
        PLACE(backupPolicy, numberOfFullBackups),
        PLACE(backupPolicy, timeSinceLastBackup),
        PLACE(backupPolicy, logSpaceConsumedSinceLastBackup),
        PLACE(backupPolicy, numberOfSessions),
        PLACE(backupPolicy, path),
        PLACE(backupPolicy, libOptions),
        PLACE(backupPolicy, useDefaultPath),
        PLACE(backupPolicy, diskTarget),
        PLACE(backupPolicy, tapeTarget),
        PLACE(backupPolicy, vltTarget),
        PLACE(backupPolicy, xbsaTarget),
        PLACE(backupPolicy, vendorTarget),
    };
    expectOrder("backupPolicy", places, sizeof(backupPolicy));
    EXPECT_EQ(sizeof(backupPolicy::path), 4095U + 1);
    for (size_t i = 7; i < std::size(places); ++i) EXPECT_EQ(places[i].size, 1U) << places[i].field;
}

TEST(ConfigRecords, ReorgAndRunstats) {
    const Place places[] = {
        PLACE(reorgPolicy, dictionaryOption),
        PLACE(reorgPolicy, indexReorgMode),
        PLACE(reorgPolicy, useSystemTempTableSpace),
        PLACE(reorgPolicy, maxOfflineReorgTableSize),
        PLACE(reorgPolicy, reclaimExtentsSizeForMDCTables),
        PLACE(reorgPolicy, numInxPseudoEmptyPagesForVolatileTables),
        PLACE(reorgPolicy, filterClause),
    };
    expectOrder("reorgPolicy", places, sizeof(reorgPolicy));
    EXPECT_EQ(sizeof(runStatsPolicy), 4096U);
}

/* Callers keep these records as plain memory. */
static_assert(std::is_trivially_copyable_v<maintenanceOldPolicy> && std::is_standard_layout_v<maintenanceOldPolicy>);
static_assert(std::is_trivially_copyable_v<maintenanceNewPolicy> && std::is_standard_layout_v<maintenanceNewPolicy>);
static_assert(std::is_trivially_copyable_v<backupPolicy> && std::is_standard_layout_v<backupPolicy>);
static_assert(std::is_trivially_copyable_v<reorgPolicy> && std::is_standard_layout_v<reorgPolicy>);
static_assert(std::is_trivially_copyable_v<runStatsPolicy> && std::is_standard_layout_v<runStatsPolicy>);

TEST(ConfigRecords, WorkingBuffersAndStatuses) {
    EXPECT_EQ(SQLPI_OLD_MW_POLICY_SIZE, 12000U);
    EXPECT_EQ(SQLPI_OLD_BACKUP_POLICY_SIZE, 12000U);
    EXPECT_EQ(SQLPI_OLD_REORG_POLICY_SIZE, 4096U);
    EXPECT_EQ(SQLPI_OLD_RUNSTATS_POLICY_SIZE, 4096U);
    EXPECT_EQ(SQLPI_OLD_POLICY_SIZE, 12000U);
    EXPECT_EQ(SQLPI_NEW_MW_POLICY_SIZE, 10000U);
    EXPECT_EQ(SQLPI_NEW_BACKUP_POLICY_SIZE, 10000U);
    EXPECT_EQ(SQLPI_NEW_REORG_POLICY_SIZE, 10000U);
    EXPECT_EQ(SQLPI_NEW_RUNSTATS_POLICY_SIZE, 4096U);
    EXPECT_EQ(SQLPI_CONFIG_OK, 0U);
    EXPECT_EQ(SQLPI_CONFIG_FAILED, 0x90000002U);
}

TEST(ConfigRecords, NamespacesShareTheirHost) {
    const std::string_view host = SQLPI_NAMESPACE_HOST;
    for (const auto& [uri, path] :
         {std::pair<std::string_view, std::string_view>{SQLPI_CONFIG_NAMESPACE, "/xmlns/prod/kel/autonomic/config"},
          {SQLPI_POLICY_NAMESPACE, "/xmlns/prod/kel/autonomic/policy"},
          {SQLPI_POLICYLANG_NAMESPACE, "/xmlns/prod/kel/autonomic/policylang"}}) {
        EXPECT_TRUE(uri.starts_with(host)) << uri;
        EXPECT_EQ(uri.substr(host.size()), path);
    }
    EXPECT_TRUE(host.ends_with(".example"));
}

}  // namespace
