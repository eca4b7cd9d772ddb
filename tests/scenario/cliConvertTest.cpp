// kelpolicy convert, extract: between configuration documents and stored text, byte for byte, without a database.
#include "configurationScenario.h"
#include "windowDocument.h"

namespace scenario {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class CliConvert : public ConfigurationScenario {};

TEST_F(CliConvert, writesTheBytesThatASetStoresAndTheBytesThatAGetGives) {
    const std::vector<std::string> documents = validConfigurations();
    for (size_t i = 0; i < documents.size(); ++i) {
        const ConfigurationName& name = configurationNames[i];
        const Outcome converted = run({"convert", name.type, "-"}, {.input = documents[i]});
        EXPECT_EQ(converted.status, 0) << converted.err;
        EXPECT_EQ(converted.err, "");
        const Outcome extracted = run({"extract", name.shortName, "-"}, {.input = converted.out});
        EXPECT_EQ(extracted.status, 0) << extracted.err;
        EXPECT_EQ(extracted.err, "");
        EXPECT_FALSE(fs::exists(instance())) << "no instance is needed";

        set(name.type, documents[i]);
        EXPECT_EQ(row(name.policy).document, converted.out) << name.type;
        EXPECT_EQ(run({"get", name.type}).out, extracted.out) << name.type;
        EXPECT_EQ(run({"convert", name.type, "-"}, {.input = extracted.out}).out, converted.out) << name.type;

        EXPECT_EQ(json::parse(run({"convert", name.type, "-", "--json"}, {.input = documents[i]}).out),
                  (json{{"type", name.type}, {"document", converted.out}, {"bytes", converted.out.size()}}));
        EXPECT_EQ(json::parse(run({"extract", name.type, "-", "--json"}, {.input = converted.out}).out),
                  (json{{"type", name.type}, {"document", extracted.out}, {"bytes", extracted.out.size()}}));
        fs::remove_all(instance());
    }
}

TEST_F(CliConvert, writesTheWindowsAsTheEngineReadsThem) {
    const Outcome outcome = run(
        {"convert", "windows", "-"},
        {.input = windowsConfiguration({.daysOfWeek = "Mon Fri", .daysOfMonth = "1 15 -1", .monthsOfYear = "Feb"})});
    for (const char* part :
         {"<DayOfWeekMask>0100010</DayOfWeekMask>", "<MonthOfYearMask>010000000000</MonthOfYearMask>",
          "<DayOfMonthMask>10000000000000100000000000000001000000000000000000000000000000<",
          "<TimeOfDayMask>T220000/T060000</TimeOfDayMask>"})
        EXPECT_NE(outcome.out.find(part), std::string::npos) << part << outcome.out;
}

TEST_F(CliConvert, refusesWhatASetRefusesForItsForm) {
    for (const char* duration : {"0", "25", "x"}) {
        const json error =
            failureOf({"convert", "windows", "-"}, {.input = windowsConfiguration({.duration = duration})});
        EXPECT_EQ(error.at("sqlcode"), -1437) << duration;
        EXPECT_EQ(error.at("line"), 2) << duration;
        EXPECT_EQ(error.at("document"), "<stdin>");
    }
    EXPECT_EQ(failureOf({"convert", "windows", file("none.xml")}).at("sqlcode"), -1436);
    EXPECT_EQ(failureOf({"extract", "windows", file("none.xml")}).at("sqlcode"), -1436);
}

TEST_F(CliConvert, writesWhatTheEngineCouldNotReadAndSaysSo) {
    const Outcome outcome = run({"convert", "reorg", "-"}, {.input = reorgConfiguration("X &lt; 5")});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_NE(outcome.out.find("<Constant>X < 5</Constant>"), std::string::npos);
    EXPECT_EQ(outcome.err, "note: cannot set AUTO_REORG: FilterClause would not come back as it is written\n");
}

TEST_F(CliConvert, tellsWhereAStoredDocumentCannotBeRead) {
    writeFile(file("stored.xml"), "<PolicyDocument>\n <And></Or>\n</PolicyDocument>");
    for (const ConfigurationName& name : configurationNames) {
        const json error = failureOf({"extract", name.type, file("stored.xml")});
        EXPECT_EQ(error.at("sqlcode"), -1438) << name.type;
        EXPECT_EQ(error.at("line"), 2) << name.type;
        EXPECT_NE(error.at("message").get<std::string>().find("stored.xml"), std::string::npos) << error;
    }
}

TEST_F(CliConvert, tellsThatAFilterDoesNotFit) {
    const json error = failureOf({"extract", "runstats", "-"},
                                 {.input = "<PolicyDocument><Equals><kel:Sensors>Tables</kel:Sensors><Constant>" +
                                           std::string(5000, 'x') + "</Constant></Equals></PolicyDocument>"});
    EXPECT_EQ(error.at("sqlcode"), -1438) << error;
    EXPECT_NE(error.at("hint"), "");
}

TEST_F(CliConvert, tellsWhatAConfigurationDocumentCannotSay) {
    const Outcome period =
        run({"extract", "windows", "-"}, {.input = windowDocument({.period = "20260101T000000/20301231T000000"})});
    EXPECT_EQ(period.status, 0);
    EXPECT_EQ(period.err,
              "note: the online window of the document on standard input is \"every day from 22:00:00 to 06:00:00 of "
              "the next day; valid from 2026-01-01 00:00:00 until 2030-12-31 00:00:00\"; setting this document makes "
              "it \"every day from 22:00:00 to 06:00:00 of the next day\"\n");
    const Outcome none = run({"extract", "backup", "-"}, {.input = windowDocument({})});
    EXPECT_EQ(none.status, 0);
    EXPECT_NE(none.err.find("note: the document on standard input has no element of the Backup policy\n"),
              std::string::npos)
        << none.err;
    EXPECT_EQ(none.err.find("note: setting this document would fail: value '0' must be greater than or equal to "), 0U)
        << none.err;
}

}  // namespace
}  // namespace scenario
