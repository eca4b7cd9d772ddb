// kelpolicy tree: a document's elements as the engine sees them.
#include <nlohmann/json.hpp>

#include "scenario.h"

namespace scenario {
namespace {

using nlohmann::json;

class CliTree : public Scenario {
protected:
    json tree(const std::string& document) const {
        const Outcome outcome = run({"tree", "-", "--json"}, {.input = document});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
};

TEST_F(CliTree, showsTypeClassAttributesAndTextOfEachElement) {
    const struct {
        const char* element;
        int type;
        const char* className;
        json attributes;
        json text;
    } cases[] = {
        {"<kel:DBBackup mode='offline'>x</kel:DBBackup>", 88, "SQLPIBackupAction", {{"mode", 1}}, "x"},
        {"<kel:DBBackup/>", 88, "SQLPIBackupAction", {{"mode", 2}}, nullptr},
        {"<kel:TableReorg useTempTbsp='true' mode='write' dictionaryOption='rebuild' "
         "reclaimExtentsSizeForMDCTables='5000000000' numInxPseudoEmptyPagesForVolatileTables='7'/>",
         70,
         "SQLPIReorgAction",
         {{"useTempTbsp", 1},
          {"mode", 1},
          {"dictionaryOption", 1},
          {"reclaimExtentsSizeForMDCTables", 5000000000},
          {"numInxPseudoEmptyPagesForVolatileTables", 7}},
         nullptr},
        {"<kel:Monitor maxFiles='3' maxFileSize='4'/>",
         80,
         "SQLPIStatsProfMonitor",
         {{"maxFiles", 3}, {"maxFileSize", 4}},
         nullptr},
        {"<kel:Population maxFWSize='9'/>", 82, "SQLPIStatsProfPopulation", {{"maxFWSize", 9}}, nullptr},
        {"<kel:StatsProfiling maxSingleTableStats='1' maxColGroupStats='2' maxFrequentValues='3' maxProfiles='4' "
         "profileGeneration='SingleColumn'/>",
         83,
         "SQLPIStatsProfType",
         {{"maxSingleTableStats", 1},
          {"maxColGroupStats", 2},
          {"maxFrequentValues", 3},
          {"maxProfiles", 4},
          {"profileGeneration", "SingleColumn"}},
         nullptr},
        {"<kel:MaintenanceWindowCondition windowType='offline'/>",
         59,
         "SQLPIMaintenanceWindowCondition",
         {{"maintWindowType", 1}},
         nullptr},
        {"<kel:TableReorgSensors>ReorgSize_KB</kel:TableReorgSensors>", 71, "SQLPISensors", json::object(),
         "ReorgSize_KB"},
        {"<Constant>&lt;\xC3\xA9&gt;</Constant>", 43, "SQLPIConst", json::object(), "<\xC3\xA9>"},
        {"<kel:DiskBackupTarget/>", 89, "SQLPIPolicyElement", json::object(), nullptr},
        {"<Unknown mode='x'/>", 0, "SQLPIPolicyElement", json::object(), nullptr},
    };
    for (const auto& example : cases) {
        const json all = tree(std::string("<PolicyDocument>") + example.element + "</PolicyDocument>");
        ASSERT_EQ(all.size(), 2U) << example.element;
        EXPECT_EQ(all[1].at("elementType"), example.type) << example.element;
        EXPECT_EQ(all[1].at("class"), example.className) << example.element;
        EXPECT_EQ(all[1].at("attributes"), example.attributes) << example.element;
        EXPECT_EQ(all[1].at("text"), example.text) << example.element;
        EXPECT_EQ(all[1].at("element"),
                  example.type == 0
                      ? "NONE"
                      : std::string(example.element).substr(1, std::string(example.element).find_first_of(" >/") - 1));
    }
}

TEST_F(CliTree, givesEachElementItsPlace) {
    const json all = tree("<PolicyDocument><And><Or/><Not/></And><Scope/></PolicyDocument>");
    const struct {
        const char* element;
        int depth;
        json parent;
    } expected[] = {{"PolicyDocument", 0, nullptr}, {"And", 1, 0}, {"Or", 2, 1}, {"Not", 2, 1}, {"Scope", 1, 0}};
    ASSERT_EQ(all.size(), std::size(expected));
    for (size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_EQ(all[i].at("index"), i);
        EXPECT_EQ(all[i].at("element"), expected[i].element);
        EXPECT_EQ(all[i].at("depth"), expected[i].depth);
        EXPECT_EQ(all[i].at("parent"), expected[i].parent);
    }
}

TEST_F(CliTree, showsATableForAPerson) {
    const std::string longText(100, 'x');
    const Outcome outcome =
        run({"tree", "-"}, {.input = "<PolicyDocument>\n <kel:DBBackup mode='online'>\n  <Constant>" + longText +
                                     "</Constant></kel:DBBackup>\n</PolicyDocument>"});
    EXPECT_EQ(outcome.status, 0);
    std::istringstream lines(outcome.out);
    std::vector<std::string> all;
    for (std::string line; std::getline(lines, line);) all.push_back(line);
    ASSERT_EQ(all.size(), 4U) << outcome.out;
    EXPECT_EQ(all[1], "   1  PolicyDocument                                  SQLPIPolicyDocument");
    EXPECT_EQ(all[2], "  88    kel:DBBackup                                  SQLPIBackupAction                 mode=0");
    EXPECT_EQ(all[3], "  43      Constant                                    SQLPIConst                        \"" +
                          std::string(59, 'x') + "…\"");
}

TEST_F(CliTree, showsAMillionLevelsWithASmallStack) {
    constexpr size_t levels = 1000000;
    std::string document = "<PolicyDocument>";
    for (size_t i = 0; i < levels; ++i) document += "<a>";
    for (size_t i = 0; i < levels; ++i) document += "</a>";
    document += "</PolicyDocument>";
    const Outcome outcome =
        run({"tree", "-", "--json"}, {.input = document, .outputFile = file("tree.json"), .stackKilobytes = 512});
    ASSERT_EQ(outcome.status, 0) << outcome.err;
    std::ifstream lines(file("tree.json"));
    std::string last;
    size_t count = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line == "]") break;
        last = line;
        ++count;
    }
    EXPECT_EQ(count, levels + 2) << "the bracket, the root and each level";
    EXPECT_EQ(json::parse(last).at("depth"), levels);
    EXPECT_EQ(json::parse(last).at("parent"), levels - 1);
}

TEST_F(CliTree, saysWhereADocumentDoesNotParse) {
    const struct {
        const char* name;
        std::string document;
        int line;
        int column;
    } cases[] = {{"unclosed", "<PolicyDocument>\n<And>\n</PolicyDocument>", 3, 3},
                 {"no text, told at its place although the parser reads ahead",
                  "<PolicyDocument>\n" + std::string(3000, ' ') + "\n\xC3\xA9\xC3(</PolicyDocument>", 3, 2}};
    for (const auto& example : cases) {
        const Outcome outcome = run({"tree", "-", "--json"}, {.input = example.document});
        EXPECT_EQ(outcome.status, 1) << example.name;
        EXPECT_EQ(outcome.out, "") << example.name;
        const json error = json::parse(outcome.err).at("error");
        EXPECT_EQ(error.at("line"), example.line) << example.name << error;
        EXPECT_EQ(error.at("column"), example.column) << example.name << error;
        EXPECT_EQ(error.at("hint"), "Correct the document there.") << "it does not name itself";
    }
    EXPECT_FALSE(std::filesystem::exists(instance())) << "a document needs no instance";
}

TEST_F(CliTree, readsOtherEncodingsThatADocumentDeclares) {
    const json all = tree("<?xml version='1.0' encoding='ISO-8859-1'?><PolicyDocument>\xE9</PolicyDocument>");
    EXPECT_EQ(all[0].at("text"), "\xC3\xA9");
}

}  // namespace
}  // namespace scenario
