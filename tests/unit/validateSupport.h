/* What the tests of configuration documents share: documents in pieces, and what becomes of them. */
#ifndef TESTS_UNIT_VALIDATE_SUPPORT_H
#define TESTS_UNIT_VALIDATE_SUPPORT_H

#include <cstring>
#include <string>
#include <vector>

#include "configuration/sqlpiDomErrorReporter.h"
#include "configuration/sqlpiPolicyGen.h"
#include "configuration/sqlpiPolicyValidate.h"
#include "unit/configSupport.h"

namespace validated {

/* One window; the lists are written as they are. */
struct Window {
    std::string attributes = "";
    std::string daysOfWeek = "All";
    std::string daysOfMonth = "All";
    std::string monthsOfYear = "All";
};
inline std::string text(const Window& window, const std::string& name = "OnlineWindow") {
    return "<" + name + " " + window.attributes + "><DaysOfWeek>" + window.daysOfWeek + "</DaysOfWeek><DaysOfMonth>" +
           window.daysOfMonth + "</DaysOfMonth><MonthsOfYear>" + window.monthsOfYear + "</MonthsOfYear></" + name + ">";
}
inline std::string windows(const std::string& content) {
    return config::root("KELMaintenanceWindows", content);
}
inline std::string oneWindow(const Window& window) {
    return windows(text(window));
}

inline const std::string goodCriteria =
    "numberOfFullBackups='1' timeSinceLastBackup='2' logSpaceConsumedSinceLastBackup='3'";
inline std::string backup(const std::string& target, const std::string& options = "",
                          const std::string& criteria = goodCriteria) {
    return config::root("KELAutoBackupPolicy", "<BackupOptions " + options + "><BackupTarget>" + target +
                                                   "</BackupTarget></BackupOptions><BackupCriteria " + criteria + "/>");
}
inline std::string disk(const std::string& path) {
    return "<DiskBackupTarget><PathName>" + path + "</PathName></DiskBackupTarget>";
}
inline std::string tape(const std::string& path) {
    return "<TapeBackupTarget><PathName>" + path + "</PathName></TapeBackupTarget>";
}
inline std::string vendor(const std::string& file, const std::string& options) {
    return "<VendorLibBackupTarget><LibFilename>" + file + "</LibFilename><LibOptions>" + options +
           "</LibOptions></VendorLibBackupTarget>";
}
inline std::string reorg(const std::string& options, const std::string& scope, const std::string& filter) {
    return config::root("KELAutoReorgPolicy", "<ReorgOptions " + options + "/><ReorgTableScope " + scope +
                                                  "><FilterClause>" + filter + "</FilterClause></ReorgTableScope>");
}
inline std::string runstats(const std::string& filter) {
    return config::runstats(filter);
}
/* The same with a document type. */
inline std::string withDeclarations(std::string document, const std::string& rootName,
                                    const std::string& declarations) {
    const std::string where = "?>";
    document.insert(document.find(where) + where.size(), "<!DOCTYPE " + rootName + " [" + declarations + "]>");
    return document;
}

/* What a caller gets back. */
struct Verdict {
    uint32_t status = 0;
    int32_t sqlcode = 0;
    std::vector<std::string> tokens{};
    std::string sqlstate{};
    std::string output{};
    sqlpiDocumentMistake mistake{};
};
inline const std::string untouched = "untouched";

inline Verdict validate(const char* type, std::string_view document) {
    std::vector<char> output(SQLPI_OLD_POLICY_SIZE, '#');
    std::strcpy(output.data(), untouched.c_str());
    sqlca ca = {};
    Verdict verdict;
    verdict.status = sqlpiValidateDocument(type, document, output.data(), ca, &verdict.mistake);
    verdict.sqlcode = ca.sqlcode;
    verdict.tokens = config::tokensOf(ca);
    verdict.sqlstate.assign(ca.sqlstate, sizeof ca.sqlstate);
    verdict.output.assign(output.data(), strnlen(output.data(), output.size()));
    return verdict;
}

inline const char* typeOf(std::string_view document) {
    return document.find("KELMaintenanceWindows") != document.npos ? "MAINTENANCE_WINDOW"
           : document.find("KELAutoBackup") != document.npos       ? "AUTO_BACKUP"
           : document.find("KELAutoReorg") != document.npos        ? "AUTO_REORG"
                                                                   : "AUTO_RUNSTATS";
}

/* Demands that the document is refused with these tokens, and that nothing else has changed. */
inline void expectRefused(const Verdict& verdict, int32_t sqlcode, const std::vector<std::string>& tokens) {
    EXPECT_EQ(verdict.status, 0x90000002U);
    EXPECT_EQ(verdict.sqlcode, sqlcode);
    EXPECT_EQ(verdict.tokens, tokens);
    EXPECT_EQ(verdict.sqlstate, "     ");
    EXPECT_EQ(verdict.output, untouched);
}

}  // namespace validated

#endif
