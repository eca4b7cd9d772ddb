/* What the scenarios of configuration documents share: documents, the stored rows, and the administration log. */
#ifndef TESTS_SCENARIO_CONFIGURATION_SCENARIO_H
#define TESTS_SCENARIO_CONFIGURATION_SCENARIO_H

#include <nlohmann/json.hpp>
#include <sstream>

#include "host/callLevelClient.h"
#include "scenario.h"

namespace scenario {

inline const std::string configurationNamespace = "http://kelpolicy.example/xmlns/prod/kel/autonomic/config";

/* The root's tag stands in line 1, the rest from line 2 on. */
inline std::string configuration(const std::string& root, const std::string& content) {
    return "<" + root + " xmlns=\"" + configurationNamespace + "\">\n" + content + "</" + root + ">\n";
}

/* An attribute that is empty is left out. */
struct WindowConfiguration {
    std::string startTime = "22:00:00";
    std::string duration = "8";
    std::string occurrence = "During";
    std::string daysOfWeek = "All";
    std::string daysOfMonth = "All";
    std::string monthsOfYear = "All";
};

/* Its start tag is the first line, its lists are the next three. */
inline std::string windowElement(const std::string& element, const WindowConfiguration& window) {
    const auto attribute = [](const char* name, const std::string& value) {
        return value.empty() ? std::string() : std::string(" ") + name + "=\"" + value + "\"";
    };
    return " <" + element + attribute("Occurrence", window.occurrence) + attribute("startTime", window.startTime) +
           attribute("duration", window.duration) + ">\n  <DaysOfWeek>" + window.daysOfWeek +
           "</DaysOfWeek>\n  <DaysOfMonth>" + window.daysOfMonth + "</DaysOfMonth>\n  <MonthsOfYear>" +
           window.monthsOfYear + "</MonthsOfYear>\n </" + element + ">\n";
}

inline std::string windowsConfiguration(const WindowConfiguration& online) {
    return configuration("KELMaintenanceWindows", windowElement("OnlineWindow", online));
}
inline std::string windowsConfiguration(const WindowConfiguration& online, const WindowConfiguration& offline) {
    return configuration("KELMaintenanceWindows",
                         windowElement("OnlineWindow", online) + windowElement("OfflineWindow", offline));
}

inline std::string backupConfiguration(const std::string& target, const std::string& hours = "24") {
    return configuration("KELAutoBackupPolicy",
                         " <BackupOptions><BackupTarget>\n  " + target +
                             "\n </BackupTarget></BackupOptions>\n <BackupCriteria numberOfFullBackups=\"2\" "
                             "timeSinceLastBackup=\"" +
                             hours + "\" logSpaceConsumedSinceLastBackup=\"6400\"/>\n");
}

inline std::string diskTarget(const std::string& path) {
    return "<DiskBackupTarget><PathName>" + path + "</PathName></DiskBackupTarget>";
}

/* `filter` is XML; it begins in line 3. */
inline std::string reorgConfiguration(const std::string& filter, const std::string& options = "") {
    return configuration("KELAutoReorgPolicy", " <ReorgOptions" + options +
                                                   "/><ReorgTableScope maxOfflineReorgTableSize=\"1000\">\n  "
                                                   "<FilterClause>" +
                                                   filter + "</FilterClause>\n </ReorgTableScope>\n");
}
inline std::string runstatsConfiguration(const std::string& filter) {
    return configuration("KELAutoRunstatsPolicy", " <RunstatsTableScope>\n  <FilterCondition>" + filter +
                                                      "</FilterCondition>\n </RunstatsTableScope>\n");
}

struct ConfigurationName {
    const char* type;
    const char* shortName;
    const char* policy;
};
inline constexpr ConfigurationName configurationNames[] = {{"MAINTENANCE_WINDOW", "windows", "CommonPolicy"},
                                                           {"AUTO_BACKUP", "backup", "DBBackupPolicy"},
                                                           {"AUTO_REORG", "reorg", "TableReorgPolicy"},
                                                           {"AUTO_RUNSTATS", "runstats", "TableRunstatsPolicy"}};

/* A valid document of each type, in the order above. */
inline std::vector<std::string> validConfigurations() {
    return {windowsConfiguration({}), backupConfiguration(diskTarget("")), reorgConfiguration("TABSCHEMA = 'A'"),
            runstatsConfiguration("TABSCHEMA = 'B'")};
}

struct StoredRow {
    std::string updateTime{};
    std::string document{};

    friend bool operator==(const StoredRow&, const StoredRow&) = default;
};

/* The objects of standard error, by their only key: "note" or "error". */
inline std::vector<nlohmann::json> objectsOf(const std::string& lines, const char* key) {
    std::vector<nlohmann::json> found;
    std::istringstream all(lines);
    for (std::string line; std::getline(all, line);) {
        const nlohmann::json object = nlohmann::json::parse(line);
        if (object.contains(key)) found.push_back(object[key]);
    }
    return found;
}

/* The lines without those that tell of few hours in the coming days, which depend on the day of the test. */
inline std::string withoutRareWindows(const std::string& lines) {
    std::istringstream all(lines);
    std::string rest;
    for (std::string line; std::getline(all, line);)
        if (line.find("days: less than 48 h") == std::string::npos) rest += line + "\n";
    return rest;
}

class ConfigurationScenario : public Scenario {
protected:
    /* What no command may change that fails or only looks. */
    struct State {
        std::vector<StoredRow> rows{};
        std::string administrationLog{};

        friend bool operator==(const State&, const State&) = default;
    };

    StoredRow row(const std::string& policy) const {
        kelhost::EngineContext context(kelhost::Instance::create(instance()));
        const kelhost::EngineContext::Scope bound(context);
        hosttest::Client client;
        const std::vector<std::string> times =
            client.rows("SELECT UPDATE_TIME FROM SYSTOOLS.POLICY WHERE NAME='" + policy + "'");
        if (times.size() != 1) return {};
        EXPECT_EQ(client.run("SELECT POLICY FROM SYSTOOLS.POLICY WHERE NAME='" + policy + "'"), SQL_SUCCESS);
        EXPECT_EQ(SQLFetch(client.stmt), SQL_SUCCESS);
        std::string document(size_t{1} << 20, '\0');
        SQLLEN length = 0;
        EXPECT_EQ(
            SQLGetData(client.stmt, 1, SQL_C_BINARY, document.data(), static_cast<SQLLEN>(document.size()), &length),
            SQL_SUCCESS);
        document.resize(static_cast<size_t>(length));
        return {times.front(), document};
    }

    std::string administrationLog() const { return readFile(instance() + "/log/administration.log"); }

    State state() const {
        State all;
        for (const ConfigurationName& name : configurationNames) all.rows.push_back(row(name.policy));
        all.administrationLog = administrationLog();
        return all;
    }

    nlohmann::json set(const std::string& type, const std::string& document,
                       std::vector<std::string> options = {}) const {
        options.insert(options.begin(), {"--json", "set", type, "-"});
        const Outcome outcome = run(options, {.input = document});
        EXPECT_EQ(outcome.status, 0) << outcome.err << document;
        return outcome.status == 0 ? nlohmann::json::parse(outcome.out) : nlohmann::json::object();
    }

    /* The error of a command that must fail with status 1 and say nothing else. */
    nlohmann::json failureOf(std::vector<std::string> arguments, Surroundings surroundings = {}) const {
        arguments.insert(arguments.begin(), "--json");
        const Outcome outcome = run(arguments, std::move(surroundings));
        EXPECT_EQ(outcome.status, 1) << outcome.out << outcome.err;
        EXPECT_EQ(outcome.out, "");
        const std::vector<nlohmann::json> errors = objectsOf(outcome.err, "error");
        EXPECT_EQ(errors.size(), 1U) << outcome.err;
        return errors.empty() ? nlohmann::json::object() : errors.front();
    }
};

}  // namespace scenario

#endif
