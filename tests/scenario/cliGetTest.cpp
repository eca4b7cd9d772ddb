// kelpolicy get: stored policies as configuration documents.
#include <sys/stat.h>
#include <unistd.h>

#include "configurationScenario.h"
#include "windowDocument.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliGet : public ConfigurationScenario {
protected:
    std::string serverFile(const std::string& name) const { return instance() + "/tmp/" + name; }
    json notesOf(const std::vector<std::string>& arguments) const {
        std::vector<std::string> words = {"--json"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run(words);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return objectsOf(outcome.err, "note");
    }
};

const std::string nights =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?> \n<KELMaintenanceWindows \nxmlns=\"" + configurationNamespace +
    "\" >\n\n <!-- Online Maintenance Window  -->\n <OnlineWindow Occurrence=\"During\" startTime=\"22:00:00\" "
    "duration=\"8\" >\n  <DaysOfWeek>All</DaysOfWeek>\n  <DaysOfMonth>All</DaysOfMonth>\n  <MonthsOfYear>All"
    "</MonthsOfYear>\n </OnlineWindow>\n</KELMaintenanceWindows> \n";

/* --- where it goes ------------------------------------------------------------------------------------------------ */

TEST_F(CliGet, writesExactlyTheDocument) {
    set("windows", windowsConfiguration({}));
    const StoredRow before = row("CommonPolicy");
    for (const char* type : {"windows", "MAINTENANCE_WINDOW"}) {
        const Outcome outcome = run({"get", type});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, nights);
        EXPECT_EQ(outcome.err, "");
    }
    EXPECT_EQ(json::parse(run({"get", "windows", "--json"}).out), (json{{"type", "MAINTENANCE_WINDOW"},
                                                                        {"policy", "CommonPolicy"},
                                                                        {"document", nights},
                                                                        {"bytes", nights.size()}}));
    EXPECT_EQ(row("CommonPolicy"), before);
}

/* The document of a backup policy ends without a line feed; what the shell writes next shall not stand behind it. */
TEST_F(CliGet, endsTheLineOnATerminalOnly) {
    if (!requireTerminals()) return;
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string document = run({"get", "backup"}).out;
    EXPECT_TRUE(document.ends_with("</KELAutoBackupPolicy>")) << document;
    const Outcome shown = runOnTerminal({"get", "backup"});
    EXPECT_NE(shown.out.find("</KELAutoBackupPolicy>\r\n"), std::string::npos) << shown.out;
    EXPECT_TRUE(run({"extract", "backup", sample("backup-to-disk.xml")}).out.ends_with("</KELAutoBackupPolicy>"));
    const Outcome extracted = runOnTerminal({"extract", "backup", sample("backup-to-disk.xml")});
    EXPECT_NE(extracted.out.find("</KELAutoBackupPolicy>\r\n"), std::string::npos) << extracted.out;
}

TEST_F(CliGet, writesAFileWholeInPlaceOfTheOldOne) {
    set("windows", windowsConfiguration({}));
    fs::create_directory(file("out"));
    writeFile(file("out/old.xml"), "old");
    fs::permissions(file("out/old.xml"), fs::perms(0640));
    fs::create_hard_link(file("out/old.xml"), file("reader"));
    fs::create_symlink("old.xml", file("out/link.xml"));
    const struct {
        const char* given;
        const char* written;
    } cases[] = {{"out/new.xml", "out/new.xml"}, {"out/old.xml", "out/old.xml"}, {"out/link.xml", "out/old.xml"}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"get", "windows", "--output", file(example.given)});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "written: " + file(example.given) + "\n");
        EXPECT_EQ(readFile(file(example.written)), nights);
    }
    EXPECT_TRUE(fs::is_symlink(file("out/link.xml")));
    EXPECT_EQ(readFile(file("reader")), "old") << "who had the file open still reads the old one";
    EXPECT_EQ(fs::status(file("out/old.xml")).permissions(), fs::perms(0640));
    EXPECT_EQ(std::distance(fs::directory_iterator(file("out")), fs::directory_iterator()), 3)
        << "nothing is left over";

    const json answer = json::parse(run({"get", "windows", "--output", file("out/new.xml"), "--json"}).out);
    EXPECT_EQ(answer.at("written"), file("out/new.xml"));
    EXPECT_FALSE(answer.contains("document"));
}

TEST_F(CliGet, writesBesideThePlaceItStandsIn) {
    set("windows", windowsConfiguration({}));
    const fs::path here = fs::current_path();
    fs::current_path(fs::path(instance()).parent_path());
    EXPECT_EQ(run({"get", "windows", "--output", "relative.xml"}).status, 0);
    fs::current_path(here);
    EXPECT_EQ(readFile(file("relative.xml")), nights);
}

TEST_F(CliGet, tellsThatTheFileCannotBeWritten) {
    set("windows", windowsConfiguration({}));
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
    const struct {
        const char* name;
        std::string path;
        std::string inMessage;
    } cases[] = {{"no directory", file("none/x.xml"), "there is no such directory"},
                 {"a directory", instance(), "it is no regular file"},
                 {"below a file", instance() + "/log/diagnostic.log/x.xml", "cannot be written: "},
                 {"a device", "/dev/null", "it is no regular file"},
                 {"a pipe", file("pipe"), "it is no regular file"},
                 {"a name that is too long", file(std::string(300, 'x')), "cannot be written: File name too long"}};
    for (const auto& example : cases) {
        const json error = failureOf({"get", "windows", "--output", example.path});
        EXPECT_EQ(error.at("sqlcode"), -902) << example.name << error;
        EXPECT_EQ(error.at("sqlstate"), "58030") << example.name;
        EXPECT_NE(error.at("message").get<std::string>().find(example.inMessage), std::string::npos) << error;
    }
    EXPECT_TRUE(fs::is_fifo(file("pipe")));
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(CliGet, refusesACommandLineThatMakesNoSense) {
    const struct {
        const char* name;
        std::vector<std::string> arguments;
        std::string inMessage;
    } cases[] = {{"no type", {"get"}, "TYPE is required"},
                 {"no type of ours", {"get", "stats-profile"}, "\"stats-profile\" is no policy type"},
                 {"two places", {"get", "backup", "--output", "x", "--server-file", "y"}, "excludes"},
                 {"an empty path", {"get", "backup", "--output", ""}, "the value is empty"},
                 {"an empty name", {"get", "backup", "--server-file", ""}, "the value is empty"},
                 {"a second word", {"get", "backup", "more"}, "more"}};
    for (const auto& example : cases) {
        const Outcome outcome = run(example.arguments);
        EXPECT_EQ(outcome.status, 2) << example.name;
        EXPECT_NE(outcome.err.find(example.inMessage), std::string::npos) << example.name << outcome.err;
    }
}

/* --- files of the server ------------------------------------------------------------------------------------------ */

TEST_F(CliGet, hasTheEngineWriteAFile) {
    set("windows", windowsConfiguration({}));
    writeFile(serverFile("old.xml"), "old");
    const struct {
        const char* name;
        const char* written;
    } cases[] = {
        {"new.xml", "new.xml"},          {"old.xml", "old.xml"},      {"sub/deep/new.xml", "sub/deep/new.xml"},
        {"/etc/new.xml", "etc/new.xml"}, {"slash.xml/", "slash.xml"}, {"sub//slashes.xml//", "sub/slashes.xml"}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"get", "windows", "--server-file", example.name});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        EXPECT_EQ(outcome.out, "written: " + serverFile(example.written) + "\n");
        EXPECT_EQ(readFile(serverFile(example.written)), nights);
        EXPECT_EQ(json::parse(run({"get", "windows", "--server-file", example.name, "--json"}).out),
                  (json{{"type", "MAINTENANCE_WINDOW"},
                        {"policy", "CommonPolicy"},
                        {"written", serverFile(example.written)},
                        {"bytes", nights.size()}}));
    }
}

/* What is there keeps its mode and owner; and what its user may not write is not replaced. */
TEST_F(CliGet, replacesAFileOfTheServerOnlyForWhomMayWriteIt) {
    set("windows", windowsConfiguration({}));
    const bool isSuperuser = ::geteuid() == 0;
    const unsigned user = isSuperuser ? 65534 : ::geteuid();
    const std::pair<const char*, mode_t> files[] = {{"private.xml", 0600}, {"shared.xml", 0664}, {"fixed.xml", 0444}};
    for (const auto& [name, mode] : files) {
        writeFile(serverFile(name), "old");
        ASSERT_EQ(::chmod(serverFile(name).c_str(), mode), 0);
    }
    if (isSuperuser) {
        ASSERT_EQ(::chmod(file("").c_str(), 0755), 0);
        ASSERT_EQ(::chown(instance().c_str(), user, user), 0);
        for (const auto& entry : fs::recursive_directory_iterator(instance()))
            ASSERT_EQ(::chown(entry.path().c_str(), user, user), 0);
    }
    for (const auto& [name, mode] : files) {
        const std::vector<std::string> command = {"get", "windows", "--server-file", name, "--json"};
        const Outcome outcome = run(command, {.user = isSuperuser ? std::optional(user) : std::nullopt});
        const bool isRefused = mode == 0444;
        EXPECT_EQ(outcome.status, isRefused ? 1 : 0) << name << outcome.err;
        if (isRefused) {
            EXPECT_EQ(json::parse(outcome.err).at("error").at("sqlcode"), -1448) << outcome.err;
        }
        EXPECT_EQ(readFile(serverFile(name)), isRefused ? "old" : nights) << name;
        struct stat status {};
        ASSERT_EQ(::stat(serverFile(name).c_str(), &status), 0);
        EXPECT_EQ(status.st_mode & 07777U, mode) << name;
        EXPECT_EQ(status.st_uid, user) << name;
    }
    EXPECT_EQ(namesIn(serverFile("")), (std::vector<std::string>{"fixed.xml", "private.xml", "shared.xml"}));
}

TEST_F(CliGet, refusesANameThatLeadsElsewhere) {
    set("windows", windowsConfiguration({}));
    fs::create_directory(serverFile("directory"));
    fs::create_symlink(file("outside.xml"), serverFile("link.xml"));
    fs::create_directory_symlink(fs::path(instance()).parent_path(), serverFile("linked"));
    writeFile(file("outside.xml"), "outside");
    ASSERT_EQ(::mkfifo(serverFile("pipe").c_str(), 0600), 0);
    const std::string longName(60, 'n');
    const struct {
        std::string name;
        int sqlcode;
        json tokens;
    } cases[] = {{"../x.xml", -171, {"2", "AUTOMAINT_GET_POLICY"}},
                 {"sub/../x.xml", -171, {"2", "AUTOMAINT_GET_POLICY"}},
                 {"c:x.xml", -171, {"2", "AUTOMAINT_GET_POLICY"}},
                 {"directory", -1448, {"directory"}},
                 {"link.xml", -1448, {"link.xml"}},
                 {"linked/x.xml", -1448, {"linked/x.xml"}},
                 {"pipe", -1448, {"pipe"}},
                 {"pipe/" + longName, -1448, {("pipe/" + longName).substr(0, 40)}}};
    for (const auto& example : cases) {
        const json error = failureOf({"get", "windows", "--server-file", example.name});
        EXPECT_EQ(error.at("sqlcode"), example.sqlcode) << example.name << error;
        EXPECT_EQ(error.at("sqlstate"), "5U0ZZ") << example.name;
        EXPECT_EQ(error.at("tokens"), example.tokens) << example.name;
        const std::string told = error.at("message").get<std::string>() + error.at("detail").get<std::string>();
        EXPECT_NE(told.find(example.name.substr(0, 40)), std::string::npos) << error;
        EXPECT_NE(error.at("hint").get<std::string>().find("tmp"), std::string::npos) << error;
    }
    EXPECT_EQ(readFile(file("outside.xml")), "outside");
    EXPECT_FALSE(fs::exists(file("x.xml")));
    EXPECT_TRUE(fs::is_fifo(serverFile("pipe")));
}

/* --- what cannot be got, and what is not the same ----------------------------------------------------------------- */

TEST_F(CliGet, tellsWhereAStoredDocumentCannotBeRead) {
    store("CommonPolicy", "<PolicyDocument>\n <And></Or>\n</PolicyDocument>");
    writeFile(file("kept.xml"), "kept");
    for (const std::vector<std::string>& options :
         {std::vector<std::string>(), {"--output", file("kept.xml")}, {"--server-file", "new.xml"}}) {
        std::vector<std::string> arguments = {"get", "windows"};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const json error = failureOf(arguments);
        EXPECT_EQ(error.at("sqlcode"), -1438) << error;
        EXPECT_EQ(error.at("sqlstate"), "5U0ZZ");
        EXPECT_EQ(error.at("policy"), "CommonPolicy");
        EXPECT_EQ(error.at("document"), "CommonPolicy");
        EXPECT_EQ(error.at("line"), 2);
        EXPECT_NE(error.at("detail").get<std::string>().find("does not parse at line 2"), std::string::npos) << error;
    }
    EXPECT_EQ(readFile(file("kept.xml")), "kept");
    EXPECT_FALSE(fs::exists(serverFile("new.xml")));
    EXPECT_NE(run({"get", "windows"}).err.find("\n <And></Or>\n"), std::string::npos);
    EXPECT_EQ(run({"get", "backup"}).status, 0) << "another policy is not concerned";
}

TEST_F(CliGet, failsWithoutARow) {
    execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME='TableReorgPolicy'");
    const json error = failureOf({"get", "reorg"});
    EXPECT_EQ(error.at("sqlcode"), 100) << error;
    EXPECT_EQ(error.at("policy"), "TableReorgPolicy");
    EXPECT_NE(error.at("hint").get<std::string>().find("\"kelpolicy init\" makes the default row"), std::string::npos);
}

TEST_F(CliGet, doesNotCutAFilter) {
    store("TableRunstatsPolicy", "<PolicyDocument><Equals><kel:Sensors>Tables</kel:Sensors><Constant>" +
                                     std::string(5000, 'x') + "</Constant></Equals></PolicyDocument>");
    const json error = failureOf({"get", "runstats"});
    EXPECT_EQ(error.at("sqlcode"), -1438);
    EXPECT_NE(error.at("message").get<std::string>().find("too long"), std::string::npos) << error;
    EXPECT_NE(error.at("detail").get<std::string>().find("this one is 5000 bytes long"), std::string::npos) << error;
    EXPECT_EQ(error.at("hint").get<std::string>().find("memory"), std::string::npos) << error;
}

TEST_F(CliGet, bringsALongStoredFilterBackWholeAndSaysThatItCannotBeSet) {
    const std::string filter(6000, 'x');
    store("TableReorgPolicy", "<PolicyDocument><AC_Policy><Equals><kel:Sensors>Tables</kel:Sensors><Constant>" +
                                  filter +
                                  "</Constant></Equals><kel:TableReorg mode=\"read\"/></AC_Policy></PolicyDocument>");
    const Outcome outcome = run({"get", "reorg"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_NE(outcome.out.find("<FilterClause>" + filter + "</FilterClause>"), std::string::npos);
    EXPECT_NE(outcome.err.find("setting this document would fail: The filter clause may be "), std::string::npos)
        << outcome.err;
}

TEST_F(CliGet, tellsWhySettingTheDocumentWouldFail) {
    store("DBBackupPolicy", readFile(sample("backup-to-disk.xml")));  // into a directory that is not on this machine
    EXPECT_EQ(notesOf({"get", "backup"}),
              json({"setting this document would fail: Backup image storage location does not exist."}));
}

TEST_F(CliGet, saysHowTheWindowInForceDiffers) {
    store("CommonPolicy", windowDocument({.time = "T220000/T063000"}));
    EXPECT_EQ(notesOf({"get", "windows"}),
              json({"the online window in force is \"every day from 22:00:00 to 06:30:00 of the next day\"; setting "
                    "this document makes it \"every day from 22:00:00 to 06:00:00 of the next day\""}));
}

TEST_F(CliGet, tellsThatTheDocumentIsNotThePolicyInForce) {
    ASSERT_EQ(run({"init"}).status, 0);
    EXPECT_EQ(notesOf({"get", "windows"}).size(), 1U) << "24 hours with an equal start and end";
    EXPECT_NE(notesOf({"get", "windows"})[0].get<std::string>().find("setting this document makes it"),
              std::string::npos);
    EXPECT_EQ(notesOf({"get", "backup"}), json::array());
    store("DBBackupPolicy",
          "<PolicyDocument><LessThan><kel:DBBackupSensors>Number_Full_DB_Backups</kel:DBBackupSensors>"
          "<Constant>1</Constant></LessThan><GreaterThanOrEqual><kel:DBBackupSensors>"
          "Elapsed_Time_Since_Last_DB_Backup</kel:DBBackupSensors><Constant>168</Constant>"
          "</GreaterThanOrEqual><GreaterThanOrEqual><kel:DBBackupSensors>"
          "Log_Consumed_Since_Last_DB_Backup</kel:DBBackupSensors><Constant>6400</Constant>"
          "</GreaterThanOrEqual><kel:DBBackup><kel:DiskBackupTarget/></kel:DBBackup></PolicyDocument>");
    EXPECT_EQ(notesOf({"get", "backup"}),
              json({"mode in force is 2 (not said); setting this document makes it 1 (offline)"}));
    EXPECT_EQ(notesOf({"get", "reorg"}), json::array());
    EXPECT_EQ(notesOf({"get", "runstats"}), json::array());
    const struct {
        const char* name;
        WindowText window;
        size_t notes;
    } cases[] = {
        {"whole hours", {.time = "T220000/T060000"}, 0},
        {"to midnight", {.time = "T220000/T235959"}, 0},
        {"half an hour more", {.time = "T220000/T063000"}, 1},
        {"an hour before midnight", {.time = "T230000/T235959"}, 1},
        {"24 hours", {.time = "T080000/T080000"}, 1},
        {"a period", {.time = "T220000/T060000", .period = "20260101T000000/20301231T000000"}, 1},
        {"outside", {.time = "T080000/T180000", .isOutside = true}, 0},
        {"no day", {.time = "T080000/T180000", .dayOfWeek = "0000000"}, 0},
        {"all days, those counted from the end left out",
         {.dayOfMonth = std::string(31, '1') + std::string(31, '0')},
         0},
    };
    for (const auto& example : cases) {
        store("CommonPolicy", windowDocument(example.window));
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"get", "windows"}, {"get", "windows", "--server-file", "w.xml"}})
            EXPECT_EQ(notesOf(arguments).size(), example.notes) << example.name << notesOf(arguments);
    }
    WindowText offline;
    offline.type = "offline";
    store("CommonPolicy", windowDocument(offline));
    EXPECT_EQ(notesOf({"get", "windows"}).size(), 1U) << "the online window is the default, 24 hours";
}

}  // namespace
}  // namespace scenario
