/* How the engine's services ask for their stored policies. The linker hands every read of the library to this file,
 * which writes it down and passes it on to the real reader, or answers as planned. */
#include <optional>

#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiStatsProfAppl.h"
#include "unit/servicesSupport.h"

namespace {

struct Read {
    std::string med;
    std::string decision;
    std::string name;
    std::vector<int32_t> kinds;
    std::optional<int64_t> since;

    bool operator==(const Read&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Read& read) {
    out << read.med << '/' << read.decision << '/' << read.name << ", kinds";
    for (const int32_t kind : read.kinds) out << ' ' << kind;
    return out << ", since " << (read.since ? std::to_string(*read.since) : "always");
}

std::vector<Read> reads;
bool answersNoDocument = false; /* with status 0 */

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" int32_t __real_sqlpiGetPolicy(const char*, int32_t, const char*, int32_t, const char*, int32_t, char**,
                                         int32_t*, const int64_t*);
extern "C" int32_t __wrap_sqlpiGetPolicy(const char*, int32_t, const char*, int32_t, const char*, int32_t, char**,
                                         int32_t*, const int64_t*);
extern "C" int32_t __wrap_sqlpiGetPolicy(const char* med, int32_t medKind, const char* decision, int32_t decisionKind,
                                         const char* name, int32_t nameKind, char** outBuffer, int32_t* outLength,
                                         const int64_t* sinceTime) {
    reads.push_back({med, decision, name, {medKind, decisionKind, nameKind}, {}});
    if (sinceTime != nullptr) reads.back().since = *sinceTime;
    if (!answersNoDocument)
        return __real_sqlpiGetPolicy(med, medKind, decision, decisionKind, name, nameKind, outBuffer, outLength,
                                     sinceTime);
    *outBuffer = nullptr;
    *outLength = 0;
    return 0;
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class PolicyCallers : public services::EngineTest {
protected:
    PolicyCallers() { reads.clear(); }
    ~PolicyCallers() override { answersNoDocument = false; }
};

struct Caller {
    const char* name;
    void (*call)(const time_t* lastRead);
    Read read; /* without a last read */
    bool passesLastRead;
};

template <class Policy, int32_t (*Get)(Policy*, const time_t*, bool*) noexcept>
void readChanged(const time_t* lastRead) {
    Policy policy = {};
    bool changed = false;
    EXPECT_EQ(Get(&policy, lastRead, &changed), 0);
    sqlofmblkEx(policy.tablesFilter, "test", 0);
}

const Caller callers[] = {
    {"sqlpiGetMaintWindow",
     [](const time_t*) {
         sqlpiMaintWindow window;
         sqlpiGetMaintWindow(&window);
     },
     {"KELCommonMED", "NOP", "CommonPolicy", {9, 9, 9}, {}},
     false},
    {"sqlpiGetBackup",
     [](const time_t*) {
         sqlpiBackupPolicy policy;
         sqlpiGetBackup(&policy);
     },
     {"KELDatabaseRecoveryMED", "DBBackupDecision", "DBBackupPolicy", {9, 9, 9}, {}},
     false},
    {"sqlpiGetReorg",
     readChanged<sqlpiReorgPolicy, sqlpiGetReorg>,
     {"KELTableMaintenanceMED", "TableReorgDecision", "TableReorgPolicy", {9, 9, 9}, {}},
     true},
    {"sqlpiGetRunStats",
     readChanged<sqlpiRunStatsPolicy, sqlpiGetRunStats>,
     {"KELTableMaintenanceMED", "TableRunstatsDecision", "TableRunstatsPolicy", {9, 9, 9}, {}},
     true},
    {"sqlpiGetStatsProfile",
     [](const time_t*) {
         sqlpiStatsProfPolicy policy;
         sqlpiGetStatsProfile(&policy);
         sqlofmblkEx(policy.tablesFilter, "test", 0);
     },
     {"KELTableMaintenanceMED", "StatsProfileDecision", "StatsProfilePolicy", {9, 9, 9}, {}},
     false},
};

TEST_F(PolicyCallers, readOncePerCallWithTheirKeysAndWithoutATimeUnlessTheyAreGivenOne) {
    for (const Caller& caller : callers) {
        for (const time_t* lastRead : {static_cast<const time_t*>(nullptr), [] {
                                           static const time_t given = 1717243445;
                                           return &given;
                                       }()}) {
            reads.clear();
            caller.call(lastRead);
            Read expected = caller.read;
            if (lastRead != nullptr && caller.passesLastRead) expected.since = 1717243445;
            EXPECT_EQ(reads, std::vector<Read>{expected}) << caller.name;
        }
    }
}

TEST_F(PolicyCallers, warnWithError0WhenAReadThatSucceededBringsNoDocument) {
    answersNoDocument = true;
    const time_t given = 0;
    for (const time_t* lastRead : {static_cast<const time_t*>(nullptr), &given}) {
        const char* const function[] = {"sqlpiGetReorg", "sqlpiGetRunStats"};
        const char* const warning[] = {"Warning: Unable to read reorg policy. Error: 0",
                                       "Warning: Unable to read run stats policy. Error: 0"};
        for (const size_t service : {0, 1}) {
            SCOPED_TRACE(function[service]);
            clearLogs();
            bool changed = lastRead != nullptr;
            sqlpiReorgPolicy reorg = {nullptr, 1, 2, 3, 4, 5, 6};
            sqlpiRunStatsPolicy runStats = {};
            EXPECT_EQ(service == 0 ? sqlpiGetReorg(&reorg, lastRead, &changed)
                                   : sqlpiGetRunStats(&runStats, lastRead, &changed),
                      0);
            EXPECT_EQ(changed, lastRead == nullptr);
            EXPECT_EQ(reorg.useTempTbsp, service == 0 && lastRead == nullptr ? 0 : 2);
            const auto records = recordsOf(kelhost::LogKind::diagnostic);
            ASSERT_EQ(records.size(), 1U);
            EXPECT_EQ(records[0].text, warning[service]);
            EXPECT_EQ(records[0].importance, 3);
            EXPECT_EQ(records[0].function, function[service]);
            EXPECT_EQ(records[0].probe, 20U);
        }
    }
}

TEST_F(PolicyCallers, areSilentAboutOtherReadsThatBringNoDocument) {
    answersNoDocument = true;
    sqlpiBackupPolicy backup;
    sqlpiGetBackup(&backup);
    EXPECT_EQ(backup.timeSinceLastBackup, 168);
    sqlpiStatsProfPolicy profile;
    sqlpiGetStatsProfile(&profile);
    EXPECT_EQ(profile.maxFileSize, 128);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<services::LogRecord>{});
}

}  // namespace
