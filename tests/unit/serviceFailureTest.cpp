/* The policy services when the engine fails them: every call of every platform service fails once and from then on. */
#include <functional>

#include "faulty.h"
#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiFormat.h"
#include "sqlpiStatsProfAppl.h"
#include "unit/servicesSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

using faulty::Service;
using services::LogRecord;

struct NamedService {
    const char* name;
    std::function<void()> call;
};

template <class Policy>
void freeFilter(const Policy& policy) {
    sqlofmblkEx(policy.tablesFilter, "test", 0);
}

template <size_t Size>
void expectTerminated(const char (&text)[Size]) {
    EXPECT_LT(strnlen(text, Size), Size);
}

const std::vector<NamedService>& allServices() {
    static const std::vector<NamedService> all = {
        {"sqlpiGetPolicy",
         [] {
             char* document = nullptr;
             int32_t length = -1;
             const int64_t since = 0;
             const int32_t status = sqlpiGetPolicy(nullptr, SQLPI_KEY_KIND, nullptr, SQLPI_KEY_KIND, "DBBackupPolicy",
                                                   SQLPI_KEY_KIND, &document, &length, &since);
             EXPECT_EQ(document == nullptr, status != 0);
             EXPECT_EQ(length > 0, status == 0);
             sqlofmblkEx(document, "test", 0);
         }},
        {"sqlpiGetBackup",
         [] {
             sqlpiBackupPolicy policy;
             std::memset(&policy, 0x2A, sizeof policy);
             sqlpiGetBackup(&policy);
             expectTerminated(policy.targetLocation);
             expectTerminated(policy.libOptions);
             EXPECT_EQ(policy.timeSinceLastBackup, 168);
             EXPECT_EQ(policy.targetType, BACKUP_TARGET_DISK);
         }},
        {"sqlpiGetReorg",
         [] {
             sqlpiReorgPolicy policy = {};
             const time_t since = 0;
             bool changed = true;
             if (sqlpiGetReorg(&policy, &since, &changed) != 0) {
                 EXPECT_FALSE(changed);
             }
             freeFilter(policy);
         }},
        {"sqlpiGetRunStats",
         [] {
             sqlpiRunStatsPolicy policy = {};
             bool changed = false;
             sqlpiGetRunStats(&policy, nullptr, &changed);
             EXPECT_TRUE(changed);
             freeFilter(policy);
         }},
        {"sqlpiGetStatsProfile",
         [] {
             sqlpiStatsProfPolicy policy = {};
             sqlpiGetStatsProfile(&policy);
             EXPECT_EQ(policy.maxFileSize, 128);
             freeFilter(policy);
         }},
        {"sqlpiGetMaintWindow",
         [] {
             sqlpiMaintWindow window;
             sqlpiGetMaintWindow(&window);
             EXPECT_TRUE(window.online.defined);
         }},
        {"sqpiGetPolicyFormatString",
         [] {
             for (const char* name :
                  {"CommonPolicy", "TableRunstatsPolicy", "TableReorgPolicy", "StatsProfilePolicy", "DBBackupPolicy"}) {
                 char line[4096];
                 EXPECT_EQ(sqpiGetPolicyFormatString(line, sizeof line, name), SQLPI_FORMAT_OK) << name;
                 expectTerminated(line);
             }
         }},
    };
    return all;
}

class FailingEngine : public services::EngineTest {
protected:
    FailingEngine() {
        const std::string tables = "<Equals><kel:Sensors>Tables</kel:Sensors><Constant>X</Constant></Equals>";
        services::store(SQLPI_REORG_KEY, services::document(tables + "<kel:TableReorg mode='write'/>"));
        services::store(SQLPI_RUNSTATS_KEY, services::document(tables));
        services::store(SQLPI_STATS_PROFILE_KEY, services::document(tables + "<kel:StatsProfile/>"));
        services::store(SQLPI_BACKUP_KEY, services::document("<kel:DBBackup mode='online'/>"));
        services::store(SQLPI_MAINT_WINDOW_KEY, services::document("<kel:MaintenanceWindowCondition/>"));
    }
};

/* Whatever fails, records stay usable, and memory and handles come back. */
TEST_F(FailingEngine, losesNothing) {
    for (const NamedService& service : allServices()) {
        uint64_t calls = 0;
        {
            const faulty::Scope scope;
            service.call();
            calls = faulty::calls(Service::any);
        }
        ASSERT_GT(calls, 0U) << service.name;
        for (const faulty::Duration duration : {faulty::Duration::once, faulty::Duration::forEver}) {
            for (uint64_t call = 1; call <= calls; ++call) {
                SCOPED_TRACE(std::string(service.name) + ", call " + std::to_string(call) +
                             (duration == faulty::Duration::once ? " once" : " for ever"));
                const int64_t blocksBefore = kelhost::memoryTotal().blocks;
                {
                    const faulty::Scope scope;
                    faulty::failCall(Service::any, call, duration);
                    service.call();
                    EXPECT_GE(faulty::failures(Service::any), 1U);
                }
                ASSERT_EQ(kelhost::memoryTotal().blocks, blocksBefore) << kelhost::describeMemoryInUse();
                ASSERT_EQ(kelhost::openHandles(), kelhost::HandleCounts{});
            }
        }
    }
}

TEST_F(FailingEngine, withoutMemoryForTheFilterThereIsNone) {
    services::store(SQLPI_RUNSTATS_KEY,
                    services::document("<Equals><kel:Sensors>Tables</kel:Sensors><Constant>X</Constant></Equals>"));
    uint64_t allocations = 0;
    {
        const faulty::Scope scope;
        allServices()[3].call();
        allocations = faulty::calls(Service::sqlogmblkEx);
    }
    clearLogs();
    const faulty::Scope scope;
    faulty::failCall(Service::sqlogmblkEx, allocations);  // the copy of the filter is the last
    sqlpiRunStatsPolicy policy = {};
    bool changed = false;
    EXPECT_EQ(sqlpiGetRunStats(&policy, nullptr, &changed), 0);
    EXPECT_EQ(policy.tablesFilter, nullptr);
    EXPECT_TRUE(changed);
    EXPECT_EQ(faulty::failures(Service::sqlogmblkEx), 1U);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

TEST_F(FailingEngine, anUnknownBackupPathIsReported) {
    for (const int32_t sqlcode : {-902, -1, 1, 100}) {  // a warning of the engine is as good as its failure
        SCOPED_TRACE(sqlcode);
        clearLogs();
        const faulty::Scope scope;
        faulty::failCall(Service::sqlpiGetDefaultAutoBackupPath, 1, faulty::Duration::once, sqlcode);
        sqlpiBackupPolicy policy;
        std::memset(&policy, 0x2A, sizeof policy);
        sqlpiGetBackup(&policy);
        EXPECT_STREQ(policy.targetLocation, "");
        EXPECT_EQ(policy.mode, BACKUP_MODE_ONLINE) << "the stored policy is read all the same";
        EXPECT_EQ(takeDiagnosticLog(),
                  (std::vector<LogRecord>{{PD_WARNING, "Auto backup Policy: Unknown default backup location"}}));
    }
}

/* The reader's buffer is released, whatever the parser makes of it. */
TEST_F(FailingEngine, anEngineThatIsNotReadyParsesNothing) {
    const faulty::Scope scope;
    faulty::failCall(Service::isSharedLibInitSuccess, 1, faulty::Duration::forEver);
    clearLogs();
    sqlpiReorgPolicy policy = {};
    bool changed = false;
    EXPECT_EQ(sqlpiGetReorg(&policy, nullptr, &changed), 3);
    EXPECT_EQ(takeDiagnosticLog(),
              (std::vector<LogRecord>{{PD_WARNING, "Warning: Unable to read reorg policy. Error: 3"}}));
    sqlpiMaintWindow window;
    sqlpiSetMaintWindowDefaults(&window);
    std::string document = services::document("");
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &window), 3);
}

}  // namespace
