// kelpolicy set: configuration documents become stored policies, in one transaction or not at all.
#include <sys/stat.h>

#include "configurationScenario.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliSet : public ConfigurationScenario {
protected:
    std::string description(const std::string& policy) const {
        return json::parse(run({"describe", policy, "--json"}).out)[0].at("description");
    }
    std::string serverFile(const std::string& name) const { return instance() + "/tmp/" + name; }
};

std::vector<std::string> keysOf(const nlohmann::ordered_json& object) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : object.items()) keys.push_back(key);
    return keys;
}

/* --- success ------------------------------------------------------------------------------------------------------ */

TEST_F(CliSet, storesEachTypeAndTellsTheDescriptionsBeforeAndAfter) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::vector<std::string> documents = validConfigurations();
    for (size_t i = 0; i < documents.size(); ++i) {
        const ConfigurationName& name = configurationNames[i];
        const std::string before = description(name.policy);
        const StoredRow rowBefore = row(name.policy);
        const std::string logBefore = administrationLog();

        const Outcome outcome = run({"set", name.type, "-", "--json"}, {.input = documents[i]});
        ASSERT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err, "") << name.type;
        const auto answer = nlohmann::ordered_json::parse(outcome.out);
        EXPECT_EQ(keysOf(answer), (std::vector<std::string>{"type", "policy", "stored", "before", "after"}));
        const std::string after = description(name.policy);
        EXPECT_NE(before, after) << name.type;
        EXPECT_EQ(answer.at("type"), name.type);
        EXPECT_EQ(answer.at("policy"), name.policy);
        EXPECT_EQ(answer.at("stored"), true);
        EXPECT_EQ(answer.at("before"), before);
        EXPECT_EQ(answer.at("after"), after);

        EXPECT_NE(row(name.policy).document, rowBefore.document);
        EXPECT_GT(row(name.policy).updateTime, rowBefore.updateTime);
        const std::string record = administrationLog().substr(logBefore.size());
        EXPECT_EQ(std::count(record.begin(), record.end(), '\n'), 1) << record;
        for (const std::string& part : {std::string(name.type), before, after})
            EXPECT_NE(record.find(part), std::string::npos) << record;
    }
}

TEST_F(CliSet, saysInWordsWhatChanged) {
    writeFile(file("windows.xml"), windowsConfiguration({}));
    const Outcome outcome = run({"set", "windows", file("windows.xml")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "MAINTENANCE_WINDOW  (CommonPolicy): set\n"
              "before  Online window:  Start Date: Current Date  End Date: none  Maintenance occurs inside window  "
              "Time:  00:00:00 - 00:00:00  Days of week:  All  Days of month:  All  Month of year:  All\n"
              "after   Online window:  Start Date: Current Date  End Date: none  Maintenance occurs inside window  "
              "Time:  22:00:00 - 06:00:00  Days of week:  All  Days of month:  All  Month of year:  All\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CliSet, takesTheTypeInAnyCaseAndInShort) {
    const std::vector<std::string> documents = validConfigurations();
    for (const char* word : {"MAINTENANCE_WINDOW", "maintenance_window", "Maintenance_Window", "windows", "WINDOWS"})
        EXPECT_EQ(set(word, documents[0]).at("type"), "MAINTENANCE_WINDOW") << word;
    for (const char* word : {"AUTO_BACKUP", "auto_backup", "backup", "Backup"})
        EXPECT_EQ(set(word, documents[1]).at("type"), "AUTO_BACKUP") << word;
    for (const char* word : {"AUTO_REORG", "auto_reorg", "reorg"})
        EXPECT_EQ(set(word, documents[2]).at("type"), "AUTO_REORG") << word;
    for (const char* word : {"AUTO_RUNSTATS", "auto_runstats", "runstats"})
        EXPECT_EQ(set(word, documents[3]).at("type"), "AUTO_RUNSTATS") << word;
}

/* --- the command line --------------------------------------------------------------------------------------------- */

TEST_F(CliSet, refusesACommandLineThatMakesNoSense) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        std::string inMessage;
    } cases[] = {
        {"no type", {"set"}, "TYPE is required"},
        {"no type of ours",
         {"set", "AUTO_FROB", "-"},
         "\"AUTO_FROB\" is no policy type; these are: MAINTENANCE_WINDOW (windows), AUTO_BACKUP (backup), AUTO_REORG "
         "(reorg), AUTO_RUNSTATS (runstats)"},
        {"the name of a policy without one",
         {"set", "StatsProfilePolicy", "-"},
         "\"StatsProfilePolicy\" is no policy type"},
        {"the beginning of a type", {"set", "AUTO", "-"}, "\"AUTO\" is no policy type"},
        {"no document", {"set", "backup"}, "say from where"},
        {"two documents", {"set", "backup", "-", "--server-file", "b.xml"}, "excludes"},
        {"an empty path", {"set", "backup", ""}, "the value is empty"},
        {"an empty server file", {"set", "backup", "--server-file", ""}, "the value is empty"},
        {"a moment without a dry run", {"set", "backup", "-", "--at", "2026-03-01"}, "--dry-run"},
        {"a zone without a dry run", {"set", "backup", "-", "--tz", "UTC"}, "--dry-run"},
        {"all stretches without a dry run", {"set", "windows", "-", "--all"}, "--dry-run"},
    };
    for (const auto& example : cases) {
        std::vector<std::string> arguments = example.arguments;
        arguments.emplace_back("--json");
        const Outcome outcome = run(arguments, {.input = validConfigurations()[1]});
        EXPECT_EQ(outcome.status, 2) << example.name << outcome.err;
        EXPECT_EQ(outcome.out, "") << example.name;
        const std::string message = json::parse(outcome.err).at("error").at("message");
        EXPECT_NE(message.find(example.inMessage), std::string::npos) << example.name << ": " << message;
    }
    EXPECT_FALSE(fs::exists(instance()));
}

/* --- documents that are refused ----------------------------------------------------------------------------------- */

struct RefusedCase {
    const char* name;
    const char* type;
    std::string document;
    int sqlcode;
    json tokens;
    int line; /* 0: no place */
    int column;
    std::string inDetail;
};

const std::string declared = "<?xml version=\"1.0\" encoding=\"";

std::vector<RefusedCase> refusedCases() {
    const std::string longPath = "/" + std::string(2050, 'x');
    return {
        {"a duration of 25",
         "windows",
         windowsConfiguration({.duration = "25"}),
         -1437,
         {"2", "71", "value '25' must be less than or equal to maxInclus"},
         2,
         71,
         "value '25' must be less than or equal to maxInclusive facet value '24'"},
        {"no XML", "backup", "backup daily", -1447, {"4"}, 1, 1, "invalid document structure"},
        {"an end that is missing", "runstats",
         "<KELAutoRunstatsPolicy xmlns=\"" + configurationNamespace + "\">\n <RunstatsTableScope>", -1437, json(), 2, 0,
         "input ended before all started tags were ended"},
        {"a document of another type", "reorg", windowsConfiguration({}), -1437, json(), 1, 0, "KELMaintenanceWindows"},
        {"a number of sessions that is too large", "backup",
         backupConfiguration("<VLTBackupTarget numberOfSessions=\"1000\"/>"), -1437, json(), 3, 0, "'1000'"},
        {"another encoding", "windows", declared + "ISO-8859-1\"?>" + windowsConfiguration({}), -1447, {"5"}, 0, 0, ""},
        {"a directory that does not exist",
         "backup",
         backupConfiguration(diskTarget("/,/nonexistent/backups")),
         -1447,
         {"1"},
         0,
         0,
         "Backup image storage location does not exist."},
        {"a path that the engine would cut",
         "backup",
         backupConfiguration(diskTarget(longPath)),
         -1447,
         {"6"},
         0,
         0,
         "2047"},
        {"a filter that does not fit",
         "runstats",
         runstatsConfiguration("TABNAME IN ('" + std::string(3000, 'x') + "')"),
         -1447,
         {"6"},
         0,
         0,
         "bytes"},
    };
}

TEST_F(CliSet, refusesADocumentWithItsPlaceAndChangesNothing) {
    ASSERT_EQ(run({"init"}).status, 0);
    set("backup", validConfigurations()[1]);
    const State before = state();
    for (const RefusedCase& example : refusedCases()) {
        for (const bool isDryRun : {false, true}) {
            std::vector<std::string> arguments = {"set", example.type, "-"};
            if (isDryRun) arguments.emplace_back("--dry-run");
            const json error = failureOf(arguments, {.input = example.document});
            EXPECT_EQ(error.at("sqlcode"), example.sqlcode) << example.name << error;
            EXPECT_EQ(error.at("sqlstate"), "5U0ZZ") << example.name;
            if (!example.tokens.is_null()) {
                EXPECT_EQ(error.at("tokens"), example.tokens) << example.name;
            }
            EXPECT_EQ(error.value("line", 0), example.line) << example.name << error;
            if (example.column != 0) {
                EXPECT_EQ(error.at("column"), example.column) << example.name;
            }
            if (example.sqlcode == -1437) {
                EXPECT_EQ(error.at("tokens")[0], std::to_string(example.line)) << example.name;
            }
            EXPECT_EQ(error.at("document"), "<stdin>") << example.name;
            EXPECT_NE(error.at("detail").get<std::string>().find(example.inDetail), std::string::npos)
                << example.name << error;
            EXPECT_NE(error.at("message").get<std::string>().find("KEL" + std::to_string(-example.sqlcode)),
                      std::string::npos)
                << error;
            EXPECT_NE(error.at("hint"), "") << example.name;
            EXPECT_EQ(state(), before) << example.name;
        }
    }
}

TEST_F(CliSet, showsTheLineWithACaret) {
    writeFile(file("w.xml"), windowsConfiguration({.startTime = "9:00", .duration = ""}));
    const Outcome outcome = run({"set", "windows", file("w.xml")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    const std::string line = " <OnlineWindow Occurrence=\"During\" startTime=\"9:00\">";
    const std::string place = "\n" + file("w.xml") + ":2:" + std::to_string(line.size() + 1) + ": error: ";
    EXPECT_NE(outcome.err.find(place), std::string::npos) << outcome.err;
    EXPECT_NE(outcome.err.find("\n" + line + "\n" + std::string(line.size(), ' ') +
                               "^\n  SQLCODE -1437, SQLSTATE "
                               "5U0ZZ\n  Tokens \"2\", "),
              std::string::npos)
        << outcome.err;
}

TEST_F(CliSet, tellsThatThereIsNoDocument) {
    writeFile(file("empty.xml"), "");
    writeFile(file("large.xml"), std::string((size_t{2} << 20) + 1, ' '));
    const struct {
        const char* name;
        std::string path;
        std::string inMessage;
    } cases[] = {{"missing", file("none.xml"), "No such file"},
                 {"a directory", file(""), "Is a directory"},
                 {"empty", file("empty.xml"), "is empty"},
                 {"too large", file("large.xml"), "is longer than 2097152 bytes"}};
    for (const auto& example : cases) {
        const json error = failureOf({"set", "windows", example.path});
        EXPECT_EQ(error.at("sqlcode"), -1436) << example.name;
        EXPECT_NE(error.at("message").get<std::string>().find(example.inMessage), std::string::npos) << error;
    }
    EXPECT_EQ(failureOf({"set", "windows", "-"}).at("sqlcode"), -1436) << "nothing on standard input";
    EXPECT_FALSE(fs::exists(instance())) << "what cannot be read makes no instance";
}

TEST_F(CliSet, failsWithoutARow) {
    ASSERT_EQ(run({"init"}).status, 0);
    execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME='CommonPolicy'");
    const State before = state();
    for (const std::vector<std::string>& options : {std::vector<std::string>(), {"--dry-run"}}) {
        std::vector<std::string> arguments = {"set", "windows", "-"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const json error = failureOf(arguments, {.input = windowsConfiguration({})});
        EXPECT_EQ(error.at("sqlcode"), 100) << error;
        EXPECT_EQ(error.at("policy"), "CommonPolicy");
        EXPECT_NE(error.at("hint").get<std::string>().find("\"kelpolicy init\""), std::string::npos) << error;
        EXPECT_EQ(state(), before);
    }
}

TEST_F(CliSet, leavesNothingBehindWhenTheDatabaseRefusesTheUpdate) {
    ASSERT_EQ(run({"init"}).status, 0);
    set("windows", windowsConfiguration({}));
    administer(
        "CREATE UNIQUE INDEX SYSTOOLS.ONE_OF_THEM ON POLICY (CASE WHEN instr(POLICY, 'FinanceTablesReorg') > 0 OR "
        "instr(POLICY, 'HRTablesRunstats') > 0 THEN 1 END)");
    set("reorg", validConfigurations()[2]);
    const State before = state();
    const json error = failureOf({"set", "runstats", "-"}, {.input = validConfigurations()[3]});
    EXPECT_EQ(error.at("sqlcode"), -803) << error;
    EXPECT_EQ(error.at("policy"), "TableRunstatsPolicy");
    EXPECT_EQ(state(), before);
}

/* --- texts that would not come back ------------------------------------------------------------------------------- */

struct UnreadableCase {
    const char* name;
    const char* type;
    std::string document;
    int line;
    int column;
    std::string inDetail;
    std::string inHint;
};

std::vector<UnreadableCase> unreadableCases() {
    const std::string path = "  <DiskBackupTarget><PathName>";
    const auto library = [](const std::string& name, const std::string& options) {
        return backupConfiguration("<VendorLibBackupTarget><LibFilename>" + name + "</LibFilename><LibOptions>" +
                                   options + "</LibOptions></VendorLibBackupTarget>");
    };
    return {
        {"less", "reorg", reorgConfiguration("X &lt; 5"), 3, 19, "read nothing of the policy", "Y > X"},
        {"not less", "runstats", runstatsConfiguration("X &lt;= 5"), 3, 22, "read nothing", "Y >= X for X <= Y"},
        {"unequal", "reorg", reorgConfiguration("<![CDATA[X <> 5]]>"), 3, 17, "read nothing", "NOT (X = Y)"},
        {"ampersand", "runstats", runstatsConfiguration("X = 'R&amp;D'"), 3, 26, "read nothing", "CHR(38)"},
        {"escaped twice", "reorg", reorgConfiguration("X &amp;lt; 5"), 3, 19, "read \"X < 5\"", "Y > X"},
        {"another constant", "reorg", reorgConfiguration("X = 1&lt;/Constant>&lt;Constant>Y = 2"), 3, 22,
         "read \"X = 1\"", "without markup"},
        {"another policy", "runstats",
         runstatsConfiguration("A&lt;/Constant>&lt;/Equals>&lt;Equals>&lt;kel:Sensors>Tables&lt;/kel:Sensors>"
                               "&lt;Constant>B"),
         3, 21, "read \"B\"", "without markup"},
        {"a comment", "reorg", reorgConfiguration("X &lt;!-- > 3 --> = 1"), 3, 19, "read \"X  = 1\"", "without markup"},
        {"an end of CDATA", "reorg", reorgConfiguration("X[Y[1]]&gt; 3"), 3, 24, "read nothing", "without markup"},
        {"a carriage return", "reorg", reorgConfiguration("X&#13;= 1"), 3, 18, "read \"X\n= 1\"", "without markup"},
        {"a library", "backup", library("/lib/a&amp;b.so", ""), 3, 45, "LibFilename", "symbolic link"},
        {"library options", "backup", library("/lib/a.so", "x=&lt;1>"), 3, 76, "LibOptions", ""},
    };
}

TEST_F(CliSet, refusesWhatTheEngineWouldNotReadBackAndSaysHowToWriteIt) {
    ASSERT_EQ(run({"init"}).status, 0);
    const State before = state();
    for (const UnreadableCase& example : unreadableCases()) {
        for (const char* option : {"--json", "--dry-run"}) {
            const json error = failureOf({"set", example.type, "-", option}, {.input = example.document});
            EXPECT_EQ(error.at("sqlcode"), -1438) << example.name << error;
            EXPECT_EQ(error.at("sqlstate"), "5U0ZZ");
            EXPECT_EQ(error.at("line"), example.line) << example.name << error;
            EXPECT_EQ(error.at("column"), example.column) << example.name << error;
            EXPECT_NE(error.at("detail").get<std::string>().find(example.inDetail), std::string::npos)
                << example.name << error;
            const std::string hint = error.at("hint");
            EXPECT_NE(hint.find(example.inHint), std::string::npos) << example.name << error;
            EXPECT_NE(hint.find("--force"), std::string::npos) << example.name;
            EXPECT_EQ(state(), before) << example.name;
        }
    }
}

TEST_F(CliSet, storesItAnywayWhenForcedAndSaysSo) {
    const Outcome outcome = run({"set", "reorg", "-", "--force", "--json"}, {.input = reorgConfiguration("X &lt; 5")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const std::vector<json> notes = objectsOf(outcome.err, "note");
    ASSERT_EQ(notes.size(), 1U) << outcome.err;
    EXPECT_EQ(notes[0], "stored, --force: cannot set AUTO_REORG: FilterClause would not come back as it is written");
    EXPECT_NE(row("TableReorgPolicy").document.find("<Constant>X < 5</Constant>"), std::string::npos);
    EXPECT_EQ(run({"describe", "TableReorgPolicy"}).status, 1) << "the engine cannot read it";

    execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME='TableReorgPolicy'");
    const Outcome failed = run({"set", "reorg", "-", "--force", "--json"}, {.input = reorgConfiguration("X &lt; 5")});
    EXPECT_EQ(failed.status, 1);
    EXPECT_EQ(objectsOf(failed.err, "note").size(), 0U) << "nothing is stored: " << failed.err;
}

TEST_F(CliSet, storesWhatOnlyLooksDangerous) {
    for (const char* filter : {"X > 5 AND 7 >= Y", "  X = 1  ", "", "   ", "X = 'a&gt;b'", "X = &quot;Y&quot;",
                               "NOT (X &gt;= 5)\n  OR X = 'Müller 東'", "<!-- a comment --> X = 1"}) {
        const json answer = set("reorg", reorgConfiguration(filter));
        EXPECT_EQ(answer.at("stored"), true) << filter;
    }
}

/* --- what comes back as something else ---------------------------------------------------------------------------- */

TEST_F(CliSet, tellsWhatIsStoredOrReadBackAsSomethingElse) {
    const std::string reads = "line 2: OnlineWindow duration=\"";
    const std::string dropped = ": the minutes behind midnight are dropped";
    const struct {
        const char* startTime;
        const char* duration;
        std::vector<std::string> notes;
    } cases[] = {
        {"22:00:00", "8", {}},
        {"22:00:00", "2", {}},
        {"", "", {}},
        {"00:00:00", "24", {}},
        {"24:00:00", "+05", {}},
        {"23:00:00", "1", {reads + "1\" reads back as \"2\""}},
        {"08:00:00", "24", {reads + "24\" reads back as \"1\""}},
        {"22:20:00", "2", {"line 2: OnlineWindow of 2 h is stored as 22:20:00 to 23:59:59" + dropped}},
        {"21:30:00",
         "3",
         {reads + "3\" reads back as \"2\"",
          "line 2: OnlineWindow of 3 h is stored as 21:30:00 to 23:59:59" + dropped}},
        {"23:00:00Z", "4", {"line 2: OnlineWindow startTime=\"23:00:00Z\" reads back as \"23:00:00\""}},
        {"10:15:30.5", "2", {"line 2: OnlineWindow startTime=\"10:15:30.5\" reads back as \"10:15:30\""}},
    };
    for (const auto& example : cases) {
        const Outcome outcome =
            run({"set", "windows", "-", "--json"},
                {.input = windowsConfiguration({.startTime = example.startTime, .duration = example.duration})});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        const std::vector<json> notes = objectsOf(withoutRareWindows(outcome.err), "note");
        EXPECT_EQ(json(notes), json(example.notes)) << example.startTime << " " << example.duration;
    }
}

TEST_F(CliSet, tellsOfNumbersThatDoNotFitAndOfTheOfflineWindow) {
    const Outcome backup =
        run({"set", "backup", "-", "--json"}, {.input = backupConfiguration(diskTarget(""), "99999999999")});
    EXPECT_EQ(json(objectsOf(backup.err, "note")),
              json({"line 5: BackupCriteria timeSinceLastBackup=\"99999999999\" reads back as \"2147483647\""}));
    const Outcome reorg = run({"set", "reorg", "-", "--json"},
                              {.input = reorgConfiguration("X = 1", " reclaimExtentsSizeForMDCTables=\"007\"")});
    EXPECT_EQ(json(objectsOf(reorg.err, "note")),
              json({"line 2: ReorgOptions reclaimExtentsSizeForMDCTables=\"007\" reads back as \"0\""}));
    const Outcome windows = run({"set", "windows", "-", "--json"},
                                {.input = windowsConfiguration({}, {.startTime = "23:00:00", .duration = "1"})});
    EXPECT_EQ(json(objectsOf(withoutRareWindows(windows.err), "note")),
              json({"line 7: OfflineWindow duration=\"1\" reads back as \"2\""}));
}

/* --- what is surely not meant ------------------------------------------------------------------------------------- */

TEST_F(CliSet, tellsWhatLintFindsInTheWindows) {
    const struct {
        const char* name;
        std::string document;
        std::string note; /* the beginning */
    } cases[] = {
        {"a day that no month has", windowsConfiguration({.daysOfMonth = "31", .monthsOfYear = "Feb"}),
         "line 2: the online window: it never opens within five years: no day is at once in all (day of week), 31 (day "
         "of month) and FEB (month)"},
        {"no attribute at all", windowsConfiguration({"", "", ""}), "line 2: the online window: it lasts 1 s at most"},
        {"offline, on no day", windowsConfiguration({}, {.daysOfWeek = ""}),
         "line 7: the offline window: it never opens within five years"},
    };
    for (const auto& example : cases) {
        for (const std::vector<std::string>& command :
             {std::vector<std::string>{"set", "windows", "-"}, {"set", "windows", "-", "--dry-run"}}) {
            std::vector<std::string> arguments = command;
            arguments.emplace_back("--json");
            const Outcome outcome = run(arguments, {.input = example.document});
            EXPECT_EQ(outcome.status, 0) << example.name << outcome.err;
            EXPECT_NE(outcome.err.find(example.note), std::string::npos) << example.name << outcome.err;
        }
        const Outcome valid = run({"validate", "windows", "-", "--json"}, {.input = example.document});
        EXPECT_EQ(valid.status, 0) << valid.err;
        const json notes = json::parse(valid.out).at("notes");
        EXPECT_NE(notes.dump().find(example.note), std::string::npos) << example.name << notes;
    }
}

TEST_F(CliSet, tellsThatTheDescriptionWillWrap) {
    for (const auto& [log, note] : {std::pair("8388607", ""), std::pair("8388608", "tells -2147483648 MB")}) {
        std::string document = backupConfiguration(diskTarget(""));
        document.replace(document.find("6400"), 4, log);
        const Outcome outcome = run({"set", "backup", "-"}, {.input = document});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.err.empty(), std::string(note).empty()) << outcome.err;
        EXPECT_NE(outcome.err.find(note), std::string::npos) << outcome.err;
    }
}

/* What a get gives is not always what is in force: whoever sets it again is told, in part too. */
TEST_F(CliSet, tellsThatWhatAGetGaveChangesThePolicyInForce) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string got = run({"get", "windows"}).out;
    const std::string note =
        "the online window in force before is \"every day, all day\"; setting this document makes it \"every day from "
        "00:00:00 to 01:00:00\"";
    const Outcome tried = run({"set", "windows", "-", "--dry-run"}, {.input = got});
    EXPECT_NE(tried.err.find(note), std::string::npos) << tried.err;
    std::string more = got;
    more.insert(more.find("</KELMaintenanceWindows>"), windowElement("OfflineWindow", {}));
    const Outcome set = run({"set", "windows", "-", "--json"}, {.input = more});
    EXPECT_EQ(set.status, 0) << set.err;
    EXPECT_NE(json(objectsOf(set.err, "note")).dump().find("in force before"), std::string::npos) << set.err;
    const Outcome again = run({"set", "windows", "-"}, {.input = more});
    EXPECT_EQ(again.err.find("in force before"), std::string::npos) << again.err;

    std::string unsaid = readFile(sample("backup-to-storage-manager.xml"));
    unsaid.replace(unsaid.find(" mode=\"offline\""), std::string(" mode=\"offline\"").size(), "");
    store("DBBackupPolicy", unsaid);
    const Outcome backup = run({"set", "backup", "-"}, {.input = run({"get", "backup"}).out});
    EXPECT_EQ(
        backup.err,
        "note: mode in force before is 2 (not said); setting this document makes it 1 (offline), which is what a get "
        "writes for it\n");
}

/* --- a document that is something else ---------------------------------------------------------------------------- */

std::string inUtf16(const std::string& text) {
    std::string wide = "\xFF\xFE";
    for (const char byte : text) wide += std::string(1, byte) + std::string(1, '\0');
    return wide;
}

TEST_F(CliSet, tellsWhatADocumentIsThatIsNoneOfTheType) {
    const struct {
        const char* name;
        std::string document;
        const char* what;
        const char* hint;
    } cases[] = {
        {"another type", windowsConfiguration({}),
         "is a configuration document of MAINTENANCE_WINDOW, and no document of AUTO_BACKUP: ",
         "\"kelpolicy set windows PATH\" sets it"},
        {"with a prefix, behind a comment and a document type",
         "<!-- > --><!DOCTYPE x [<!ELEMENT x ANY>]>\n<k:KELAutoReorgPolicy xmlns:k=\"" + configurationNamespace +
             "\"/>",
         "is a configuration document of AUTO_REORG", "kelpolicy set reorg"},
        {"the policy language", readFile(sample("backup-to-disk.xml")), "is a policy-language document",
         "\"kelpolicy extract\""},
        {"UTF-16 that declares UTF-8",
         inUtf16("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + validConfigurations()[1]),
         "the document is encoded in UTF-16 and declares UTF-8: ", "Save the document as UTF-8"},
    };
    for (const auto& example : cases) {
        writeFile(file("given.xml"), example.document);
        for (const char* command : {"set", "validate", "convert"}) {
            const Outcome outcome = run({command, "backup", file("given.xml")});
            EXPECT_EQ(outcome.status, 1) << example.name;
            for (const std::string& part : {file("given.xml"), std::string(example.what), std::string(example.hint)})
                EXPECT_NE(outcome.err.find(part), std::string::npos) << example.name << "\n" << outcome.err;
            EXPECT_EQ(outcome.err.find("\\x00"), std::string::npos) << outcome.err;
        }
    }
    const Outcome other = run({"set", "backup", "-"}, {.input = "<html/>"});
    EXPECT_EQ(other.err.find("is a "), std::string::npos) << other.err;
}

TEST_F(CliSet, takesListsInAnyOrderForTheSame) {
    const Outcome outcome =
        run({"set", "windows", "-", "--json"},
            {.input = windowsConfiguration(
                 {.daysOfWeek = "Sat Mon Sun", .daysOfMonth = "-1 15 +01 1", .monthsOfYear = "Dec Jan"},
                 {.daysOfWeek = "Sun Mon Tue Wed Thu Fri Sat"})});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(withoutRareWindows(outcome.err), "");
}

/* --- --dry-run ---------------------------------------------------------------------------------------------------- */

TEST_F(CliSet, showsInADryRunWhatWouldChangeAndStoresNothing) {
    ASSERT_EQ(run({"init"}).status, 0);
    set("windows", windowsConfiguration({.startTime = "22:00:00", .duration = "8"}));
    const State before = state();
    const std::string document =
        windowsConfiguration({.startTime = "23:00:00", .duration = "9"}, {.daysOfWeek = "Sat", .daysOfMonth = "-1"});
    const std::vector<std::string> arguments = {"set",  "windows",    "-",    "--dry-run",
                                                "--at", "2026-03-15", "--tz", "Europe/Berlin"};
    std::vector<std::string> withJson = arguments;
    withJson.emplace_back("--json");
    const Outcome outcome = run(withJson, {.input = document});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    const auto answer = nlohmann::ordered_json::parse(outcome.out);
    EXPECT_EQ(keysOf(answer), (std::vector<std::string>{"type", "policy", "stored", "before", "after", "windows"}));
    EXPECT_EQ(answer.at("stored"), false);
    EXPECT_NE(answer.at("before").get<std::string>().find("22:00:00 - 06:00:00"), std::string::npos);
    EXPECT_NE(answer.at("after").get<std::string>().find("23:00:00 - 08:00:00"), std::string::npos);
    EXPECT_NE(answer.at("after").get<std::string>().find("Offline window"), std::string::npos);

    // 32 mornings of two hours, one of them before the 15th begins; 32 evenings of one hour.
    const auto& online = answer.at("windows").at("online");
    EXPECT_EQ(online.at("gained").at("stretches").size(), 32U) << online;
    EXPECT_EQ(online.at("gained").at("seconds"), 32 * 2 * 3600);
    EXPECT_EQ(online.at("gained").at("stretches")[0].at("start_local"), "2026-03-15T06:00:00+01:00");
    EXPECT_EQ(online.at("gained").at("stretches")[0].at("end_local"), "2026-03-15T08:00:00+01:00");
    EXPECT_EQ(online.at("gained").at("stretches")[31].at("start_local"), "2026-04-15T06:00:00+02:00");
    EXPECT_EQ(online.at("lost").at("stretches").size(), 32U);
    EXPECT_EQ(online.at("lost").at("seconds"), 32 * 3600);
    EXPECT_EQ(online.at("lost").at("stretches")[0].at("start_local"), "2026-03-15T22:00:00+01:00");
    EXPECT_EQ(answer.at("windows").at("offline").at("gained").at("seconds"), 0)
        << "the last of March 2026 is a Tuesday";
    EXPECT_EQ(answer.at("windows").at("offline").at("lost").at("seconds"), 0);
    EXPECT_EQ(state(), before);

    const Outcome words = run(arguments, {.input = document});
    EXPECT_EQ(words.out.find("MAINTENANCE_WINDOW  (CommonPolicy): would be set, nothing is stored\nbefore  Online"), 0U)
        << words.out;
    for (const char* part :
         {"\nin the next 32 days:\nonline window gained: 64 h\n"
          "  Sun 2026-03-15 06:00:00 CET  to  Sun 2026-03-15 08:00:00 CET  (2 h)\n",
          "\nonline window lost: 32 h\n"
          "  Sun 2026-03-15 22:00:00 CET  to  Sun 2026-03-15 23:00:00 CET  (1 h)\n",
          "\n  and 29 more, which --all shows\n", "\noffline window: nothing gained, nothing lost\n"})
        EXPECT_NE(words.out.find(part), std::string::npos) << part << words.out;
    EXPECT_EQ(std::count(words.out.begin(), words.out.end(), '\n'), 4 + 2 * (1 + 3 + 1) + 1) << words.out;
    std::vector<std::string> withAll = arguments;
    withAll.emplace_back("--all");
    const Outcome all = run(withAll, {.input = document});
    EXPECT_EQ(std::count(all.out.begin(), all.out.end(), '\n'), 4 + 2 * (1 + 32) + 1) << all.out;
    EXPECT_EQ(state(), before);
}

TEST_F(CliSet, countsAWholeWindowAsGainedOrLostInADryRun) {
    set("windows", windowsConfiguration({.startTime = "00:00:00", .duration = "24"},
                                        {.startTime = "01:00:00", .duration = "4", .daysOfWeek = "Sat Sun"}));
    const auto change = [this](const std::string& document) {
        return set("windows", document, {"--dry-run", "--at", "2026-11-21T12:00", "--tz", "UTC"}).at("windows");
    };
    const json nothing = change(windowsConfiguration(
        {.startTime = "", .duration = ""}, {.startTime = "01:00:00", .duration = "4", .daysOfWeek = "Sun Sat"}));
    for (const char* window : {"online", "offline"})
        for (const char* what : {"gained", "lost"}) EXPECT_EQ(nothing[window][what].at("seconds"), 0) << nothing;
    // Nine weekend mornings from Sunday the 22nd to Sunday the 20th of December.
    const json less = change(windowsConfiguration({.startTime = "", .duration = ""}));
    EXPECT_EQ(less.at("offline").at("lost").at("stretches").size(), 9U) << less;
    EXPECT_EQ(less.at("offline").at("lost").at("seconds"), 9 * 4 * 3600);
    EXPECT_EQ(less.at("offline").at("gained").at("seconds"), 0);
    const json inverse =
        change(windowsConfiguration({.startTime = "08:00:00", .duration = "10", .occurrence = "Outside"},
                                    {.startTime = "01:00:00", .duration = "4"}));
    EXPECT_EQ(inverse.at("online").at("lost").at("stretches").size(), 33U) << inverse;
    EXPECT_EQ(inverse.at("online").at("lost").at("stretches")[0].at("start_local"), "2026-11-21T12:00:00+00:00");
    EXPECT_EQ(inverse.at("offline").at("gained").at("stretches").size(), 32U - 9U);
}

TEST_F(CliSet, describesADryRunOfEachOtherTypeAsTheSetDoes) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::vector<std::string> documents = validConfigurations();
    for (size_t i = 1; i < documents.size(); ++i) {
        const State before = state();
        json tried = set(configurationNames[i].type, documents[i], {"--dry-run"});
        EXPECT_EQ(state(), before) << configurationNames[i].type;
        json done = set(configurationNames[i].type, documents[i]);
        EXPECT_EQ(tried.at("stored"), false);
        tried.erase("stored");
        done.erase("stored");
        EXPECT_EQ(tried, done);
    }
}

TEST_F(CliSet, triesOutWhatOnlyForceStores) {
    ASSERT_EQ(run({"init"}).status, 0);
    const State before = state();
    const Outcome outcome =
        run({"set", "reorg", "-", "--force", "--dry-run", "--json"}, {.input = reorgConfiguration("X &amp;lt; 5")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(objectsOf(outcome.err, "note")[0].get<std::string>().find("would be stored, --force: "), 0U);
    EXPECT_NE(json::parse(outcome.out).at("after").get<std::string>().find("Table Scope: X < 5"), std::string::npos);
    EXPECT_EQ(state(), before);
}

TEST_F(CliSet, leavesNothingOfADryRunInTheLogs) {
    ASSERT_EQ(run({"init"}).status, 0);
    const State rows = state();
    const std::vector<std::string> documents = validConfigurations();
    for (size_t i = 0; i < documents.size(); ++i) {
        const Outcome outcome =
            run({"set", configurationNames[i].type, "-", "--dry-run", "--trace", "all"}, {.input = documents[i]});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(state(), rows) << configurationNames[i].type;
    }
    const auto log = [this](const char* name) { return readFile(instance() + "/log/" + name); };
    const std::string ofTheProcedure[] = {log("diagnostic.log"), log("trace.log")};
    EXPECT_EQ(ofTheProcedure[0].find("Policy table verification"), std::string::npos) << ofTheProcedure[0];
    EXPECT_EQ(ofTheProcedure[1].find("kelAutomaintSetPolicyDocSpLocal"), std::string::npos);
    EXPECT_NE(ofTheProcedure[1].find("sqpiGetPolicyFormatString"), std::string::npos) << "what is looked at is traced";
    EXPECT_EQ(json::parse(run({"history", "--json"}).out), json::array());
    set("windows", documents[0]);
    EXPECT_EQ(json::parse(run({"history", "--json"}).out).size(), 1U) << "the set itself is recorded";
    EXPECT_NE(log("diagnostic.log").find("Policy table verification"), std::string::npos);
}

/* --- --server-file ------------------------------------------------------------------------------------------------ */

TEST_F(CliSet, setsFromAFileOfTheServer) {
    ASSERT_EQ(run({"init"}).status, 0);
    fs::create_directories(serverFile("sub/deep"));
    const std::vector<std::string> documents = validConfigurations();
    const struct {
        const char* name;
        const char* written;
    } cases[] = {{"w.xml", "w.xml"}, {"sub/deep/w.xml", "sub/deep/w.xml"}, {"/sub/w.xml", "sub/w.xml"}};
    for (const auto& example : cases) {
        set("windows", windowsConfiguration({.startTime = "03:00:00"}));
        writeFile(serverFile(example.written), documents[0]);
        const Outcome outcome = run({"set", "windows", "--server-file", example.name, "--json"});
        EXPECT_EQ(outcome.status, 0) << example.name << outcome.err;
        EXPECT_NE(json::parse(outcome.out).at("after").get<std::string>().find("22:00:00 - 06:00:00"),
                  std::string::npos)
            << example.name;
    }
}

TEST_F(CliSet, triesOutAFileOfTheServer) {
    ASSERT_EQ(run({"init"}).status, 0);
    writeFile(serverFile("w.xml"), validConfigurations()[0]);
    const State before = state();
    const std::vector<std::string> moment = {"--dry-run", "--at", "2026-11-21T12:00", "--tz", "UTC", "--json"};
    std::vector<std::string> words = {"set", "windows", "--server-file", "w.xml"};
    words.insert(words.end(), moment.begin(), moment.end());
    const Outcome outcome = run(words);
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(json::parse(outcome.out), set("windows", validConfigurations()[0], {moment.begin(), moment.end() - 1}));
    words[3] = "none.xml";
    EXPECT_EQ(failureOf({words.begin(), words.end() - 1}).at("sqlcode"), -1436);
    EXPECT_EQ(state(), before);
}

TEST_F(CliSet, refusesAFileOfTheServerThatIsNone) {
    ASSERT_EQ(run({"init"}).status, 0);
    writeFile(serverFile("good.xml"), validConfigurations()[0]);
    writeFile(serverFile("empty.xml"), "");
    writeFile(serverFile("large.xml"), std::string((size_t{2} << 20) + 1, ' '));
    fs::create_directory(serverFile("directory"));
    fs::create_symlink("good.xml", serverFile("link.xml"));
    fs::create_directory_symlink("directory", serverFile("linked"));
    writeFile(serverFile("directory/good.xml"), validConfigurations()[0]);
    ASSERT_EQ(::mkfifo(serverFile("pipe").c_str(), 0600), 0);
    const State before = state();
    const struct {
        const char* name;
        int sqlcode;
        json tokens;
        std::string inDetail;
    } cases[] = {
        {"missing.xml", -1436, {"missing.xml"}, "does not exist"},
        {"nowhere/good.xml", -1436, {"nowhere/good.xml"}, "does not exist"},
        {"empty.xml", -1436, {"empty.xml"}, "0 bytes"},
        {"large.xml", -1436, {"large.xml"}, "longer than 2097152 bytes"},
        {"directory", -1436, {"directory"}, "input policy file directory does not have reade permission"},
        {"link.xml", -1436, {"link.xml"}, "input policy file link.xml does not have reade permission"},
        {"linked/good.xml", -1436, {"linked/good.xml"}, "input policy file linked/good.xml does not exist"},
        {"pipe", -1436, {"pipe"}, "input policy file pipe does not have reade permission"},
        {"../good.xml", -171, {"2", "AUTOMAINT_SET_POLICY"}, "contains relative path"},
        {"sub/../good.xml", -171, {"2", "AUTOMAINT_SET_POLICY"}, "contains relative path"},
        {"c:good.xml", -171, {"2", "AUTOMAINT_SET_POLICY"}, "contains relative path"},
    };
    for (const auto& example : cases) {
        const json error = failureOf({"set", "windows", "--server-file", example.name});
        EXPECT_EQ(error.at("sqlcode"), example.sqlcode) << example.name << error;
        EXPECT_EQ(error.at("sqlstate"), "5U0ZZ") << example.name;
        EXPECT_EQ(error.at("tokens"), example.tokens) << example.name;
        EXPECT_NE(error.at("detail").get<std::string>().find(example.inDetail), std::string::npos) << error;
        EXPECT_NE(error.at("hint").get<std::string>().find("tmp"), std::string::npos) << error;
        EXPECT_EQ(state(), before) << example.name;
    }
}

/* Not even the line in which something is wrong is shown. */
TEST_F(CliSet, looksAtNoFileToWhichALinkLeads) {
    ASSERT_EQ(run({"init"}).status, 0);
    fs::create_directory(file("outside"));
    writeFile(file("outside/secret"), "root:secret:0:0\n");
    writeFile(file("outside/w.xml"), windowsConfiguration({.duration = "25"}));
    fs::create_directory(serverFile("real"));
    fs::create_directory_symlink(file("outside"), serverFile("linked"));
    fs::create_directory_symlink(file("outside"), serverFile("real/linked"));
    for (const std::string name : {"linked/secret", "linked/w.xml", "real/linked/secret", "/linked//secret"}) {
        for (const char* more : {"--force", "--dry-run"}) {
            const Outcome outcome = run({"set", "windows", "--server-file", name, more});
            EXPECT_EQ(outcome.status, 1) << name;
            EXPECT_NE(outcome.err.find("SQLCODE -1436"), std::string::npos) << outcome.err;
            EXPECT_EQ((outcome.out + outcome.err).find("root:secret"), std::string::npos) << outcome.err;
            EXPECT_EQ((outcome.out + outcome.err).find("duration"), std::string::npos) << outcome.err;
        }
    }
    writeFile(serverFile("w.xml"), validConfigurations()[0]);
    EXPECT_EQ(run({"set", "windows", "--server-file", "w.xml/"}).status, 0) << "as a get names it";
}

TEST_F(CliSet, checksAFileOfTheServerLikeAnyOther) {
    ASSERT_EQ(run({"init"}).status, 0);
    writeFile(serverFile("wrong.xml"), windowsConfiguration({.duration = "25"}));
    writeFile(serverFile("unreadable.xml"), reorgConfiguration("X &lt; 5"));
    const State before = state();
    const json wrong = failureOf({"set", "windows", "--server-file", "wrong.xml"});
    EXPECT_EQ(wrong.at("sqlcode"), -1437);
    EXPECT_EQ(wrong.at("document"), "wrong.xml");
    EXPECT_EQ(wrong.at("line"), 2);
    const json unreadable = failureOf({"set", "reorg", "--server-file", "unreadable.xml"});
    EXPECT_EQ(unreadable.at("sqlcode"), -1438);
    EXPECT_EQ(unreadable.at("line"), 3);
    EXPECT_EQ(state(), before);
    EXPECT_EQ(run({"set", "reorg", "--server-file", "unreadable.xml", "--force"}).status, 0);
    EXPECT_NE(row("TableReorgPolicy").document.find("X < 5"), std::string::npos);
}

}  // namespace
}  // namespace scenario
