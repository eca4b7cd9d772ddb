/* The shared object as an engine gets it: loaded at run time together with the engine's side of the platform
 * interfaces, which nothing else in the process can see. */
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sqlext.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiMaintWin.h"
#include "sqlpiPolicyCommonParser.h"
#include "sqlpiPolicySchemas.h"
#include "sqlpiStatsProfAppl.h"

namespace {

const char* const functions[] = {
    "sqlpi_policy_parse",
    "sqlpiGetPolicy",
    "sqlpiGetBackup",
    "sqlpiGetBackupPolicy",
    "sqlpiGetReorg",
    "sqlpiGetReorgPolicy",
    "sqlpiGetRunStats",
    "sqlpiGetStatsProfile",
    "sqlpiGetStatsProfilePolicy",
    "sqlpiGetAtmSensors",
    "sqlpiGetMaintWindow",
    "sqlpiGetMaintWindowPolicy",
    "sqlpiFindMaintWindow",
    "sqlpiFindInsideMaintWindow",
    "sqlpiCheckWindowSize",
    "sqlpiIs24x7MaintWindow",
    "sqlpiGetStartDateTime",
    "sqlpiGetEndDateTime",
    "sqlpiGetTotalDayInMonth",
    "sqlpiAdjustTime",
    "sqlpiConvertMaintWindow",
    "sqpiGetPolicyFormatString",
    "kelAutomaintGetPolicyDocSpLocal",
    "kelAutomaintSetPolicyDocSpLocal",
    "kelAutomaintGetPolicyFileSpLocal",
    "kelAutomaintSetPolicyFileSpLocal",
    "kelPolicyInstallSp",
    "kelPolicyInstallSpLocal",
    "kelPolicyRetrieve",
    "kelPolicyValidateUdf",
};

const char* const data[] = {"DAYS_OF_WEEK",         "MONTHS_OF_YEAR",      "SQLPI_MWP_V1",
                            "SQLPI_AUTO_BACKUP_V1", "SQLPI_AUTO_REORG_V1", "SQLPI_AUTO_RUNSTATS_V1"};

/* By their tables of virtual functions. */
const char* const classes[] = {"_ZTV9SQLPIBase",           "_ZTV9SQLPIList",
                               "_ZTV16SQLPIListElement",   "_ZTV11SQLPIString",
                               "_ZTV18SQLPIPolicyElement", "_ZTV19SQLPIPolicyDocument",
                               "_ZTV12SQLPISensors",       "_ZTV17SQLPIBackupAction",
                               "_ZTV16SQLPIReorgAction",   "_ZTV31SQLPIMaintenanceWindowCondition"};

struct CloseLibrary {
    void operator()(void* library) const { dlclose(library); }
};
using Library = std::unique_ptr<void, CloseLibrary>;

Library load(const char* path, int flags = 0) {
    Library library(dlopen(path, RTLD_NOW | RTLD_LOCAL | flags));
    EXPECT_NE(library, nullptr) << dlerror();
    return library;
}

/* The function of that declaration. */
template <class Function>
Function* entry(const Library& library, const char* name, Function*) {
    void* address = dlsym(library.get(), name);
    EXPECT_NE(address, nullptr) << name;
    return reinterpret_cast<Function*>(address);
}
#define ENTRY(library, name) entry(library, #name, static_cast<decltype(&name)>(nullptr))

class LoadedLibrary : public ::testing::Test {
protected:
    Library library_ = load(KELPOLICY_ENGINE_SIDE);
    int (*callLevelCalls_)(void) = entry(library_, "callLevelCallsOfTheEngine", static_cast<int (*)(void)>(nullptr));
};

TEST_F(LoadedLibrary, offersItsEntries) {
    for (const char* name : functions) EXPECT_NE(dlsym(library_.get(), name), nullptr) << name;
    for (const char* name : data) EXPECT_NE(dlsym(library_.get(), name), nullptr) << name;
    for (const char* name : classes) EXPECT_NE(dlsym(library_.get(), name), nullptr) << name;
    for (const char* name :
         {"_Z14sqlpiPrepSqlcaR5sqlcaiPKcSt16initializer_listISt17basic_string_viewIcSt11char_traitsIcEEE",
          "_Z27sqlpiGetBackupFormatStringsPciRK17sqlpiBackupPolicy"})
        EXPECT_EQ(dlsym(library_.get(), name), nullptr) << name << " is the library's own";
}

TEST_F(LoadedLibrary, answersWithWhatTheEngineBrings) {
    sqlpiBackupPolicy backup = {};
    ENTRY(library_, sqlpiGetBackup)(&backup);
    EXPECT_EQ(backup.timeSinceLastBackup, 168);
    EXPECT_STREQ(backup.targetLocation, "/engine/backups");
    EXPECT_GT(callLevelCalls_(), 0) << "the policy table has been asked for";

    std::string document = "<PolicyDocument><kel:DBBackup mode='offline'/></PolicyDocument>";
    ENTRY(library_, sqlpiGetBackupPolicy)(document.data(), static_cast<int32_t>(document.size()), &backup);
    EXPECT_EQ(backup.mode, BACKUP_MODE_OFFLINE);

    bool changed = false;
    sqlpiReorgPolicy reorg = {};
    EXPECT_EQ(ENTRY(library_, sqlpiGetReorg)(&reorg, nullptr, &changed), -1) << "the database says no";
    EXPECT_STREQ(static_cast<const char* const*>(dlsym(library_.get(), "DAYS_OF_WEEK"))[6], "SAT");
}

/* An engine and a plug-in of it may each bring the library; the XML library is one for both. */
TEST(TwoCopiesOfTheLibrary, MayBeUsedAtOnceForTheFirstTime) {
    char other[] = "/tmp/kelpolicyCopyXXXXXX";
    ASSERT_NE(mkdtemp(other), nullptr);
    const std::string copy = std::string(other) + "/copy.so";
    std::filesystem::copy_file(KELPOLICY_COPY, copy);
    for (int i = 0; i < 40 && !HasFailure(); ++i) {
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            const Library libraries[] = {load(KELPOLICY_COPY), load(copy.c_str())};
            std::atomic<int> ready = 0;
            std::atomic<int> parsed = 0;
            std::vector<std::thread> threads;
            for (const Library& library : libraries)
                threads.emplace_back([&] {
                    const auto parse = ENTRY(library, sqlpi_policy_parse);
                    char document[] = "<PolicyDocument><And/></PolicyDocument>";
                    SQLPIPolicyElement* root = nullptr;
                    for (++ready; ready < 2;) {
                    }
                    parsed += parse(nullptr, sizeof document - 1, document, &root) == 0 && root != nullptr;
                });
            for (std::thread& thread : threads) thread.join();
            _exit(parsed == 2 ? 0 : 1);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0) << "process " << i;
    }
    std::filesystem::remove_all(other);
}

/* The library finds the engine's names in the group of objects that it was loaded with; drivers, which come with a
 * group of their own, find those of the driver manager. */
TEST_F(LoadedLibrary, leavesTheCallLevelOfTheEngineInvisibleToDrivers) {
    for (const char* name : {"SQLAllocHandle", "SQLFetch", "sqlogmblkEx", "ossFileOpen", "pdLog", "sqlpiGetBackup"})
        EXPECT_EQ(dlsym(RTLD_DEFAULT, name), nullptr) << name;

    const Library manager = load("libodbc.so.2", RTLD_NODELETE);  // it keeps what it has read for the process's life
    const int callsBefore = callLevelCalls_();
    SQLHANDLE environment = nullptr;
    SQLHANDLE connection = nullptr;
    SQLHANDLE statement = nullptr;
    const auto allocate = ENTRY(manager, SQLAllocHandle);
    ASSERT_EQ(allocate(SQL_HANDLE_ENV, nullptr, &environment), SQL_SUCCESS);
    ASSERT_EQ(ENTRY(manager, SQLSetEnvAttr)(environment, SQL_ATTR_ODBC_VERSION,
                                            reinterpret_cast<SQLPOINTER>(SQL_OV_ODBC3), 0),
              SQL_SUCCESS);
    ASSERT_EQ(allocate(SQL_HANDLE_DBC, environment, &connection), SQL_SUCCESS);
    std::string source = "DRIVER=SQLite3;Database=:memory:";
    ASSERT_TRUE(
        SQL_SUCCEEDED(ENTRY(manager, SQLDriverConnect)(connection, nullptr, reinterpret_cast<SQLCHAR*>(source.data()),
                                                       SQL_NTS, nullptr, 0, nullptr, SQL_DRIVER_NOPROMPT)));
    ASSERT_EQ(allocate(SQL_HANDLE_STMT, connection, &statement), SQL_SUCCESS);
    std::string query = "SELECT 40 + 2";
    ASSERT_EQ(ENTRY(manager, SQLExecDirect)(statement, reinterpret_cast<SQLCHAR*>(query.data()), SQL_NTS), SQL_SUCCESS);
    ASSERT_EQ(ENTRY(manager, SQLFetch)(statement), SQL_SUCCESS);
    char answer[16] = "";
    SQLLEN length = 0;
    ASSERT_EQ(ENTRY(manager, SQLGetData)(statement, 1, SQL_C_CHAR, answer, sizeof answer, &length), SQL_SUCCESS);
    EXPECT_STREQ(answer, "42");
    const auto release = ENTRY(manager, SQLFreeHandle);
    EXPECT_EQ(release(SQL_HANDLE_STMT, statement), SQL_SUCCESS);
    EXPECT_EQ(ENTRY(manager, SQLDisconnect)(connection), SQL_SUCCESS);
    EXPECT_EQ(release(SQL_HANDLE_DBC, connection), SQL_SUCCESS);
    EXPECT_EQ(release(SQL_HANDLE_ENV, environment), SQL_SUCCESS);
    EXPECT_EQ(callLevelCalls_(), callsBefore) << "the driver manager or the driver has called the engine";
}

}  // namespace
