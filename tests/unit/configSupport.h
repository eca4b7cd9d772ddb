/* What the tests of the configuration procedures share: documents, and the procedures as a caller sees them. */
#ifndef TESTS_UNIT_CONFIG_SUPPORT_H
#define TESTS_UNIT_CONFIG_SUPPORT_H

#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/wholeFile.h"
#include "sqlpiPolicyConfig.h"
#include "unit/servicesSupport.h"

namespace config {

struct Type {
    const char* name;
    const sqlpiPolicyKey& key;
    const char* description; /* NAME by which the policy is described */
};
inline constexpr Type types[] = {
    {"MAINTENANCE_WINDOW", SQLPI_MAINT_WINDOW_KEY, "CommonPolicy"},
    {"AUTO_BACKUP", SQLPI_BACKUP_KEY, "DBBackupPolicy"},
    {"AUTO_REORG", SQLPI_REORG_KEY, "TableReorgPolicy"},
    {"AUTO_RUNSTATS", SQLPI_RUNSTATS_KEY, "TableRunstatsPolicy"},
};

inline std::string root(const std::string& name, const std::string& content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<" + name + " xmlns=\"" SQLPI_CONFIG_NAMESPACE "\">" + content +
           "</" + name + ">";
}
inline std::string windows(
    const std::string& attributes = "Occurrence=\"During\" startTime=\"22:00:00\" duration=\"8\"",
    const std::string& days = "Sat Sun") {
    return root("KELMaintenanceWindows", "<OnlineWindow " + attributes + "><DaysOfWeek>" + days +
                                             "</DaysOfWeek><DaysOfMonth>All</DaysOfMonth>"
                                             "<MonthsOfYear>All</MonthsOfYear></OnlineWindow>");
}
inline std::string backup(const std::string& target = "<DiskBackupTarget><PathName/></DiskBackupTarget>",
                          int fullBackups = 3) {
    return root("KELAutoBackupPolicy", "<BackupOptions mode=\"Online\"><BackupTarget>" + target +
                                           "</BackupTarget></BackupOptions><BackupCriteria numberOfFullBackups=\"" +
                                           std::to_string(fullBackups) +
                                           "\" timeSinceLastBackup=\"24\" logSpaceConsumedSinceLastBackup=\"1000\"/>");
}
inline std::string reorg(const std::string& filter = "TABSCHEMA = 'S'") {
    return root(
        "KELAutoReorgPolicy",
        "<ReorgOptions dictionaryOption=\"Rebuild\" indexReorgMode=\"Online\" useSystemTempTableSpace=\"true\"/>"
        "<ReorgTableScope maxOfflineReorgTableSize=\"52\"><FilterClause>" +
            filter + "</FilterClause></ReorgTableScope>");
}
inline std::string runstats(const std::string& filter = "TABSCHEMA = 'S'") {
    return root("KELAutoRunstatsPolicy",
                "<RunstatsTableScope><FilterCondition>" + filter + "</FilterCondition></RunstatsTableScope>");
}
inline std::string soundDocument(const std::string& type) {
    return type == "MAINTENANCE_WINDOW" ? windows()
           : type == "AUTO_BACKUP"      ? backup()
           : type == "AUTO_REORG"       ? reorg()
                                        : runstats();
}

/* What a caller gets back. */
struct Outcome {
    uint32_t status = 0;
    std::string sqlstate{};
    int32_t sqlcode = 0;
    std::vector<std::string> tokens{};
    std::string document{};
    int16_t documentNull = 0;

    bool isDone() const { return status == SQLPI_CONFIG_OK && sqlcode == 0 && sqlstate == "00000"; }
};
inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    out << std::hex << outcome.status << std::dec << " SQLCODE " << outcome.sqlcode << " SQLSTATE " << outcome.sqlstate;
    for (const std::string& token : outcome.tokens) out << " [" << token << ']';
    return out;
}

inline std::vector<std::string> tokensOf(const sqlca& ca) {
    std::vector<std::string> tokens;
    std::string text(ca.sqlerrmc, static_cast<size_t>(ca.sqlerrml));
    while (!text.empty()) {
        const size_t end = std::min(text.find(SQLCA_TOKEN_SEPARATOR), text.size());
        tokens.push_back(text.substr(0, end));
        text.erase(0, end + 1);
    }
    return tokens;
}

/* Runs an entry with the arguments that the engine adds, which begin as rubbish. */
template <class Call>
Outcome run(Call call) {
    sqlca ca;
    std::memset(&ca, 0x2A, sizeof ca);
    char sqlstate[SQLUDF_STATE_SIZE] = "*****";
    Outcome outcome;
    outcome.status = call(sqlstate, &ca);
    outcome.sqlstate = sqlstate;
    outcome.sqlcode = ca.sqlcode;
    EXPECT_EQ(std::string(ca.sqlstate, sizeof ca.sqlstate), outcome.sqlstate);
    outcome.tokens = tokensOf(ca);
    return outcome;
}

/* An argument; nothing is a null pointer. */
using Argument = std::optional<std::string>;
inline const char* pointer(const Argument& argument) {
    return argument.has_value() ? argument->c_str() : nullptr;
}

/* A large-object value with room for what the contract says. */
class Lob {
public:
    explicit Lob(const std::string& content = {}) : bytes_(sizeof(sqludf_lob) + SQLUDF_LARGEST_LOB) {
        get()->length = static_cast<uint32_t>(content.size());
        content.copy(get()->data, content.size());
    }
    sqludf_lob* get() { return reinterpret_cast<sqludf_lob*>(bytes_.data()); }
    std::string text() { return {get()->data, get()->length}; }

private:
    std::vector<char> bytes_;
};

inline Outcome getDocument(const Argument& type, int16_t typeNull = 0) {
    Lob lob("rubbish");
    int16_t documentNull = 7;
    Outcome outcome = run([&](char* sqlstate, sqlca* ca) {
        return kelAutomaintGetPolicyDocSpLocal(pointer(type), lob.get(), &typeNull, &documentNull, sqlstate, "", "",
                                               nullptr, nullptr, ca);
    });
    outcome.document = lob.text();
    outcome.documentNull = documentNull;
    return outcome;
}
inline Outcome setDocument(const Argument& type, const Argument& document, int16_t typeNull = 0,
                           int16_t documentNull = 0) {
    Lob lob(document.value_or(""));
    return run([&](char* sqlstate, sqlca* ca) {
        return kelAutomaintSetPolicyDocSpLocal(pointer(type), document.has_value() ? lob.get() : nullptr, &typeNull,
                                               &documentNull, sqlstate, "", "", nullptr, nullptr, ca);
    });
}
inline Outcome getFile(const Argument& type, const Argument& name, int16_t typeNull = 0, int16_t nameNull = 0) {
    return run([&](char* sqlstate, sqlca* ca) {
        return kelAutomaintGetPolicyFileSpLocal(pointer(type), pointer(name), &typeNull, &nameNull, sqlstate, "", "",
                                                nullptr, nullptr, ca);
    });
}
inline Outcome setFile(const Argument& type, const Argument& name, int16_t typeNull = 0, int16_t nameNull = 0) {
    return run([&](char* sqlstate, sqlca* ca) {
        return kelAutomaintSetPolicyFileSpLocal(pointer(type), pointer(name), &typeNull, &nameNull, sqlstate, "", "",
                                                nullptr, nullptr, ca);
    });
}

using hosttest::readWhole;
inline void writeWhole(const std::string& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

/* An engine with bound package: what the first use of the procedures logs is gone. */
class ProceduresTest : public services::EngineTest {
protected:
    ProceduresTest() {
        EXPECT_TRUE(getDocument("AUTO_BACKUP").isDone());
        commit();
        clearLogs();
    }
    std::string tmp(const std::string& name) const { return instance().path() + "/tmp/" + name; }

    /* Only what says that something went wrong. */
    std::vector<std::string> takeComplaints() {
        std::vector<std::string> complaints;
        for (const services::LogRecord& record : takeDiagnosticLog())
            if (record.importance <= PD_ERROR) complaints.push_back(record.text);
        return complaints;
    }
};

}  // namespace config

#endif
