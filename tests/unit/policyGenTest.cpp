/* Policy-language documents of configuration records, byte for byte, and the limits of their working buffers. */
#include "unit/policyGenSupport.h"

namespace {

using namespace generated;

class PolicyGen : public BalancedTest {};

maintenanceOldWindow weekNights(const char* occurrence) {
    maintenanceOldWindow window = {};
    set(window.dayOfWeekMask, "0111110");
    set(window.monthOfYearMask, "101010101010");
    set(window.dayOfMonthMask, "1" + std::string(13, '0') + "1" + std::string(16, '0') + "1" + std::string(30, '0'));
    set(window.timeRange, "T230000/T020000");
    set(window.occurrence, occurrence);
    return window;
}

maintenanceOldWindow weekendEvenings(const char* occurrence) {
    maintenanceOldWindow window = {};
    set(window.dayOfWeekMask, "1000001");
    set(window.monthOfYearMask, std::string(12, '1'));
    set(window.dayOfMonthMask, std::string(62, '1'));
    set(window.timeRange, "T213000/T235959");
    set(window.occurrence, occurrence);
    return window;
}

TEST_F(PolicyGen, WritesMaintenanceWindows) {
    const struct {
        const char* golden;
        const char* online;
        const char* offline; /* null: no offline window */
    } cases[] = {
        {"windows-online-during", "During", nullptr},
        {"windows-online-outside", "Outside", nullptr},
        {"windows-both-during", "During", "During"},
        {"windows-both-outside", "Outside", "Outside"},
        {"windows-online-outside-offline-during", "Outside", "During"},
        {"windows-online-during-offline-outside", "During", "Outside"},
        // Only the exact word reverses a window.
        {"windows-online-during", "outside", nullptr},
        {"windows-online-during", "Outsider", nullptr},
        {"windows-online-during", "", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.golden) + ", online " + c.online);
        maintenanceOldPolicy policy = {true, c.offline != nullptr, weekNights(c.online), {}};
        // A window that is not there does not show, whatever its record holds.
        policy.offline = weekendEvenings(c.offline == nullptr ? "Outside" : c.offline);
        EXPECT_EQ(oldDocument(sqlpiGenerateOldMWPolicy, policy, SQLPI_CONFIG_OK), golden(c.golden));
        policy.onlinePresent = false;
        EXPECT_EQ(oldDocument(sqlpiGenerateOldMWPolicy, policy, SQLPI_CONFIG_OK), golden(c.golden))
            << "the online window is always written";
    }
}

TEST_F(PolicyGen, WritesBackup) {
    for (const BackupCase& c : backupCases()) {
        SCOPED_TRACE(c.golden);
        Record<backupPolicy> policy;
        c.fill(policy);
        EXPECT_EQ(oldDocument(sqlpiGenerateOldBackupPolicy, static_cast<backupPolicy&>(policy), SQLPI_CONFIG_OK),
                  golden(c.golden));
    }
}

TEST_F(PolicyGen, WritesReorg) {
    for (const ReorgCase& c : reorgCases()) {
        SCOPED_TRACE(c.golden);
        Record<reorgPolicy> policy;
        c.fill(policy);
        EXPECT_EQ(oldDocument(sqlpiGenerateOldReorgPolicy, static_cast<reorgPolicy&>(policy), SQLPI_CONFIG_OK),
                  golden(c.golden));
    }
}

/* What begins with '0' is no number to write, and what is absent neither; anything else is written. */
TEST_F(PolicyGen, WritesReorgNumbersThatAreSet) {
    const struct {
        const char* number;
        const char* written; /* null: no attribute */
    } cases[] = {{nullptr, nullptr}, {"0", nullptr}, {"00", nullptr}, {"07", nullptr}, {"0x", nullptr},
                 {"7", "7"},         {"70", "70"},   {"+7", "+7"},    {" 0", " 0"},    {"", ""}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.number == nullptr ? "absent" : c.number);
        Record<reorgPolicy> policy;
        set(policy.reclaimExtentsSizeForMDCTables, c.number);
        set(policy.numInxPseudoEmptyPagesForVolatileTables, c.number);
        const std::string text =
            oldDocument(sqlpiGenerateOldReorgPolicy, static_cast<reorgPolicy&>(policy), SQLPI_CONFIG_OK);
        for (const char* attribute : {"reclaimExtentsSizeForMDCTables", "numInxPseudoEmptyPagesForVolatileTables"}) {
            const std::string name = " " + std::string(attribute) + "=\"";
            if (c.written == nullptr)
                EXPECT_EQ(text.find(name), std::string::npos) << attribute;
            else
                EXPECT_NE(text.find(name + c.written + "\""), std::string::npos) << attribute;
        }
    }
}

TEST_F(PolicyGen, WritesRunstats) {
    runStatsPolicy policy = {};
    EXPECT_EQ(oldDocument(sqlpiGenerateOldRunsatsPolicy, policy, SQLPI_CONFIG_OK), golden("runstats-no-filter"));
    set(policy.filterCondition, filterAsWritten);
    EXPECT_EQ(oldDocument(sqlpiGenerateOldRunsatsPolicy, policy, SQLPI_CONFIG_OK), golden("runstats-filter"));
}

/* --- limits ------------------------------------------------------------------------------------------------------- */

/* A document that fills its working buffer exactly is written; with one byte more there is none. `generate` makes the
 * document with `length` bytes of text in it. */
template <class Generate>
void fillsTheBuffer(size_t capacity, Generate generate) {
    const size_t frame = generate(std::string(), SQLPI_CONFIG_OK).size();
    ASSERT_LT(frame, capacity);
    const size_t room = capacity - 1 - frame;
    EXPECT_EQ(generate(std::string(room, 'x'), SQLPI_CONFIG_OK).size(), capacity - 1);
    EXPECT_EQ(generate(std::string(room + 1, 'x'), SQLPI_CONFIG_FAILED), "");
    EXPECT_EQ(generate(std::string(room - 1, 'x') + "\xC3\xA4", SQLPI_CONFIG_FAILED), "") << "no half character";
}

TEST_F(PolicyGen, BackupFillsItsBuffer) {
    fillsTheBuffer(SQLPI_OLD_BACKUP_POLICY_SIZE, [](const std::string& text, uint32_t wanted) {
        Record<backupPolicy> policy;
        BackupCase{"", "Online", "v", std::string(4095, 'p'), text.c_str()}.fill(policy);
        return oldDocument(sqlpiGenerateOldBackupPolicy, static_cast<backupPolicy&>(policy), wanted,
                           SQLPI_OLD_BACKUP_POLICY_SIZE);
    });
}

TEST_F(PolicyGen, ReorgFillsItsBuffer) {
    fillsTheBuffer(SQLPI_OLD_REORG_POLICY_SIZE, [](const std::string& text, uint32_t wanted) {
        Record<reorgPolicy> policy;
        ReorgCase{"", "Keep", "Online", "true", "5", "6", "7", text}.fill(policy);
        return oldDocument(sqlpiGenerateOldReorgPolicy, static_cast<reorgPolicy&>(policy), wanted,
                           SQLPI_OLD_REORG_POLICY_SIZE);
    });
}

TEST_F(PolicyGen, RunstatsFillsItsBuffer) {
    fillsTheBuffer(SQLPI_OLD_RUNSTATS_POLICY_SIZE, [](const std::string& text, uint32_t wanted) {
        runStatsPolicy policy = {};
        set(policy.filterCondition, text);
        return oldDocument(sqlpiGenerateOldRunsatsPolicy, policy, wanted, SQLPI_OLD_RUNSTATS_POLICY_SIZE);
    });
}

/* A cut in an early text leaves no room that later, shorter pieces could use. */
TEST_F(PolicyGen, FarTooLongTextsGiveNoDocument) {
    Record<backupPolicy> policy;
    BackupCase{"", "Online", "v", "/p", std::string(1000000, 'x').c_str()}.fill(policy);
    set(policy.numberOfFullBackups, std::string(1000000, '9').c_str());
    EXPECT_EQ(oldDocument(sqlpiGenerateOldBackupPolicy, static_cast<backupPolicy&>(policy), SQLPI_CONFIG_FAILED), "");
}

/* Inline texts are bounded by their fields, also without a terminator, and windows as large as their record allows
 * fit. */
TEST_F(PolicyGen, TextsWithoutTerminatorEndWithTheirField) {
    maintenanceOldPolicy windows = {};
    std::memset(&windows.online, '@', sizeof windows.online);
    windows.offline = windows.online;
    windows.offlinePresent = true;
    const std::string text = oldDocument(sqlpiGenerateOldMWPolicy, windows, SQLPI_CONFIG_OK);
    EXPECT_EQ(std::count(text.begin(), text.end(), '@'), 2 * (8 + 13 + 63 + 20)) << text;

    Record<backupPolicy> backup;
    backup.tapeTarget = true;
    std::memset(backup.path, '@', sizeof backup.path);
    const std::string tape =
        oldDocument(sqlpiGenerateOldBackupPolicy, static_cast<backupPolicy&>(backup), SQLPI_CONFIG_OK);
    EXPECT_EQ(std::count(tape.begin(), tape.end(), '@'), 4096);

    Record<reorgPolicy> reorg;
    std::memset(reorg.filterClause, '@', sizeof reorg.filterClause);
    EXPECT_EQ(oldDocument(sqlpiGenerateOldReorgPolicy, static_cast<reorgPolicy&>(reorg), SQLPI_CONFIG_FAILED), "");
    runStatsPolicy runstats;
    std::memset(&runstats, '@', sizeof runstats);
    EXPECT_EQ(oldDocument(sqlpiGenerateOldRunsatsPolicy, runstats, SQLPI_CONFIG_FAILED), "");
}

}  // namespace
