// kelpolicy window lint: what is legal in a window and yet surely not meant.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "scenario.h"
#include "windowDocument.h"

namespace scenario {
namespace {

using nlohmann::json;

class CliLint : public Scenario {
protected:
    Outcome lint(const std::string& document, const std::string& zone = "UTC") const {
        return run({"window", "lint", "--json", "--document", "-", "--at", "2026-11-21T12:00:00", "--tz", zone},
                   {.input = document});
    }
};

const std::string first = "1" + std::string(61, '0');

struct LintCase {
    const char* name;
    std::string document;
    std::string zone;
    json findings; /* check, severity, window, line */
    std::string inWhat;
};

const LintCase lintCases[] = {
    {"every night", windowDocument({}), "Europe/Berlin", json::array(), ""},
    {"always open", windowDocument({.time = "T000000/T000000"}), "UTC", json::array(), ""},
    {"every day by its default end", windowDocument({.time = "T000000/T235959"}), "UTC", json::array(), ""},
    {"a day that no month has",
     windowDocument({.monthOfYear = "010000000000", .dayOfMonth = std::string(29, '0') + "11" + std::string(31, '0')}),
     "UTC",
     {{"never-opens", "error", "online", 5}},
     "it never opens within five years"},
    {"the same offline",
     windowDocument({.monthOfYear = "010000000000",
                     .dayOfMonth = std::string(29, '0') + "11" + std::string(31, '0'),
                     .type = "offline"}),
     "UTC",
     {{"offline-never-opens", "error", "offline", 5}},
     ""},
    {"outside of always",
     windowDocument({.time = "T000000/T000000", .isOutside = true}),
     "UTC",
     {{"never-opens", "error", "online", 3}},
     "outside of a window that is always open"},
    {"24 hours on every day with an end",
     windowDocument({.time = "T000000/T000000", .period = "20260101T000000/20301231T000000"}),
     "UTC",
     {{"never-opens", "error", "online", 7}},
     "whose period has an end"},
    {"begins in ten years",
     windowDocument({.period = "20361231T000000/THISANDFUTURE"}),
     "UTC",
     {{"never-opens", "error", "online", 7}},
     "the first time is Wed 2036-12-31"},
    {"begins in ten years, offline",
     windowDocument({.period = "20361231T000000/THISANDFUTURE", .type = "offline"}),
     "UTC",
     {{"offline-never-opens", "error", "offline", 7}},
     "the first time is Wed 2036-12-31"},
    {"no day in its period",
     windowDocument({.dayOfWeek = "1000000", .period = "20261123T000000/20261128T000000"}),
     "UTC",
     {{"never-opens", "error", "online", 7}},
     "none of its times in its period (from 2026-11-23 00:00:00 until 2026-11-28 00:00:00)"},
    {"a stretch that reaches the end of its period",
     windowDocument({.time = "T000000/T000000", .dayOfWeek = "1000001", .period = "THISANDPRIOR/20261122T180000"}),
     "UTC",
     {{"never-opens", "error", "online", 7}},
     "none of its times in its period"},
    {"no gap in its period",
     windowDocument({.time = "T080000/T180000", .period = "20261123T090000/20261123T120000", .isOutside = true}),
     "UTC",
     {{"never-opens", "error", "online", 8}},
     "none of its times in its period"},
    {"hours that the clock change leaves nothing of",
     windowDocument({.time = "T013000/T023000",
                     .dayOfWeek = "1000000",
                     .monthOfYear = "001000000000",
                     .dayOfMonth = std::string(31, '0') + "1111111" + std::string(24, '0')}),
     "Europe/Berlin",
     {{"never-opens", "error", "online", 6}, {"clock-change", "note", "online", 6}},
     "the hours 01:30:00 to 02:30:00 have no length"},
    {"its period is over",
     windowDocument({.period = "20200101T000000/20201231T000000"}),
     "UTC",
     {{"expired-period", "error", "online", 7}},
     "until 2020-12-31 00:00:00"},
    {"the period ends at this moment",
     windowDocument({.period = "THISANDPRIOR/20261121T120000"}),
     "UTC",
     {{"expired-period", "error", "online", 7}},
     ""},
    {"half an hour",
     windowDocument({.time = "T013000/T020000"}),
     "UTC",
     {{"rare", "note", "online", 2}, {"short", "warning", "online", 6}},
     ""},
    {"a gap of half an hour",
     windowDocument({.time = "T003000/T000000", .isOutside = true}),
     "UTC",
     {{"rare", "note", "online", 3}, {"short", "warning", "online", 7}},
     ""},
    {"an hour is enough, but rare",
     windowDocument({.time = "T010000/T020000"}),
     "UTC",
     {{"rare", "note", "online", 2}},
     "it is open for 32 h in the next 32 days"},
    {"once a month", windowDocument({.dayOfMonth = lastDayOfMonth}), "UTC", {{"rare", "note", "online", 2}}, ""},
    {"exactly 48 hours", windowDocument({.time = "T010000/T023000"}), "UTC", json::array(), ""},
    {"minutes behind midnight dropped",
     windowDocument({.time = "T213000/T235959"}),
     "UTC",
     {{"midnight", "warning", "online", 6}},
     "begins at 21:30:00 and ends at 23:59:59"},
    {"begins in the hour that is skipped",
     windowDocument({.time = "T023000/T060000"}),
     "Europe/Berlin",
     {{"clock-change", "note", "online", 6}, {"clock-change", "note", "online", 6}},
     "on 2027-03-28 the clock goes forward from 02:00 to 03:00: it begins in the time that does not exist"},
    {"ends in it",
     windowDocument({.time = "T220000/T023000"}),
     "Europe/Berlin",
     {{"clock-change", "note", "online", 6}, {"clock-change", "note", "online", 6}},
     "it ends in the time that does not exist"},
    {"ends where it begins: only the doubled one matters",
     windowDocument({.time = "T220000/T020000"}),
     "Europe/Berlin",
     {{"clock-change", "note", "online", 6}},
     "ends in the time that comes twice"},
    {"the same in a zone without clock changes", windowDocument({.time = "T023000/T060000"}), "UTC", json::array(), ""},
    {"not on that day of the week", windowDocument({.time = "T023000/T060000", .dayOfWeek = "0111110"}),
     "Europe/Berlin", json::array(), ""},
    {"only on days of no change",
     windowDocument({.time = "T020000/T220000", .dayOfMonth = first}),
     "Europe/Berlin",
     {{"rare", "note", "online", 2}},
     ""},
    {"short mask",
     windowDocument({.dayOfWeek = "01111"}),
     "UTC",
     {{"mask-length", "warning", "online", 3}},
     "DayOfWeekMask has 5 characters in place of 7: what is missing counts as selected"},
    {"long mask",
     windowDocument({.monthOfYear = "1111111111111"}),
     "UTC",
     {{"mask-length", "warning", "online", 4}},
     "the rest is not read"},
    {"letters in a mask",
     windowDocument({.dayOfWeek = "0nnnnn0"}),
     "UTC",
     {{"mask-character", "warning", "online", 3}},
     "each counts as selected"},
    {"a time with colons",
     windowDocument({.time = "22:00/06:00"}),
     "UTC",
     {{"time-of-day", "warning", "online", 6}},
     "is not of the form Thhmmss/Thhmmss"},
    {"hour 24", windowDocument({.time = "T200000/T240000"}), "UTC", {{"time-of-day", "warning", "online", 6}}, ""},
    {"a period of dates alone",
     windowDocument({.period = "20260101/20301231"}),
     "UTC",
     {{"time-period", "warning", "online", 7}},
     ""},
    {"a windowType that is none",
     windowDocument({.type = "Offline"}),
     "UTC",
     {{"window-type", "warning", "online", 2}},
     "it counts as online"},
};

TEST_F(CliLint, findsWhatIsSurelyNotMeantAndNothingElse) {
    for (const LintCase& example : lintCases) {
        SCOPED_TRACE(example.name);
        const Outcome outcome = lint(example.document, example.zone);
        EXPECT_EQ(outcome.status, example.findings.empty() ? 0 : 3) << outcome.err;
        const json found = json::parse(outcome.out);
        json told = json::array();
        std::string allWhat;
        for (const json& finding : found) {
            told.push_back({finding.at("check"), finding.at("severity"), finding.at("window"), finding.at("line")});
            EXPECT_EQ(finding.at("column"), 1);
            EXPECT_FALSE(finding.at("instead").get<std::string>().empty());
            allWhat += finding.at("what").get<std::string>() + "\n";
        }
        if (std::string(example.name) == "a time with colons" ||
            std::string(example.name) == "a period of dates alone") {
            // What the engine makes of such a text is not the subject; that it is told is.
            EXPECT_NE(std::find(told.begin(), told.end(), example.findings[0]), told.end()) << told;
        } else {
            EXPECT_EQ(told, example.findings) << allWhat;
        }
        EXPECT_NE(allWhat.find(example.inWhat), std::string::npos) << allWhat;
    }
}

TEST_F(CliLint, tellsWhatTheEngineDoesAtAClockChange) {
    const json found = json::parse(lint(windowDocument({.time = "T023000/T043000"}), "Europe/Berlin").out);
    ASSERT_EQ(found.size(), 2U);
    EXPECT_NE(found[0].at("what").get<std::string>().find(
                  "the engine works Sun 2027-03-28 01:30:00 CET to Sun 2027-03-28 04:30:00 CEST"),
              std::string::npos)
        << found[0];
    EXPECT_NE(found[1].at("what").get<std::string>().find("on 2027-10-31 the clock goes back from 03:00 to 02:00"),
              std::string::npos)
        << found[1];
}

/* The engine gives up after two days that a clock change cuts short; the window opens all the same. */
TEST_F(CliLint, isNotMisledByAClockChangeAhead) {
    const Outcome outcome =
        run({"window", "lint", "--json", "--document", "-", "--at", "2026-03-07T12:00", "--tz", "America/Havana"},
            {.input = windowDocument({.time = "T000000/T040000"})});
    const json found = json::parse(outcome.out);
    ASSERT_FALSE(found.empty()) << "it begins in the hour that the change of the next day skips";
    for (const json& finding : found) EXPECT_EQ(finding.at("check"), "clock-change") << finding;
}

/* Clocks that change and change back within a week. */
TEST_F(CliLint, seesTwoClockChangesInAWeek) {
    const Outcome outcome =
        run({"window", "lint", "--json", "--document", "-", "--at", "2000-09-30T23:30", "--tz", "America/Recife"},
            {.input = windowDocument({.time = "T003000/T040000"})});
    const json found = json::parse(outcome.out);
    ASSERT_FALSE(found.empty());
    EXPECT_NE(found[0].at("what").get<std::string>().find("on 2000-10-08 the clock goes forward"), std::string::npos)
        << found[0];
}

TEST_F(CliLint, tellsThatALaterConditionOverwritesAnEarlierOne) {
    const std::string condition =
        "<kel:MaintenanceWindowCondition windowType='online'>\n"
        "<TimeOfDayMask>T220000/T060000</TimeOfDayMask>\n</kel:MaintenanceWindowCondition>";
    const Outcome outcome = lint("<PolicyDocument>\n" + condition + "\n  " + condition + "\n</PolicyDocument>");
    EXPECT_EQ(outcome.status, 3);
    const json found = json::parse(outcome.out);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].at("check"), "overwritten");
    EXPECT_EQ(found[0].at("line"), 5);
    EXPECT_EQ(found[0].at("column"), 3);
    EXPECT_NE(found[0].at("what").get<std::string>().find("at line 2"), std::string::npos);
}

TEST_F(CliLint, givesThePlaceOfTheElementThatDecides) {
    // 16-bit units count, as in the places that the parser tells; a line ends with LF, CR LF or CR.
    const std::string condition =
        "<kel:MaintenanceWindowCondition windowType='offline'><TimeOfDayMask>T213000/T235959</TimeOfDayMask>"
        "</kel:MaintenanceWindowCondition></PolicyDocument>";
    const struct {
        const char* name;
        std::string before;
        int line;
        int column; /* of the condition */
    } cases[] = {
        {"nothing", "", 1, 17},
        {"of two bytes", "<!--\xC3\xA9\xC3\xA9-->", 1, 26},
        {"of three bytes", "<!--東-->", 1, 25},
        {"of four bytes", "<!--😀-->", 1, 26},
        {"LF", "\n\n  ", 3, 3},
        {"CR LF", "\r\n\r\n  ", 3, 3},
        {"CR", "\r\r  ", 3, 3},
        {"CR LF and CR", "\r\n\r😀", 3, 3},
    };
    for (const auto& example : cases) {
        const json found = json::parse(lint("<PolicyDocument>" + example.before + condition).out);
        ASSERT_EQ(found.size(), 1U) << example.name;
        EXPECT_EQ(found[0].at("check"), "midnight");
        EXPECT_EQ(found[0].at("line"), example.line) << example.name;
        EXPECT_EQ(found[0].at("column"), example.column + 53) << example.name;
    }
}

TEST_F(CliLint, tellsThatThereIsNoConditionAtAll) {
    for (const char* document :
         {"<PolicyDocument/>", "<PolicyDocument><kel:maintenanceWindowCondition/></PolicyDocument>",
          "<PolicyDocument><kel:MaintenanceWindowCondition/><PolicyDocument/></PolicyDocument>"}) {
        const Outcome outcome = lint(document);
        EXPECT_EQ(outcome.status, 3) << document;
        const json found = json::parse(outcome.out);
        ASSERT_EQ(found.size(), 1U) << found;
        EXPECT_EQ(found[0].at("check"), "no-condition");
        EXPECT_EQ(found[0].at("severity"), "warning");
        EXPECT_EQ(found[0].at("line"), nullptr);
    }
    const json misspelt = json::parse(
        lint("<PolicyDocument>\n<kel:MaintenanceWindowCondition windowtype='offline'/></PolicyDocument>").out);
    ASSERT_EQ(misspelt.size(), 1U) << misspelt;
    EXPECT_EQ(misspelt[0].at("check"), "attribute-name");
    EXPECT_EQ(misspelt[0].at("line"), 2);
}

TEST_F(CliLint, takesAnHourToMidnightForAnHour) {
    EXPECT_EQ(lint(windowDocument({.time = "T213000/T223000"})).out.find("\"short\""), std::string::npos);
    EXPECT_EQ(lint(windowDocument({.time = "T230000/T235959"})).out.find("\"short\""), std::string::npos);
    EXPECT_NE(lint(windowDocument({.time = "T230000/T235958"})).out.find("\"short\""), std::string::npos);
}

TEST_F(CliLint, speaksOfTheStoredDocument) {
    makeInstance();
    EXPECT_EQ(run({"window", "lint"}).status, 0) << "the default policy is fine";
    store("CommonPolicy", windowDocument({.period = "20200101T000000/20201231T000000"}));
    const Outcome outcome = run({"window", "lint"});
    EXPECT_EQ(outcome.status, 3);
    EXPECT_NE(outcome.out.find("CommonPolicy"), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("error: line 7, column 1: the online window: its period is over"), std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.out.find("  write instead: "), std::string::npos) << outcome.out;
}

TEST_F(CliLint, linesUpManyConditionsInOnePass) {
    std::string document = "<PolicyDocument>";
    for (int i = 0; i < 20000; ++i)
        document += "<kel:MaintenanceWindowCondition windowType='online'></kel:MaintenanceWindowCondition>\n";
    document += "</PolicyDocument>";
    const Outcome outcome = lint(document);
    EXPECT_EQ(outcome.status, 3);
    const json found = json::parse(outcome.out);
    ASSERT_EQ(found.size(), 19999U);
    EXPECT_EQ(found.back().at("line"), 20000);
}

}  // namespace
}  // namespace scenario
