// What stands in a policy-language document and the engine does not see is told by whatever shows or stores it.
#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

const std::string lineFeed = "\n";

std::string document(const std::string& content) {
    return "<PolicyDocument>\n" + content + "\n</PolicyDocument>\n";
}
std::string sensor(const std::string& element, const std::string& name) {
    return "<kel:" + element + ">" + name + "</kel:" + element + ">";
}
std::string constant(const std::string& text) {
    return "<Constant>" + text + "</Constant>";
}
/* In its second line, as all that stands alone. */
std::string filter(const std::string& content) {
    return document("<Equals>" + content + "</Equals>");
}
std::string backup(const std::string& content, const std::string& attributes = " mode='online'") {
    return document("<kel:DBBackup" + attributes + ">\n" + content + "</kel:DBBackup>");
}

const std::string tables = sensor("Sensors", "Tables");
const std::string logSensor = sensor("DBBackupSensors", "Log_Consumed_Since_Last_DB_Backup");

struct UnseenCase {
    const char* name;
    const char* kind; /* of show */
    std::string document;
    const char* field; /* of the record */
    json value;        /* that the engine reads */
    const char* place; /* "line 2, " */
    const char* note;  /* empty: there is none */
};

std::vector<UnseenCase> unseenCases() {
    const std::string other = sensor("Sensors", "Other");
    const std::string disk = "<kel:DiskBackupTarget><kel:Pathname>/b</kel:Pathname></kel:DiskBackupTarget>";
    return {
        // filters
        {"a filter", "runstats", filter(tables + constant("A")), "tablesFilter", "A", "", ""},
        {"a filter that selects all", "runstats", filter(tables + constant("")), "tablesFilter", nullptr, "", ""},
        {"behind blanks", "runstats", filter(sensor("Sensors", " Tables ") + constant("A")), "tablesFilter", nullptr,
         "line 2, column 9", "names \" Tables \", with blanks around it: its filter is not seen"},
        {"behind a line feed", "reorg", filter(sensor("Sensors", "\nTables") + constant("A")), "tablesFilter", nullptr,
         "line 2, column 9", "names \"\\nTables\", with blanks around it"},
        {"a sensor of another name", "runstats", filter(other + constant("A")), "tablesFilter", nullptr,
         "line 2, column 9", "which the engine does not know: its filter is not seen"},
        {"the constant before its sensor", "runstats", filter(constant("A") + tables), "tablesFilter", nullptr,
         "line 2, column 9", "the Constant stands before its sensor Tables: it is not seen"},
        {"no constant", "runstats", filter(tables + "<And/>" + constant("A")), "tablesFilter", nullptr,
         "line 2, column 9", "no Constant stands directly behind the sensor Tables"},
        {"a sensor behind a sensor", "runstats", filter(tables + tables + constant("A")), "tablesFilter", nullptr,
         "line 2, column 42", "stands directly behind another sensor, or in what does: it is not seen"},
        {"a sensor in what stands behind a sensor", "runstats",
         filter(tables + "<And>" + tables + constant("A") + "</And>"), "tablesFilter", nullptr, "line 2, column 47",
         "or in what does: it is not seen"},
        {"a later sensor drops the filter", "runstats",
         filter(tables + constant("A") + lineFeed + other + constant("B")), "tablesFilter", nullptr, "line 3, column 1",
         "kel:Sensors at line 2 is not read: the last one decides"},
        {"the last filter", "stats-profile", filter(tables + constant("A") + lineFeed + tables + constant("B")),
         "tablesFilter", "B", "line 3, column 1", "kel:Sensors at line 2 is not read: the last one decides"},
        // reorg
        {"the size", "reorg", filter(sensor("TableReorgSensors", "ReorgSize_KB") + constant("12")), "reorgSizeLimitKB",
         12, "", ""},
        {"the flag that is never read", "reorg",
         filter(sensor("TableReorgSensors", "ReorgChk_Flag") + constant("true")), "reorgSizeLimitKB", 0, "", ""},
        {"behind the flag", "reorg",
         filter(sensor("TableReorgSensors", "ReorgChk_Flag") + sensor("TableReorgSensors", "ReorgSize_KB") +
                constant("12")),
         "reorgSizeLimitKB", 12, "", ""},
        {"a size that is no number", "reorg", filter(sensor("TableReorgSensors", "ReorgSize_KB") + constant("12 MB")),
         "reorgSizeLimitKB", 12, "line 2, column 68", "the Constant of ReorgSize_KB, \"12 MB\", is read as 12"},
        {"a mode that is none", "reorg", document("<kel:TableReorg mode='Write'/>"), "indexReorgMode", 0,
         "line 2, column 1", "mode=\"Write\", a word that the engine does not know: it counts as \"read\""},
        {"a misspelt attribute", "reorg", document("<kel:TableReorg UseTempTbsp='true'/>"), "useTempTbsp", 0,
         "line 2, column 1", "the attribute \"UseTempTbsp\", which the engine does not know"},
        {"a number of 64 bits", "reorg", document("<kel:TableReorg reclaimExtentsSizeForMDCTables='99999999999'/>"),
         "reclaimExtentsSizeForMDCTables", 99999999999, "", ""},
        {"a number of more", "reorg",
         document("<kel:TableReorg reclaimExtentsSizeForMDCTables='99999999999999999999'/>"),
         "reclaimExtentsSizeForMDCTables", 9223372036854775807, "line 2, column 1", "is read as 9223372036854775807"},
        {"a second action", "reorg", document("<kel:TableReorg mode='write'/>\n<kel:TableReorg mode='x'/>"),
         "indexReorgMode", 1, "line 3, column 1", "only the first kel:TableReorg, at line 2, is read"},
        // backup
        {"a mode that is none", "backup", backup("", " mode='Online'"), "mode", 2, "line 2, column 1",
         "the mode counts as not said"},
        {"no mode", "backup", backup("", ""), "mode", 2, "", ""},
        {"no sessions", "backup", backup("<kel:VLTBackupTarget/>"), "targetType", 2, "line 3, column 1",
         "the number of sessions is read out of the bytes of the default path"},
        {"sessions behind something", "backup",
         backup("<kel:XBSABackupTarget><x/><kel:numberOfSessions>3</kel:numberOfSessions></kel:XBSABackupTarget>"),
         "targetType", 3, "line 3, column 1", "is read out of the bytes of the default path"},
        {"sessions that are no number", "backup",
         backup("<kel:VLTBackupTarget><kel:numberOfSessions>two</kel:numberOfSessions></kel:VLTBackupTarget>"),
         "numberOfSessions", 0, "line 3, column 22", "the number of sessions \"two\" is read as 0"},
        {"sessions with blanks", "backup",
         backup("<kel:VLTBackupTarget><kel:numberOfSessions> 2 </kel:numberOfSessions></kel:VLTBackupTarget>"),
         "numberOfSessions", 2, "", ""},
        {"the longest path", "backup",
         backup("<kel:TapeBackupTarget><kel:Pathname>" + std::string(2047, 'p') +
                "</kel:Pathname></kel:TapeBackupTarget>"),
         "targetLocation", std::string(2047, 'p'), "", ""},
        {"a path that is cut", "backup",
         backup("<kel:TapeBackupTarget><kel:Pathname>" + std::string(2048, 'p') +
                "</kel:Pathname></kel:TapeBackupTarget>"),
         "targetLocation", std::string(2047, 'p'), "line 3, column 23",
         "kel:Pathname has 2048 bytes, of which the engine's record takes 2047"},
        {"options that are cut", "backup",
         backup("<kel:VendorLibBackupTarget><kel:libFilename>l</kel:libFilename><kel:libOptions>" +
                std::string(3000, 'o') + "</kel:libOptions></kel:VendorLibBackupTarget>"),
         "libOptions", std::string(2047, 'o'), "line 3, column 64", "kel:libOptions has 3000 bytes"},
        {"a path that is not first", "backup",
         backup("<kel:TapeBackupTarget><x/><kel:Pathname>/dev/t</kel:Pathname></kel:TapeBackupTarget>"), "targetType",
         1, "line 3, column 27", "kel:Pathname is not read: it is not the first element inside kel:TapeBackupTarget"},
        {"a second target", "backup", backup(disk + lineFeed + disk), "targetLocation", "/b", "line 4, column 1",
         "kel:DiskBackupTarget is not read: only the first element inside kel:DBBackup is"},
        {"a log that the description can tell", "backup", filter(logSensor + constant("8388607")), "logSpaceConsumed",
         8388607, "", ""},
        {"a log that the description wraps", "backup", filter(logSensor + constant("8388608")), "logSpaceConsumed",
         8388608, "line 2", "multiplies that by 256 in 32 bits and tells -2147483648 MB"},
        {"a sensor twice", "backup", filter(logSensor + constant("1") + lineFeed + logSensor + constant("2")),
         "logSpaceConsumed", 2, "line 3, column 1", "Log_Consumed_Since_Last_DB_Backup at line 2 is not read"},
        {"a sensor that is misspelt", "backup", filter(sensor("DBBackupSensors", "Log_Consumed") + constant("1")),
         "logSpaceConsumed", 6400, "line 2, column 9", "names \"Log_Consumed\", which the engine does not know"},
        // statistics profile
        {"a generation that is none", "stats-profile",
         document("<kel:StatsProfile><kel:FeedbackWarehouse>\n<kel:StatsProfiling profileGeneration='All'/>"
                  "</kel:FeedbackWarehouse></kel:StatsProfile>"),
         "profileType", 2, "line 3, column 1", "profileGeneration=\"All\", a word that the engine does not know"},
        {"profiling outside of the warehouse", "stats-profile",
         document("<kel:StatsProfile>\n<kel:StatsProfiling maxProfiles='3'/></kel:StatsProfile>"), "maxProfiles", 20,
         "line 3, column 1", "kel:StatsProfiling is not read where it stands"},
        // the last document begun is the one that is read
        {"in a document around the one that is read", "backup",
         "<PolicyDocument><kel:DBBackup mode='x'/><PolicyDocument><kel:DBBackup mode='offline'/></PolicyDocument>"
         "<kel:DBBackup mode='y'/></PolicyDocument>",
         "mode", 1, "", ""},
    };
}

class CliUnseen : public Scenario {};

TEST_F(CliUnseen, isToldByShow) {
    ASSERT_EQ(run({"init"}).status, 0);  // it has the default location
    for (const UnseenCase& example : unseenCases()) {
        const Outcome outcome = run({"show", example.kind, "--document", "-", "--json"}, {.input = example.document});
        EXPECT_EQ(outcome.status, 0) << example.name << outcome.err;
        EXPECT_EQ(json::parse(outcome.out).at(example.field), example.value) << example.name;
        const Outcome words = run({"show", example.kind, "--document", "-"}, {.input = example.document});
        if (*example.note == '\0') {
            EXPECT_EQ(words.err, "") << example.name;
            continue;
        }
        EXPECT_NE(words.err.find(example.note), std::string::npos) << example.name << "\n" << words.err;
        EXPECT_NE(words.err.find("note: " + std::string(example.place)), std::string::npos) << example.name << "\n"
                                                                                            << words.err;
    }
}

TEST_F(CliUnseen, isNoneInTheSamplesAndTheDefaults) {
    ASSERT_EQ(run({"init"}).status, 0);
    for (const auto& [kind, name] : {std::pair("backup", "backup-to-disk.xml"),
                                     {"backup", "backup-to-storage-manager.xml"},
                                     {"backup", "backup-to-vendor-library.xml"},
                                     {"reorg", "reorg.xml"},
                                     {"runstats", "runstats.xml"},
                                     {"stats-profile", "stats-profile.xml"},
                                     {"windows", "windows.xml"},
                                     {"windows", "windows-month-end.xml"}})
        EXPECT_EQ(run({"show", kind, "--document", sample(name)}).err, "") << name;
    for (const char* kind : {"backup", "reorg", "runstats", "stats-profile", "windows"})
        EXPECT_EQ(run({"show", kind}).err, "") << kind;
}

TEST_F(CliUnseen, isToldByDescribeAndInstallToo) {
    ASSERT_EQ(run({"init"}).status, 0);
    const std::string twice = filter(tables + tables + constant("A"));
    const Outcome inserted = run({"install", "update", "--med", "KELTableMaintenanceMED", "--decision",
                                  "TableRunstatsDecision", "--name", "TableRunstatsPolicy", "--policy", "-"},
                                 {.input = twice});
    EXPECT_EQ(inserted.status, 0) << inserted.err;
    EXPECT_NE(inserted.err.find("note: line 2, column 42: kel:Sensors stands directly behind another sensor"),
              std::string::npos)
        << inserted.err;
    const Outcome described = run({"describe"});
    EXPECT_NE(described.err.find("note: TableRunstatsPolicy: line 2, column 42: "), std::string::npos) << described.err;
    const Outcome windows = run({"show", "windows", "--document", "-"},
                                {.input = document("<kel:MaintenanceWindowCondition windowType='Offline'/>")});
    EXPECT_EQ(windows.err.find("note: line 2, column 1: the online window: windowType \"Offline\" is neither"), 0U)
        << windows.err;
}

TEST_F(CliUnseen, isCountedWhereThereIsMuchOfIt) {
    std::string many;
    for (int i = 0; i < 1000; ++i) many += sensor("Sensors", "x");
    const Outcome outcome = run({"show", "runstats", "--document", "-"}, {.input = document(many)});
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 21) << outcome.err;
    EXPECT_NE(outcome.err.find(" more of this kind"), std::string::npos) << outcome.err;
}

}  // namespace
}  // namespace scenario
