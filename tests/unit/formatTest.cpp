/* Readable policy descriptions: the texts byte for byte, and how they are cut. */
#include "sqlpiFormat.h"

#include <algorithm>
#include <functional>
#include <map>
#include "description/sqlpiFormatRecords.h"
#include "trace.h"
#include "unit/servicesSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

using Render = std::function<uint32_t(char*, int32_t)>;

/* Renders into a buffer of `size` bytes that is filled beforehand and watched behind its end. */
std::string rendered(const Render& render, int32_t size = 8192, const std::string& before = "old text") {
    std::vector<char> buffer(static_cast<size_t>(size) + 16, '#');
    std::snprintf(buffer.data(), static_cast<size_t>(size), "%s", before.c_str());
    EXPECT_EQ(render(buffer.data(), size), SQLPI_FORMAT_OK);
    EXPECT_EQ(std::string(buffer.data() + size, 16), std::string(16, '#')) << "written behind the buffer";
    const size_t length = strnlen(buffer.data(), static_cast<size_t>(size));
    EXPECT_LT(length, static_cast<size_t>(size)) << "not terminated";
    return {buffer.data(), length};
}

sqlpiBackupPolicy backupRecord() {
    sqlpiBackupPolicy policy = {};
    policy.numberOfFullBackups = 1;
    policy.timeSinceLastBackup = 168;
    policy.logSpaceConsumed = 25;
    policy.mode = BACKUP_MODE_DEFAULT;
    std::strcpy(policy.targetLocation, "/backups");
    return policy;
}

Render of(const sqlpiBackupPolicy& policy) {
    return [&policy](char* buffer, int32_t size) { return sqlpiGetBackupFormatStrings(buffer, size, policy); };
}
Render of(const sqlpiReorgPolicy& policy, bool updated = true) {
    return [&policy, updated](char* buffer, int32_t size) {
        return sqlpiGetReorgFormatStrings(buffer, size, policy, updated);
    };
}
Render of(const sqlpiRunStatsPolicy& policy) {
    return [&policy](char* buffer, int32_t size) { return sqlpiGetRunstatsFormatStrings(buffer, size, policy); };
}
Render of(const sqlpiStatsProfPolicy& policy) {
    return [&policy](char* buffer, int32_t size) { return sqpiGetStatsProfileFormatStrings(buffer, size, policy); };
}
Render of(const sqlpiMaintWindow& window) {
    return [&window](char* buffer, int32_t size) { return sqlpiGetMaintWindowFormatStrings(buffer, size, window); };
}
Render of(const sqlpiMaintWindowInfo& info) {
    return [&info](char* buffer, int32_t size) { return sqpiFormatMaintenanceWindow(buffer, size, &info); };
}

/* --- backup ------------------------------------------------------------------------------------------------------- */

const std::string backupStart =
    "Backup criteria:   Number of full backups < 1 or  Elapsed time size last backup > 168 hours or "
    " Log space consumed since last backup > 6400 MB ";

TEST(BackupDescription, namesModeAndTarget) {
    struct Case {
        const char* name;
        std::function<void(sqlpiBackupPolicy&)> change;
        std::string rest;
    };
    const std::string target = "Backup policy decision target: ";
    for (const Case& one : std::vector<Case>{
             {"defaults", [](auto&) {}, " Backup mode: DEFAULT " + target + " Backup Type: DISK, Pathname: /backups "},
             {"online", [](auto& p) { p.mode = 0; },
              " Backup mode: ONLINE " + target + " Backup Type: DISK, Pathname: /backups "},
             {"offline", [](auto& p) { p.mode = 1; },
              " Backup mode: OFFLINE " + target + " Backup Type: DISK, Pathname: /backups "},
             {"any other mode", [](auto& p) { p.mode = -5; },
              " Backup mode: DEFAULT " + target + " Backup Type: DISK, Pathname: /backups "},
             {"tape", [](auto& p) { p.targetType = 1; },
              " Backup mode: DEFAULT " + target + " Backup Type: TAPE, Pathname: /backups "},
             {"storage manager",
              [](auto& p) {
                  p.targetType = 2;
                  p.numberOfSessions = 3;
              },
              " Backup mode: DEFAULT " + target + " Backup Type: VLT,  Number of sessions: 3 "},
             {"backup services",
              [](auto& p) {
                  p.targetType = 3;
                  p.numberOfSessions = 4294967295U;
              },
              " Backup mode: DEFAULT " + target + " Backup Type: XBSA,  Number of sessions: 4294967295 "},
             {"vendor",
              [](auto& p) {
                  p.targetType = 4;
                  std::strcpy(p.targetLocation, "libv.so");
                  std::strcpy(p.libOptions, "a=b");
              },
              " Backup mode: DEFAULT " + target +
                  " Backup Type: VENDOR, Vendor DLL Filename: libv.so  Lib options: a=b"},
             {"any other target", [](auto& p) { p.targetType = 7; },
              " Backup mode: DEFAULT " + target + "Backup Type: Unknown"},
         }) {
        SCOPED_TRACE(one.name);
        sqlpiBackupPolicy policy = backupRecord();
        one.change(policy);
        EXPECT_EQ(rendered(of(policy)), backupStart + one.rest);
    }
}

TEST(BackupDescription, logSpaceWrapsAt32Bits) {
    for (const auto& [consumed, shown] : {std::pair<int32_t, const char*>{0, "0"},
                                          {6400, "1638400"},
                                          {-1, "-256"},
                                          {8388607, "2147483392"},
                                          {8388608, "-2147483648"},
                                          {16777216, "0"},
                                          {INT32_MAX, "-256"},
                                          {INT32_MIN, "0"}}) {
        sqlpiBackupPolicy policy = backupRecord();
        policy.logSpaceConsumed = consumed;
        EXPECT_NE(rendered(of(policy)).find(std::string("since last backup > ") + shown + " MB "), std::string::npos)
            << consumed;
    }
}

TEST(BackupDescription, isCutAt4095Bytes) {
    sqlpiBackupPolicy policy = backupRecord();
    policy.targetType = BACKUP_TARGET_VENDOR;
    std::fill(std::begin(policy.targetLocation), std::end(policy.targetLocation) - 1, 'p');
    std::fill(std::begin(policy.libOptions), std::end(policy.libOptions) - 1, 'o');
    const std::string whole = backupStart + " Backup mode: DEFAULT Backup policy decision target: " +
                              " Backup Type: VENDOR, Vendor DLL Filename: " + policy.targetLocation +
                              "  Lib options: " + policy.libOptions;
    ASSERT_GT(whole.size(), 4095U);
    for (const int32_t size : {4095, 4096, 4097, 8192})
        EXPECT_EQ(rendered(of(policy), size), whole.substr(0, static_cast<size_t>(std::min(size, 4096)) - 1)) << size;
}

/* --- reorg and runstats ------------------------------------------------------------------------------------------- */

char filter[] = "TABNAME LIKE '%s'";

TEST(ReorgDescription, namesTheOptionsThatAreSet) {
    struct Case {
        const char* name;
        sqlpiReorgPolicy policy;
        const char* text;
    };
    for (const Case& one : {
             Case{"cleared",
                  {},
                  "Table Scope: NULL  Reorganization options: Keep dictionary  Index Reorganization Mode: Offline "
                  " Table size limit: none "},
             Case{"all set",
                  {filter, 2048, 1, 1, 1, 4096, 7},
                  "Table Scope: TABNAME LIKE '%s'  Reorganization options: Rebuild dictionary "
                  ", Use temporary tablespace  Index Reorganization Mode: Online "
                  " Reclaim Extents Size for MDC Tables: 4096 KB "
                  " Number of Index Pseudo Emptypage for Volatile Tables: 7 PAGES  Table size limit: 2048 KB"},
             Case{"other values",
                  {filter, -1, 2, 2, 2, UINT64_MAX, 18446744073709551614U},
                  "Table Scope: TABNAME LIKE '%s'  Reorganization options: Rebuild dictionary "
                  " Index Reorganization Mode: Online "
                  " Reclaim Extents Size for MDC Tables: 18446744073709551615 KB "
                  " Number of Index Pseudo Emptypage for Volatile Tables: 18446744073709551614 PAGES "
                  " Table size limit: -1 KB"},
         }) {
        SCOPED_TRACE(one.name);
        EXPECT_EQ(rendered(of(one.policy)), one.text);
    }
    EXPECT_EQ(rendered(of(sqlpiReorgPolicy{filter, 1, 1, 1, 1, 1, 1}, false)), "Table Scope: NO UPDATE");
}

TEST(RunstatsDescription, namesTheTableScope) {
    char empty[] = "";
    EXPECT_EQ(rendered(of(sqlpiRunStatsPolicy{nullptr})), "Table Scope: NULL");
    EXPECT_EQ(rendered(of(sqlpiRunStatsPolicy{filter})), "Table Scope: TABNAME LIKE '%s'");
    EXPECT_EQ(rendered(of(sqlpiRunStatsPolicy{empty})), "Table Scope: ");
}

/* A piece is formatted in 4096 bytes before it is appended. */
TEST(RunstatsDescription, cutsALongFilter) {
    std::string longFilter(6000, 'f');
    const sqlpiRunStatsPolicy runStats = {longFilter.data()};
    EXPECT_EQ(rendered(of(runStats)), "Table Scope: " + std::string(4095 - 13, 'f'));
    EXPECT_EQ(rendered(of(runStats), 4096), "Table Scope: " + std::string(4095 - 13, 'f'));
    EXPECT_EQ(rendered(of(runStats), 100), "Table Scope: " + std::string(99 - 13, 'f'));

    std::string inTwoBytes;
    while (inTwoBytes.size() < 6000) inTwoBytes += "\xC3\xA4";
    const sqlpiRunStatsPolicy umlauts = {inTwoBytes.data()};
    EXPECT_EQ(rendered(of(umlauts)), "Table Scope: " + inTwoBytes.substr(0, 4082)) << "between characters";
    EXPECT_EQ(rendered(of(umlauts), 21), "Table Scope: " + inTwoBytes.substr(0, 6)) << "between characters";

    sqlpiReorgPolicy reorg = {};
    reorg.tablesFilter = longFilter.data();
    EXPECT_EQ(rendered(of(reorg)), "Table Scope: " + std::string(4095 - 13, 'f') +
                                       " Reorganization options: Keep dictionary  Index Reorganization Mode: Offline "
                                       " Table size limit: none ")
        << "a cut piece does not keep the next ones out";
}

TEST(ReorgDescription, endsWhereItIsCut) {
    char umlauts[] = "\xC3\xA4\xC3\xA4";
    sqlpiReorgPolicy policy = {};
    policy.tablesFilter = umlauts;
    const std::string start = "Table Scope: ";
    for (const auto& [size, text] : {std::pair<int32_t, std::string>{14, start},
                                     {15, start},
                                     {16, start + "\xC3\xA4"},
                                     {17, start + "\xC3\xA4"},
                                     {18, start + umlauts},
                                     {20, start + umlauts + "  "}})
        EXPECT_EQ(rendered(of(policy), size), text) << size;
}

/* --- statistics profile ------------------------------------------------------------------------------------------- */

TEST(StatsProfileDescription, namesEveryLimit) {
    EXPECT_EQ(rendered(of(sqlpiStatsProfPolicy{filter, 1, 2, 3, 4, 5, 6, 7, 8})),
              "Monitor:  Max files: 1  Max file size: 2  Feedback warehouse population: 3  Max single table stats: 4 "
              " Max column group stats: 5  Max frequent values: 6  Max profiles: 7  Profile type: 8");
    EXPECT_EQ(
        rendered(of(SQLPI_STATS_PROF_DEFAULTS)),
        "Monitor:  Max files: 20  Max file size: 128  Feedback warehouse population: 20  Max single table stats: 50 "
        " Max column group stats: 50  Max frequent values: 20  Max profiles: 20  Profile type: 2");
}

/* --- maintenance windows ------------------------------------------------------------------------------------------ */

const std::string openWindow =
    " Start Date: Current Date  End Date: none  Maintenance occurs inside window  Time:  00:00:00 - 00:00:00 "
    " Days of week:  All  Days of month:  All  Month of year:  All";

sqlpiMaintWindowInfo openInfo() {
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    return window.online;
}

TEST(WindowDescription, namesTheParts) {
    struct Case {
        const char* name;
        std::function<void(sqlpiMaintWindowInfo&)> change;
        std::string part;
    };
    for (const Case& one : std::vector<Case>{
             {"always open", [](auto&) {}, openWindow},
             {"start date", [](auto& w) { w.startDateTime = {0, 2024, 1, 2, 3, 4, 5}; },
              " Start Date:  2024,01,02  End Date: none "},
             {"any start kind but the open one", [](auto& w) { w.startDateTime = {2, 7, 1, 2, 3, 4, 5}; },
              " Start Date:  0007,01,02  End Date: none "},
             {"end date", [](auto& w) { w.endDateTime = {0, 65535, 12, 31, 3, 4, 5}; },
              " Start Date: Current Date  End Date: 65535,12,31  Maintenance"},
             {"any end kind but the open one", [](auto& w) { w.endDateTime = {1, 2024, 255, 0, 3, 4, 5}; },
              " End Date: 2024,255,00  Maintenance"},
             {"outside", [](auto& w) { w.outside = 1; }, " Maintenance occurs outside window  Time"},
             {"outside by any value", [](auto& w) { w.outside = -1; }, " Maintenance occurs outside window  Time"},
             {"time",
              [](auto& w) {
                  w.startTime = {22, 3, 4};
                  w.endTime = {255, 59, 1};
              },
              " Time:  22:03:04 - 255:59:01  Days of week"},
             {"Sunday and Saturday",
              [](auto& w) { std::fill(std::begin(w.dayOfWeek) + 1, std::end(w.dayOfWeek) - 1, false); },
              " Days of week: SUN, SAT,  Days of month:  All "},
             {"all but Wednesday", [](auto& w) { w.dayOfWeek[3] = false; },
              " Days of week: SUN, MON, TUE, THU, FRI, SAT,  Days of month"},
             {"no day of the week", [](auto& w) { std::fill(std::begin(w.dayOfWeek), std::end(w.dayOfWeek), false); },
              " Days of week:  Days of month:  All "},
             {"the last day of the month",
              [](auto& w) {
                  std::fill(std::begin(w.dayOfMonth), std::end(w.dayOfMonth), false);
                  w.dayOfMonth[31] = true;
              },
              " Days of month:  32, Month of year:  All"},
             {"the first, the 31st and the 31st from the end",
              [](auto& w) {
                  std::fill(std::begin(w.dayOfMonth), std::end(w.dayOfMonth), false);
                  w.dayOfMonth[0] = w.dayOfMonth[30] = w.dayOfMonth[61] = true;
              },
              " Days of month:  1, 31, 62, Month of year"},
             {"the days from the start alone are not all",
              [](auto& w) { std::fill(std::begin(w.dayOfMonth) + 2, std::end(w.dayOfMonth), false); },
              " Days of month:  1, 2, Month of year"},
             {"January and December",
              [](auto& w) { std::fill(std::begin(w.monthOfYear) + 1, std::end(w.monthOfYear) - 1, false); },
              " Month of year: JAN, DEC, "},
             {"all months but June", [](auto& w) { w.monthOfYear[5] = false; },
              " Month of year: JAN, FEB, MAR, APR, MAY, JUL, AUG, SEP, OCT, NOV, DEC, "},
         }) {
        SCOPED_TRACE(one.name);
        sqlpiMaintWindowInfo info = openInfo();
        one.change(info);
        const std::string text = rendered(of(info), 8192, "");
        EXPECT_NE(text.find(one.part), std::string::npos) << text;
    }
}

TEST(WindowDescription, isAppended) {
    const sqlpiMaintWindowInfo info = openInfo();
    EXPECT_EQ(rendered(of(info), 8192, "before"), "before" + openWindow);
    EXPECT_EQ(rendered(of(info), 10, "before"), "before St");
    EXPECT_EQ(rendered(of(info), 7, "before"), "before");
    char unterminated[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(sqpiFormatMaintenanceWindow(unterminated, 4, &info), SQLPI_FORMAT_OK);
    EXPECT_STREQ(unterminated, "abc");
    char buffer[16] = "";
    EXPECT_EQ(sqpiFormatMaintenanceWindow(buffer, sizeof buffer, nullptr), SQLPI_FORMAT_FAILED);
}

TEST(WindowsDescription, namesTheWindowsThatAreDefined) {
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    EXPECT_EQ(rendered(of(window)), "Online window: " + openWindow);
    window.offline.defined = true;
    window.offline.outside = 1;
    std::string outside = openWindow;
    outside.replace(outside.find("inside"), 6, "outside");
    EXPECT_EQ(rendered(of(window)), "Online window: " + openWindow + "  Offline window: " + outside);
    window.online.defined = false;
    EXPECT_EQ(rendered(of(window)), "Offline window: " + outside);
    window.offline.defined = false;
    EXPECT_EQ(rendered(of(window)), "old text") << "with no window the buffer is left as it was";
}

/* --- what all renderers share ------------------------------------------------------------------------------------- */

struct Renderer {
    const char* name;
    Render render;
};

const std::vector<Renderer>& renderers() {
    static const sqlpiBackupPolicy backup = backupRecord();
    static const sqlpiReorgPolicy reorg = {filter, 1, 1, 1, 1, 1, 1};
    static const sqlpiRunStatsPolicy runStats = {filter};
    static const sqlpiMaintWindow window = [] {
        sqlpiMaintWindow both;
        sqlpiSetMaintWindowDefaults(&both);
        both.offline.defined = true;
        return both;
    }();
    static const std::vector<Renderer> all = {
        {"backup", of(backup)},
        {"reorg", of(reorg)},
        {"reorg not updated", of(reorg, false)},
        {"runstats", of(runStats)},
        {"statistics profile", of(SQLPI_STATS_PROF_DEFAULTS)},
        {"maintenance windows", of(window)},
        {"one window", of(window.online)},
    };
    return all;
}

TEST(Renderers, refuseANullBufferAndASizeBelowOne) {
    EXPECT_EQ(SQLPI_FORMAT_OK, 0U);
    EXPECT_EQ(SQLPI_FORMAT_FAILED, 0x9000000CU);
    for (const Renderer& one : renderers()) {
        SCOPED_TRACE(one.name);
        char buffer[] = "kept";
        EXPECT_EQ(one.render(nullptr, 100), SQLPI_FORMAT_FAILED);
        EXPECT_EQ(one.render(buffer, 0), SQLPI_FORMAT_FAILED);
        EXPECT_EQ(one.render(buffer, -1), SQLPI_FORMAT_FAILED);
        EXPECT_EQ(one.render(buffer, INT32_MIN), SQLPI_FORMAT_FAILED);
        EXPECT_STREQ(buffer, "kept");
    }
}

TEST(Renderers, cutAtAnySize) {
    for (const Renderer& one : renderers()) {
        SCOPED_TRACE(one.name);
        const std::string whole = rendered(one.render, 8192, "");
        EXPECT_EQ(rendered(one.render, 1, ""), "") << "size 1 holds an empty text";
        for (int32_t size = 1; size <= static_cast<int32_t>(whole.size()) + 2; ++size)
            ASSERT_EQ(rendered(one.render, size, ""), whole.substr(0, static_cast<size_t>(size) - 1)) << size;
    }
}

TEST(Renderers, terminateTheBuffersLastByte) {
    for (const Renderer& one : renderers()) {
        SCOPED_TRACE(one.name);
        std::vector<char> buffer(4096, '#');
        buffer[0] = '\0';
        EXPECT_EQ(one.render(buffer.data(), 4096), SQLPI_FORMAT_OK);
        EXPECT_EQ(buffer.back(), '\0');
    }
}

/* --- the entry ---------------------------------------------------------------------------------------------------- */

class StoredDescription : public services::EngineTest {
protected:
    static std::string describe(const char* name) {
        return rendered([name](char* buffer, int32_t size) { return sqpiGetPolicyFormatString(buffer, size, name); });
    }
};

TEST_F(StoredDescription, tellsWhatTheRowsSay) {
    const auto sensor = [](const char* name, const char* element, const char* constant) {
        return std::string("<Equals><") + element + ">" + name + "</" + element + "><Constant>" + constant +
               "</Constant></Equals>";
    };
    const std::string tables = sensor("Tables", "kel:Sensors", "TABNAME &lt;> 'X'");
    services::store(
        SQLPI_MAINT_WINDOW_KEY,
        services::document("<kel:MaintenanceWindowCondition windowType='offline'><TimeOfDayMask>T220000/T060000"
                           "</TimeOfDayMask></kel:MaintenanceWindowCondition>"));
    services::store(SQLPI_RUNSTATS_KEY, services::document(tables));
    services::store(SQLPI_REORG_KEY, services::document(tables + sensor("ReorgSize_KB", "kel:TableReorgSensors", "77") +
                                                        "<kel:TableReorg useTempTbsp='true' mode='write'/>"));
    services::store(SQLPI_STATS_PROFILE_KEY,
                    services::document(tables + "<kel:StatsProfile><kel:Monitor maxFiles='5'/></kel:StatsProfile>"));
    services::store(SQLPI_BACKUP_KEY,
                    services::document(sensor("Log_Consumed_Since_Last_DB_Backup", "kel:DBBackupSensors", "25") +
                                       "<kel:DBBackup mode='offline'/>"));
    std::string night = openWindow;
    night.replace(night.find("00:00:00 - 00:00:00"), 19, "22:00:00 - 06:00:00");
    EXPECT_EQ(describe("CommonPolicy"), "Online window: " + openWindow + "  Offline window: " + night);
    EXPECT_EQ(describe("TableRunstatsPolicy"), "Table Scope: TABNAME <> 'X'");
    EXPECT_EQ(describe("TableReorgPolicy"),
              "Table Scope: TABNAME <> 'X'  Reorganization options: Keep dictionary , Use temporary tablespace "
              " Index Reorganization Mode: Online  Table size limit: 77 KB");
    EXPECT_EQ(
        describe("StatsProfilePolicy"),
        "Monitor:  Max files: 5  Max file size: 128  Feedback warehouse population: 20  Max single table stats: 50 "
        " Max column group stats: 50  Max frequent values: 20  Max profiles: 20  Profile type: 2");
    EXPECT_EQ(describe("DBBackupPolicy"), backupStart +
                                              " Backup mode: OFFLINE Backup policy decision target: "
                                              " Backup Type: DISK, Pathname: " +
                                              instance().backups() + " ");
}

TEST_F(StoredDescription, tellsTheDefaultsWithoutRows) {
    services::execute("DELETE FROM SYSTOOLS.POLICY");
    EXPECT_EQ(describe("CommonPolicy"), "Online window: " + openWindow);
    EXPECT_EQ(describe("TableRunstatsPolicy"), "Table Scope: NULL");
    EXPECT_EQ(describe("TableReorgPolicy"),
              "Table Scope: NULL  Reorganization options: Keep dictionary  Index Reorganization Mode: Offline "
              " Table size limit: none ");
    EXPECT_EQ(describe("StatsProfilePolicy").substr(0, 26), "Monitor:  Max files: 20  M");
    EXPECT_EQ(describe("DBBackupPolicy").substr(0, 45), "Backup criteria:   Number of full backups < 1");
}

/* Entry and exit of every function on the way to a description. */
TEST_F(StoredDescription, isTraced) {
    kelhost::setTraceFlags(PDT_FLAG_ENTRY | PDT_FLAG_EXIT);
    for (const char* name :
         {"CommonPolicy", "TableRunstatsPolicy", "TableReorgPolicy", "StatsProfilePolicy", "DBBackupPolicy"})
        describe(name);
    kelhost::setTraceFlags(0);
    std::map<std::string, int> entries;
    std::map<std::string, int> exits;
    for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::trace)) {
        if (record.event == kelhost::LogRecord::Event::entry) ++entries[record.function];
        if (record.event == kelhost::LogRecord::Event::exit) {
            ++exits[record.function];
            EXPECT_EQ(record.code, 0) << record.function;
        }
    }
    EXPECT_EQ(entries, exits);
    for (const char* function : {"sqpiGetPolicyFormatString",
                                 "sqlpiGetPolicy",
                                 "sqlpiGetMaintWindow",
                                 "sqlpiGetMaintWindowPolicy",
                                 "sqlpiGetMaintWinFromParsedTree",
                                 "sqlpiGetMaintWindowFormatStrings",
                                 "sqpiFormatMaintenanceWindow",
                                 "sqlpiGetRunStats",
                                 "sqlpiGetAtmSensors",
                                 "sqlpiGetAtmSensorsParsed",
                                 "sqlpiGetRunstatsFormatStrings",
                                 "sqlpiGetReorg",
                                 "sqlpiGetReorgPolicy",
                                 "sqlpiGetReorgFromParsedTree",
                                 "sqlpiGetReorgFormatStrings",
                                 "sqlpiGetStatsProfile",
                                 "sqlpiGetStatsProfilePolicy",
                                 "sqlpiGetStatsProfileFromParsedTree",
                                 "sqpiGetStatsProfileFormatStrings",
                                 "sqlpiGetBackup",
                                 "sqlpiGetBackupPolicy",
                                 "sqlpiGetBackupFromParsedTree",
                                 "sqlpiGetBackupFormatStrings"})
        EXPECT_GE(entries[function], 1) << function;
}

TEST_F(StoredDescription, refusesBadArguments) {
    char buffer[] = "kept";
    EXPECT_EQ(sqpiGetPolicyFormatString(nullptr, 100, "CommonPolicy"), SQLPI_FORMAT_FAILED);
    EXPECT_EQ(sqpiGetPolicyFormatString(buffer, 0, "CommonPolicy"), SQLPI_FORMAT_FAILED);
    EXPECT_EQ(sqpiGetPolicyFormatString(buffer, -1, "CommonPolicy"), SQLPI_FORMAT_FAILED);
    EXPECT_EQ(sqpiGetPolicyFormatString(buffer, sizeof buffer, nullptr), SQLPI_FORMAT_FAILED);
    EXPECT_STREQ(buffer, "kept");
}

TEST_F(StoredDescription, tellsAnUnknownName) {
    const std::string text = "Attempting to update unknown policy. Type: ";
    for (const std::string& name :
         {std::string("commonpolicy"), std::string("CommonPolicy "), std::string("CommonPolic"), std::string(),
          std::string("%s%n"), std::string(5000, 'n')}) {
        SCOPED_TRACE(name);
        char buffer[6000];
        EXPECT_EQ(sqpiGetPolicyFormatString(buffer, sizeof buffer, name.c_str()), SQLPI_FORMAT_FAILED);
        EXPECT_EQ(std::string(buffer), text + name);
        EXPECT_EQ(sqpiGetPolicyFormatString(buffer, 44, name.c_str()), SQLPI_FORMAT_FAILED);
        EXPECT_EQ(std::string(buffer), text) << "cut";
        EXPECT_EQ(sqpiGetPolicyFormatString(buffer, 20, name.c_str()), SQLPI_FORMAT_FAILED);
        EXPECT_EQ(std::string(buffer), text.substr(0, 19)) << "cut";
    }
}

TEST_F(StoredDescription, sizeOneHoldsAnEmptyText) {
    for (const char* name :
         {"CommonPolicy", "TableRunstatsPolicy", "TableReorgPolicy", "StatsProfilePolicy", "DBBackupPolicy"}) {
        char buffer[2] = {'#', '#'};
        EXPECT_EQ(sqpiGetPolicyFormatString(buffer, 1, name), SQLPI_FORMAT_OK) << name;
        EXPECT_EQ(buffer[0], '\0') << name;
        EXPECT_EQ(buffer[1], '#') << name;
    }
}

}  // namespace
