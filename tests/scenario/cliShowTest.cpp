// kelpolicy show: the records, from the table and from documents.
#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;

class CliShow : public Scenario {
protected:
    json shown(const std::vector<std::string>& arguments, Surroundings surroundings = {}) const {
        std::vector<std::string> words = {"--json", "show"};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const Outcome outcome = run(words, std::move(surroundings));
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
};

struct Case {
    const char* name;
    std::string record; /* as the command names it */
    std::string sample; /* empty: the default row */
    json expected;
};

const json profileDefaults = {
    {"tablesFilter", nullptr},   {"maxFiles", 20},         {"maxFileSize", 128},      {"maxFWSize", 20},
    {"maxSingleTableStats", 50}, {"maxColGroupStats", 50}, {"maxFrequentValues", 20}, {"maxProfiles", 20},
    {"profileType", 2}};
const json reorgDefaults = {{"tablesFilter", nullptr},
                            {"reorgSizeLimitKB", 0},
                            {"useTempTbsp", 0},
                            {"indexReorgMode", 0},
                            {"dictionaryOption", 0},
                            {"reclaimExtentsSizeForMDCTables", 0},
                            {"numInxPseudoEmptyPagesForVolatileTables", 0}};

std::vector<Case> recordCases(const std::string& instance) {
    return {
        {"default backup",
         "backup",
         "",
         {{"numberOfFullBackups", 1},
          {"timeSinceLastBackup", 168},
          {"logSpaceConsumed", 6400},
          {"targetType", 0},
          {"mode", 0},
          {"targetLocation", instance + "/backup"},
          {"libOptions", ""}}},
        {"disk",
         "backup",
         "backup-to-disk.xml",
         {{"numberOfFullBackups", 2},
          {"timeSinceLastBackup", 24},
          {"logSpaceConsumed", 6400},
          {"targetType", 0},
          {"mode", 0},
          {"targetLocation", "/var/backups/orders"},
          {"libOptions", ""}}},
        {"storage manager: sessions in place of a location",
         "backup",
         "backup-to-storage-manager.xml",
         {{"numberOfFullBackups", 1},
          {"timeSinceLastBackup", 168},
          {"logSpaceConsumed", 12800},
          {"targetType", 2},
          {"mode", 1},
          {"numberOfSessions", 4},
          {"libOptions", ""}}},
        {"vendor",
         "backup",
         "backup-to-vendor-library.xml",
         {{"numberOfFullBackups", 1},
          {"timeSinceLastBackup", 24},
          {"logSpaceConsumed", 6400},
          {"targetType", 4},
          {"mode", 0},
          {"targetLocation", "/opt/vendor/lib/libbackup.so"},
          {"libOptions", "pool=nightly,compress=yes"}}},
        {"default reorg", "reorg", "", reorgDefaults},
        {"reorg",
         "reorg",
         "reorg.xml",
         {{"tablesFilter", "WHERE TABSCHEMA = 'SALES' AND NAME NOT LIKE 'TMP%'"},
          {"reorgSizeLimitKB", 4194304},
          {"useTempTbsp", 1},
          {"indexReorgMode", 1},
          {"dictionaryOption", 1},
          {"reclaimExtentsSizeForMDCTables", 51200},
          {"numInxPseudoEmptyPagesForVolatileTables", 0}}},
        {"default runstats", "runstats", "", {{"tablesFilter", nullptr}}},
        {"runstats", "runstats", "runstats.xml", {{"tablesFilter", "WHERE TABSCHEMA = 'SALES'"}}},
        {"default statistics profile", "stats-profile", "", profileDefaults},
        {"statistics profile",
         "stats-profile",
         "stats-profile.xml",
         {{"tablesFilter", nullptr},
          {"maxFiles", 10},
          {"maxFileSize", 64},
          {"maxFWSize", 30},
          {"maxSingleTableStats", 40},
          {"maxColGroupStats", 25},
          {"maxFrequentValues", 10},
          {"maxProfiles", 15},
          {"profileType", 1}}},
    };
}

const std::map<std::string, std::string> policyOf = {{"backup", "DBBackupPolicy"},
                                                     {"reorg", "TableReorgPolicy"},
                                                     {"runstats", "TableRunstatsPolicy"},
                                                     {"stats-profile", "StatsProfilePolicy"}};

TEST_F(CliShow, showsEveryFieldOfEachRecordFromTheTable) {
    makeInstance();
    for (const Case& example : recordCases(instance())) {
        if (!example.sample.empty()) store(policyOf.at(example.record), readFile(sample(example.sample)));
        EXPECT_EQ(shown({example.record}), example.expected) << example.name;
    }
}

TEST_F(CliShow, showsEveryFieldOfEachRecordFromADocumentAndFromStandardInput) {
    ASSERT_EQ(run({"init"}).status, 0);  // its backup directory is the default location
    for (const Case& example : recordCases(instance())) {
        if (example.sample.empty()) continue;
        EXPECT_EQ(shown({example.record, "--document", sample(example.sample)}), example.expected) << example.name;
        EXPECT_EQ(shown({example.record, "--document", "-"}, {.input = readFile(sample(example.sample))}),
                  example.expected)
            << example.name << " on standard input";
    }
}

TEST_F(CliShow, keepsTheOrderOfTheRecordInJson) {
    makeInstance();
    const Outcome outcome = run({"show", "backup", "--json"});
    const auto ordered = nlohmann::ordered_json::parse(outcome.out);
    std::vector<std::string> keys;
    for (const auto& [key, value] : ordered.items()) keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"numberOfFullBackups", "timeSinceLastBackup", "logSpaceConsumed",
                                              "targetType", "mode", "targetLocation", "libOptions"}));
}

TEST_F(CliShow, opensNoDatabaseAndMakesNothingForADocument) {
    const Outcome outcome = run({"show", "reorg", "--document", sample("reorg.xml")});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_FALSE(std::filesystem::exists(instance()));
    const json backup =
        shown({"backup", "--document", "-"}, {.input = "<PolicyDocument><kel:DBBackup/></PolicyDocument>"});
    EXPECT_EQ(backup.at("targetLocation"), "") << "there is no instance whose backup directory could be meant";
    EXPECT_FALSE(std::filesystem::exists(instance()));
}

TEST_F(CliShow, saysThatThereIsNoRow) {
    makeInstance();
    for (const auto& [record, policy] : policyOf) {
        json builtIn = shown({record});
        if (record == "backup") builtIn["mode"] = 2;  // the row of a new table says online
        execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME='" + policy + "'");
        const Outcome text = run({"show", record});
        EXPECT_EQ(text.status, 0);
        EXPECT_NE(text.out.find("no row " + policy + ": the built-in defaults are in force"), std::string::npos)
            << text.out;
        const Outcome outcome = run({"show", record, "--json"});
        EXPECT_EQ(json::parse(outcome.out), builtIn) << record;
        EXPECT_EQ(
            json::parse(outcome.err),
            (json{{"note", "no row " + policy +
                               ": the built-in defaults are in force; \"kelpolicy init\" makes the default row"}}));
    }
}

TEST_F(CliShow, saysThatADocumentIsNoneOfThatPolicy) {
    const Outcome outcome = run({"show", "backup", "--document", sample("reorg.xml")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("has no element of the Backup policy: the built-in defaults are in force"),
              std::string::npos)
        << outcome.err;
}

TEST_F(CliShow, asksForADefaultLocationOnlyWhereTheDocumentNamesNone) {
    const std::string note = "note: the engine logged: Auto backup Policy: Unknown default backup location\n";
    for (const char* document : {"backup-to-disk.xml", "backup-to-storage-manager.xml", "backup-to-vendor-library.xml"})
        EXPECT_EQ(run({"show", "backup", "--document", sample(document)}).err, "") << document;
    EXPECT_EQ(run({"show", "backup", "--document", "-"},
                  {.input = "<PolicyDocument><kel:DBBackup mode='online'/></PolicyDocument>"})
                  .err,
              note)
        << "there is no instance whose backup directory could be meant";
    EXPECT_FALSE(std::filesystem::exists(instance()));
    ASSERT_EQ(run({"init"}).status, 0);
    EXPECT_EQ(run({"show", "backup", "--document", "-"},
                  {.input = "<PolicyDocument><kel:DBBackup mode='online'/></PolicyDocument>"})
                  .err,
              "");
}

TEST_F(CliShow, tellsWhatTheEngineLogs) {
    store("DBBackupPolicy", "<PolicyDocument><kel:DBBackup><Scope/></kel:DBBackup></PolicyDocument>");
    const Outcome outcome = run({"show", "backup"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.err.find("note: the engine logged: Auto backup Policy: Target Type Unknown"), std::string::npos)
        << outcome.err;
}

struct BadDocument {
    const char* name;
    std::string document;
    uint64_t line;
    std::string inMessage;
};

const BadDocument badDocuments[] = {
    {"unclosed tag", "<PolicyDocument>\n  <Scope>\n</PolicyDocument>", 3, "expected end of tag 'Scope'"},
    {"another root", "\n<Other/>", 2, "The document element is not \"PolicyDocument\""},
    {"no XML at all", "once upon a time", 1, "invalid document structure"},
    {"external entity",
     "<!DOCTYPE PolicyDocument [<!ENTITY e SYSTEM \"file:///etc/passwd\">]>\n<PolicyDocument>&e;</PolicyDocument>", 1,
     "external entity"},
    {"bytes that are no UTF-8", "<PolicyDocument>\n\xC3(</PolicyDocument>", 2,
     "invalid byte '(' at position 2 of a 2-byte sequence"},
    {"nothing but blanks", "   \n", 2, "invalid document structure"},
};

TEST_F(CliShow, saysWhereAStoredDocumentDoesNotParseAndShowsTheDefaults) {
    makeInstance();
    for (const auto& [record, policy] : policyOf) {
        json defaults = shown({record});
        if (record == "backup") defaults["mode"] = 2;
        for (const BadDocument& bad : badDocuments) {
            SCOPED_TRACE(record + ": " + bad.name);
            store(policy, bad.document);
            const Outcome outcome = run({"show", record, "--json"});
            EXPECT_EQ(outcome.status, 1);
            EXPECT_EQ(json::parse(outcome.out), defaults);
            const json error = json::parse(outcome.err).at("error");
            EXPECT_EQ(error.at("policy"), policy);
            EXPECT_EQ(error.at("sqlcode"), -1438);
            EXPECT_EQ(error.at("sqlstate"), "5U0ZZ");
            if (bad.line != 0) {
                EXPECT_EQ(error.at("line"), bad.line);
                EXPECT_GE(error.at("column"), 1);
            }
            EXPECT_NE(error.at("message").get<std::string>().find(bad.inMessage), std::string::npos)
                << error.at("message");
            EXPECT_NE(error.at("hint").get<std::string>().find("the engine works with its built-in defaults"),
                      std::string::npos);
        }
    }
}

TEST_F(CliShow, saysTheSameInWords) {
    store("TableReorgPolicy", "<PolicyDocument>\n  <Scope>\n</PolicyDocument>");
    const Outcome outcome = run({"show", "reorg"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.out.find("reorgSizeLimitKB"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("the built-in defaults are in force"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.err.find("kelpolicy: the stored policy TableReorgPolicy does not parse at line 3, column 3"),
              std::string::npos)
        << outcome.err;
    EXPECT_NE(outcome.err.find("SQLCODE -1438, SQLSTATE 5U0ZZ"), std::string::npos) << outcome.err;
}

TEST_F(CliShow, countsAnEmptyStoredDocumentAsOneThatCannotBeRead) {
    store("DBBackupPolicy", "");
    const Outcome outcome = run({"show", "backup"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_NE(outcome.err.find("the stored policy DBBackupPolicy is empty"), std::string::npos) << outcome.err;
}

TEST_F(CliShow, refusesADocumentThatCannotBeRead) {
    writeFile(file("empty.xml"), "");
    writeFile(file("large.xml"), std::string((size_t{2} << 20) + 1, ' '));
    const struct {
        const char* name;
        std::string path;
        std::string inMessage;
    } cases[] = {{"missing", file("none.xml"), "No such file or directory"},
                 {"directory", file(""), "Is a directory"},
                 {"empty", file("empty.xml"), "is empty"},
                 {"too long", file("large.xml"), "is longer than 2097152 bytes"},
                 {"endless", "/dev/zero", "is longer than 2097152 bytes"}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"show", "backup", "--json", "--document", example.path});
        EXPECT_EQ(outcome.status, 1) << example.name;
        EXPECT_EQ(outcome.out, "") << example.name;
        const json error = json::parse(outcome.err).at("error");
        EXPECT_NE(error.at("message").get<std::string>().find(example.inMessage), std::string::npos) << error;
        EXPECT_EQ(error.at("sqlcode"), -1436) << example.name;
        EXPECT_FALSE(error.at("hint").get<std::string>().empty()) << example.name;
    }
}

TEST_F(CliShow, readsADocumentOfTheLargestSize) {
    std::string document = "<PolicyDocument><kel:DBBackup mode=\"offline\"/>";
    const std::string end = "</PolicyDocument>";
    document.append((size_t{2} << 20) - document.size() - end.size(), ' ');
    document += end;
    EXPECT_EQ(shown({"backup", "--document", "-"}, {.input = document}).at("mode"), 1);
    store("DBBackupPolicy", document);
    EXPECT_EQ(shown({"backup"}).at("mode"), 1);
}

TEST_F(CliShow, writesTextOfADocumentSoThatItCannotActOnATerminal) {
    // U+009B introduces a control sequence, U+202E turns the reading direction; U+FE0F and U+2800 cannot be seen.
    const std::string filter =
        "A\xC2\x9B"
        "31mB\xE2\x80\xAE"
        "C\xEF\xB8\x8F\xE2\xA0\x80\nD";
    store("TableRunstatsPolicy",
          "<PolicyDocument><kel:Sensors>Tables</kel:Sensors><Constant>" + filter + "</Constant></PolicyDocument>");
    const Outcome text = run({"show", "runstats"});
    EXPECT_NE(text.out.find("\"A\\xC2\\x9B31mB\\xE2\\x80\\xAEC\\xEF\\xB8\\x8F\\xE2\\xA0\\x80\\nD\""), std::string::npos)
        << text.out;
    EXPECT_EQ(shown({"runstats"}).at("tablesFilter"), filter);
}

/* Whatever shows it, in a table, a note or a failure: it is made visible once. */
TEST_F(CliShow, tellsALineFeedFromABackslashAndAnN) {
    const std::string name = "A\\nB\nC";
    const std::string visible = "A\\\\nB\\nC";
    const std::string filter = "<kel:Sensors>Tables</kel:Sensors><Constant>" + name + "</Constant>";
    store("TableRunstatsPolicy", "<PolicyDocument>" + filter + "</PolicyDocument>");
    writeFile(file("profile.xml"),
              "<PolicyDocument><kel:StatsProfiling profileGeneration=\"A\\nB&#10;C\"/></PolicyDocument>");
    writeFile(file("windows.xml"),
              "<PolicyDocument><kel:MaintenanceWindowCondition windowType=\"A\\nB&#10;C\"/></PolicyDocument>");
    const std::vector<std::string> commands[] = {
        {"show", "runstats"},
        {"describe", "TableRunstatsPolicy"},
        {"tree", file("profile.xml")},
        {"window", "lint", "--document", file("windows.xml")},
        {"install", "insert", "--med", name, "--policy", file("profile.xml")},
        {"install", "insert", "--med", name, "--policy", file("profile.xml")}, /* the row is there already */
        {"retrieve", "--med", name},
    };
    for (const std::vector<std::string>& words : commands) {
        const Outcome outcome = run(words);
        EXPECT_NE((outcome.out + outcome.err).find(visible), std::string::npos) << words[0] << "\n"
                                                                                << outcome.out << outcome.err;
    }
}

TEST_F(CliShow, writesBytesThatAreNoTextAsJsonAllTheSame) {
    // A field of 2048 bytes that ends inside a character must not make the answer unreadable.
    const std::string path = std::string(2046, 'p') + "\xC3\xA9\xC3\xA9";
    store("DBBackupPolicy", "<PolicyDocument><kel:DBBackup><kel:DiskBackupTarget><kel:Pathname>" + path +
                                "</kel:Pathname></kel:DiskBackupTarget></kel:DBBackup></PolicyDocument>");
    const std::string location = shown({"backup"}).at("targetLocation");
    EXPECT_EQ(location.substr(0, 2046), std::string(2046, 'p'));
}

}  // namespace
}  // namespace scenario
