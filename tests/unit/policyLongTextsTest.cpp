/* Texts that the stored form has no room for: which one is told, and how long it may be beside the others. */
#include <functional>

#include "unit/validateSupport.h"

namespace {

using namespace validated;

struct Case {
    const char* type;
    std::string what; /* as the message names the longest text */
    size_t length;
    size_t size; /* of the stored form, with its terminator */
    std::function<std::string(size_t)> document;
};

std::string criteria(size_t full, size_t time, size_t log) {
    return "numberOfFullBackups='" + std::string(full, '1') + "' timeSinceLastBackup='" + std::string(time, '2') +
           "' logSpaceConsumedSinceLastBackup='" + std::string(log, '3') + "'";
}

std::string vendorBackup(size_t path, size_t options) {
    return backup(vendor(std::string(path, 'p'), std::string(options, 'o')), "", criteria(2047, 2047, 2047));
}

std::string reorgWith(const std::string& attribute, size_t length) {
    return reorg(attribute + "='4" + std::string(length - 1, '0') + "'", "maxOfflineReorgTableSize='100'", "f");
}

class PolicyLongTexts : public services::DocumentTest {};

TEST_F(PolicyLongTexts, TheLongestIsToldWithWhatItMayBe) {
    const auto sessions = [](const std::string& target) {
        return [target](size_t length) {
            return backup("<" + target + " numberOfSessions='" + std::string(length - 1, '0') + "5'/>");
        };
    };
    for (const Case& one : std::vector<Case>{
             {"AUTO_BACKUP", "path", 2047, SQLPI_OLD_BACKUP_POLICY_SIZE,
              [](size_t length) { return vendorBackup(length, 2047); }},
             {"AUTO_BACKUP", "library options", 2047, SQLPI_OLD_BACKUP_POLICY_SIZE,
              [](size_t length) { return vendorBackup(2046, length); }},
             {"AUTO_BACKUP", "numberOfFullBackups", 11000, SQLPI_OLD_BACKUP_POLICY_SIZE,
              [](size_t length) { return backup(tape("t"), "", criteria(length, 1, 1)); }},
             {"AUTO_BACKUP", "timeSinceLastBackup", 11000, SQLPI_OLD_BACKUP_POLICY_SIZE,
              [](size_t length) { return backup(tape("t"), "", criteria(1, length, 1)); }},
             {"AUTO_BACKUP", "logSpaceConsumedSinceLastBackup", 11000, SQLPI_OLD_BACKUP_POLICY_SIZE,
              [](size_t length) { return backup(tape("t"), "", criteria(1, 1, length)); }},
             {"AUTO_BACKUP", "numberOfSessions", 11000, SQLPI_OLD_BACKUP_POLICY_SIZE, sessions("VLTBackupTarget")},
             {"AUTO_BACKUP", "numberOfSessions", 11000, SQLPI_OLD_BACKUP_POLICY_SIZE, sessions("XBSABackupTarget")},
             {"AUTO_REORG", "maxOfflineReorgTableSize", 3000, SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) {
                  return reorg("", "maxOfflineReorgTableSize='" + std::string(length, '0') + "'", "f");
              }},
             {"AUTO_REORG", "reclaimExtentsSizeForMDCTables", 3000, SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) { return reorgWith("reclaimExtentsSizeForMDCTables", length); }},
             {"AUTO_REORG", "numInxPseudoEmptyPagesForVolatileTables", 3000, SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) { return reorgWith("numInxPseudoEmptyPagesForVolatileTables", length); }},
             {"AUTO_REORG", "filter clause", 3000, SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) { return reorg("", "", std::string(length, 'f')); }},
             {"AUTO_RUNSTATS", "filter condition", 3000, SQLPI_OLD_RUNSTATS_POLICY_SIZE,
              [](size_t length) { return runstats(std::string(length, 'f')); }},
         }) {
        SCOPED_TRACE(one.what);
        clearLogs();
        expectRefused(validate(one.type, one.document(one.length)), -1447, {"6"});
        const auto log = takeDiagnosticLog();
        ASSERT_EQ(log.size(), 2U);
        EXPECT_EQ(log[1].importance, PD_ERROR);
        const std::string begin = "The " + one.what + " may be ";
        ASSERT_TRUE(log[1].text.starts_with(begin)) << log[1].text;
        const size_t most = std::stoul(log[1].text.substr(begin.size()));
        EXPECT_EQ(log[1].text, begin + std::to_string(most) + " bytes long; this one is " + std::to_string(one.length) +
                                   " bytes long.");
        ASSERT_LT(most, one.length);
        const Verdict fitting = validate(one.type, one.document(most));
        EXPECT_EQ(fitting.status, 0U);
        EXPECT_EQ(fitting.output.size(), one.size - 1) << "fills it to the brim";
        expectRefused(validate(one.type, one.document(most + 1)), -1447, {"6"});
    }
}

}  // namespace
