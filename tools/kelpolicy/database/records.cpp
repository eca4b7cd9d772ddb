#include "database/records.h"

#include <fmt/format.h>

#include "base/sqlpiOwn.h"
#include "sqlpiBackup.h"
#include "sqlpiStatsProf.h"
#include "sqlpiStatsProfAppl.h"
#include "windows/sqlpiWindowReading.h"

namespace kelpolicy {
namespace {

/* The word for a number that stands for one. */
std::string word(int32_t value, std::initializer_list<const char*> words) {
    return value >= 0 && static_cast<size_t>(value) < words.size() ? words.begin()[value] : "unknown";
}

int32_t lengthOf(const std::string& document) {
    return static_cast<int32_t>(document.size());
}

Field filterField(const char* filter) {
    return {"tablesFilter", filter == nullptr ? Json(nullptr) : Json(filter),
            filter == nullptr ? "all tables" : "the tables that satisfy this clause"};
}

sqlpiBlock own(char* filter) {
    return sqlpiBlock(filter, sqlpiFreeBlock{"sqlpiStatsProf"});
}

Fields fieldsOf(const sqlpiBackupPolicy& policy) {
    Fields fields = {
        {"numberOfFullBackups", policy.numberOfFullBackups, "back up when fewer full backups are kept"},
        {"timeSinceLastBackup", policy.timeSinceLastBackup, "back up when the last backup is this many hours old"},
        {"logSpaceConsumed", policy.logSpaceConsumed,
         "back up when so many pages of 4 KB of log were consumed since the last backup"},
        {"targetType", policy.targetType,
         word(policy.targetType,
              {"disk", "tape", "storage manager (VLT)", "Backup Services API (XBSA)", "library of a vendor"})},
        {"mode", policy.mode, word(policy.mode, {"online", "offline", "not said"})}};
    const bool hasSessions = policy.targetType == BACKUP_TARGET_VLT || policy.targetType == BACKUP_TARGET_XBSA;
    if (hasSessions)
        fields.push_back({"numberOfSessions", policy.numberOfSessions, "sessions with the target"});
    else
        fields.push_back({"targetLocation", policy.targetLocation,
                          policy.targetType == BACKUP_TARGET_VENDOR ? "file name of the library" : "where backups go"});
    fields.push_back({"libOptions", policy.libOptions, "options handed to the library of a vendor"});
    return fields;
}

}  // namespace

Fields readBackupRecord(std::optional<std::string>& document) {
    sqlpiBackupPolicy policy;
    sqlpiGetBackup(&policy);  // without an engine context: the defaults
    if (document.has_value()) sqlpiGetBackupPolicy(document->data(), lengthOf(*document), &policy);
    return fieldsOf(policy);
}

Fields readBackupDocument(std::optional<std::string>& document) {
    sqlpiBackupPolicy policy = {};
    sqlpiGetBackupPolicy(document->data(), lengthOf(*document), &policy);
    return fieldsOf(policy);
}

Fields readReorgRecord(std::optional<std::string>& document) {
    sqlpiReorgPolicy policy = {};
    bool changed = false;
    if (document.has_value())
        sqlpiGetReorgPolicy(document->data(), lengthOf(*document), &policy);
    else
        sqlpiGetReorg(&policy, nullptr, &changed);
    const sqlpiBlock filter = own(policy.tablesFilter);

    const auto meaningOfSize = [](uint64_t value, const char* unit) {
        return value == 0 ? std::string("not set") : fmt::format("{} {}", value, unit);
    };
    return {
        filterField(filter.get()),
        {"reorgSizeLimitKB", policy.reorgSizeLimitKB,
         policy.reorgSizeLimitKB == 0 ? "tables of any size" : "largest table in KB"},
        {"useTempTbsp", policy.useTempTbsp, word(policy.useTempTbsp, {"in place", "through a temporary table space"})},
        {"indexReorgMode", policy.indexReorgMode,
         word(policy.indexReorgMode, {"offline: readers only", "online: readers and writers"})},
        {"dictionaryOption", policy.dictionaryOption,
         word(policy.dictionaryOption, {"keep the compression dictionary", "rebuild the compression dictionary"})},
        {"reclaimExtentsSizeForMDCTables", policy.reclaimExtentsSizeForMDCTables,
         meaningOfSize(policy.reclaimExtentsSizeForMDCTables, "KB")},
        {"numInxPseudoEmptyPagesForVolatileTables", policy.numInxPseudoEmptyPagesForVolatileTables,
         meaningOfSize(policy.numInxPseudoEmptyPagesForVolatileTables, "pages")}};
}

Fields readRunstatsRecord(std::optional<std::string>& document) {
    sqlpiRunStatsPolicy policy = {};
    bool changed = false;
    if (document.has_value())
        sqlpiGetAtmSensors(document->data(), lengthOf(*document), &policy);
    else
        sqlpiGetRunStats(&policy, nullptr, &changed);
    const sqlpiBlock filter = own(policy.tablesFilter);
    return {filterField(filter.get())};
}

Fields readStatsProfileRecord(std::optional<std::string>& document) {
    sqlpiStatsProfPolicy policy = SQLPI_STATS_PROF_DEFAULTS;
    if (document.has_value())
        sqlpiGetStatsProfilePolicy(document->data(), lengthOf(*document), &policy);
    else
        sqlpiGetStatsProfile(&policy);
    const sqlpiBlock filter = own(policy.tablesFilter);
    return {
        filterField(filter.get()),
        {"maxFiles", policy.maxFiles, "monitor: files"},
        {"maxFileSize", policy.maxFileSize, "monitor: size of a file"},
        {"maxFWSize", policy.maxFWSize, "population of the feedback warehouse"},
        {"maxSingleTableStats", policy.maxSingleTableStats, "statistics of single tables"},
        {"maxColGroupStats", policy.maxColGroupStats, "statistics of column groups"},
        {"maxFrequentValues", policy.maxFrequentValues, "frequent values"},
        {"maxProfiles", policy.maxProfiles, "profiles"},
        {"profileType", policy.profileType, word(policy.profileType, {"single column", "column groups", "not said"})}};
}

sqlpiMaintWindow readWindows(std::optional<std::string>& document) {
    sqlpiMaintWindow windows;
    if (!document.has_value()) {
        sqlpiGetMaintWindow(&windows);
    } else {
        sqlpiSetMaintWindowDefaults(&windows);
        sqlpiGetMaintWindowPolicy(document->data(), lengthOf(*document), &windows);
    }
    return windows;
}

}  // namespace kelpolicy
