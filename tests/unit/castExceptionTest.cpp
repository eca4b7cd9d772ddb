/* Casts of elements that throw: the linker hands every cast of the policy services to this file first. */
#include <algorithm>
#include <functional>
#include <typeinfo>

#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiStatsProf.h"
#include "unit/servicesSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

int casts = 0;
std::function<bool(int cast)> throws = [](int) { return false; };

void countCast() {
    if (throws(++casts)) throw std::bad_cast();
}

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
#define WRAP_CAST(Element, mangled)                                     \
    extern "C" Element* __real_##mangled(SQLPIPolicyElement* element);  \
    extern "C" Element* __wrap_##mangled(SQLPIPolicyElement* element);  \
    extern "C" Element* __wrap_##mangled(SQLPIPolicyElement* element) { \
        countCast();                                                    \
        return __real_##mangled(element);                               \
    }
WRAP_CAST(SQLPISensors, _Z16sqlpiElementCastI12SQLPISensorsEPT_P18SQLPIPolicyElement)
WRAP_CAST(SQLPIReorgAction, _Z16sqlpiElementCastI16SQLPIReorgActionEPT_P18SQLPIPolicyElement)
WRAP_CAST(SQLPIBackupAction, _Z16sqlpiElementCastI17SQLPIBackupActionEPT_P18SQLPIPolicyElement)
WRAP_CAST(SQLPIStatsProfType, _Z16sqlpiElementCastI18SQLPIStatsProfTypeEPT_P18SQLPIPolicyElement)
WRAP_CAST(SQLPIStatsProfMonitor, _Z16sqlpiElementCastI21SQLPIStatsProfMonitorEPT_P18SQLPIPolicyElement)
WRAP_CAST(SQLPIStatsProfPopulation, _Z16sqlpiElementCastI24SQLPIStatsProfPopulationEPT_P18SQLPIPolicyElement)
WRAP_CAST(SQLPIMaintenanceWindowCondition,
          _Z16sqlpiElementCastI31SQLPIMaintenanceWindowConditionEPT_P18SQLPIPolicyElement)
#undef WRAP_CAST
// NOLINTEND(bugprone-reserved-identifier)

namespace {

using services::LogRecord;

const LogRecord backupException = {PD_WARNING, "Dynamic cast exception"};
const LogRecord severeException = {PD_SEVERE, "Dynamic cast exception"};

class ThrowingCasts : public services::DocumentTest {
protected:
    void SetUp() override { throwAt({}); }

    void throwAt(std::vector<int> at) {
        casts = 0;
        throws = [at = std::move(at)](int cast) { return std::find(at.begin(), at.end(), cast) != at.end(); };
    }
    /* Where the records of the diagnostic log come from, all of them. */
    void expectPlace(const char* function, uint32_t probe) const {
        for (const kelhost::LogRecord& record : recordsOf(kelhost::LogKind::diagnostic)) {
            EXPECT_EQ(record.function, function);
            EXPECT_EQ(record.probe, probe);
        }
    }
    void throwAlways() {
        casts = 0;
        throws = [](int) { return true; };
    }
};

std::string sensor(const std::string& element, const std::string& name, const std::string& constant) {
    return "<Equals><" + element + ">" + name + "</" + element + "><Constant>" + constant + "</Constant></Equals>";
}

TEST_F(ThrowingCasts, backupGoesOnWithTheNextSensor) {
    std::string document = services::document(sensor("kel:DBBackupSensors", "Number_Full_DB_Backups", "3") +
                                              sensor("kel:DBBackupSensors", "Log_Consumed_Since_Last_DB_Backup", "4"));
    for (const int at : {1, 2}) {
        throwAt({at});
        sqlpiBackupPolicy policy = {};
        sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &policy);
        EXPECT_EQ(policy.numberOfFullBackups, at == 1 ? 0 : 3);
        EXPECT_EQ(policy.logSpaceConsumed, at == 2 ? 0 : 4);
        expectPlace("sqlpiGetBackupPolicy", 20);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{backupException});
    }
}

TEST_F(ThrowingCasts, backupSetsTheDefaultModeAndGoesOnWithTheTarget) {
    std::string document = services::document(
        "<kel:DBBackup mode='online'><kel:TapeBackupTarget><kel:Pathname>/t</kel:Pathname></kel:TapeBackupTarget>"
        "</kel:DBBackup>");
    throwAlways();
    sqlpiBackupPolicy policy = {};
    sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &policy);
    EXPECT_EQ(policy.mode, BACKUP_MODE_DEFAULT);
    EXPECT_EQ(policy.targetType, BACKUP_TARGET_TAPE);
    EXPECT_STREQ(policy.targetLocation, "/t");
    expectPlace("sqlpiGetBackupPolicy", 40);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{backupException});
}

TEST_F(ThrowingCasts, reorgSensorsAreReadAgainOnce) {
    std::string document = services::document(sensor("kel:TableReorgSensors", "ReorgSize_KB", "10") +
                                              sensor("kel:TableReorgSensors", "ReorgSize_KB", "20") +
                                              sensor("kel:TableReorgSensors", "Other", "30"));
    struct Case {
        const char* name;
        std::vector<int> throwAt;
        int32_t limit;
        int casts;
    };
    for (const Case& one : std::vector<Case>{
             {"never", {}, 20, 3},
             {"at the first sensor", {1}, 20, 4},
             {"at the second sensor", {2}, 20, 5},
             {"at the last sensor", {3}, 20, 6},
             {"at the first sensor, both times", {1, 2}, 20, 4},
             {"at the second sensor, both times", {2, 4}, 0, 5},
             {"at the last sensor, both times", {3, 6}, 0, 6},
             {"always", {1, 2, 3, 4, 5, 6}, 0, 4},
         }) {
        SCOPED_TRACE(one.name);
        throwAt(one.throwAt);
        sqlpiReorgPolicy policy = {};
        policy.reorgSizeLimitKB = 77;
        EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), static_cast<int32_t>(document.size()), &policy), 0);
        EXPECT_EQ(policy.reorgSizeLimitKB, one.limit);
        EXPECT_EQ(casts, one.casts);
        const auto thrown = std::count_if(one.throwAt.begin(), one.throwAt.end(), [](int at) { return at <= casts; });
        expectPlace("sqlpiGetReorgPolicy", 10);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>(static_cast<size_t>(thrown), severeException));
    }
}

TEST_F(ThrowingCasts, reorgHasNoSizeLimitAfterAThrow) {
    std::string document = services::document(sensor("kel:TableReorgSensors", "Other", "10"));
    throwAt({1});
    sqlpiReorgPolicy policy = {};
    policy.reorgSizeLimitKB = 77;
    EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), static_cast<int32_t>(document.size()), &policy), 0);
    EXPECT_EQ(policy.reorgSizeLimitKB, 0);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{severeException});
}

TEST_F(ThrowingCasts, reorgLeavesWhatTheActionWouldSay) {
    std::string document = services::document("<kel:TableReorg useTempTbsp='true' mode='write'/>");
    throwAlways();
    sqlpiReorgPolicy policy = {nullptr, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(sqlpiGetReorgPolicy(document.data(), static_cast<int32_t>(document.size()), &policy), 0);
    EXPECT_EQ(policy.useTempTbsp, 2);
    EXPECT_EQ(policy.indexReorgMode, 3);
    EXPECT_EQ(policy.dictionaryOption, 4);
    EXPECT_EQ(policy.reclaimExtentsSizeForMDCTables, 5U);
    EXPECT_EQ(policy.numInxPseudoEmptyPagesForVolatileTables, 6U);
    expectPlace("sqlpiGetReorgPolicy", 20);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{severeException});
}

TEST_F(ThrowingCasts, tableFilterIsDroppedAndTheNextSensorRead) {
    std::string document =
        services::document(sensor("kel:Sensors", "Tables", "X") + sensor("kel:Sensors", "Tables", "Y"));
    for (const int at : {1, 2}) {
        throwAt({at});
        char preset[] = "preset";
        sqlpiAtmSensors sensors = {preset};
        EXPECT_EQ(sqlpiGetAtmSensors(document.data(), static_cast<int32_t>(document.size()), &sensors), 0);
        if (at == 1) {
            EXPECT_STREQ(sensors.tablesFilter, "Y");
            sqlofmblkEx(sensors.tablesFilter, "test", 0);
        } else {
            EXPECT_EQ(sensors.tablesFilter, nullptr);
        }
        expectPlace("sqlpiGetAtmSensorsParsed", 20);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{severeException});
    }
}

TEST_F(ThrowingCasts, statisticsProfileTakesTheDefaults) {
    std::string document = services::document(
        "<kel:StatsProfile><kel:Monitor maxFiles='1' maxFileSize='1'/><kel:FeedbackWarehouse>"
        "<kel:Population maxFWSize='1'/><kel:StatsProfiling maxProfiles='1' profileGeneration='SingleColumn'/>"
        "</kel:FeedbackWarehouse></kel:StatsProfile>");
    throwAlways();
    sqlpiStatsProfPolicy policy = {nullptr, 1, 2, 3, 4, 5, 6, 7, 8};
    EXPECT_EQ(sqlpiGetStatsProfilePolicy(document.data(), static_cast<int32_t>(document.size()), &policy), 0);
    EXPECT_EQ(std::vector<int32_t>({policy.maxFiles, policy.maxFileSize, policy.maxFWSize, policy.maxSingleTableStats,
                                    policy.maxColGroupStats, policy.maxFrequentValues, policy.maxProfiles,
                                    policy.profileType}),
              std::vector<int32_t>({20, 128, 20, 50, 50, 20, 20, 2}));
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>(3, severeException));
}

TEST_F(ThrowingCasts, maintenanceWindowIsTakenForTheOnlineOne) {
    std::string document = services::document(
        "<kel:MaintenanceWindowCondition windowType='offline'><TimeOfDayMask>T010000/T020000</TimeOfDayMask>"
        "</kel:MaintenanceWindowCondition>");
    throwAlways();
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &window), 0);
    EXPECT_FALSE(window.offline.defined);
    EXPECT_EQ(window.online.startTime.hour, 1);
    EXPECT_EQ(takeLog(kelhost::LogKind::administration), (std::vector<LogRecord>{{PD_ERROR, "Dynamic cast error"}}));
}

}  // namespace
