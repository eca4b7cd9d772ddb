// kelpolicy show windows, window next, window status.
#include <nlohmann/json.hpp>

#include "scenario.h"
#include "sqlpiMaintWin.h"
#include "windowDocument.h"
#include "windows/sqlpiWindowReading.h"

namespace scenario {
namespace {

using nlohmann::json;
using nlohmann::ordered_json;

class CliWindow : public Scenario {
protected:
    Outcome runOn(const WindowText& window, std::vector<std::string> arguments) const {
        arguments.insert(arguments.end(), {"--document", "-"});
        return run(arguments, {.input = windowDocument(window)});
    }
    json answer(const WindowText& window, std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), "--json");
        const Outcome outcome = runOn(window, arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return json::parse(outcome.out);
    }
};

/* --- show windows --------------------------------------------------------------------------------------------------
 */

const json noLimit = {{"boundKind", 1}, {"year", 0},   {"month", 0}, {"day", 0},
                      {"hour", 0},      {"minute", 0}, {"second", 0}};
const json noEnd = {{"boundKind", 2}, {"year", 0}, {"month", 0}, {"day", 0}, {"hour", 0}, {"minute", 0}, {"second", 0}};

json windowRecord(bool defined) {
    return {{"defined", defined},
            {"monthOfYear", "111111111111"},
            {"dayOfMonth", everyDayOfMonth},
            {"dayOfWeek", "1111111"},
            {"outside", 0},
            {"startDateTime", noLimit},
            {"endDateTime", noEnd},
            {"startTime", "00:00:00"},
            {"endTime", "00:00:00"}};
}

TEST_F(CliWindow, showsTheDefaultsOfBothWindows) {
    makeInstance();
    const Outcome outcome = run({"show", "windows", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(json::parse(outcome.out), (json{{"online", windowRecord(true)}, {"offline", windowRecord(false)}}));
    std::vector<std::string> keys;
    const ordered_json inOrder = ordered_json::parse(outcome.out);
    for (const auto& [key, value] : inOrder.at("online").items()) keys.push_back(key);
    EXPECT_EQ(keys, (std::vector<std::string>{"defined", "monthOfYear", "dayOfMonth", "dayOfWeek", "outside",
                                              "startDateTime", "endDateTime", "startTime", "endTime"}));
}

TEST_F(CliWindow, showsEveryFieldOfTheRecords) {
    json online = windowRecord(true);
    online["startTime"] = "22:00:00";
    online["endTime"] = "06:00:00";
    json offline = windowRecord(true);
    offline["dayOfWeek"] = "1000001";
    offline["monthOfYear"] = "111111111110";
    offline["startTime"] = "01:00:00";
    offline["endTime"] = "05:00:00";
    const json expected = {{"online", online}, {"offline", offline}};
    EXPECT_EQ(json::parse(run({"--json", "show", "windows", "--document", sample("windows.xml")}).out), expected);
    store("CommonPolicy", readFile(sample("windows.xml")));
    EXPECT_EQ(json::parse(run({"--json", "show", "windows"}).out), expected);

    const json limited = answer({.time = "T083015/T170045",
                                 .dayOfMonth = std::string(31, '0') + "1" + std::string(30, '0'),
                                 .period = "20260102T030405/20271231T235958",
                                 .isOutside = true},
                                {"show", "windows"})
                             .at("online");
    EXPECT_EQ(
        limited.at("startDateTime"),
        (json{{"boundKind", 0}, {"year", 2026}, {"month", 1}, {"day", 2}, {"hour", 3}, {"minute", 4}, {"second", 5}}));
    EXPECT_EQ(limited.at("endDateTime"), (json{{"boundKind", 0},
                                               {"year", 2027},
                                               {"month", 12},
                                               {"day", 31},
                                               {"hour", 23},
                                               {"minute", 59},
                                               {"second", 58}}));
    EXPECT_EQ(limited.at("startTime"), "08:30:15");
    EXPECT_EQ(limited.at("endTime"), "17:00:45");
    EXPECT_EQ(limited.at("outside"), 1);
    EXPECT_EQ(limited.at("dayOfMonth"), std::string(31, '0') + "1" + std::string(30, '0'));
}

TEST_F(CliWindow, saysInWordsWhatTheMasksMean) {
    const Outcome outcome = runOn({.time = "T083000/T170000",
                                   .dayOfWeek = "0111110",
                                   .monthOfYear = "100000000001",
                                   .dayOfMonth = "1" + std::string(30, '0') + "11" + std::string(29, '0'),
                                   .period = "THISANDPRIOR/20271231T000000"},
                                  {"show", "windows"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    for (const char* words : {"MON, TUE, WED, THU, FRI", "JAN, DEC", "1, last, 2nd last", "08:30:00 to 17:00:00",
                              "valid until 2027-12-31 00:00:00", "there is no such window"})
        EXPECT_NE(outcome.out.find(words), std::string::npos) << words << "\n" << outcome.out;
}

TEST_F(CliWindow, everyWindowCommandSaysThatTheStoredDocumentDoesNotParse) {
    store("CommonPolicy", "<PolicyDocument>\n<Not>\n</PolicyDocument>");
    const std::vector<std::vector<std::string>> commands = {
        {"show", "windows"},    {"window", "next"},
        {"window", "status"},   {"window", "status", "--check", "--kind", "offline"},
        {"window", "calendar"}, {"window", "lint"}};
    for (std::vector<std::string> command : commands) {
        command.emplace_back("--json");
        const Outcome outcome = run(command);
        EXPECT_EQ(outcome.status, 1) << command[1];
        EXPECT_TRUE(json::accept(outcome.out)) << "the defaults are shown: " << outcome.out;
        const json error = json::parse(outcome.err).at("error");
        EXPECT_EQ(error.at("policy"), "CommonPolicy") << command[1];
        EXPECT_EQ(error.at("line"), 3) << command[1];
        EXPECT_EQ(error.at("column"), 3) << command[1];
    }
}

TEST_F(CliWindow, everyWindowCommandSaysThatThereIsNoRow) {
    execute("DELETE FROM SYSTOOLS.POLICY WHERE NAME='CommonPolicy'");
    for (const char* command : {"next", "status", "calendar", "lint"}) {
        const Outcome outcome = run({"window", command, "--json"});
        EXPECT_EQ(outcome.status, 0) << command;
        EXPECT_EQ(json::parse(outcome.err).at("note"),
                  "no row CommonPolicy: the built-in defaults are in force; \"kelpolicy init\" makes the default row")
            << command;
    }
}

/* --- window next ---------------------------------------------------------------------------------------------------
 */

TEST_F(CliWindow, nextAnswersWithExactlyTheseKeys) {
    const Outcome outcome =
        runOn({}, {"window", "next", "--json", "--at", "2026-11-21T12:00:00", "--tz", "Europe/Berlin"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(ordered_json::parse(outcome.out).dump(),
              R"([{"found":true,"open":false,"start":1795294800,"end":1795323600,)"
              R"("start_local":"2026-11-21T22:00:00+01:00","end_local":"2026-11-22T06:00:00+01:00"}])");
}

TEST_F(CliWindow, nextTellsTheRuleInOneWay) {
    const std::string lastDay = std::string(31, '0') + "1" + std::string(30, '0');
    const std::pair<WindowText, const char*> cases[] = {
        {{}, "every day from 22:00:00 to 06:00:00 of the next day"},
        {{.time = "T000000/T000000"}, "every day, all day"},
        {{.time = "T060000/T060000", .dayOfWeek = "0000001"}, "on SAT, 24 hours from 06:00:00"},
        {{.time = "T080000/T180000", .dayOfWeek = "0110000", .isOutside = true},
         "at all times, but not on MON, TUE from 08:00:00 to 18:00:00"},
        {{.time = "T080000/T180000", .monthOfYear = "100000000000", .dayOfMonth = lastDay},
         "on the days last of the month in JAN from 08:00:00 to 18:00:00"},
        {{.time = "T080000/T180000",
          .dayOfWeek = "0000010",
          .dayOfMonth = lastDay,
          .period = "20260101T000000/THISANDFUTURE"},
         "on FRI among the days last of the month from 08:00:00 to 18:00:00; valid from 2026-01-01 00:00:00"},
    };
    for (const auto& [window, rule] : cases) {
        const Outcome outcome = runOn(window, {"window", "next"});
        EXPECT_NE(outcome.out.find("\n" + std::string(rule) + "\n"), std::string::npos) << rule << "\n" << outcome.out;
    }
}

TEST_F(CliWindow, nextTellsThatThereIsNone) {
    const json none = {{{"found", false},
                        {"open", false},
                        {"start", nullptr},
                        {"end", nullptr},
                        {"start_local", nullptr},
                        {"end_local", nullptr}}};
    EXPECT_EQ(answer({.monthOfYear = "000000000000"}, {"window", "next", "--count", "5"}), none);
    EXPECT_EQ(answer({}, {"window", "next", "--kind", "offline"}), none) << "there is no offline window";
    EXPECT_EQ(answer({}, {"window", "next", "--min-duration", "28801"}), none) << "no night lasts so long";
    const Outcome text = runOn({}, {"window", "next", "--kind", "offline"});
    EXPECT_NE(text.out.find("none: it is not defined"), std::string::npos) << text.out;
}

TEST_F(CliWindow, nextTellsThatAWindowIsOpenWithoutEnd) {
    const json open = answer({.time = "T000000/T000000"}, {"window", "next", "--at", "1800000000", "--count", "9"});
    EXPECT_EQ(open, (json{{{"found", true},
                           {"open", true},
                           {"start", 1800000000},
                           {"end", 1800000000},
                           {"start_local", "2027-01-15T08:00:00+00:00"},
                           {"end_local", "2027-01-15T08:00:00+00:00"}}}));
}

TEST_F(CliWindow, nextAsksAgainFromTheEndOfTheOneBefore) {
    const json all = answer({.time = "T010000/T050000", .dayOfWeek = "1000001"},
                            {"window", "next", "--count", "4", "--at", "2026-11-22T02:00:00"});
    std::vector<std::string> starts;
    for (const json& entry : all) starts.push_back(entry.at("start_local"));
    EXPECT_EQ(starts, (std::vector<std::string>{"2026-11-22T02:00:00+00:00", "2026-11-28T01:00:00+00:00",
                                                "2026-11-29T01:00:00+00:00", "2026-12-05T01:00:00+00:00"}));
    const json longOnes = answer({.time = "T010000/T050000", .dayOfWeek = "1000001"},
                                 {"window", "next", "--min-duration", "14400", "--at", "2026-11-22T02:00:00"});
    EXPECT_EQ(longOnes[0].at("start_local"), "2026-11-28T01:00:00+00:00");
}

TEST_F(CliWindow, nextGoesOnBehindAnAnswerThatIsOver) {
    const json all = answer({.time = "T023000/T024000"},
                            {"window", "next", "--count", "3", "--tz", "Europe/Berlin", "--at", "2024-03-31T01:50"});
    std::vector<std::string> starts;
    for (const json& entry : all) starts.push_back(entry.at("start_local"));
    EXPECT_EQ(starts, (std::vector<std::string>{"2024-03-31T01:30:00+01:00", "2024-04-01T02:30:00+02:00",
                                                "2024-04-02T02:30:00+02:00"}))
        << "the first is the engine's own answer";
}

TEST_F(CliWindow, nextAnswersWhatTheLibraryAnswers) {
    const WindowText windows[] = {
        {},
        {.time = "T013000/T023000"},
        {.time = "T000000/T000000", .dayOfWeek = "1000001"},
        {.time = "T080000/T180000", .dayOfWeek = "0111110", .isOutside = true},
        {.time = "T230000/T030000", .dayOfMonth = std::string(31, '0') + "11" + std::string(29, '0')},
        {.time = "T120000/T120000", .monthOfYear = "010000000000"},
    };
    const std::vector<std::string> zones = {"UTC", "Europe/Berlin", "America/New_York", "Australia/Lord_Howe"};
    const std::vector<int64_t> moments = {1774745999, 1774746000, 1792889999, 1792893600, 1835395200, 1798761599};
    for (const WindowText& text : windows) {
        std::string document = windowDocument(text);
        sqlpiMaintWindow record;
        sqlpiSetMaintWindowDefaults(&record);
        ASSERT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &record), 0);
        for (const std::string& zone : zones) {
            ::setenv("TZ", zone.c_str(), 1);
            ::tzset();
            for (const int64_t moment : moments) {
                SCOPED_TRACE(zone + " " + std::to_string(moment) + " " + document);
                OSSTime start = {};
                OSSTime end = {};
                const bool found = sqlpiFindMaintWindow(&record.online, {moment, 0}, 3600, &start, &end) == 1;
                const json told = answer(
                    text, {"window", "next", "--tz", zone, "--at", std::to_string(moment), "--min-duration", "3600"});
                ASSERT_EQ(told.size(), 1U);
                EXPECT_EQ(told[0].at("found"), found);
                if (!found) continue;
                EXPECT_EQ(told[0].at("start"), start.seconds);
                EXPECT_EQ(told[0].at("end"), end.seconds);
                EXPECT_EQ(told[0].at("open"), start.seconds == end.seconds);
            }
        }
    }
}

TEST_F(CliWindow, takesTheMomentInSecondsOrAsLocalTimeOrWithAnOffset) {
    // Always open: the answer is the moment itself.
    const auto moment = [this](const std::string& at, const std::string& zone) {
        return answer({.time = "T000000/T000000"}, {"window", "next", "--at", at, "--tz", zone})[0].at("start");
    };
    const struct {
        const char* at;
        const char* zone;
        int64_t expected;
    } cases[] = {
        {"1795294800", "Europe/Berlin", 1795294800},
        {"2026-11-21T22:00:00", "Europe/Berlin", 1795294800},
        {"2026-11-21 22:00", "Europe/Berlin", 1795294800},
        {"2026-11-21", "Europe/Berlin", 1795215600},
        {"2026-11-21T24:00", "Europe/Berlin", 1795302000},
        {"2026-11-21T21:00:00Z", "Europe/Berlin", 1795294800},
        {"2026-11-21T16:00:00-05:00", "Europe/Berlin", 1795294800},
        {"2026-11-22T02:30:00+0530", "UTC", 1795294800},
        {"2026-03-29T02:30:00", "Europe/Berlin", 1774747800},        // skipped: an hour later, 03:30
        {"2026-10-25T02:30:00", "Europe/Berlin", 1792888200},        // doubled: the first
        {"2026-10-25T02:30:00+01:00", "Europe/Berlin", 1792891800},  // doubled: the second
        {"2026-11-21T22:00:00", "EST5EDT,M3.2.0,M11.1.0", 1795316400},
        {"2026-11-21T22:00:00", "EST5EDT,J69/2:00:00,305/-167", 1795316400},
        {"2026-11-22T02:30:00", "<+0530>-5:30", 1795294800},
        {"2026-11-22T20:59:00+23:59", "UTC", 1795294800},
        {"2026-11-20T21:01:00-23:59", "UTC", 1795294800},
        {"1971-01-02", "UTC", 31622400},
        {"9000-12-30T23:59:59Z", "UTC", 221876841599},
    };
    for (const auto& example : cases) EXPECT_EQ(moment(example.at, example.zone), example.expected) << example.at;
}

TEST_F(CliWindow, refusesOptionsThatMakeNoSense) {
    const std::vector<std::vector<std::string>> cases = {{"next", "--at", "yesterday"},
                                                         {"next", "--at", "2026-02-30"},
                                                         {"next", "--at", "2026-01-01T25:00"},
                                                         {"next", "--at", ""},
                                                         {"next", "--at", "2026-01-01T00:00+99:99"},
                                                         {"next", "--at", "2026-01-01T00:00+24:00"},
                                                         {"next", "--at", "2026-01-01T00:00-01:60"},
                                                         {"next", "--at", "99999999999999999999"},
                                                         {"next", "--at", "253402300799"},
                                                         {"next", "--at", std::string(5000, '1')},
                                                         {"next", "--tz", "Mars/Olympus"},
                                                         {"next", "--tz", ""},
                                                         {"next", "--tz", "/etc/localtime"},
                                                         {"next", "--tz", "../zoneinfo/UTC"},
                                                         {"next", "--tz", "zone.tab"},
                                                         {"next", "--tz", "leapseconds"},
                                                         {"next", "--tz", "America"},
                                                         {"next", "--tz", "ABC99"},
                                                         {"next", "--tz", "ABC5:60"},
                                                         {"next", "--tz", "AB5"},
                                                         {"next", "--tz", "EST5EDT,M13.1.0,M11.1.0"},
                                                         {"next", "--tz", "EST5EDT,M3.6.0,M11.1.0"},
                                                         {"next", "--tz", "EST5EDT,M3.2.7,M11.1.0"},
                                                         {"next", "--tz", "EST5EDT,J0,J300"},
                                                         {"next", "--tz", "EST5EDT,J366,J300"},
                                                         {"next", "--tz", "EST5EDT,366,300"},
                                                         {"next", "--tz", "EST5EDT,M3.2.0/168,M11.1.0"},
                                                         {"next", "--tz", "EST5EDT,M3.2.0"},
                                                         {"next", "--tz", std::string(100000, 'A')},
                                                         {"next", "--kind", "both"},
                                                         {"next", "--min-duration", "0"},
                                                         {"next", "--min-duration", "-1"},
                                                         {"next", "--min-duration", "2147483648"},
                                                         {"next", "--count", "0"},
                                                         {"next", "--count", "x"},
                                                         {"status", "--kind", "x"},
                                                         {"next", "--at", "-1"},
                                                         {"calendar", "--month", "1970-12"},
                                                         {"calendar", "--month", "2026-13"},
                                                         {"calendar", "--month", "2026"},
                                                         {"calendar", "--month", "26-01"},
                                                         {"calendar", "--months", "0"},
                                                         {"calendar", "--html", ""},
                                                         {"calendar", "--html", "X", "--ics", "X"},
                                                         {"calendar", "--html", "./none/../X", "--ics", "X"},
                                                         {"calendar", "--html", "/dev/null", "--ics", "/dev/null"},
                                                         {"lint", "--at", "x"},
                                                         {}};
    for (std::vector<std::string> arguments : cases) {
        arguments.insert(arguments.begin(), "window");
        const Outcome outcome = run(arguments);
        EXPECT_EQ(outcome.status, 2) << ::testing::PrintToString(arguments).substr(0, 200);
        EXPECT_NE(outcome.err.find("--help"), std::string::npos) << outcome.err.substr(0, 500);
    }
    EXPECT_FALSE(std::filesystem::exists(instance()));
}

/* The calendar shows the month of --at, so both have one range. */
TEST_F(CliWindow, tellsTheRangeOfMomentsAndMonths) {
    makeInstance();
    const std::pair<const char*, const char*> moments[] = {
        {"--at", "1970-01-05"},   {"--at", "1971-01-01T23:59:59"},  {"--at", "31622399"},
        {"--at", "-1"},           {"--at", "9000-12-31"},           {"--at", "1971-01-02T00:00+00:01"},
        {"--at", "221876841600"}, {"--at", "99999999999999999999"}, {"--month", "1970-01"},
        {"--month", "1970-12"},   {"--month", "9001-01"},
    };
    for (const auto& [option, value] : moments) {
        const Outcome outcome = run({"window", "calendar", option, value});
        EXPECT_EQ(outcome.status, 2) << value;
        const bool isMonth = std::string(option) == "--month";
        EXPECT_NE(outcome.err.find(isMonth ? "from 1971-01 to 9000-12" : "from 1971-01-02 to 9000-12-30"),
                  std::string::npos)
            << value << ": " << outcome.err;
    }
    for (const auto& [option, value] : {std::pair("--at", "1971-01-02"), std::pair("--month", "1971-01")})
        EXPECT_NE(run({"window", "calendar", option, value, "--tz", "America/New_York"}).out.find("January 1971"),
                  std::string::npos)
            << option;
    EXPECT_NE(run({"window", "calendar", "--at", "31622400", "--tz", "America/New_York"}).out.find("January 1971"),
              std::string::npos)
        << "the first moment in a zone that is behind UTC";
}

TEST_F(CliWindow, tellsThatTheZoneOfTheEnvironmentIsUnknown) {
    ASSERT_EQ(run({"init"}).status, 0);
    for (const std::string zone : {"/nonexistent", "/etc/passwd", ":/nonexistent", "zone.tab", "ABC99"})
        EXPECT_NE(run({"window", "status"}, {.environment = {{"TZ", zone}}})
                      .err.find("TZ is \"" + zone + "\", which is no known zone: all times are UTC"),
                  std::string::npos)
            << zone;
    EXPECT_EQ(run({"window", "status"}, {.environment = {{"TZ", "/usr/share/zoneinfo/Europe/Berlin"}}}).err, "");
    const Outcome outcome = run({"window", "status"}, {.environment = {{"TZ", "Mars/Olympus"}}});
    EXPECT_NE(outcome.err.find("TZ is \"Mars/Olympus\", which is no known zone: all times are UTC"), std::string::npos)
        << outcome.err;
    EXPECT_EQ(run({"window", "status"}, {.environment = {{"TZ", "Europe/Berlin"}}}).err, "");
    EXPECT_EQ(run({"window", "status"}, {.environment = {{"TZ", ":Europe/Berlin"}}}).err, "");
    EXPECT_EQ(run({"window", "status"}, {.environment = {{"TZ", std::nullopt}}}).err, "");
}

/* --- window status -------------------------------------------------------------------------------------------------
 */

TEST_F(CliWindow, statusTellsBothWindowsInWords) {
    makeInstance();
    const auto status = [this](const std::string& at) {
        return run({"window", "status", "--document", sample("windows.xml"), "--at", at, "--tz", "Europe/Berlin"}).out;
    };
    EXPECT_EQ(
        status("2026-11-21T23:00:00"),
        "Sat 2026-11-21 23:00:00 CET (Europe/Berlin)\n"
        "online   inside: work may run now, until Sun 2026-11-22 06:00:00 CET (7 h from now); next Sun 2026-11-22 "
        "22:00:00 CET  to  Mon 2026-11-23 06:00:00 CET  (8 h)\n"
        "offline  outside: work may not run now; next Sun 2026-11-22 01:00:00 CET  to  Sun 2026-11-22 05:00:00 CET  "
        "(4 h)\n");
    EXPECT_NE(
        status("2026-11-22T06:00:00").find("online   outside: work may not run now; next Sun 2026-11-22 22:00:00"),
        std::string::npos)
        << "the end belongs to the window no more";
    const Outcome defaults = run({"window", "status"});
    EXPECT_NE(defaults.out.find("online   inside: work may run now, without end\n"), std::string::npos) << defaults.out;
    EXPECT_NE(defaults.out.find("offline  not defined: no such work runs at any time\n"), std::string::npos);
    EXPECT_NE(runOn({.period = "20200101T000000/20200201T000000"}, {"window", "status"})
                  .out.find("outside: work may not run now; the engine finds no next time from here"),
              std::string::npos);
}

TEST_F(CliWindow, statusAnswersACronJobWithItsExitStatus) {
    makeInstance();
    const struct {
        const char* at;
        std::vector<std::string> options;
        int status;
    } cases[] = {
        {"2026-11-21T23:00:00", {}, 0},
        {"2026-11-21T12:00:00", {}, 0},
        {"2026-11-21T23:00:00", {"--check"}, 0},
        {"2026-11-21T12:00:00", {"--check"}, 3},
        {"2026-11-22T06:00:00", {"--check"}, 3},
        {"2026-11-22T05:59:59", {"--check"}, 0},
        {"2026-11-21T23:00:00", {"--check", "--kind", "offline"}, 3},
        {"2026-11-22T01:00:00", {"--check", "--kind", "offline"}, 0},
    };
    for (const auto& example : cases) {
        std::vector<std::string> arguments = {"window", "status",  "--document", sample("windows.xml"),
                                              "--at",   example.at};
        arguments.insert(arguments.end(), example.options.begin(), example.options.end());
        EXPECT_EQ(run(arguments).status, example.status) << ::testing::PrintToString(arguments);
    }
    EXPECT_EQ(run({"window", "status", "--check", "--kind", "offline"}).status, 3)
        << "no offline window: outside of it";
}

/* 02:30 does not exist then; the engine reads it as 01:30, also when that is over. */
TEST_F(CliWindow, statusIsNotInsideWhatIsOverAtAClockChange) {
    const struct {
        const char* time;
        const char* at;
        bool isInside;
        const char* next;
    } cases[] = {
        {"T023000/T024000", "2024-03-31T01:50", false, "2024-04-01T02:30:00+02:00"},
        {"T023000/T024000", "2024-03-31T01:35", true, "2024-04-01T02:30:00+02:00"},
        {"T023000/T024000", "2024-03-31T01:40", false, "2024-04-01T02:30:00+02:00"},
        {"T023000/T040000", "2024-03-31T01:50", true, "2024-04-01T02:30:00+02:00"},
        {"T023000/T040000", "2024-03-31T04:00", false, "2024-04-01T02:30:00+02:00"},
    };
    for (const auto& example : cases) {
        SCOPED_TRACE(std::string(example.time) + " at " + example.at);
        const Outcome outcome = runOn({.time = example.time}, {"window", "status", "--json", "--check", "--tz",
                                                               "Europe/Berlin", "--at", example.at});
        EXPECT_EQ(outcome.status, example.isInside ? 0 : 3) << outcome.err;
        const json online = json::parse(outcome.out).at("online");
        EXPECT_EQ(online.at("inside"), example.isInside);
        EXPECT_EQ(online.at("current").is_null(), !example.isInside);
        EXPECT_EQ(online.at("next").at("start_local"), example.next);
    }
}

/* The engine gives up after two days that a clock change cuts short, and finds the next time when asked later. */
TEST_F(CliWindow, statusTellsThatTheEngineFindsNothingFromHere) {
    const Outcome outcome =
        runOn({.time = "T000000/T040000"}, {"window", "status", "--tz", "America/Havana", "--at", "2026-03-07T12:00"});
    EXPECT_NE(outcome.out.find("online   outside: work may not run now; the engine finds no next time from here\n"),
              std::string::npos)
        << outcome.out;
}

TEST_F(CliWindow, statusTellsAProgramTheSame) {
    makeInstance();
    const json told = json::parse(run({"--json", "window", "status", "--document", sample("windows.xml"), "--at",
                                       "2026-11-22T04:00:00", "--tz", "UTC"})
                                      .out);
    EXPECT_EQ(told.at("at"), 1795320000);
    EXPECT_EQ(told.at("zone"), "UTC");
    EXPECT_EQ(told.at("online").at("inside"), true);
    EXPECT_EQ(told.at("online").at("current").at("end_local"), "2026-11-22T06:00:00+00:00");
    EXPECT_EQ(told.at("online").at("next").at("start_local"), "2026-11-22T22:00:00+00:00");
    EXPECT_EQ(told.at("offline").at("inside"), true);
    EXPECT_EQ(told.at("offline").at("next").at("start_local"), "2026-11-28T01:00:00+00:00");
    const json defaults = json::parse(run({"--json", "window", "status"}).out);
    EXPECT_EQ(defaults.at("offline"), (json{{"defined", false},
                                            {"inside", false},
                                            {"current", nullptr},
                                            {"next",
                                             {{"found", false},
                                              {"open", false},
                                              {"start", nullptr},
                                              {"end", nullptr},
                                              {"start_local", nullptr},
                                              {"end_local", nullptr}}}}));
    EXPECT_EQ(defaults.at("online").at("current").at("open"), true);
}

}  // namespace
}  // namespace scenario
