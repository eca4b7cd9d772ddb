/* Configuration records of engine records: each field, each edge, and what a lack of memory or room leaves. */
#include <limits>
#include <utility>

#include "faulty.h"
#include "unit/policyGenSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

using namespace generated;

class PolicyFill : public BalancedTest {};

std::string orNull(const char* text) {
    return text == nullptr ? "(null)" : text;
}

/* --- backup ------------------------------------------------------------------------------------------------------- */

std::string describe(const backupPolicy& policy) {
    std::string flags;
    for (const auto& [flag, name] :
         {std::pair{policy.useDefaultPath, " default"}, std::pair{policy.diskTarget, " disk"},
          std::pair{policy.tapeTarget, " tape"}, std::pair{policy.vltTarget, " vlt"},
          std::pair{policy.xbsaTarget, " xbsa"}, std::pair{policy.vendorTarget, " vendor"}})
        if (flag) flags += name;
    return orNull(policy.mode) + ", " + orNull(policy.numberOfFullBackups) + " " + orNull(policy.timeSinceLastBackup) +
           " " + orNull(policy.logSpaceConsumedSinceLastBackup) + ", sessions " + orNull(policy.numberOfSessions) +
           ", path '" + policy.path + "', options " + orNull(policy.libOptions) + "," + flags;
}

sqlpiBackupPolicy engineBackup(int32_t targetType, const std::string& location = {}, const std::string& options = {}) {
    sqlpiBackupPolicy engine = {};
    engine.numberOfFullBackups = 1;
    engine.timeSinceLastBackup = 168;
    engine.logSpaceConsumed = 6400;
    engine.targetType = targetType;
    set(engine.targetLocation, location);
    set(engine.libOptions, options);
    return engine;
}

std::string filledBackup(const sqlpiBackupPolicy& engine) {
    Record<backupPolicy> policy;
    EXPECT_EQ(sqlpiFillAutoBackupValues(&engine, &policy), SQLPI_CONFIG_OK);
    return describe(policy);
}

TEST_F(PolicyFill, BackupTargets) {
    const std::string begin = "Online, 1 168 6400, ";
    const struct {
        const char* name;
        sqlpiBackupPolicy engine;
        std::string filled;
    } cases[] = {
        {"disk", engineBackup(0, "/a,/b", "o"), "sessions (null), path '/a,/b', options (null), disk"},
        {"disk without a path", engineBackup(0), "sessions (null), path '', options (null), default disk"},
        {"tape", engineBackup(1, "/dev/rmt0", "o"), "sessions (null), path '/dev/rmt0', options (null), tape"},
        {"tape without a path", engineBackup(1), "sessions (null), path '', options (null), tape"},
        {"vendor", engineBackup(4, "/l.so", "-p 1"), "sessions (null), path '/l.so', options -p 1, vendor"},
        {"vendor without texts", engineBackup(4), "sessions (null), path '', options , vendor"},
        {"unknown", engineBackup(5, "/p", "o"), "sessions (null), path '', options (null),"},
        {"below all", engineBackup(-1, "/p", "o"), "sessions (null), path '', options (null),"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(filledBackup(c.engine), begin + c.filled);
    }
}

TEST_F(PolicyFill, BackupSessions) {
    for (const uint32_t sessions : {0U, 1U, 999U, 99999U, 100000U, 4294967295U}) {
        SCOPED_TRACE(sessions);
        for (const auto& [targetType, flag] : {std::pair{2, " vlt"}, std::pair{3, " xbsa"}}) {
            sqlpiBackupPolicy engine = engineBackup(targetType);
            engine.numberOfSessions = sessions;
            EXPECT_EQ(filledBackup(engine),
                      "Online, 1 168 6400, sessions " + std::to_string(sessions) + ", path '', options (null)," + flag);
        }
    }
}

TEST_F(PolicyFill, BackupMode) {
    for (const auto& [mode, word] : {std::pair{0, "Online"}, std::pair{1, "Offline"}, std::pair{2, "Offline"},
                                     std::pair{3, "Online"}, std::pair{-1, "Online"}}) {
        sqlpiBackupPolicy engine = engineBackup(0);
        engine.mode = mode;
        Record<backupPolicy> policy;
        EXPECT_EQ(sqlpiFillAutoBackupValues(&engine, &policy), SQLPI_CONFIG_OK);
        EXPECT_STREQ(policy.mode, word) << mode;
    }
}

TEST_F(PolicyFill, BackupCriteriaAreWholeNumbersInTheirOrder) {
    const struct {
        int32_t full, time, log;
        const char* filled;
    } cases[] = {{1, 2, 3, "1 2 3"},
                 {0, 0, 0, "0 0 0"},
                 {2147483647, 999999999, 1000000000, "2147483647 999999999 1000000000"},
                 {-1, -2147483647 - 1, -999999999, "-1 -2147483648 -999999999"}};
    for (const auto& c : cases) {
        sqlpiBackupPolicy engine = engineBackup(0);
        engine.numberOfFullBackups = c.full;
        engine.timeSinceLastBackup = c.time;
        engine.logSpaceConsumed = c.log;
        EXPECT_EQ(filledBackup(engine),
                  "Online, " + std::string(c.filled) + ", sessions (null), path '', options (null), default disk");
    }
}

/* The engine's fields bound their texts, terminated or not. */
TEST_F(PolicyFill, BackupTextsAsLongAsTheirFields) {
    for (const size_t length : {size_t{2046}, size_t{2047}, size_t{2048}}) {
        SCOPED_TRACE(length);
        const std::string path(length, 'p');
        const std::string options(length, 'o');
        EXPECT_EQ(filledBackup(engineBackup(4, path, options)),
                  "Online, 1 168 6400, sessions (null), path '" + path + "', options " + options + ", vendor");
        EXPECT_EQ(filledBackup(engineBackup(0, path)),
                  "Online, 1 168 6400, sessions (null), path '" + path + "', options (null), disk");
        EXPECT_EQ(filledBackup(engineBackup(1, path)),
                  "Online, 1 168 6400, sessions (null), path '" + path + "', options (null), tape");
    }
}

/* --- reorg and runstats ------------------------------------------------------------------------------------------- */

std::string describe(const reorgPolicy& policy) {
    return orNull(policy.dictionaryOption) + " " + orNull(policy.indexReorgMode) + " " +
           orNull(policy.useSystemTempTableSpace) + " " + orNull(policy.maxOfflineReorgTableSize) + " " +
           orNull(policy.reclaimExtentsSizeForMDCTables) + " " +
           orNull(policy.numInxPseudoEmptyPagesForVolatileTables) + " '" + policy.filterClause + "'";
}

TEST_F(PolicyFill, Reorg) {
    char filter[] = "TABNAME < 'T'";
    char noFilter[] = "";
    const struct {
        sqlpiReorgPolicy engine;
        const char* filled;
    } cases[] = {
        {{}, "Keep Offline false 0 0 0 ''"},
        {{noFilter, 0, 0, 0, 0, 0, 0}, "Keep Offline false 0 0 0 ''"},
        {{filter, 0, 0, 0, 0, 0, 0}, "Keep Offline false 0 0 0 'TABNAME < 'T''"},
        {{nullptr, 0, 0, 0, 1, 0, 0}, "Rebuild Offline false 0 0 0 ''"},
        {{nullptr, 0, 0, 1, 0, 0, 0}, "Keep Online false 0 0 0 ''"},
        {{nullptr, 0, 1, 0, 0, 0, 0}, "Keep Offline true 0 0 0 ''"},
        {{nullptr, 0, 2, -1, 256, 0, 0}, "Rebuild Online true 0 0 0 ''"},
        {{nullptr, 51200, 0, 0, 0, 8, 16}, "Keep Offline false 51200 8 16 ''"},
        {{nullptr, 2147483647, 0, 0, 0, 9999999999999999999U, 10000000000000000000U},
         "Keep Offline false 2147483647 9999999999999999999 10000000000000000000 ''"},
        {{nullptr, -2147483647 - 1, 0, 0, 0, 18446744073709551615U, 18446744073709551615U},
         "Keep Offline false -2147483648 18446744073709551615 18446744073709551615 ''"},
    };
    for (const auto& c : cases) {
        Record<reorgPolicy> policy;
        EXPECT_EQ(sqlpiFillAutoReorgValues(&c.engine, &policy), SQLPI_CONFIG_OK);
        EXPECT_EQ(describe(policy), c.filled);
    }
}

TEST_F(PolicyFill, AClearedReorgPolicyGivesTheLeastDocument) {
    const sqlpiReorgPolicy engine = {};
    Record<reorgPolicy> policy;
    EXPECT_EQ(sqlpiFillAutoReorgValues(&engine, &policy), SQLPI_CONFIG_OK);
    EXPECT_EQ(newDocument(sqlpiGenerateNewAutoReorgPolicy, static_cast<reorgPolicy&>(policy), SQLPI_CONFIG_OK),
              golden("config-reorg-cleared"));
}

TEST_F(PolicyFill, Runstats) {
    char filter[] = "TABNAME < 'T'";
    char noFilter[] = "";
    for (const auto& [engineFilter, filled] :
         {std::pair<char*, const char*>{nullptr, ""}, {noFilter, ""}, {filter, "TABNAME < 'T'"}}) {
        const sqlpiRunStatsPolicy engine = {engineFilter};
        runStatsPolicy policy = {};
        EXPECT_EQ(sqlpiFillAutoRunstatsValues(&engine, &policy), SQLPI_CONFIG_OK);
        EXPECT_STREQ(policy.filterCondition, filled);
    }
}

/* Half a predicate selects other tables than the whole one: a filter is held whole or not at all. */
TEST_F(PolicyFill, FiltersAreHeldWholeOrNotAtAll) {
    const struct {
        std::string filter;
        bool fitsReorg;
        bool fitsRunstats;
    } cases[] = {{std::string(4095, 'f'), true, true},
                 {std::string(4096, 'f'), true, false},
                 {std::string(4093, 'f') + "\xC3\xA4", true, true},
                 {std::string(4094, 'f') + "\xC3\xA4", true, false},
                 {std::string(9999, 'f'), true, false},
                 {std::string(10000, 'f'), false, false},
                 {std::string(9998, 'f') + "\xC3\xA4", false, false},
                 {std::string(1000000, 'f'), false, false}};
    const auto statusOf = [](bool fits) { return fits ? SQLPI_CONFIG_OK : SQLPI_CONFIG_FAILED; };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.filter.size());
        std::string filter = c.filter;
        const sqlpiReorgPolicy reorgEngine = {filter.data(), 0, 0, 0, 0, 0, 0};
        const sqlpiRunStatsPolicy runstatsEngine = {filter.data()};
        Record<reorgPolicy> reorg;
        runStatsPolicy runstats = {};
        EXPECT_EQ(sqlpiFillAutoReorgValues(&reorgEngine, &reorg), statusOf(c.fitsReorg));
        EXPECT_EQ(sqlpiFillAutoRunstatsValues(&runstatsEngine, &runstats), statusOf(c.fitsRunstats));
        EXPECT_EQ(reorg.filterClause, c.fitsReorg ? c.filter : "");
        EXPECT_EQ(runstats.filterCondition, c.fitsRunstats ? c.filter : "");
    }
}

/* --- maintenance windows ------------------------------------------------------------------------------------------ */

std::string describe(const maintenanceNewWindow& window) {
    return std::string(window.occurrence) + " " + window.startTime + " for " + window.duration + "; " +
           window.daysOfWeek + "; " + window.monthsOfYear + "; " + window.daysOfMonth;
}

std::string filledWindow(const sqlpiMaintWindowInfo& info) {
    maintenanceNewWindow window;
    std::memset(&window, 'x', sizeof window);  // every text is terminated, whatever was there
    sqlpiFillWindow(info, window);
    return describe(window);
}

sqlpiMaintWindowInfo always() {
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    return window.online;
}

TEST_F(PolicyFill, WindowSelections) {
    std::string monthDays;
    for (int day = 1; day <= 31; ++day) monthDays += std::to_string(day) + " ";
    for (int day = 1; day <= 31; ++day) monthDays += "-" + std::to_string(day) + " ";

    const sqlpiMaintWindowInfo none = {};
    EXPECT_EQ(filledWindow(none), "During 00:00:00 for 1; ; ; ");
    EXPECT_EQ(filledWindow(always()), "During 00:00:00 for 1; All; All; All");
    for (const int32_t set : {1, 2, -1}) {
        sqlpiMaintWindowInfo outside = always();
        outside.outside = set;
        EXPECT_EQ(filledWindow(outside), "Outside 00:00:00 for 1; All; All; All") << set;
    }

    const std::string days[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    for (int i = 0; i < SQLPI_WEEK_DAYS; ++i) {
        sqlpiMaintWindowInfo only = none;
        only.dayOfWeek[i] = true;
        EXPECT_EQ(filledWindow(only), "During 00:00:00 for 1; " + days[i] + "; ; ");
    }
    const std::string months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (int i = 0; i < SQLPI_MONTHS; ++i) {
        sqlpiMaintWindowInfo only = none;
        only.monthOfYear[i] = true;
        EXPECT_EQ(filledWindow(only), "During 00:00:00 for 1; ; " + months[i] + "; ");
    }
    for (int i = 0; i < SQLPI_MONTH_DAYS; ++i) {
        sqlpiMaintWindowInfo only = none;
        only.dayOfMonth[i] = true;
        EXPECT_EQ(filledWindow(only), "During 00:00:00 for 1; ; ; " + std::to_string(i < 31 ? i + 1 : -(i - 30)));

        // All but one: the longest list that there is.
        sqlpiMaintWindowInfo allBut = always();
        allBut.dayOfMonth[i] = false;
        const std::string missing = (i < 31 ? std::to_string(i + 1) : std::to_string(30 - i)) + " ";
        std::string list = " " + monthDays;
        list.erase(list.find(" " + missing) + 1, missing.size());
        EXPECT_EQ(filledWindow(allBut), "During 00:00:00 for 1; All; All; " + list.substr(1, list.size() - 2));
    }

    sqlpiMaintWindowInfo some = none;
    some.dayOfWeek[0] = some.dayOfWeek[6] = some.dayOfWeek[3] = true;
    some.monthOfYear[11] = some.monthOfYear[0] = true;
    some.dayOfMonth[0] = some.dayOfMonth[30] = some.dayOfMonth[31] = some.dayOfMonth[34] = true;
    EXPECT_EQ(filledWindow(some), "During 00:00:00 for 1; Sun Wed Sat; Jan Dec; 1 31 -1 -4");
}

/* The days counted from the start alone are no "All", though they are every day of any month. */
TEST_F(PolicyFill, HalfOfTheMonthDaysIsAList) {
    sqlpiMaintWindowInfo info = {};
    std::fill(info.dayOfMonth, info.dayOfMonth + 31, true);
    EXPECT_EQ(filledWindow(info),
              "During 00:00:00 for 1; ; ; 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21 22 23 24 25 26 27 28 "
              "29 30 31");
}

TEST_F(PolicyFill, WindowTimes) {
    const struct {
        sqlpiMaintWindowTime start, end;
        const char* filled;
    } cases[] = {
        {{0, 0, 0}, {23, 59, 59}, "00:00:00 for 24"},
        {{10, 0, 0}, {10, 30, 0}, "10:00:00 for 1"},
        {{10, 0, 0}, {10, 31, 0}, "10:00:00 for 2"},
        {{22, 0, 0}, {2, 45, 0}, "22:00:00 for 5"},
        {{23, 0, 0}, {2, 0, 0}, "23:00:00 for 3"},
        {{21, 30, 0}, {23, 59, 59}, "21:30:00 for 2"},
        {{23, 0, 0}, {23, 59, 59}, "23:00:00 for 2"},
        {{9, 5, 7}, {19, 5, 7}, "09:05:07 for 10"},
        {{9, 5, 59}, {19, 5, 0}, "09:05:59 for 10"},
        {{1, 50, 0}, {3, 10, 0}, "01:50:00 for 2"},  // 20 minutes past the 50
        {{1, 50, 0}, {3, 20, 0}, "01:50:00 for 2"},  // 30
        {{1, 50, 0}, {3, 21, 0}, "01:50:00 for 3"},  // 31
        {{1, 10, 0}, {3, 9, 59}, "01:10:00 for 3"},  // 59
        {{5, 0, 0}, {4, 59, 0}, "05:00:00 for 24"},  // 23 and more
        {{5, 30, 0}, {4, 0, 0}, "05:30:00 for 23"},  // 30 before the hour is no more than 30
        {{5, 29, 0}, {4, 0, 0}, "05:29:00 for 24"},  // 31
        {{12, 0, 0}, {12, 0, 0}, "12:00:00 for 1"},  // the same time is one hour, not a day
        {{0, 0, 0}, {0, 0, 0}, "00:00:00 for 1"},
    };
    for (const auto& c : cases) {
        sqlpiMaintWindowInfo info = always();
        info.startTime = c.start;
        info.endTime = c.end;
        EXPECT_EQ(filledWindow(info), "During " + std::string(c.filled) + "; All; All; All");
    }
}

/* Numbers that are no times of a day stay within their texts. */
TEST_F(PolicyFill, WindowTimesBeyondADay) {
    for (const auto& [start, end] : {std::pair<int, int>{255, 0}, {0, 255}, {255, 255}, {99, 60}}) {
        const auto time = [](int part) {
            return sqlpiMaintWindowTime{static_cast<uint8_t>(part), static_cast<uint8_t>(part),
                                        static_cast<uint8_t>(part)};
        };
        sqlpiMaintWindowInfo info = always();
        info.startTime = time(start);
        info.endTime = time(end);
        const std::string part = (start < 10 ? "0" : "") + std::to_string(start);
        EXPECT_EQ(filledWindow(info).rfind("During " + part + ":" + part + ":" + part + " for ", 0), 0U) << start;
    }
}

TEST_F(PolicyFill, WindowsThatAreDefined) {
    for (const bool isOnline : {false, true})
        for (const bool isOffline : {false, true}) {
            SCOPED_TRACE(std::string(isOnline ? "online " : "") + (isOffline ? "offline" : ""));
            sqlpiMaintWindow engine;
            sqlpiSetMaintWindowDefaults(&engine);
            engine.online.defined = isOnline;
            engine.online.startTime = {1, 0, 0};
            engine.online.endTime = {4, 0, 0};
            engine.offline.defined = isOffline;
            engine.offline.outside = 1;
            engine.offline.endTime = {7, 0, 0};
            maintenanceNewPolicy policy = {};
            EXPECT_EQ(sqlpiFillAutoMaintWindowValues(&engine, &policy), SQLPI_CONFIG_OK);
            EXPECT_EQ(policy.onlinePresent, isOnline);
            EXPECT_EQ(policy.offlinePresent, isOffline);
            EXPECT_EQ(describe(policy.online), isOnline ? "During 01:00:00 for 3; All; All; All" : "  for ; ; ; ");
            EXPECT_EQ(describe(policy.offline), isOffline ? "Outside 00:00:00 for 7; All; All; All" : "  for ; ; ; ");
        }
}

/* --- memory ------------------------------------------------------------------------------------------------------- */

/* Fails each allocation of a fill and the generation after it, once and for ever: no document comes of it. Returns how
 * many allocations there were. */
template <class Policy, class Engine>
int failEachAllocation(uint32_t (*fill)(const Engine*, Policy*) noexcept,
                       uint32_t (*generate)(char**, int*, const Policy&) noexcept, const Engine& engine) {
    for (const faulty::Duration duration : {faulty::Duration::once, faulty::Duration::forEver})
        for (int call = 1; call < 100; ++call) {
            SCOPED_TRACE("allocation " + std::to_string(call));
            const faulty::Scope scope;
            EXPECT_TRUE(faulty::failCall(faulty::Service::anyMemory, static_cast<uint64_t>(call), duration));
            Record<Policy> policy;
            char* document = nullptr;
            int length = 0;
            uint32_t status = fill(&engine, &policy);
            if (status == SQLPI_CONFIG_OK) status = generate(&document, &length, policy);
            const bool hasFailed = faulty::failures(faulty::Service::anyMemory) != 0;
            EXPECT_EQ(status, hasFailed ? SQLPI_CONFIG_FAILED : SQLPI_CONFIG_OK);
            EXPECT_EQ(document == nullptr, hasFailed);
            sqlofmblkEx(document, "test", __LINE__);
            if (!hasFailed) {
                if (duration == faulty::Duration::forEver) return call - 1;
                break;
            }
        }
    return -1;
}

TEST_F(PolicyFill, WithoutMemoryThereIsNoDocument) {
    const auto backup = [](const sqlpiBackupPolicy& engine) {
        return failEachAllocation(sqlpiFillAutoBackupValues, sqlpiGenerateNewAutoBackupPolicy, engine);
    };
    EXPECT_EQ(backup(engineBackup(0, "/p")), 5);
    EXPECT_EQ(backup(engineBackup(1, "/p")), 5);
    EXPECT_EQ(backup(engineBackup(2)), 6);
    EXPECT_EQ(backup(engineBackup(3)), 6);
    EXPECT_EQ(backup(engineBackup(4, "/l.so", "o")), 6);
    char filter[] = "TABNAME = 'T'";
    EXPECT_EQ(failEachAllocation(sqlpiFillAutoReorgValues, sqlpiGenerateNewAutoReorgPolicy,
                                 sqlpiReorgPolicy{filter, 1, 1, 1, 1, 1, 1}),
              7);
}

}  // namespace
