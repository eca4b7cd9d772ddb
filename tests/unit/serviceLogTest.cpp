/* What the policy services write to the diagnostic log says where it was decided: the function, and a probe that no
 * other place in that function has. */
#include <functional>
#include <set>

#include "services/sqlpiParsedTree.h"
#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiStatsProf.h"
#include "unit/servicesSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

struct Entry {
    std::string function;
    uint32_t probe;
    int32_t importance;
    std::string text;

    bool operator==(const Entry&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Entry& entry) {
    return out << entry.function << " probe " << entry.probe << ", " << entry.importance << ": " << entry.text;
}

void readBackup(const std::string& body, int32_t targetType = BACKUP_TARGET_DISK) {
    sqlpiBackupPolicy policy = {};
    policy.targetType = targetType;
    std::string document = services::document("<kel:DBBackup mode='online'>" + body + "</kel:DBBackup>");
    sqlpiGetBackupPolicy(document.data(), static_cast<int32_t>(document.size()), &policy);
}

/* Statistics profiles of a tree in which one element is not of its class. */
void readProfile(SQLPI_POL_ELEMENT_TYPE type) {
    const Tree tree = services::emptyTree();
    auto* profile = addChild<SQLPIPolicyElement>(tree.get(), SQLPI_ELEMENT_STATS_PROFILE);
    const bool isInWarehouse = type != SQLPI_ELEMENT_MONITOR;
    addChild<SQLPIPolicyElement>(
        isInWarehouse ? addChild<SQLPIPolicyElement>(profile, SQLPI_ELEMENT_FEEDBACK_WAREHOUSE) : profile, type);
    sqlpiStatsProfPolicy policy = SQLPI_STATS_PROF_DEFAULTS;
    sqlpiGetStatsProfileFromParsedTree(tree.get(), &policy);
}

struct Case {
    const char* name;
    std::function<void()> call;
    Entry entry;
};

const Case cases[] = {
    {"default location unknown, without an engine",
     [] {
         sqlpiBackupPolicy policy;
         sqlpiGetBackup(&policy);
     },
     {"sqlpiGetBackup", 10, 3, "Auto backup Policy: Unknown default backup location"}},
    {"backup sensor of another class",
     [] {
         const Tree tree = services::emptyTree();
         addChild<SQLPITables>(tree.get(), SQLPI_ELEMENT_DB_BACKUP_SENSORS, "Number_Full_DB_Backups");
         sqlpiBackupPolicy policy = {};
         sqlpiGetBackupFromParsedTree(tree.get(), &policy);
     },
     {"sqlpiGetBackupPolicy", 10, 3, "Dynamic cast failed"}},
    {"backup action of another class",
     [] {
         const Tree tree = services::emptyTree();
         addChild<SQLPITables>(tree.get(), SQLPI_ELEMENT_DB_BACKUP);
         sqlpiBackupPolicy policy = {};
         sqlpiGetBackupFromParsedTree(tree.get(), &policy);
     },
     {"sqlpiGetBackupPolicy", 30, 3, "Dynamic cast error"}},
    {"path over a target that is none",
     [] { readBackup("<kel:DiskBackupTarget><kel:Pathname>/b</kel:Pathname></kel:DiskBackupTarget>", 7); },
     {"sqlpiGetBackupPolicy", 50, 3, "Auto backup Policy: Unknown decision type"}},
    {"sessions without a number",
     [] { readBackup("<kel:VLTBackupTarget><kel:numberOfSessions/></kel:VLTBackupTarget>"); },
     {"sqlpiGetBackupPolicy", 60, 3, "Auto backup Policy: Backup set to default"}},
    {"unknown target",
     [] { readBackup("<kel:FloppyBackupTarget/>"); },
     {"sqlpiGetBackupPolicy", 70, 2, "Auto backup Policy: Target Type Unknown"}},
    {"table filter's sensor of another class",
     [] {
         const Tree tree = services::emptyTree();
         addChild<SQLPITables>(tree.get(), SQLPI_ELEMENT_SENSORS, "Tables");
         sqlpiAtmSensors sensors = {};
         sqlpiGetAtmSensorsParsed(tree.get(), &sensors);
     },
     {"sqlpiGetAtmSensorsParsed", 10, 1, "Dynamic cast error"}},
    {"monitor of another class",
     [] { readProfile(SQLPI_ELEMENT_MONITOR); },
     {"sqlpiGetStatsProfilePolicy", 10, 1, "Dynamic cast error"}},
    {"population of another class",
     [] { readProfile(SQLPI_ELEMENT_POPULATION); },
     {"sqlpiGetStatsProfilePolicy", 20, 1, "Dynamic cast error"}},
    {"profiling of another class",
     [] { readProfile(SQLPI_ELEMENT_STATS_PROFILING); },
     {"sqlpiGetStatsProfilePolicy", 30, 1, "Dynamic cast error"}},
};

class ServiceLog : public services::DocumentTest {};

TEST_F(ServiceLog, tellsTheFunctionAndAProbeOfItsOwn) {
    std::set<std::pair<std::string, uint32_t>> places;
    for (const Case& one : cases) {
        clearLogs();
        one.call();
        const auto records = recordsOf(kelhost::LogKind::diagnostic);
        ASSERT_EQ(records.size(), 1U) << one.name;
        const Entry entry = {records[0].function, records[0].probe, records[0].importance, records[0].text};
        EXPECT_EQ(entry, one.entry) << one.name;
        EXPECT_NE(entry.probe, 0U) << one.name;
        EXPECT_TRUE(places.emplace(entry.function, entry.probe).second) << one.name << ": " << entry;
    }
}

/* With a document that is refused the engine works with its defaults: one record tells why, whatever the policy. */
TEST_F(ServiceLog, tellsOnceWhyADocumentIsRefused) {
    std::string attributes;
    for (int i = 0; i < 200; ++i) attributes += " a" + std::to_string(i) + " CDATA #IMPLIED";
    const struct {
        std::string document;
        const char* why;
    } refused[] = {
        {"<!DOCTYPE PolicyDocument [<!ENTITY e SYSTEM 'file:///dev/null'>]><PolicyDocument>&e;</PolicyDocument>",
         "The document declares an external entity, which is never read."},
        {"<!DOCTYPE PolicyDocument SYSTEM 'none.dtd'><PolicyDocument/>", "unable to open DTD document 'none.dtd'"},
        {"<!DOCTYPE PolicyDocument [<!ENTITY a 'x'><!ENTITY e '&a;'>]><PolicyDocument>&e;</PolicyDocument>",
         "The document declares an entity that refers to another one."},
        {"<!DOCTYPE PolicyDocument [<!ATTLIST PolicyDocument" + attributes + ">]><PolicyDocument/>",
         "The document declares more attributes than a policy may have."},
        {"<Other/>", "The document element is not \"PolicyDocument\"."},
        {"<PolicyDocument>", "input ended before all started tags were ended; last tag started is 'PolicyDocument'"},
    };
    using Text = std::string;
    const std::function<void(Text&)> readers[] = {
        [](Text& text) {
            sqlpiBackupPolicy policy = {};
            sqlpiGetBackupPolicy(text.data(), static_cast<int32_t>(text.size()), &policy);
        },
        [](Text& text) {
            sqlpiReorgPolicy policy = {};
            EXPECT_EQ(sqlpiGetReorgPolicy(text.data(), static_cast<int32_t>(text.size()), &policy), 3);
        },
        [](Text& text) {
            sqlpiAtmSensors sensors = {};
            EXPECT_EQ(sqlpiGetAtmSensors(text.data(), static_cast<int32_t>(text.size()), &sensors), 3);
        },
        [](Text& text) {
            sqlpiStatsProfPolicy policy = SQLPI_STATS_PROF_DEFAULTS;
            EXPECT_EQ(sqlpiGetStatsProfilePolicy(text.data(), static_cast<int32_t>(text.size()), &policy), 3);
        },
        [](Text& text) {
            sqlpiMaintWindow window;
            sqlpiSetMaintWindowDefaults(&window);
            EXPECT_EQ(sqlpiGetMaintWindowPolicy(text.data(), static_cast<int32_t>(text.size()), &window), 3);
        },
    };
    for (const auto& [document, why] : refused) {
        SCOPED_TRACE(why);
        for (const auto& read : readers) {
            Text text = document;
            clearLogs();
            read(text);
            EXPECT_EQ(takeDiagnosticLog(),
                      (std::vector{services::LogRecord{PD_ERROR, std::string("XMLRD Panic: ") + why}}));
        }
    }
}

class RefusedRow : public services::EngineTest {};

/* The reorg and runstats entries add that they answer with nothing, as for a document that is not well-formed. */
TEST_F(RefusedRow, leavesARecordWhicheverPolicyItIs) {
    const services::LogRecord why = {PD_ERROR, "XMLRD Panic: The document element is not \"PolicyDocument\"."};
    for (const sqlpiPolicyKey& key :
         {SQLPI_MAINT_WINDOW_KEY, SQLPI_BACKUP_KEY, SQLPI_REORG_KEY, SQLPI_RUNSTATS_KEY, SQLPI_STATS_PROFILE_KEY}) {
        services::store(key, "<Other/>");
        clearLogs();
        services::describe(key.name);
        const auto log = takeDiagnosticLog();
        EXPECT_EQ(std::count(log.begin(), log.end(), why), 1) << key.name;
        const std::string name = key.name;
        EXPECT_EQ(log.size(), name.starts_with("Table") ? 2U : 1U) << key.name;
    }
}

}  // namespace
