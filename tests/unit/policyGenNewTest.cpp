/* Configuration documents of configuration records, byte for byte, and the limits of their working buffers. */
#include "faulty.h"
#include "unit/policyGenSupport.h"

namespace {

using namespace generated;

class PolicyGenNew : public BalancedTest {};

struct Window {
    std::string occurrence = {};
    std::string startTime = {};
    std::string duration = {};
    std::string daysOfWeek = {};
    std::string daysOfMonth = {};
    std::string monthsOfYear = {};

    maintenanceNewWindow record() const {
        maintenanceNewWindow window = {};
        set(window.occurrence, occurrence);
        set(window.startTime, startTime);
        set(window.duration, duration);
        set(window.daysOfWeek, daysOfWeek);
        set(window.daysOfMonth, daysOfMonth);
        set(window.monthsOfYear, monthsOfYear);
        return window;
    }
};

const Window weekNights = {"During", "23:00:00", "3", "Mon Tue Wed Thu Fri", "1 15 -1", "Jan Mar May Jul Sep Nov"};
const Window weekends = {"Outside", "09:05:07", "10", "Sun Sat", "All", "All"};
const Window noTexts = {};
const Window startOnly = {"", "00:00:00", "", "All", "All", "All"};

TEST_F(PolicyGenNew, WritesMaintenanceWindows) {
    const struct {
        const char* golden;
        const Window& online;
        bool isOfflinePresent;
    } cases[] = {
        {"config-windows-online", weekNights, false},
        {"config-windows-both", weekNights, true},
        {"config-windows-no-texts", noTexts, false},
        {"config-windows-start-only", startOnly, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.golden);
        for (const bool isOnlinePresent : {false, true}) {  // the online window is always written
            const maintenanceNewPolicy policy = {isOnlinePresent, c.online.record(), c.isOfflinePresent,
                                                 weekends.record()};
            EXPECT_EQ(newDocument(sqlpiGenerateNewAutoMaintWindowPolicy, policy, SQLPI_CONFIG_OK), golden(c.golden));
        }
    }
}

TEST_F(PolicyGenNew, WritesBackup) {
    for (const BackupCase& c : backupCases()) {
        SCOPED_TRACE(c.golden);
        Record<backupPolicy> policy;
        c.fill(policy);
        EXPECT_EQ(newDocument(sqlpiGenerateNewAutoBackupPolicy, static_cast<backupPolicy&>(policy), SQLPI_CONFIG_OK),
                  golden("config-" + std::string(c.golden)));
    }
}

TEST_F(PolicyGenNew, WritesReorg) {
    std::vector<ReorgCase> cases = reorgCases();
    cases.push_back({"reorg-short-temporary-space", "Keep", "Offline", "1", "5", "0", "0"});
    cases.push_back({"reorg-short-temporary-space", "Keep", "Offline", "", "5", "0", "0"});
    cases.push_back({"reorg-cleared", "Keep", "Offline", "false", "0", "0", "0"});
    for (const ReorgCase& c : cases) {
        SCOPED_TRACE(c.golden);
        Record<reorgPolicy> policy;
        c.fill(policy);
        EXPECT_EQ(newDocument(sqlpiGenerateNewAutoReorgPolicy, static_cast<reorgPolicy&>(policy), SQLPI_CONFIG_OK),
                  golden("config-" + std::string(c.golden)));
    }
}

TEST_F(PolicyGenNew, WritesRunstats) {
    runStatsPolicy policy = {};
    EXPECT_EQ(newDocument(sqlpiGenerateNewAutoRunstatsPolicy, policy, SQLPI_CONFIG_OK),
              golden("config-runstats-no-filter"));
    set(policy.filterCondition, filterAsWritten);
    EXPECT_EQ(newDocument(sqlpiGenerateNewAutoRunstatsPolicy, policy, SQLPI_CONFIG_OK),
              golden("config-runstats-filter"));
}

/* --- limits ------------------------------------------------------------------------------------------------------- */

/* A document that fills its working buffer exactly is handed back; with one byte more there is none. `generate` makes
 * the document with that text in it. */
template <class Generate>
void fillsTheBuffer(size_t capacity, const std::string& least, Generate generate) {
    const size_t frame = generate(least, SQLPI_CONFIG_OK).size() - least.size();
    ASSERT_LT(frame, capacity);
    const size_t room = capacity - 1 - frame;
    EXPECT_EQ(generate(std::string(room, 'x'), SQLPI_CONFIG_OK).size(), capacity - 1);
    generate(std::string(room + 1, 'x'), SQLPI_CONFIG_FAILED);
    generate(std::string(room - 1, 'x') + "\xC3\xA4", SQLPI_CONFIG_FAILED);
}

TEST_F(PolicyGenNew, BackupFillsItsBuffer) {
    fillsTheBuffer(SQLPI_NEW_BACKUP_POLICY_SIZE, "", [](const std::string& text, uint32_t wanted) {
        Record<backupPolicy> policy;
        BackupCase{"", "Online", "v", std::string(4095, 'p'), text.c_str()}.fill(policy);
        return newDocument(sqlpiGenerateNewAutoBackupPolicy, static_cast<backupPolicy&>(policy), wanted);
    });
}

TEST_F(PolicyGenNew, ReorgFillsItsBuffer) {
    fillsTheBuffer(SQLPI_NEW_REORG_POLICY_SIZE, "x", [](const std::string& text, uint32_t wanted) {
        Record<reorgPolicy> policy;
        ReorgCase{"", "Keep", "Online", "true", "5", text.c_str(), "7", std::string(4095, 'f')}.fill(policy);
        return newDocument(sqlpiGenerateNewAutoReorgPolicy, static_cast<reorgPolicy&>(policy), wanted);
    });
}

TEST_F(PolicyGenNew, RunstatsFillsItsBuffer) {
    fillsTheBuffer(SQLPI_NEW_RUNSTATS_POLICY_SIZE, "x", [](const std::string& text, uint32_t wanted) {
        runStatsPolicy policy = {};
        set(policy.filterCondition, text);
        return newDocument(sqlpiGenerateNewAutoRunstatsPolicy, policy, wanted);
    });
}

/* Inline texts are bounded by their fields, also without a terminator, and windows as large as their record allows
 * fit. */
TEST_F(PolicyGenNew, TextsWithoutTerminatorEndWithTheirField) {
    const auto count = [](const std::string& text) { return std::count(text.begin(), text.end(), '@'); };
    maintenanceNewPolicy windows = {};
    std::memset(&windows.online, '@', sizeof windows.online);
    windows.offline = windows.online;
    windows.offlinePresent = true;
    EXPECT_EQ(count(newDocument(sqlpiGenerateNewAutoMaintWindowPolicy, windows, SQLPI_CONFIG_OK)),
              2 * (100 + 200 + 100 + 100 + 10 + 100));

    Record<backupPolicy> backup;
    backup.tapeTarget = true;
    std::memset(backup.path, '@', sizeof backup.path);
    EXPECT_EQ(count(newDocument(sqlpiGenerateNewAutoBackupPolicy, static_cast<backupPolicy&>(backup), SQLPI_CONFIG_OK)),
              4096);

    Record<reorgPolicy> reorg;
    std::memset(reorg.filterClause, '@', sizeof reorg.filterClause);
    newDocument(sqlpiGenerateNewAutoReorgPolicy, static_cast<reorgPolicy&>(reorg), SQLPI_CONFIG_FAILED);
    runStatsPolicy runstats;
    std::memset(&runstats, '@', sizeof runstats);
    newDocument(sqlpiGenerateNewAutoRunstatsPolicy, runstats, SQLPI_CONFIG_FAILED);
}

TEST_F(PolicyGenNew, HandsNothingBackWithoutMemory) {
    const maintenanceNewPolicy windows = {};
    const Record<backupPolicy> backup;
    const Record<reorgPolicy> reorg;
    const runStatsPolicy runstats = {};
    const faulty::Scope scope;
    ASSERT_TRUE(faulty::failCall(faulty::Service::anyMemory, 1, faulty::Duration::forEver));
    newDocument(sqlpiGenerateNewAutoMaintWindowPolicy, windows, SQLPI_CONFIG_FAILED);
    newDocument(sqlpiGenerateNewAutoBackupPolicy, static_cast<const backupPolicy&>(backup), SQLPI_CONFIG_FAILED);
    newDocument(sqlpiGenerateNewAutoReorgPolicy, static_cast<const reorgPolicy&>(reorg), SQLPI_CONFIG_FAILED);
    newDocument(sqlpiGenerateNewAutoRunstatsPolicy, runstats, SQLPI_CONFIG_FAILED);
    EXPECT_EQ(faulty::failures(faulty::Service::anyMemory), 4U) << "one block for each document";
}

/* A document that does not fit asks for no memory either. */
TEST_F(PolicyGenNew, FarTooLongTextsGiveNoDocument) {
    Record<backupPolicy> policy;
    set(policy.numberOfFullBackups, std::string(1000000, '9').c_str());
    const faulty::Scope scope;
    newDocument(sqlpiGenerateNewAutoBackupPolicy, static_cast<backupPolicy&>(policy), SQLPI_CONFIG_FAILED);
    EXPECT_EQ(faulty::calls(faulty::Service::anyMemory), 0U);
}

}  // namespace
