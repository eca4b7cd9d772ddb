// The rows that a new policy table starts with say what the library assumes without them.
#include <cstring>
#include <memory>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"
#include "memoryPool.h"
#include "services/sqlpiPolicyKeys.h"
#include "sqlpiApplReadPolicyTable.h"
#include "sqlpiBackup.h"
#include "sqlpiCommonPolicy.h"
#include "sqlpiPolicyCommonParser.h"
#include "sqlpiStatsProfAppl.h"

namespace {

using hosttest::Client;

// Every answer of the engine services; padding is zero so that two of them can be compared byte by byte.
struct Answers {
    sqlpiBackupPolicy backup;
    sqlpiReorgPolicy reorg;
    sqlpiRunStatsPolicy runStats;
    sqlpiStatsProfPolicy statsProfile;
    sqlpiMaintWindow windows;
};

std::unique_ptr<Answers> ask() {
    auto answers = std::make_unique<Answers>();
    std::memset(static_cast<void*>(answers.get()), 0, sizeof(Answers));
    bool changed = false;
    sqlpiGetBackup(&answers->backup);
    EXPECT_EQ(sqlpiGetReorg(&answers->reorg, nullptr, &changed), 0);
    EXPECT_EQ(sqlpiGetRunStats(&answers->runStats, nullptr, &changed), 0);
    sqlpiGetStatsProfile(&answers->statsProfile);
    sqlpiGetMaintWindow(&answers->windows);
    return answers;
}

class DefaultPolicies : public hosttest::ContextTest {
protected:
    DefaultPolicies() {
        Client client;
        EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
        context().commit();
    }
};

TEST_F(DefaultPolicies, EveryDocumentIsReadAndParses) {
    for (const sqlpiPolicyKey& key :
         {SQLPI_MAINT_WINDOW_KEY, SQLPI_BACKUP_KEY, SQLPI_REORG_KEY, SQLPI_RUNSTATS_KEY, SQLPI_STATS_PROFILE_KEY}) {
        char* document = nullptr;
        int32_t length = 0;
        ASSERT_EQ(sqlpiGetPolicy(key.med, SQLPI_KEY_KIND, key.decision, SQLPI_KEY_KIND, key.name, SQLPI_KEY_KIND,
                                 &document, &length, nullptr),
                  0)
            << key.name;
        SQLPIPolicyElement* root = nullptr;
        EXPECT_EQ(sqlpi_policy_parse(nullptr, length, document, &root), 0) << key.name;
        EXPECT_NE(root, nullptr) << key.name;
        delete root;
        sqlofmblkEx(document, "defaultPoliciesTest", __LINE__);
    }
}

/* But for the mode of a backup: the configuration format has no word for one that is not said, and a get and a set
 * would turn it to offline. */
TEST_F(DefaultPolicies, StoredOrNotTheAnswersAreTheSame) {
    const auto stored = ask();
    EXPECT_EQ(stored->backup.mode, BACKUP_MODE_ONLINE);
    stored->backup.mode = BACKUP_MODE_DEFAULT;
    {
        Client client;
        ASSERT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY"), SQL_SUCCESS);
    }
    const auto builtIn = ask();
    EXPECT_EQ(std::memcmp(&stored->backup, &builtIn->backup, sizeof stored->backup), 0);
    EXPECT_EQ(std::memcmp(&stored->reorg, &builtIn->reorg, sizeof stored->reorg), 0);
    EXPECT_EQ(std::memcmp(&stored->runStats, &builtIn->runStats, sizeof stored->runStats), 0);
    EXPECT_EQ(std::memcmp(&stored->statsProfile, &builtIn->statsProfile, sizeof stored->statsProfile), 0);
    EXPECT_EQ(stored->backup.numberOfFullBackups, 1);
    EXPECT_EQ(builtIn->backup.mode, BACKUP_MODE_DEFAULT);
    EXPECT_EQ(stored->backup.targetLocation, instancePath() + "/backup");
    EXPECT_EQ(stored->statsProfile.profileType, PROFILE_NOT_STATED);
    EXPECT_EQ(std::memcmp(&stored->windows, &builtIn->windows, sizeof stored->windows), 0);
    EXPECT_TRUE(stored->windows.online.defined);
    EXPECT_FALSE(stored->windows.offline.defined);
}

}  // namespace
