/* Configuration records of engine records. */
#include <algorithm>
#include <charconv>
#include <iterator>
#include <limits>

#include "base/sqlpiText.h"
#include "base/sqlpiTrace.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiRecordTexts.h"

namespace {

uint32_t statusOf(bool isFilled) noexcept {
    return isFilled ? SQLPI_CONFIG_OK : SQLPI_CONFIG_FAILED;
}

/* False when there is no memory. */
template <class Integer>
bool setNumber(char*& field, Integer number) noexcept {
    char digits[std::numeric_limits<Integer>::digits10 + 2];  // the last, partly used digit and the sign
    const char* end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
    return sqlpiSetOwnedText(field, {digits, static_cast<size_t>(end - digits)});
}

/* False when the field cannot hold the filter whole: a predicate that is cut selects other tables. */
template <size_t Size>
bool setFilter(char (&field)[Size], const char* filter) noexcept {
    if (filter == nullptr) return true;
    sqlpiTextBuilder text(field, Size);
    if (!text.append(filter).wasCut()) return true;
    field[0] = '\0';
    return false;
}

/* False when there is no memory. */
bool setTarget(const sqlpiBackupPolicy& engine, backupPolicy& policy) noexcept {
    const auto setPath = [&] {
        sqlpiTextBuilder(policy.path, sizeof policy.path).append(sqlpiFieldText(engine.targetLocation));
    };
    switch (engine.targetType) {
        case BACKUP_TARGET_DISK:
            policy.diskTarget = true;
            setPath();
            policy.useDefaultPath = policy.path[0] == '\0';
            return true;
        case BACKUP_TARGET_TAPE:
            policy.tapeTarget = true;
            setPath();
            return true;
        case BACKUP_TARGET_VLT:
            policy.vltTarget = true;
            return setNumber(policy.numberOfSessions, engine.numberOfSessions);
        case BACKUP_TARGET_XBSA:
            policy.xbsaTarget = true;
            return setNumber(policy.numberOfSessions, engine.numberOfSessions);
        case BACKUP_TARGET_VENDOR:
            policy.vendorTarget = true;
            setPath();
            return sqlpiSetOwnedText(policy.libOptions, sqlpiFieldText(engine.libOptions));
        default:
            return true;
    }
}

constexpr const char* dayNames[SQLPI_WEEK_DAYS] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr const char* monthNames[SQLPI_MONTHS] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

/* "All", or what `appendName` writes for each selected index, separated by blanks. */
template <size_t Size, size_t Count, class AppendName>
void writeSelection(char (&field)[Size], const bool (&selected)[Count], AppendName appendName) noexcept {
    sqlpiTextBuilder text(field, Size);
    if (std::find(std::begin(selected), std::end(selected), false) == std::end(selected)) {
        text.append("All");
        return;
    }
    for (int i = 0; i < static_cast<int>(Count); ++i) {
        if (!selected[i]) continue;
        if (text.length() != 0) text.append(" ");
        appendName(text, i);
    }
}

/* Whole hours, 1..24 for times of a day; minutes round, and the same hour counts as one. */
int durationOf(const sqlpiMaintWindowTime& start, const sqlpiMaintWindowTime& end) noexcept {
    int hours = end.hour - start.hour;  // -23..23
    if (hours < 0) hours += 24;
    if (hours == 0) hours = 1;
    int minutes = end.minute - start.minute;  // -59..59
    if (minutes < 0) minutes += 60;
    return minutes > 30 ? hours + 1 : hours;
}

}  // namespace

uint32_t sqlpiFillAutoBackupValues(const sqlpiBackupPolicy* engine, backupPolicy* policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiFillAutoBackupValues");
    const bool isOffline = engine->mode == BACKUP_MODE_OFFLINE || engine->mode == BACKUP_MODE_DEFAULT;
    return trace.exit(statusOf(sqlpiSetOwnedText(policy->mode, isOffline ? "Offline" : "Online") &&
                               setNumber(policy->numberOfFullBackups, engine->numberOfFullBackups) &&
                               setNumber(policy->timeSinceLastBackup, engine->timeSinceLastBackup) &&
                               setNumber(policy->logSpaceConsumedSinceLastBackup, engine->logSpaceConsumed) &&
                               setTarget(*engine, *policy)));
}

uint32_t sqlpiFillAutoReorgValues(const sqlpiReorgPolicy* engine, reorgPolicy* policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiFillAutoReorgValues");
    return trace.exit(statusOf(
        setFilter(policy->filterClause, engine->tablesFilter) &&
        sqlpiSetOwnedText(policy->dictionaryOption, engine->dictionaryOption != 0 ? "Rebuild" : "Keep") &&
        sqlpiSetOwnedText(policy->indexReorgMode, engine->indexReorgMode != 0 ? "Online" : "Offline") &&
        sqlpiSetOwnedText(policy->useSystemTempTableSpace, engine->useTempTbsp != 0 ? "true" : "false") &&
        setNumber(policy->maxOfflineReorgTableSize, engine->reorgSizeLimitKB) &&
        setNumber(policy->reclaimExtentsSizeForMDCTables, engine->reclaimExtentsSizeForMDCTables) &&
        setNumber(policy->numInxPseudoEmptyPagesForVolatileTables, engine->numInxPseudoEmptyPagesForVolatileTables)));
}

uint32_t sqlpiFillAutoRunstatsValues(const sqlpiRunStatsPolicy* engine, runStatsPolicy* policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiFillAutoRunstatsValues");
    return trace.exit(statusOf(setFilter(policy->filterCondition, engine->tablesFilter)));
}

uint32_t sqlpiFillAutoMaintWindowValues(const sqlpiMaintWindow* engine, maintenanceNewPolicy* policy) noexcept {
    sqlpiFunctionTrace trace("sqlpiFillAutoMaintWindowValues");
    if (engine->online.defined) {
        policy->onlinePresent = true;
        sqlpiFillWindow(engine->online, policy->online);
    }
    if (engine->offline.defined) {
        policy->offlinePresent = true;
        sqlpiFillWindow(engine->offline, policy->offline);
    }
    return trace.exit(SQLPI_CONFIG_OK);
}

void sqlpiFillWindow(const sqlpiMaintWindowInfo& info, maintenanceNewWindow& window) noexcept {
    const sqlpiFunctionTrace trace("sqlpiFillWindow");
    sqlpiTextBuilder(window.occurrence, sizeof window.occurrence).append(info.outside == 0 ? "During" : "Outside");
    writeSelection(window.daysOfWeek, info.dayOfWeek,
                   [](sqlpiTextBuilder& text, int index) { text.append(dayNames[index]); });
    writeSelection(window.monthsOfYear, info.monthOfYear,
                   [](sqlpiTextBuilder& text, int index) { text.append(monthNames[index]); });
    writeSelection(window.daysOfMonth, info.dayOfMonth, [](sqlpiTextBuilder& text, int index) {
        constexpr int daysFromStart = SQLPI_MONTH_DAYS / 2;
        text.appendFormat("%d", index < daysFromStart ? index + 1 : daysFromStart - 1 - index);
    });
    sqlpiTextBuilder(window.startTime, sizeof window.startTime)
        .appendFormat("%02d:%02d:%02d", info.startTime.hour, info.startTime.minute, info.startTime.second);
    sqlpiTextBuilder(window.duration, sizeof window.duration)
        .appendFormat("%d", durationOf(info.startTime, info.endTime));
}
