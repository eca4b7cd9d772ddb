/* The readers: what a valid document makes of a record. */
#include "configuration/sqlpiPolicyRead.h"

#include <functional>
#include <xercesc/dom/DOM.hpp>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>

#include "configuration/sqlpiRecordTexts.h"
#include "document/sqlpiXmlPlatform.h"
#include "sqlpiPolicySchemas.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;

/* A tree as the readers get it, by a parser of its own; `schema` null: as it is written, without defaults. */
class ParsedTree {
public:
    ParsedTree(const std::string& document, const char* schema) {
        EXPECT_TRUE(sqlpiHoldXmlPlatform());
        parser_.emplace();
        parser_->setDoNamespaces(true);
        parser_->setCreateEntityReferenceNodes(false);
        if (schema != nullptr) {
            parser_->setDoSchema(true);
            parser_->setValidationScheme(xercesc::XercesDOMParser::Val_Always);
            const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(schema), std::strlen(schema), "s");
            parser_->loadGrammar(source, xercesc::Grammar::SchemaGrammarType, true);
            parser_->useCachedGrammarInParse(true);
        }
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                                "d");
        parser_->parse(source);
        EXPECT_EQ(parser_->getErrorCount(), 0U) << document;
    }
    const xercesc::DOMElement& root() { return *parser_->getDocument()->getDocumentElement(); }

private:
    std::optional<xercesc::XercesDOMParser> parser_;
};

std::string days(const maintenanceOldWindow& window) {
    std::string text;
    for (const int32_t day : window.dayNumbers) {
        if (day == 0) break;
        text += (text.empty() ? "" : " ") + std::to_string(day);
    }
    return text;
}

/* The positions of a mask that are set. */
std::string positions(const std::string& mask) {
    std::string text;
    for (size_t i = 0; i < mask.size(); ++i)
        if (mask[i] == '1') text += (text.empty() ? "" : " ") + std::to_string(i);
    return text;
}

const std::string allDaysOfMonth(62, '1');

class PolicyReaders : public services::DocumentTest {
protected:
    static maintenanceOldPolicy readWindows(const std::string& document, const char* schema = SQLPI_MWP_V1) {
        ParsedTree tree(document, schema);
        maintenanceOldPolicy policy = {};
        sqlca ca = {};
        EXPECT_EQ(sqlpiReadAutoMWPolicy(tree.root(), policy, ca), 0U);
        EXPECT_EQ(ca.sqlcode, 0);
        return policy;
    }
    static maintenanceOldWindow readWindow(const Window& window) { return readWindows(oneWindow(window)).online; }
};

/* --- windows ------------------------------------------------------------------------------------------------------ */

TEST_F(PolicyReaders, AWindowWithoutAttributesGetsTheDefaults) {
    const maintenanceOldWindow window = readWindow({});
    EXPECT_STREQ(window.occurrence, "Outside");
    EXPECT_STREQ(window.timeRange, "T000000/T235959");
    EXPECT_STREQ(window.dayOfWeekMask, "1111111");
    EXPECT_STREQ(window.monthOfYearMask, "111111111111");
    EXPECT_EQ(window.dayOfMonthMask, allDaysOfMonth);
    EXPECT_EQ(days(window), "");
}

TEST_F(PolicyReaders, OccurrenceIsTakenOver) {
    EXPECT_STREQ(readWindow({.attributes = "Occurrence='During'"}).occurrence, "During");
    EXPECT_STREQ(readWindow({.attributes = "Occurrence='Outside'"}).occurrence, "Outside");
}

TEST_F(PolicyReaders, TheTimeRangeEndsAfterTheDuration) {
    struct Case {
        const char* startTime;
        const char* duration;
        const char* range;
    };
    for (const Case& one : std::vector<Case>{
             {"23:00:00", "3", "T230000/T020000"},         {"21:30:00", "3", "T213000/T235959"},
             {"21:30:45", "2", "T213045/T233045"},         {"23:00:00", "1", "T230000/T235959"},
             {"00:00:00", "24", "T000000/T235959"},        {"00:00:01", "24", "T000001/T235959"},
             {"01:02:03", "24", "T010203/T010203"},        {"01:02:03", "23", "T010203/T235959"},
             {"01:02:03", "22", "T010203/T230203"},        {"00:00:00", "1", "T000000/T010000"},
             {"23:59:59", "24", "T235959/T235959"},        {"23:59:59", "2", "T235959/T015959"},
             {"12:00:00", "12", "T120000/T235959"},        {"12:00:00", "13", "T120000/T010000"},
             {"12:00:00", "+012", "T120000/T235959"},      {"24:00:00", "2", "T000000/T020000"},
             {"24:00:00", "24", "T000000/T235959"},        {"09:08:07.654321", "1", "T090807/T100807"},
             {"09:08:07Z", "1", "T090807/T100807"},        {"09:08:07-11:30", "1", "T090807/T100807"},
             {"09:08:07.5+11:30", "1", "T090807/T100807"}, {"09:08:60", "1", "T090859/T100859"},
             {"  09:08:07\n", " 1 ", "T090807/T100807"},
         }) {
        SCOPED_TRACE(std::string(one.startTime) + " for " + one.duration);
        const std::string attributes =
            "startTime='" + std::string(one.startTime) + "' duration='" + std::string(one.duration) + "'";
        EXPECT_STREQ(readWindow({.attributes = attributes}).timeRange, one.range);
    }
}

TEST_F(PolicyReaders, EveryHourAndDurationGivesARange) {
    for (int hour = 0; hour < 24; ++hour)
        for (int duration = 1; duration <= 24; ++duration) {
            char start[32];
            std::snprintf(start, sizeof start, "%02d:15:30", hour);
            const int end = (hour + duration) % 24;
            char range[64];
            if (end == 0)
                std::snprintf(range, sizeof range, "T%02d1530/T235959", hour);
            else
                std::snprintf(range, sizeof range, "T%02d1530/T%02d1530", hour, end);
            ParsedTree tree(oneWindow({.attributes = "startTime='" + std::string(start) + "' duration='" +
                                                     std::to_string(duration) + "'"}),
                            nullptr);
            maintenanceOldWindow window = {};
            sqlpiReadWindowValuesFromTree(*tree.root().getFirstElementChild(), window);
            ASSERT_STREQ(window.timeRange, range) << start << " for " << duration;
        }
}

TEST_F(PolicyReaders, DaysOfTheWeekBeginWithSunday) {
    struct Case {
        const char* text;
        const char* mask;
    };
    for (const Case& one : std::vector<Case>{{"Mon Fri", "0100010"},
                                             {"All", "1111111"},
                                             {"All  \n", "1111111"},
                                             {"\n\tAll", "1111111"},
                                             {"Sun", "1000000"},
                                             {"Mon", "0100000"},
                                             {"Tue", "0010000"},
                                             {"Wed", "0001000"},
                                             {"Thu", "0000100"},
                                             {"Fri", "0000010"},
                                             {"Sat", "0000001"},
                                             {"Sat Sun Sat", "1000001"},
                                             {" Tue\n\t Wed ", "0011000"},
                                             {"<![CDATA[Mon]]> <!-- no -->Tue", "0110000"},
                                             {"A<!-- no -->ll", "1111111"},
                                             {"A<?no?>ll", "1111111"},
                                             {"&#77;on", "0100000"},
                                             {"", "0000000"}}) {
        SCOPED_TRACE(one.text);
        EXPECT_STREQ(readWindow({.daysOfWeek = one.text}).dayOfWeekMask, one.mask);
    }
}

TEST_F(PolicyReaders, MonthsBeginWithJanuary) {
    const char* const names[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    for (size_t i = 0; i < std::size(names); ++i) {
        std::string mask(12, '0');
        mask[i] = '1';
        EXPECT_EQ(readWindow({.monthsOfYear = names[i]}).monthOfYearMask, mask) << names[i];
    }
    EXPECT_STREQ(readWindow({.monthsOfYear = "Jan Dec"}).monthOfYearMask, "100000000001");
    EXPECT_STREQ(readWindow({.monthsOfYear = "All "}).monthOfYearMask, "111111111111");
    EXPECT_STREQ(readWindow({.monthsOfYear = ""}).monthOfYearMask, "000000000000");
}

TEST_F(PolicyReaders, DaysOfTheMonthAreListedAndMasked) {
    struct Case {
        std::string text;
        std::string days;
        std::string positions;
    };
    for (const Case& one : std::vector<Case>{{"1 15 -1", "1 15 -1", "0 14 31"},
                                             {"31 -31", "31 -31", "30 61"},
                                             {"-4", "-4", "34"},
                                             {"+1 02\n\t-003", "1 2 -3", "0 1 33"},
                                             {"7 7 7", "7 7 7", "6"},
                                             {"", "", ""}}) {
        SCOPED_TRACE(one.text);
        const maintenanceOldWindow window = readWindow({.daysOfMonth = one.text});
        EXPECT_EQ(days(window), one.days);
        EXPECT_EQ(positions(window.dayOfMonthMask), one.positions);
        EXPECT_EQ(strlen(window.dayOfMonthMask), 62U);
    }
    EXPECT_EQ(readWindow({.daysOfMonth = "All"}).dayOfMonthMask, allDaysOfMonth);
    EXPECT_EQ(days(readWindow({.daysOfMonth = "All "})), "");
    for (int day = 1; day <= 31; ++day) {
        EXPECT_EQ(positions(readWindow({.daysOfMonth = std::to_string(day)}).dayOfMonthMask), std::to_string(day - 1));
        EXPECT_EQ(positions(readWindow({.daysOfMonth = std::to_string(-day)}).dayOfMonthMask),
                  std::to_string(30 + day));
    }
}

TEST_F(PolicyReaders, ALongListOfDaysLosesNoDay) {
    std::string many;
    for (int i = 0; i < 62; ++i) many += "1 ";
    maintenanceOldWindow window = readWindow({.daysOfMonth = many + "15"});
    EXPECT_EQ(days(window) + " ", many) << "so many numbers are listed";
    EXPECT_EQ(window.dayNumbers[62], 0);
    EXPECT_EQ(positions(window.dayOfMonthMask), "0 14");
    std::string all;
    for (int day = 1; day <= 31; ++day) all += std::to_string(day) + " " + std::to_string(-day) + " ";
    window = readWindow({.daysOfMonth = all});
    EXPECT_EQ(days(window) + " ", all);
    EXPECT_EQ(window.dayOfMonthMask, allDaysOfMonth);
}

TEST_F(PolicyReaders, PresenceFollowsTheElements) {
    const std::string online = text({.attributes = "startTime='00:00:00' duration='1'"});
    const std::string offline = text({.attributes = "startTime='00:00:00' duration='2'"}, "OfflineWindow");
    struct Case {
        std::string content;
        bool online;
        bool offline;
        const char* onlineRange;
        const char* offlineRange;
    };
    for (const Case& one : std::vector<Case>{
             {online, true, false, "T000000/T010000", ""},
             {online + offline, true, true, "T000000/T010000", "T000000/T020000"},
             {offline + online, true, false, "T000000/T010000", "T000000/T020000"},
             {online + offline + "<Other/>", true, false, "T000000/T010000", "T000000/T020000"},
             {"<Other/>" + offline, false, true, "", "T000000/T020000"},
             {online + "\n <!-- x -->" + offline + "text<!-- x -->", true, true, "T000000/T010000", "T000000/T020000"},
             {"", false, false, "", ""}}) {
        SCOPED_TRACE(one.content);
        // Also what the schema refuses, so without one.
        const maintenanceOldPolicy policy = readWindows(windows(one.content), nullptr);
        EXPECT_EQ(policy.onlinePresent, one.online);
        EXPECT_EQ(policy.offlinePresent, one.offline);
        EXPECT_STREQ(policy.online.timeRange, one.onlineRange);
        EXPECT_STREQ(policy.offline.timeRange, one.offlineRange);
    }
}

TEST_F(PolicyReaders, AWindowThatNoSchemaWouldPassStaysInItsBounds) {
    const std::string long9(300, '9');
    for (const std::string& document :
         {windows("<OnlineWindow/>"), oneWindow({.attributes = "Occurrence='" + std::string(400, 'x') + "'"}),
          oneWindow({.attributes = "startTime='" + long9 + ":" + long9 + ":" + long9 + "' duration='" + long9 + "'"}),
          oneWindow({.attributes = "startTime='-1:-1:-1' duration='-5'"}),
          oneWindow({.attributes = "startTime='' duration=''"}),
          oneWindow({.attributes = "startTime=':::::' duration='x'"}),
          oneWindow({.daysOfMonth = "32 -32 " + long9 + " -" + long9 + " 5 0 6"}), oneWindow({.daysOfMonth = "x 5"})}) {
        SCOPED_TRACE(document);
        const maintenanceOldWindow window = readWindows(document, nullptr).online;
        EXPECT_LE(strnlen(window.occurrence, sizeof window.occurrence), 9U);
        EXPECT_LE(strnlen(window.timeRange, sizeof window.timeRange), 15U);
        EXPECT_EQ(strnlen(window.dayOfWeekMask, sizeof window.dayOfWeekMask), 7U);
        EXPECT_EQ(strnlen(window.monthOfYearMask, sizeof window.monthOfYearMask), 12U);
        EXPECT_EQ(strnlen(window.dayOfMonthMask, sizeof window.dayOfMonthMask), 62U);
    }
    EXPECT_EQ(positions(readWindows(oneWindow({.daysOfMonth = "32 -32 5 0 6"}), nullptr).online.dayOfMonthMask), "4")
        << "a 0 ends the list";
}

/* --- backup ------------------------------------------------------------------------------------------------------- */

std::string shown(const char* text) {
    return text == nullptr ? "none" : "\"" + std::string(text) + "\"";
}

std::string describe(const backupPolicy& p) {
    return "mode " + shown(p.mode) + " criteria " + shown(p.numberOfFullBackups) + " " + shown(p.timeSinceLastBackup) +
           " " + shown(p.logSpaceConsumedSinceLastBackup) + " sessions " + shown(p.numberOfSessions) + " path " +
           shown(p.path) + " options " + shown(p.libOptions) + (p.useDefaultPath ? " default" : "") +
           (p.diskTarget ? " disk" : "") + (p.tapeTarget ? " tape" : "") + (p.vltTarget ? " vlt" : "") +
           (p.xbsaTarget ? " xbsa" : "") + (p.vendorTarget ? " vendor" : "");
}

TEST_F(PolicyReaders, BackupTargetsAndCriteria) {
    const std::string online = "mode \"Online\" criteria \"1\" \"2\" \"3\" ";
    struct Case {
        std::string document;
        std::string expected;
    };
    for (const Case& one : std::vector<Case>{
             {backup(disk("")), online + "sessions none path \"\" options none default disk"},
             {backup(disk("<!-- none -->")), online + "sessions none path \"\" options none default disk"},
             {backup(disk("/a,/b")), online + "sessions none path \"/a,/b\" options none disk"},
             {backup(disk(" /a ")), online + "sessions none path \" /a \" options none disk"},
             {backup(tape("/dev/t")), online + "sessions none path \"/dev/t\" options none tape"},
             {backup("<VLTBackupTarget numberOfSessions='999'/>"),
              online + "sessions \"999\" path \"\" options none vlt"},
             {backup("<XBSABackupTarget numberOfSessions='007'/>"),
              online + "sessions \"007\" path \"\" options none xbsa"},
             {backup(vendor("/l", "-v &lt;\"&gt;")), online + "sessions none path \"/l\" options \"-v <\">\" vendor"},
             {backup(vendor("/l", "")), online + "sessions none path \"/l\" options \"\" vendor"},
             {backup(disk(""), "mode='Offline'",
                     "numberOfFullBackups='+010' timeSinceLastBackup='4294967296' "
                     "logSpaceConsumedSinceLastBackup='99999999999999999999999999'"),
              "mode \"Offline\" criteria \"+010\" \"4294967296\" \"99999999999999999999999999\" sessions none path "
              "\"\" "
              "options none default disk"},
         }) {
        SCOPED_TRACE(one.document);
        ParsedTree tree(one.document, SQLPI_AUTO_BACKUP_V1);
        backupPolicy policy = {};
        sqlca ca = {};
        EXPECT_EQ(sqlpiReadAutoBackupPolicy(tree.root(), policy, ca), 0U);
        EXPECT_EQ(describe(policy), one.expected);
        sqlpiReleaseTexts(policy);
    }
}

/* --- reorg, runstats ---------------------------------------------------------------------------------------------- */

std::string describe(const reorgPolicy& p) {
    return "dictionary " + shown(p.dictionaryOption) + " index " + shown(p.indexReorgMode) + " temp " +
           shown(p.useSystemTempTableSpace) + " size " + shown(p.maxOfflineReorgTableSize) + " extents " +
           shown(p.reclaimExtentsSizeForMDCTables) + " pages " + shown(p.numInxPseudoEmptyPagesForVolatileTables) +
           " filter " + shown(p.filterClause);
}

TEST_F(PolicyReaders, ReorgOptionsAndScope) {
    const std::string defaults = "dictionary \"Keep\" index \"Offline\" temp \"false\" ";
    struct Case {
        std::string document;
        std::string expected;
    };
    for (const Case& one : std::vector<Case>{
             {reorg("", "", ""), defaults + "size none extents \"0\" pages \"0\" filter \"\""},
             {reorg("dictionaryOption='Rebuild'", "", ""),
              "dictionary \"Rebuild\" index \"Offline\" temp \"false\" size none extents \"0\" pages \"0\" filter "
              "\"\""},
             {reorg("indexReorgMode='Online'", "", ""),
              "dictionary \"Keep\" index \"Online\" temp \"false\" size none extents \"0\" pages \"0\" filter \"\""},
             {reorg("useSystemTempTableSpace='true'", "", ""),
              "dictionary \"Keep\" index \"Offline\" temp \"true\" size none extents \"0\" pages \"0\" filter \"\""},
             {reorg("reclaimExtentsSizeForMDCTables='12'", "maxOfflineReorgTableSize='0'", "f"),
              defaults + "size \"0\" extents \"12\" pages \"0\" filter \"f\""},
             {reorg("numInxPseudoEmptyPagesForVolatileTables='34'", "maxOfflineReorgTableSize='56'", " a\n b "),
              defaults + "size \"56\" extents \"0\" pages \"34\" filter \" a\n b \""},
         }) {
        SCOPED_TRACE(one.document);
        ParsedTree tree(one.document, SQLPI_AUTO_REORG_V1);
        reorgPolicy policy = {};
        sqlca ca = {};
        EXPECT_EQ(sqlpiReadAutoReorgPolicy(tree.root(), policy, ca), 0U);
        EXPECT_EQ(describe(policy), one.expected);
        sqlpiReleaseTexts(policy);
    }
}

TEST_F(PolicyReaders, FiltersAreTakenAsText) {
    struct Case {
        std::string written;
        std::string read;
    };
    for (const Case& one : std::vector<Case>{
             {"", ""},
             {"TABSCHEMA = 'S'", "TABSCHEMA = 'S'"},
             {"a &lt; b &amp;&amp; c &gt; d", "a < b && c > d"},
             {"<![CDATA[a < b && c]]>", "a < b && c"},
             {"a<!-- not this -->b<?nor this?>c<![CDATA[d]]>e", "abcde"},
             {"\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E", "\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E"},
             {"&#233;&#x20AC;&#x1D11E;", "\xC3\xA9\xE2\x82\xAC\xF0\x9D\x84\x9E"},
             {"a\r\nb\rc", "a\nb\nc"},
             {std::string(4095, 'x'), std::string(4095, 'x')},
         }) {
        SCOPED_TRACE(one.written.substr(0, 60));
        ParsedTree tree(runstats(one.written), SQLPI_AUTO_RUNSTATS_V1);
        runStatsPolicy policy = {};
        sqlca ca = {};
        EXPECT_EQ(sqlpiReadAutoRunstatsPolicy(tree.root(), policy, ca), 0U);
        EXPECT_EQ(policy.filterCondition, one.read);
        ParsedTree other(reorg("", "", one.written), SQLPI_AUTO_REORG_V1);
        reorgPolicy reorgRecord = {};
        EXPECT_EQ(sqlpiReadAutoReorgPolicy(other.root(), reorgRecord, ca), 0U);
        EXPECT_EQ(reorgRecord.filterClause, one.read);
        sqlpiReleaseTexts(reorgRecord);
    }
}

TEST_F(PolicyReaders, ATextThatDoesNotFitItsRecordIsRefusedWhole) {
    const std::string e(2048, 'e');
    std::string accents;  // as many bytes, half as many characters
    for (int i = 0; i < 1024; ++i) accents += "\xC3\xA9";
    struct Case {
        std::string document;
        const char* schema;
        std::string log;
    };
    const auto about = [](const std::string& what, size_t most, size_t length) {
        return "The " + what + " may be " + std::to_string(most) + " bytes long; this one is " +
               std::to_string(length) + " bytes long.";
    };
    for (const Case& one : std::vector<Case>{
             {backup(disk(e)), SQLPI_AUTO_BACKUP_V1, about("path", 2047, 2048)},
             {backup(disk(accents)), SQLPI_AUTO_BACKUP_V1, about("path", 2047, 2048)},
             {backup(tape(e + e)), SQLPI_AUTO_BACKUP_V1, about("path", 2047, 4096)},
             {backup(vendor(e, "")), SQLPI_AUTO_BACKUP_V1, about("library file name", 2047, 2048)},
             {backup(vendor("f", e)), SQLPI_AUTO_BACKUP_V1, about("library options", 2047, 2048)},
             {reorg("", "", e + e), SQLPI_AUTO_REORG_V1, about("filter clause", 4095, 4096)},
             {runstats(e + e), SQLPI_AUTO_RUNSTATS_V1, about("filter condition", 4095, 4096)},
         }) {
        SCOPED_TRACE(one.log);
        ParsedTree tree(one.document, one.schema);
        sqlca ca = {};
        clearLogs();
        uint32_t status = 0;
        if (one.schema == SQLPI_AUTO_BACKUP_V1) {
            backupPolicy policy = {};
            status = sqlpiReadAutoBackupPolicy(tree.root(), policy, ca);
            sqlpiReleaseTexts(policy);
        } else if (one.schema == SQLPI_AUTO_REORG_V1) {
            reorgPolicy policy = {};
            status = sqlpiReadAutoReorgPolicy(tree.root(), policy, ca);
            sqlpiReleaseTexts(policy);
        } else {
            runStatsPolicy policy = {};
            status = sqlpiReadAutoRunstatsPolicy(tree.root(), policy, ca);
        }
        EXPECT_EQ(status, 0x90000002U);
        EXPECT_EQ(ca.sqlcode, -1447);
        EXPECT_EQ(config::tokensOf(ca), std::vector<std::string>{"6"});
        EXPECT_EQ(takeDiagnosticLog(), (std::vector<services::LogRecord>{{PD_ERROR, one.log}}));
    }
    for (const std::string& document :
         {backup(disk(e.substr(1))), backup(tape(e.substr(1))), backup(vendor(e.substr(1), e.substr(1)))}) {
        ParsedTree tree(document, SQLPI_AUTO_BACKUP_V1);
        backupPolicy policy = {};
        sqlca ca = {};
        EXPECT_EQ(sqlpiReadAutoBackupPolicy(tree.root(), policy, ca), 0U);
        EXPECT_EQ(strlen(policy.path), 2047U);
        sqlpiReleaseTexts(policy);
    }
}

/* --- owned texts -------------------------------------------------------------------------------------------------- */

TEST_F(PolicyReaders, OwnedTextsReplaceWhatWasThere) {
    backupPolicy policy = {};
    ASSERT_TRUE(sqlpiSetOwnedText(policy.mode, "Online"));
    const int64_t blocks = kelhost::memoryTotal().blocks;
    ASSERT_TRUE(sqlpiSetOwnedText(policy.mode, "Offline"));
    EXPECT_STREQ(policy.mode, "Offline");
    EXPECT_EQ(kelhost::memoryTotal().blocks, blocks);
    ASSERT_TRUE(sqlpiSetOwnedText(policy.mode, std::string_view("cut here", 3)));
    EXPECT_STREQ(policy.mode, "cut");
    ASSERT_TRUE(sqlpiSetOwnedText(policy.libOptions, {}));
    EXPECT_STREQ(policy.libOptions, "");
    sqlpiReleaseTexts(policy);
    EXPECT_EQ(policy.mode, nullptr);
    EXPECT_EQ(policy.libOptions, nullptr);
    sqlpiReleaseTexts(policy);
}

TEST_F(PolicyReaders, EveryOwnedTextIsReleased) {
    backupPolicy backupRecord = {};
    for (auto field :
         {&backupPolicy::mode, &backupPolicy::numberOfFullBackups, &backupPolicy::timeSinceLastBackup,
          &backupPolicy::logSpaceConsumedSinceLastBackup, &backupPolicy::numberOfSessions, &backupPolicy::libOptions})
        ASSERT_TRUE(sqlpiSetOwnedText(backupRecord.*field, "text"));
    sqlpiReleaseTexts(backupRecord);
    reorgPolicy reorgRecord = {};
    for (auto field :
         {&reorgPolicy::dictionaryOption, &reorgPolicy::indexReorgMode, &reorgPolicy::useSystemTempTableSpace,
          &reorgPolicy::maxOfflineReorgTableSize, &reorgPolicy::reclaimExtentsSizeForMDCTables,
          &reorgPolicy::numInxPseudoEmptyPagesForVolatileTables})
        ASSERT_TRUE(sqlpiSetOwnedText(reorgRecord.*field, "text"));
    sqlpiReleaseTexts(reorgRecord);
}

}  // namespace
