/* What the policy services write to the diagnostic log says where it was decided: the function, and a probe that no
 * other place in that function has. */
#include <functional>
#include <set>

#include "sqlpiBackup.h"
#include "sqlpiStatsProf.h"
#include "unit/servicesSupport.h"

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

}  // namespace
