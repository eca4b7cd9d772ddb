/* Maintenance window policy: the text forms, what a document makes of the windows, and the defaults. */
#include "sqlpiCommonPolicy.h"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "sqlpiPolicyCommonParser.h"
#include "unit/servicesSupport.h"
#include "windows/sqlpiWindowReading.h"

namespace {

using services::LogRecord;

std::string show(const sqlpiMaintWindowTime& time) {
    return std::to_string(time.hour) + ":" + std::to_string(time.minute) + ":" + std::to_string(time.second);
}

std::string show(const sqlpiMaintWindowDateTime& limit) {
    return std::to_string(limit.boundKind) + " " + std::to_string(limit.year) + "-" + std::to_string(limit.month) +
           "-" + std::to_string(limit.day) + " " + std::to_string(limit.hour) + ":" + std::to_string(limit.minute) +
           ":" + std::to_string(limit.second);
}

template <size_t Count>
std::string show(const bool (&mask)[Count]) {
    std::string shown;
    for (const bool isSet : mask) shown += isSet ? '1' : '0';
    return shown;
}

std::string show(const sqlpiMaintWindowInfo& info) {
    return std::string(info.defined ? "defined" : "undefined") + " months " + show(info.monthOfYear) + " days " +
           show(info.dayOfMonth) + " week " + show(info.dayOfWeek) + " outside " + std::to_string(info.outside) +
           " from " + show(info.startDateTime) + " to " + show(info.endDateTime) + " daily " + show(info.startTime) +
           " - " + show(info.endTime);
}

std::string show(const sqlpiMaintWindow& window) {
    return "online " + show(window.online) + "\noffline " + show(window.offline);
}

/* --- the records --- */

static_assert(sizeof(sqlpiMaintWindowDateTime) == 12 && offsetof(sqlpiMaintWindowDateTime, boundKind) == 0 &&
              offsetof(sqlpiMaintWindowDateTime, year) == 4 && offsetof(sqlpiMaintWindowDateTime, month) == 6 &&
              offsetof(sqlpiMaintWindowDateTime, day) == 7 && offsetof(sqlpiMaintWindowDateTime, hour) == 8 &&
              offsetof(sqlpiMaintWindowDateTime, minute) == 9 && offsetof(sqlpiMaintWindowDateTime, second) == 10);
static_assert(sizeof(sqlpiMaintWindowTime) == 3 && offsetof(sqlpiMaintWindowTime, hour) == 0 &&
              offsetof(sqlpiMaintWindowTime, minute) == 1 && offsetof(sqlpiMaintWindowTime, second) == 2);
static_assert(sizeof(sqlpiMaintWindowInfo::monthOfYear) == 12 && sizeof(sqlpiMaintWindowInfo::dayOfMonth) == 62 &&
              sizeof(sqlpiMaintWindowInfo::dayOfWeek) == 7 && sizeof(sqlpiMaintWindowInfo::outside) == 4);
static_assert(sizeof(sqlpiMaintWindowInfo) == 120 && offsetof(sqlpiMaintWindowInfo, defined) == 0 &&
              offsetof(sqlpiMaintWindowInfo, monthOfYear) == 1 && offsetof(sqlpiMaintWindowInfo, dayOfMonth) == 13 &&
              offsetof(sqlpiMaintWindowInfo, dayOfWeek) == 75 && offsetof(sqlpiMaintWindowInfo, outside) == 84 &&
              offsetof(sqlpiMaintWindowInfo, startDateTime) == 88 &&
              offsetof(sqlpiMaintWindowInfo, endDateTime) == 100 && offsetof(sqlpiMaintWindowInfo, startTime) == 112 &&
              offsetof(sqlpiMaintWindowInfo, endTime) == 115);
static_assert(sizeof(sqlpiMaintWindow) == 240 && offsetof(sqlpiMaintWindow, online) == 0 &&
              offsetof(sqlpiMaintWindow, offline) == 120);
static_assert(MAINT_WINDOW_DATE_TIME == 0 && MAINT_WINDOW_THISANDPRIOR == 1 && MAINT_WINDOW_THISANDFUTURE == 2);

/* --- text forms --------------------------------------------------------------------------------------------------- */

TEST(MaintWindowNames, standAtTheMasksPositions) {
    const std::vector<std::string> days(std::begin(DAYS_OF_WEEK), std::end(DAYS_OF_WEEK));
    EXPECT_EQ(days, (std::vector<std::string>{"SUN", "MON", "TUE", "WED", "THU", "FRI", "SAT"}));
    const std::vector<std::string> months(std::begin(MONTHS_OF_YEAR), std::end(MONTHS_OF_YEAR));
    EXPECT_EQ(months, (std::vector<std::string>{"JAN", "FEB", "MAR", "APR", "MAY", "JUN", "JUL", "AUG", "SEP", "OCT",
                                                "NOV", "DEC"}));
}

TEST(MaintWindowMask, isFalseWhereTheTextHoldsZero) {
    struct Case {
        const char* name;
        const char* text;
        const char* mask;
    };
    for (const Case& one : {
             Case{"Monday to Friday", "0111110", "0111110"},
             Case{"any other character counts", "0x 0-O0", "0110110"},
             Case{"a short text selects the rest", "00", "0011111"},
             Case{"an empty text selects all", "", "1111111"},
             Case{"a long text is not read further", "11111110", "1111111"},
         }) {
        SCOPED_TRACE(one.name);
        for (const bool preset : {false, true}) {
            bool mask[8];
            std::fill(std::begin(mask), std::end(mask), preset);
            sqlpiMWSetMask(mask, 7, one.text);
            EXPECT_EQ(show(mask), std::string(one.mask) + (preset ? '1' : '0'));
        }
    }
    bool mask[3] = {false, true, false};
    sqlpiMWSetMask(mask, 3, nullptr);
    EXPECT_EQ(show(mask), "010") << "no text is no change";
    sqlpiMWSetMask(mask, 0, "111");
    EXPECT_EQ(show(mask), "010") << "no entries";
}

TEST(MaintWindowTimeRange, readsTwoDigitsAtFixedPlaces) {
    struct Case {
        const char* name;
        const char* text;
        const char* start;
        const char* end;
    };
    for (const Case& one : {
             Case{"over midnight", "T230000/T020000", "23:0:0", "2:0:0"},
             Case{"to the second", "T013059/T235958", "1:30:59", "23:59:58"},
             Case{"letters and separator are not looked at", "x013059yz235958", "1:30:59", "23:59:58"},
             Case{"no range check", "T999999/T246060", "99:99:99", "24:60:60"},
             Case{"what is no digit is 0", "Txx1x-5/T x++ 7", "0:1:251", "0:0:7"},
             Case{"one half", "T230000", "23:0:0", "0:0:0"},
             Case{"one half and the separator", "T230000/", "23:0:0", "0:0:0"},
             Case{"cut inside the first half", "T2359", "23:59:0", "0:0:0"},
             Case{"cut inside a field", "T235", "23:5:0", "0:0:0"},
             Case{"cut inside the second half", "T230000/T02", "23:0:0", "2:0:0"},
             Case{"a letter alone", "T", "0:0:0", "0:0:0"},
             Case{"an empty text", "", "0:0:0", "0:0:0"},
         }) {
        SCOPED_TRACE(one.name);
        sqlpiMaintWindowTime start = {77, 77, 77};
        sqlpiMaintWindowTime end = {77, 77, 77};
        sqlpiMWSetTimeRange(&start, &end, one.text);
        EXPECT_EQ(show(start), one.start);
        EXPECT_EQ(show(end), one.end);

        sqlpiMaintWindowTime startOnly = {77, 77, 77};
        sqlpiMWSetTimeRange(&startOnly, nullptr, one.text);
        EXPECT_EQ(show(startOnly), one.start);

        sqlpiMaintWindowTime endOnly = {77, 77, 77};
        sqlpiMWSetTimeRange(nullptr, &endOnly, one.text);
        EXPECT_EQ(show(endOnly), one.start) << "with no start the end takes the first half";
    }
    sqlpiMaintWindowTime start = {7, 8, 9};
    sqlpiMaintWindowTime end = {7, 8, 9};
    sqlpiMWSetTimeRange(&start, &end, nullptr);
    sqlpiMWSetTimeRange(nullptr, nullptr, "T230000/T020000");
    EXPECT_EQ(show(start), "7:8:9");
    EXPECT_EQ(show(end), "7:8:9");
}

TEST(MaintWindowDateTimeRange, readsDatesAndOpenLimits) {
    struct Case {
        const char* name;
        const char* text;
        const char* start;
        const char* end;
    };
    for (const Case& one : {
             Case{"a year", "20240101T000000/20241231T235959", "0 2024-1-1 0:0:0", "0 2024-12-31 23:59:59"},
             Case{"separators are not looked at", "20240102x030405y20250607z080910", "0 2024-1-2 3:4:5",
                  "0 2025-6-7 8:9:10"},
             Case{"no range check", "99999999T999999/00000000T000000", "0 9999-99-99 99:99:99", "0 0-0-0 0:0:0"},
             Case{"what is no digit is 0", "y24ymmddThhmmss/2x2x1x1xT1x1x1x", "0 0-0-0 0:0:0", "0 2-1-1 1:1:1"},
             Case{"no start limit", "THISANDPRIOR/20241231T235959", "1 7-7-7 7:7:7", "0 2024-12-31 23:59:59"},
             Case{"no end limit", "20240101T000000/THISANDFUTURE", "0 2024-1-1 0:0:0", "2 7-7-7 7:7:7"},
             Case{"no limits", "THISANDPRIOR/THISANDFUTURE", "1 7-7-7 7:7:7", "2 7-7-7 7:7:7"},
             Case{"the words on the other sides", "THISANDFUTURE/THISANDPRIOR", "2 7-7-7 7:7:7", "1 7-7-7 7:7:7"},
             Case{"a word in another case is a date", "thisandprior/THISANDFUTURE", "0 0-0-0 0:0:0", "0 0-0-0 0:0:0"},
             Case{"one half", "20240101T000000", "0 2024-1-1 0:0:0", "0 0-0-0 0:0:0"},
             Case{"a word alone", "THISANDPRIOR", "1 7-7-7 7:7:7", "0 0-0-0 0:0:0"},
             Case{"cut inside the first half", "20240102T03", "0 2024-1-2 3:0:0", "0 0-0-0 0:0:0"},
             Case{"cut inside the year", "202", "0 202-0-0 0:0:0", "0 0-0-0 0:0:0"},
             Case{"cut inside the second half", "20240101T000000/2025", "0 2024-1-1 0:0:0", "0 2025-0-0 0:0:0"},
             Case{"an empty text", "", "0 0-0-0 0:0:0", "0 0-0-0 0:0:0"},
         }) {
        SCOPED_TRACE(one.name);
        const sqlpiMaintWindowDateTime preset = {9, 7, 7, 7, 7, 7, 7};
        sqlpiMaintWindowDateTime start = preset;
        sqlpiMaintWindowDateTime end = preset;
        sqlpiMWSetDateTimeRange(&start, &end, one.text);
        EXPECT_EQ(show(start), one.start);
        EXPECT_EQ(show(end), one.end);

        sqlpiMaintWindowDateTime startOnly = preset;
        sqlpiMWSetDateTimeRange(&startOnly, nullptr, one.text);
        EXPECT_EQ(show(startOnly), one.start);

        sqlpiMaintWindowDateTime endOnly = preset;
        sqlpiMWSetDateTimeRange(nullptr, &endOnly, one.text);
        EXPECT_EQ(show(endOnly), one.start) << "with no start the end takes the first half";
    }
    sqlpiMaintWindowDateTime start = {9, 7, 7, 7, 7, 7, 7};
    sqlpiMaintWindowDateTime end = start;
    sqlpiMWSetDateTimeRange(&start, &end, nullptr);
    sqlpiMWSetDateTimeRange(nullptr, nullptr, "THISANDPRIOR/THISANDFUTURE");
    EXPECT_EQ(show(start), "9 7-7-7 7:7:7");
    EXPECT_EQ(show(end), "9 7-7-7 7:7:7");
}

/* --- documents ---------------------------------------------------------------------------------------------------- */

const std::string monthsAll(12, '1');
const std::string daysAll(62, '1');

sqlpiMaintWindow defaults() {
    sqlpiMaintWindow window;
    std::memset(&window, 0x2A, sizeof window);
    sqlpiSetMaintWindowDefaults(&window);
    return window;
}

TEST(MaintWindowDefaults, leaveTheOnlineWindowAlwaysOpen) {
    const std::string open = " months " + monthsAll + " days " + daysAll +
                             " week 1111111 outside 0 from 1 0-0-0 0:0:0 to 2 0-0-0 0:0:0 daily 0:0:0 - 0:0:0";
    EXPECT_EQ(show(defaults()), "online defined" + open + "\noffline undefined" + open);
}

struct Case {
    const char* name;
    std::string body;
    std::function<void(sqlpiMaintWindow&)> change;
};

std::string condition(const std::string& content, const std::string& type = "") {
    const std::string attribute = type.empty() ? "" : " windowType='" + type + "'";
    return "<kel:MaintenanceWindowCondition" + attribute + ">" + content + "</kel:MaintenanceWindowCondition>";
}

template <size_t Count>
void setMask(bool (&mask)[Count], const std::string& text) {
    for (size_t i = 0; i < Count; ++i) mask[i] = text.at(i) == '1';
}

class CommonPolicyDocument : public services::DocumentTest {};

TEST_F(CommonPolicyDocument, conditionsFillTheWindows) {
    const auto nothing = [](sqlpiMaintWindow&) {};
    const std::string lastDay = std::string(31, '0') + "1" + std::string(30, '0');
    const std::vector<Case> cases = {
        {"no condition", "<PolicySection><TimeOfDayMask>T010000/T020000</TimeOfDayMask></PolicySection>", nothing},
        {"an empty online condition", condition(""), nothing},
        {"an empty offline condition", condition("", "offline"), [](auto& w) { w.offline.defined = true; }},
        {"another window type is online", condition("<TimeOfDayMask>T010000/T020000</TimeOfDayMask>", "Offline"),
         [](auto& w) {
             w.online.startTime = {1, 0, 0};
             w.online.endTime = {2, 0, 0};
         }},
        {"all of an online window",
         condition("<TimePeriod>20240101T010203/20241231T235959</TimePeriod>"
                   "<MonthOfYearMask>100000000001</MonthOfYearMask><DayOfMonthMask>" +
                       lastDay +
                       "</DayOfMonthMask><DayOfWeekMask>0111110</DayOfWeekMask>"
                       "<TimeOfDayMask>T220000/T060000</TimeOfDayMask>",
                   "online"),
         [&](auto& w) {
             w.online.startDateTime = {0, 2024, 1, 1, 1, 2, 3};
             w.online.endDateTime = {0, 2024, 12, 31, 23, 59, 59};
             setMask(w.online.monthOfYear, "100000000001");
             setMask(w.online.dayOfMonth, lastDay);
             setMask(w.online.dayOfWeek, "0111110");
             w.online.startTime = {22, 0, 0};
             w.online.endTime = {6, 0, 0};
         }},
        {"offline only", condition("<DayOfWeekMask>1000000</DayOfWeekMask>", "offline"),
         [](auto& w) {
             w.offline.defined = true;
             setMask(w.offline.dayOfWeek, "1000000");
         }},
        {"a full day", condition("<TimeOfDayMask>T000000/T000000</TimeOfDayMask>"), nothing},
        {"children without text",
         condition("<TimePeriod/><MonthOfYearMask/><DayOfMonthMask/><DayOfWeekMask/><TimeOfDayMask/>"), nothing},
        {"a short mask selects the rest", condition("<MonthOfYearMask>00</MonthOfYearMask>"),
         [](auto& w) { setMask(w.online.monthOfYear, "001111111111"); }},
        {"other children are ignored",
         condition("<Interval>T010000/T020000</Interval><Set><DayOfWeekMask>0000000</DayOfWeekMask></Set>"), nothing},
        {"inside Not",
         "<Not>" + condition("<DayOfWeekMask>0111110</DayOfWeekMask>") + "</Not>" + condition("", "offline"),
         [](auto& w) {
             w.online.outside = 1;
             setMask(w.online.dayOfWeek, "0111110");
             w.offline.defined = true;
         }},
        {"Not further up is not looked at", "<Not><Or>" + condition("", "offline") + "</Or></Not>",
         [](auto& w) { w.offline.defined = true; }},
        {"outside is never set back", "<Not>" + condition("", "offline") + "</Not>" + condition("", "offline"),
         [](auto& w) {
             w.offline.defined = true;
             w.offline.outside = 1;
         }},
        {"a later condition overwrites what it says",
         condition("<DayOfWeekMask>0111110</DayOfWeekMask><TimeOfDayMask>T010000/T020000</TimeOfDayMask>") + "<Or>" +
             condition("<TimeOfDayMask>T030000/T040000</TimeOfDayMask>") + "</Or>",
         [](auto& w) {
             setMask(w.online.dayOfWeek, "0111110");
             w.online.startTime = {3, 0, 0};
             w.online.endTime = {4, 0, 0};
         }},
        {"a repeated child overwrites",
         condition("<TimeOfDayMask>T010000/T020000</TimeOfDayMask><TimeOfDayMask>T030000/T040000</TimeOfDayMask>"),
         [](auto& w) {
             w.online.startTime = {3, 0, 0};
             w.online.endTime = {4, 0, 0};
         }},
        {"a condition inside a condition is found",
         condition("<DayOfWeekMask>0111110</DayOfWeekMask>" +
                   condition("<TimeOfDayMask>T030000/T040000</TimeOfDayMask>", "offline")),
         [](auto& w) {
             setMask(w.online.dayOfWeek, "0111110");
             w.offline.defined = true;
             w.offline.startTime = {3, 0, 0};
             w.offline.endTime = {4, 0, 0};
         }},
        {"no period limits", condition("<TimePeriod>THISANDPRIOR/THISANDFUTURE</TimePeriod>", "offline"),
         [](auto& w) { w.offline.defined = true; }},
        {"a condition of another kind",
         "<PolicyTimePeriodCondition><DayOfWeekMask>0000000</DayOfWeekMask></PolicyTimePeriodCondition>", nothing},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        sqlpiMaintWindow window = defaults();
        sqlpiMaintWindow expected = defaults();
        one.change(expected);
        std::string document = services::document(one.body);
        EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &window), 0);
        EXPECT_EQ(show(window), show(expected));
        EXPECT_EQ(takeLog(kelhost::LogKind::administration), std::vector<LogRecord>{});
    }
}

TEST_F(CommonPolicyDocument, theDefinedFlagOfTheOnlineWindowIsTheCallers) {
    sqlpiMaintWindow window = defaults();
    window.online.defined = false;
    std::string document = services::document(condition("", "online"));
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &window), 0);
    EXPECT_FALSE(window.online.defined);
}

TEST_F(CommonPolicyDocument, returnsTheParsersStatus) {
    for (const auto& [text, status] : {std::pair<std::string, int32_t>{"", SQLPI_PARSE_OK},
                                       {"<PolicyDocument>" + condition("", "offline"), SQLPI_PARSE_ERROR},
                                       {"<Other>" + condition("", "offline") + "</Other>", SQLPI_PARSE_ERROR}}) {
        SCOPED_TRACE(text);
        std::string document = text;
        sqlpiMaintWindow window = defaults();
        EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &window), status);
        EXPECT_EQ(show(window), show(defaults()));
    }
}

TEST_F(CommonPolicyDocument, withoutARecordNothingHappens) {
    std::string document = services::document(condition("", "offline"));
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), nullptr),
              SQLPI_PARSE_OK);
    document = "<Other/>";
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), nullptr),
              SQLPI_PARSE_ERROR);
    EXPECT_EQ(takeDiagnosticLog().size(), 1U) << "the refusal";
    const Tree tree = services::emptyTree();
    addChild<SQLPIMaintenanceWindowCondition>(tree.get(), SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION);
    EXPECT_EQ(sqlpiGetMaintWinFromParsedTree(tree.get(), nullptr), 0);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

TEST_F(CommonPolicyDocument, treesAreSearchedFromTheirStart) {
    const Tree tree = parseTree(services::document(condition("", "offline")));
    for (int round = 0; round < 2; ++round) {
        while (tree->findElement(tree.get(), SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION) != nullptr) {
        }
        sqlpiMaintWindow window = defaults();
        EXPECT_EQ(sqlpiGetMaintWinFromParsedTree(tree.get(), &window), 0);
        EXPECT_TRUE(window.offline.defined);
    }
}

TEST_F(CommonPolicyDocument, readsTheInnerDocumentOnly) {
    std::string document = services::document(condition("<TimeOfDayMask>T010000/T020000</TimeOfDayMask>") +
                                              "<PolicyDocument>" + condition("", "offline") + "</PolicyDocument>" +
                                              condition("<TimeOfDayMask>T030000/T040000</TimeOfDayMask>"));
    sqlpiMaintWindow window = defaults();
    EXPECT_EQ(sqlpiGetMaintWindowPolicy(document.data(), static_cast<int32_t>(document.size()), &window), 0);
    sqlpiMaintWindow expected = defaults();
    expected.offline.defined = true;
    EXPECT_EQ(show(window), show(expected));
}

TEST_F(CommonPolicyDocument, clearsTheRootsParentAndSearchesFromItsStart) {
    sqlpiMaintWindow window = defaults();
    EXPECT_EQ(sqlpiGetMaintWinFromParsedTree(nullptr, &window), 0);
    EXPECT_EQ(show(window), show(defaults()));

    const Tree tree = services::emptyTree();
    auto* inner = addChild<SQLPIPolicyDocument>(tree.get(), SQLPI_ELEMENT_POLICY_DOCUMENT);
    addChild<SQLPIMaintenanceWindowCondition>(inner, SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION);
    auto* outer = addChild<SQLPIMaintenanceWindowCondition>(tree.get(), SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION);
    outer->maintWindowType = 1;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(sqlpiGetMaintWinFromParsedTree(inner, &window), 0);
        EXPECT_EQ(inner->parent, nullptr);
        EXPECT_EQ(show(window), show(defaults())) << "what stands around the root is not looked at";
    }
    EXPECT_EQ(sqlpiGetMaintWinFromParsedTree(tree.get(), &window), 0);
    EXPECT_TRUE(window.offline.defined);
}

TEST_F(CommonPolicyDocument, treatsAnElementOfAnotherClassAsOnlineAndReportsIt) {
    const Tree tree = services::emptyTree();
    auto* notElement = addChild<SQLPINot>(tree.get(), SQLPI_ELEMENT_NOT);
    auto* wrong = addChild<SQLPIMode>(notElement, SQLPI_ELEMENT_MAINTENANCE_WINDOW_CONDITION);
    addChild<SQLPIDayOfWeekMask>(wrong, SQLPI_ELEMENT_DAY_OF_WEEK_MASK, "0111110");
    sqlpiMaintWindow window = defaults();
    EXPECT_EQ(sqlpiGetMaintWinFromParsedTree(tree.get(), &window), 0);
    sqlpiMaintWindow expected = defaults();
    expected.online.outside = 1;
    setMask(expected.online.dayOfWeek, "0111110");
    EXPECT_EQ(show(window), show(expected));

    const auto records = recordsOf(kelhost::LogKind::administration);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, "Dynamic cast error");
    EXPECT_EQ(records[0].importance, PD_ERROR);
    EXPECT_EQ(records[0].messageNumber, SQLT_ADMIN_TEXT);
    EXPECT_EQ(records[0].probe, 50U);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

/* --- the engine's entry ------------------------------------------------------------------------------------------- */

class StoredCommonPolicy : public services::EngineTest {};

std::string stored() {
    sqlpiMaintWindow window;
    std::memset(&window, 0x2A, sizeof window);
    sqlpiGetMaintWindow(&window);
    return show(window);
}

TEST_F(StoredCommonPolicy, holdsTheDefaultsWithoutARow) {
    services::remove(SQLPI_MAINT_WINDOW_KEY);
    EXPECT_EQ(stored(), show(defaults()));
}

TEST_F(StoredCommonPolicy, holdsWhatTheRowSays) {
    services::store(SQLPI_MAINT_WINDOW_KEY,
                    services::document(condition("<DayOfWeekMask>1000001</DayOfWeekMask>", "offline")));
    sqlpiMaintWindow expected = defaults();
    expected.offline.defined = true;
    setMask(expected.offline.dayOfWeek, "1000001");
    EXPECT_EQ(stored(), show(expected));
}

TEST_F(StoredCommonPolicy, holdsTheDefaultsForADocumentThatDoesNotParse) {
    services::store(SQLPI_MAINT_WINDOW_KEY, "<PolicyDocument>" + condition("", "offline"));
    EXPECT_EQ(stored(), show(defaults()));
}

TEST_F(StoredCommonPolicy, isNotReadIntoNothing) {
    sqlpiGetMaintWindow(nullptr);
    EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{});
}

TEST_F(StoredCommonPolicy, readsTheRowOfItsKeysOnly) {
    services::remove(SQLPI_MAINT_WINDOW_KEY);
    services::store(SQLPI_BACKUP_KEY, services::document(condition("", "offline")));
    EXPECT_EQ(stored(), show(defaults()));
}

}  // namespace
