/* The engine's records lie in memory as engines compiled elsewhere expect them. */
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>
#include <vector>

#include "sqlpiBackup.h"
#include "sqlpiStatsProf.h"

namespace {

using Offsets = std::vector<size_t>;

TEST(RecordLayout, backup) {
    using Record = sqlpiBackupPolicy;
    EXPECT_EQ((Offsets{offsetof(Record, numberOfFullBackups), offsetof(Record, timeSinceLastBackup),
                       offsetof(Record, logSpaceConsumed), offsetof(Record, targetType), offsetof(Record, mode),
                       offsetof(Record, targetLocation), offsetof(Record, libOptions), sizeof(Record)}),
              (Offsets{0, 4, 8, 12, 16, 20, 2068, 4116}));
    EXPECT_EQ(offsetof(Record, numberOfSessions), offsetof(Record, targetLocation));
    EXPECT_TRUE((std::is_same_v<decltype(Record::numberOfFullBackups), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::timeSinceLastBackup), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::logSpaceConsumed), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::targetType), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::mode), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::targetLocation), char[2048]>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::numberOfSessions), uint32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::libOptions), char[2048]>));
    EXPECT_TRUE(std::is_trivial_v<Record> && std::is_standard_layout_v<Record>);
}

TEST(RecordLayout, tableScopeComesFirst) {
    EXPECT_EQ((Offsets{offsetof(sqlpiAtmSensors, tablesFilter), offsetof(sqlpiReorgPolicy, tablesFilter),
                       offsetof(sqlpiStatsProfPolicy, tablesFilter)}),
              (Offsets{0, 0, 0}));
    EXPECT_TRUE((std::is_same_v<decltype(sqlpiAtmSensors::tablesFilter), char*>));
    EXPECT_TRUE((std::is_same_v<decltype(sqlpiReorgPolicy::tablesFilter), char*>));
    EXPECT_TRUE((std::is_same_v<decltype(sqlpiStatsProfPolicy::tablesFilter), char*>));
    EXPECT_TRUE((std::is_same_v<sqlpiRunStatsPolicy, sqlpiAtmSensors>)) << "it is handed to sqlpiGetAtmSensors as such";
    EXPECT_EQ(sizeof(sqlpiAtmSensors), sizeof(char*));
}

TEST(RecordLayout, reorg) {
    using Record = sqlpiReorgPolicy;
    EXPECT_EQ(
        (Offsets{offsetof(Record, reorgSizeLimitKB), offsetof(Record, useTempTbsp), offsetof(Record, indexReorgMode),
                 offsetof(Record, dictionaryOption), offsetof(Record, reclaimExtentsSizeForMDCTables),
                 offsetof(Record, numInxPseudoEmptyPagesForVolatileTables), sizeof(Record)}),
        (Offsets{8, 12, 16, 20, 24, 32, 40}));
    EXPECT_TRUE((std::is_same_v<decltype(Record::reorgSizeLimitKB), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::useTempTbsp), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::indexReorgMode), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::dictionaryOption), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::reclaimExtentsSizeForMDCTables), uint64_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::numInxPseudoEmptyPagesForVolatileTables), uint64_t>));
    EXPECT_TRUE(std::is_trivial_v<Record> && std::is_standard_layout_v<Record>);
}

TEST(RecordLayout, statisticsProfile) {
    using Record = sqlpiStatsProfPolicy;
    EXPECT_EQ((Offsets{offsetof(Record, maxFiles), offsetof(Record, maxFileSize), offsetof(Record, maxFWSize),
                       offsetof(Record, maxSingleTableStats), offsetof(Record, maxColGroupStats),
                       offsetof(Record, maxFrequentValues), offsetof(Record, maxProfiles),
                       offsetof(Record, profileType), sizeof(Record)}),
              (Offsets{8, 12, 16, 20, 24, 28, 32, 36, 40}));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxFiles), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxFileSize), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxFWSize), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxSingleTableStats), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxColGroupStats), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxFrequentValues), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::maxProfiles), int32_t>));
    EXPECT_TRUE((std::is_same_v<decltype(Record::profileType), int32_t>));
    EXPECT_TRUE(std::is_trivial_v<Record> && std::is_standard_layout_v<Record>);
}

}  // namespace
