/* Drives every entry of the loaded library on the tiny engine. Prints the name of each one driven; ends with 1 where
 * one did not do what it should. Usage: driveEntries NEW-DIRECTORY */
#include <dlfcn.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <vector>

#include "engine.h"
#include "kelpolicy.h"

namespace {

void* library = nullptr;
int failures = 0;

template <class Function>
Function entry(const char* name) {
    std::puts(name);
    void* const found = dlsym(library, name);
    if (found == nullptr) std::fprintf(stderr, "%s is not there\n", name);
    return reinterpret_cast<Function>(found);
}
#define ENTRY(name) entry<decltype(&name)>(#name)
#define TEXT(name) reinterpret_cast<const char*>(entry<const void*>(#name))

void expect(bool done, int line) {
    if (done) return;
    std::fprintf(stderr, "line %d: not as it should be\n", line);
    ++failures;
}
#define EXPECT(what) expect(what, __LINE__)

std::vector<char> room(SQLUDF_LARGEST_LOB + sizeof(sqludf_lob));
sqludf_lob* lob(const std::string& text) {
    auto* value = reinterpret_cast<sqludf_lob*>(room.data());
    value->length = static_cast<uint32_t>(text.copy(value->data, text.size()));
    return value;
}

const char* const stored =
    "<PolicyDocument xmlns:kel='urn:kel'><AC_Policy><LessThan><kel:DBBackupSensors>Number_Full_DB_Backups"
    "</kel:DBBackupSensors><Constant>7</Constant></LessThan><Equals><kel:Sensors>Tables</kel:Sensors>"
    "<Constant>X = 1</Constant></Equals><Decision><kel:TableReorg mode='write'/></Decision></AC_Policy>"
    "</PolicyDocument>";
const std::string configuration = "<KELAutoRunstatsPolicy xmlns='" SQLPI_CONFIG_NAMESPACE
                                  "'><RunstatsTableScope><FilterCondition>Y = 2"
                                  "</FilterCondition></RunstatsTableScope></KELAutoRunstatsPolicy>";

char state[SQLUDF_STATE_SIZE];
char message[SQLUDF_MESSAGE_SIZE];
sqlca ca;

void driveTable() {
    char* document = nullptr;
    int32_t length = 0;
    const auto read = ENTRY(sqlpiGetPolicy);
    EXPECT(read(nullptr, 9, nullptr, 9, nullptr, 9, &document, &length, nullptr) == SQL_NO_DATA);
    const char* const table = "KELTableMaintenanceMED";
    const auto install = ENTRY(kelPolicyInstallSp);
    EXPECT(install("I", table, "TableRunstatsDecision", "TableRunstatsPolicy", nullptr, lob(stored), nullptr, state,
                   message, nullptr) == 0);
    EXPECT(install("I", table, "TableReorgDecision", "TableReorgPolicy", nullptr, lob(stored), nullptr, state, message,
                   nullptr) == 0);
    const std::string file = instanceDirectory + "/tmp/policy.xml";
    std::ofstream(file) << stored;
    EXPECT(ENTRY(kelPolicyInstallSpLocal)("I", "KELDatabaseRecoveryMED", "DBBackupDecision", "DBBackupPolicy",
                                          file.c_str(), nullptr, nullptr, state, message, nullptr) == 0);
    EXPECT(read(nullptr, 9, nullptr, 9, "DBBackupPolicy", 9, &document, &length, nullptr) == 0);
    EXPECT(length == static_cast<int32_t>(std::strlen(stored)));
    sqlofmblkEx(document, "test", 0);
    ENTRY(kelPolicyRetrieve)(nullptr, nullptr, "DBBackupPolicy", nullptr, &ca);
    EXPECT(ca.sqlcode == 0);
    SQLFreeHandle(SQL_HANDLE_STMT, newestHandle);
    EXPECT(ENTRY(kelPolicyValidateUdf)(1) == 0);
}

void driveServices() {
    std::string text = stored;
    const auto length = static_cast<int32_t>(text.size());
    SQLPIPolicyElement* root = nullptr;
    EXPECT(ENTRY(sqlpi_policy_parse)(nullptr, length, text.data(), &root) == 0);
    delete root;
    sqlpiBackupPolicy backup;
    ENTRY(sqlpiGetBackup)(&backup);
    EXPECT(backup.numberOfFullBackups == 7);
    backup.numberOfFullBackups = 0;
    ENTRY(sqlpiGetBackupPolicy)(text.data(), length, &backup);
    EXPECT(backup.numberOfFullBackups == 7);
    sqlpiReorgPolicy reorg = {};
    bool changed = false;
    EXPECT(ENTRY(sqlpiGetReorg)(&reorg, nullptr, &changed) == 0 && changed && reorg.indexReorgMode == 1);
    sqlofmblkEx(reorg.tablesFilter, "test", 0);
    reorg = {};
    EXPECT(ENTRY(sqlpiGetReorgPolicy)(text.data(), length, &reorg) == 0 && reorg.tablesFilter != nullptr);
    sqlofmblkEx(reorg.tablesFilter, "test", 0);
    sqlpiRunStatsPolicy runstats = {};
    EXPECT(ENTRY(sqlpiGetRunStats)(&runstats, nullptr, &changed) == 0 &&
           std::strcmp(runstats.tablesFilter, "X = 1") == 0);
    sqlofmblkEx(runstats.tablesFilter, "test", 0);
    sqlpiAtmSensors sensors = {};
    EXPECT(ENTRY(sqlpiGetAtmSensors)(text.data(), length, &sensors) == 0 && sensors.tablesFilter != nullptr);
    sqlofmblkEx(sensors.tablesFilter, "test", 0);
    sqlpiStatsProfPolicy profile;
    ENTRY(sqlpiGetStatsProfile)(&profile);
    EXPECT(profile.maxFiles == 20);
    profile.tablesFilter = nullptr;
    EXPECT(ENTRY(sqlpiGetStatsProfilePolicy)(text.data(), length, &profile) == 0);
    sqlofmblkEx(profile.tablesFilter, "test", 0);
    char line[4096];
    EXPECT(ENTRY(sqpiGetPolicyFormatString)(line, sizeof line, "DBBackupPolicy") == SQLPI_FORMAT_OK && line[0] != '\0');
}

void driveWindows() {
    sqlpiMaintWindow windows;
    ENTRY(sqlpiGetMaintWindow)(&windows);
    std::string text = stored;
    EXPECT(ENTRY(sqlpiGetMaintWindowPolicy)(text.data(), static_cast<int32_t>(text.size()), &windows) == 0);
    EXPECT(ENTRY(sqlpiIs24x7MaintWindow)(&windows.online) == 1);
    windows.online.startTime.hour = 1;
    windows.online.endTime.hour = 2;
    const OSSTime now = {86400 * 365, 0};
    OSSTime start = {};
    OSSTime end = {};
    EXPECT(ENTRY(sqlpiFindMaintWindow)(&windows.online, now, 1, &start, &end) == 1 &&
           end.seconds - start.seconds == 3600);
    EXPECT(ENTRY(sqlpiFindInsideMaintWindow)(&windows.online, now, 1, &start, &end) == 1 &&
           start.seconds >= now.seconds);
    tm day = {};
    tm windowEnd = {};
    localtime_r(&start.seconds, &day);
    int32_t remaining = 60;
    bool carried = false;
    EXPECT(ENTRY(sqlpiCheckWindowSize)(&day, &windows.online, &remaining, &windowEnd, &carried) == 1);
    EXPECT(ENTRY(sqlpiGetStartDateTime)(&windows.online, &day) == 0);
    EXPECT(ENTRY(sqlpiGetEndDateTime)(&windows.online, &day) == 0);
    EXPECT(ENTRY(sqlpiGetTotalDayInMonth)(2024, 2) == 29);
    EXPECT(ENTRY(sqlpiAdjustTime)(&windowEnd) == end.seconds);
    ENTRY(sqlpiConvertMaintWindow)(&windows.online);
    EXPECT(std::strcmp(*reinterpret_cast<const char* const*>(TEXT(DAYS_OF_WEEK)), "SUN") == 0);
    EXPECT(std::strcmp(*reinterpret_cast<const char* const*>(TEXT(MONTHS_OF_YEAR)), "JAN") == 0);
}

void driveProcedures() {
    const char* const type = "AUTO_RUNSTATS";
    EXPECT(ENTRY(kelAutomaintSetPolicyDocSpLocal)(type, lob(configuration), nullptr, nullptr, state, "", "", message,
                                                  nullptr, &ca) == SQLPI_CONFIG_OK);
    EXPECT(ENTRY(kelAutomaintGetPolicyDocSpLocal)(type, lob(""), nullptr, nullptr, state, "", "", message, nullptr,
                                                  &ca) == SQLPI_CONFIG_OK);
    EXPECT(std::string(lob("")->data).find("Y = 2") != std::string::npos);
    EXPECT(ENTRY(kelAutomaintGetPolicyFileSpLocal)(type, "sub/runstats.xml", nullptr, nullptr, state, "", "", message,
                                                   nullptr, &ca) == SQLPI_CONFIG_OK);
    EXPECT(ENTRY(kelAutomaintSetPolicyFileSpLocal)(type, "sub/runstats.xml", nullptr, nullptr, state, "", "", message,
                                                   nullptr, &ca) == SQLPI_CONFIG_OK);
}

void driveSchemas() {
    const std::pair<const char*, const void*> schemas[] = {
        {TEXT(SQLPI_MWP_V1), TEXT(SQLPI_MWP_V1_LENGTH)},
        {TEXT(SQLPI_AUTO_BACKUP_V1), TEXT(SQLPI_AUTO_BACKUP_V1_LENGTH)},
        {TEXT(SQLPI_AUTO_REORG_V1), TEXT(SQLPI_AUTO_REORG_V1_LENGTH)},
        {TEXT(SQLPI_AUTO_RUNSTATS_V1), TEXT(SQLPI_AUTO_RUNSTATS_V1_LENGTH)}};
    for (const auto& [text, length] : schemas) EXPECT(std::strlen(text) == *static_cast<const size_t*>(length));
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return 2;
    openEngine(arguments[1]);
    library = dlopen(KELPOLICY_LIBRARY, RTLD_NOW);
    if (library == nullptr) return std::fprintf(stderr, "%s\n", dlerror()), 1;
    driveTable();
    driveServices();
    driveWindows();
    driveProcedures();
    driveSchemas();
    if (blocksInUse != 0) std::fprintf(stderr, "%ld blocks are left over\n", blocksInUse);
    return failures == 0 && blocksInUse == 0 ? 0 : 1;
}
