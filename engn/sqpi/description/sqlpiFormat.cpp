/* Readable policy descriptions. */
#include "sqlpiFormat.h"

#include <algorithm>
#include <cinttypes>
#include <cstdarg>
#include <iterator>

#include "base/sqlpiOwn.h"
#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "description/sqlpiFormatRecords.h"
#include "services/sqlpiPolicyKeys.h"
#include "sqlpiStatsProfAppl.h"

namespace {

constexpr int32_t pieceSize = 4096;

bool isUsable(const char* buffer, int32_t size) noexcept {
    return buffer != nullptr && size >= 1;
}

/* The line in the caller's buffer. It is put together from pieces that are formatted one at a time. */
class Description {
public:
    /* An empty line. */
    Description(char* buffer, int32_t size) noexcept
        : text_(buffer, static_cast<size_t>(size)), lastByte_(buffer + size - 1) {}

    /* Goes on behind the text that the buffer holds. */
    static Description continueIn(char* buffer, int32_t size) noexcept {
        return {sqlpiTextBuilder::continueIn(buffer, static_cast<size_t>(size)), buffer + size - 1};
    }

    /* Nothing follows a piece that did not fit. */
    void append(const char* format, ...) noexcept __attribute__((format(printf, 2, 3))) {
        if (text_.wasCut()) return;
        char piece[pieceSize];
        va_list arguments;
        va_start(arguments, format);
        sqlpiTextBuilder(piece, sizeof piece).appendFormatList(format, arguments);
        va_end(arguments);
        text_.append(piece);
        *lastByte_ = '\0';  // whatever the buffer held there
    }

    /* Appends " All " or one piece for each selected entry of a mask. */
    template <size_t Count, class AppendEntry>
    void appendMask(const bool (&mask)[Count], const char* all, AppendEntry appendEntry) noexcept {
        if (std::all_of(std::begin(mask), std::end(mask), [](bool isSet) { return isSet; })) {
            append("%s", all);
            return;
        }
        for (size_t i = 0; i < Count; ++i)
            if (mask[i]) appendEntry(i);
    }

private:
    Description(sqlpiTextBuilder text, char* lastByte) noexcept : text_(text), lastByte_(lastByte) {}

    sqlpiTextBuilder text_;
    char* lastByte_;
};

/* The engine counts consumed log in units of 256 MB; the product wraps around. */
int32_t toMegabytes(int32_t logSpace) noexcept {
    return static_cast<int32_t>(static_cast<uint32_t>(logSpace) * 256U);
}

void describeTarget(Description& text, const sqlpiBackupPolicy& policy) noexcept {
    switch (policy.targetType) {
        case BACKUP_TARGET_DISK:
            text.append(" Backup Type: DISK, Pathname: %s ", policy.targetLocation);
            break;
        case BACKUP_TARGET_TAPE:
            text.append(" Backup Type: TAPE, Pathname: %s ", policy.targetLocation);
            break;
        case BACKUP_TARGET_VLT:
            text.append(" Backup Type: VLT,  Number of sessions: %u ", policy.numberOfSessions);
            break;
        case BACKUP_TARGET_XBSA:
            text.append(" Backup Type: XBSA,  Number of sessions: %u ", policy.numberOfSessions);
            break;
        case BACKUP_TARGET_VENDOR:
            text.append(" Backup Type: VENDOR, Vendor DLL Filename: %s  Lib options: %s", policy.targetLocation,
                        policy.libOptions);
            break;
        default:
            text.append("Backup Type: Unknown");
            break;
    }
}

}  // namespace

uint32_t sqlpiGetBackupFormatStrings(char* buffer, int32_t size, const sqlpiBackupPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetBackupFormatStrings");
    if (!isUsable(buffer, size)) return trace.exit(SQLPI_FORMAT_FAILED);
    Description text(buffer, std::min(size, pieceSize));
    text.append("Backup criteria:  ");
    text.append(" Number of full backups < %d or ", policy.numberOfFullBackups);
    text.append(" Elapsed time size last backup > %d hours or ", policy.timeSinceLastBackup);
    text.append(" Log space consumed since last backup > %d MB ", toMegabytes(policy.logSpaceConsumed));
    text.append(" Backup mode: %s ", policy.mode == BACKUP_MODE_ONLINE    ? "ONLINE"
                                     : policy.mode == BACKUP_MODE_OFFLINE ? "OFFLINE"
                                                                          : "DEFAULT");
    text.append("Backup policy decision target: ");
    describeTarget(text, policy);
    return trace.exit(SQLPI_FORMAT_OK);
}

uint32_t sqlpiGetReorgFormatStrings(char* buffer, int32_t size, const sqlpiReorgPolicy& policy, bool updated) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetReorgFormatStrings");
    if (!isUsable(buffer, size)) return trace.exit(SQLPI_FORMAT_FAILED);
    Description text(buffer, size);
    if (!updated) {
        text.append("Table Scope: NO UPDATE");
        return trace.exit(SQLPI_FORMAT_OK);
    }
    text.append("Table Scope: %s ", policy.tablesFilter == nullptr ? "NULL" : policy.tablesFilter);
    text.append(" Reorganization options: %s dictionary ", policy.dictionaryOption == 0 ? "Keep" : "Rebuild");
    if (policy.useTempTbsp == 1) text.append(", Use temporary tablespace ");
    text.append(" Index Reorganization Mode: %s ", policy.indexReorgMode == 0 ? "Offline" : "Online");
    if (policy.reclaimExtentsSizeForMDCTables != 0)
        text.append(" Reclaim Extents Size for MDC Tables: %" PRIu64 " KB ", policy.reclaimExtentsSizeForMDCTables);
    if (policy.numInxPseudoEmptyPagesForVolatileTables != 0)
        text.append(" Number of Index Pseudo Emptypage for Volatile Tables: %" PRIu64 " PAGES ",
                    policy.numInxPseudoEmptyPagesForVolatileTables);
    if (policy.reorgSizeLimitKB == 0)
        text.append(" Table size limit: none ");
    else
        text.append(" Table size limit: %d KB", policy.reorgSizeLimitKB);
    return trace.exit(SQLPI_FORMAT_OK);
}

uint32_t sqlpiGetRunstatsFormatStrings(char* buffer, int32_t size, const sqlpiRunStatsPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetRunstatsFormatStrings");
    if (!isUsable(buffer, size)) return trace.exit(SQLPI_FORMAT_FAILED);
    Description(buffer, size).append("Table Scope: %s", policy.tablesFilter == nullptr ? "NULL" : policy.tablesFilter);
    return trace.exit(SQLPI_FORMAT_OK);
}

uint32_t sqpiGetStatsProfileFormatStrings(char* buffer, int32_t size, const sqlpiStatsProfPolicy& policy) noexcept {
    sqlpiFunctionTrace trace("sqpiGetStatsProfileFormatStrings");
    if (!isUsable(buffer, size)) return trace.exit(SQLPI_FORMAT_FAILED);
    Description text(buffer, std::min(size, pieceSize));
    text.append("Monitor:  Max files: %d  Max file size: %d ", policy.maxFiles, policy.maxFileSize);
    text.append(" Feedback warehouse population: %d ", policy.maxFWSize);
    text.append(" Max single table stats: %d ", policy.maxSingleTableStats);
    text.append(" Max column group stats: %d ", policy.maxColGroupStats);
    text.append(" Max frequent values: %d ", policy.maxFrequentValues);
    text.append(" Max profiles: %d ", policy.maxProfiles);
    text.append(" Profile type: %d", policy.profileType);
    return trace.exit(SQLPI_FORMAT_OK);
}

uint32_t sqpiFormatMaintenanceWindow(char* buffer, int32_t size, const sqlpiMaintWindowInfo* info) noexcept {
    sqlpiFunctionTrace trace("sqpiFormatMaintenanceWindow");
    if (!isUsable(buffer, size) || info == nullptr) return trace.exit(SQLPI_FORMAT_FAILED);
    Description text = Description::continueIn(buffer, size);
    const sqlpiMaintWindowDateTime& first = info->startDateTime;
    const sqlpiMaintWindowDateTime& last = info->endDateTime;
    if (first.boundKind == MAINT_WINDOW_THISANDPRIOR)
        text.append(" Start Date: Current Date ");
    else
        text.append(" Start Date:  %04d,%02d,%02d ", first.year, first.month, first.day);
    if (last.boundKind == MAINT_WINDOW_THISANDFUTURE)
        text.append(" End Date: none ");
    else
        text.append(" End Date: %04d,%02d,%02d ", last.year, last.month, last.day);
    text.append(" Maintenance occurs %s window ", info->outside == 0 ? "inside" : "outside");
    text.append(" Time:  %02d:%02d:%02d - %02d:%02d:%02d ", info->startTime.hour, info->startTime.minute,
                info->startTime.second, info->endTime.hour, info->endTime.minute, info->endTime.second);
    text.append(" Days of week: ");
    text.appendMask(info->dayOfWeek, " All ", [&text](size_t day) { text.append("%s, ", DAYS_OF_WEEK[day]); });
    text.append(" Days of month: ");
    text.appendMask(info->dayOfMonth, " All ", [&text](size_t day) { text.append(" %zu,", day + 1); });
    text.append(" Month of year: ");
    text.appendMask(info->monthOfYear, " All", [&text](size_t month) { text.append("%s, ", MONTHS_OF_YEAR[month]); });
    return trace.exit(SQLPI_FORMAT_OK);
}

uint32_t sqlpiGetMaintWindowFormatStrings(char* buffer, int32_t size, const sqlpiMaintWindow& window) noexcept {
    sqlpiFunctionTrace trace("sqlpiGetMaintWindowFormatStrings");
    if (!isUsable(buffer, size)) return trace.exit(SQLPI_FORMAT_FAILED);
    uint32_t status = SQLPI_FORMAT_OK;
    if (window.online.defined) {
        Description(buffer, size).append("Online window: ");
        status = sqpiFormatMaintenanceWindow(buffer, size, &window.online);
    }
    if (status == SQLPI_FORMAT_OK && window.offline.defined) {
        if (window.online.defined)
            Description::continueIn(buffer, size).append("  Offline window: ");
        else
            Description(buffer, size).append("Offline window: ");
        status = sqpiFormatMaintenanceWindow(buffer, size, &window.offline);
    }
    return trace.exit(status);
}

namespace {

/* A filter that was fetched for a description, released after it. */
sqlpiBlock ownFilter(char* tablesFilter) noexcept {
    return {tablesFilter, sqlpiFreeBlock{"sqlpiFormat"}};
}

uint32_t describeMaintWindow(char* buffer, int32_t size) noexcept {
    sqlpiMaintWindow window;
    sqlpiGetMaintWindow(&window);
    return sqlpiGetMaintWindowFormatStrings(buffer, size, window);
}

uint32_t describeRunStats(char* buffer, int32_t size) noexcept {
    sqlpiRunStatsPolicy policy = {};
    bool updated = true;
    sqlpiGetRunStats(&policy, nullptr, &updated);
    const sqlpiBlock filter = ownFilter(policy.tablesFilter);
    return sqlpiGetRunstatsFormatStrings(buffer, size, policy);
}

uint32_t describeReorg(char* buffer, int32_t size) noexcept {
    sqlpiReorgPolicy policy = {};
    bool updated = true;
    sqlpiGetReorg(&policy, nullptr, &updated);
    const sqlpiBlock filter = ownFilter(policy.tablesFilter);
    return sqlpiGetReorgFormatStrings(buffer, size, policy, updated);
}

uint32_t describeStatsProfile(char* buffer, int32_t size) noexcept {
    sqlpiStatsProfPolicy policy = SQLPI_STATS_PROF_DEFAULTS;
    sqlpiGetStatsProfile(&policy);
    const sqlpiBlock filter = ownFilter(policy.tablesFilter);
    return sqpiGetStatsProfileFormatStrings(buffer, size, policy);
}

uint32_t describeBackup(char* buffer, int32_t size) noexcept {
    sqlpiBackupPolicy policy;
    sqlpiGetBackup(&policy);
    return sqlpiGetBackupFormatStrings(buffer, size, policy);
}

struct DescribedPolicy {
    std::string_view name;
    uint32_t (*describe)(char* buffer, int32_t size) noexcept;
};
constexpr DescribedPolicy describedPolicies[] = {
    {SQLPI_MAINT_WINDOW_KEY.name, describeMaintWindow},
    {SQLPI_RUNSTATS_KEY.name, describeRunStats},
    {SQLPI_REORG_KEY.name, describeReorg},
    {SQLPI_STATS_PROFILE_KEY.name, describeStatsProfile},
    {SQLPI_BACKUP_KEY.name, describeBackup},
};

}  // namespace

uint32_t sqpiGetPolicyFormatString(char* buffer, int32_t size, const char* name) noexcept {
    sqlpiFunctionTrace trace("sqpiGetPolicyFormatString");
    if (!isUsable(buffer, size) || name == nullptr) return trace.exit(SQLPI_FORMAT_FAILED);
    for (const DescribedPolicy& policy : describedPolicies) {
        if (policy.name != name) continue;
        return trace.exit(policy.describe(buffer, size) == SQLPI_FORMAT_OK ? SQLPI_FORMAT_OK : SQLPI_FORMAT_FAILED);
    }
    sqlpiTextBuilder(buffer, static_cast<size_t>(size))
        .append("Attempting to update unknown policy. Type: ")
        .append(name);
    return trace.exit(SQLPI_FORMAT_FAILED);
}
