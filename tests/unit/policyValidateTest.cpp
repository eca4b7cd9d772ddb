/* Validation: from a configuration document to a policy-language document, and every way in which it is refused. */
#include <filesystem>
#include <functional>

#include "unit/outsideWorld.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;
using services::LogRecord;

const LogRecord parsed = {PD_INFO, "Parsing compeleted with out any errors. "};
const LogRecord isNotUtf8 = {PD_ERROR, "Encoding used in the policy document is non UTF-8 format."};
constexpr const char* runstatsRoot = "KELAutoRunstatsPolicy";
constexpr uint32_t anyLine = UINT32_MAX;
constexpr const char* windowsRoot = "KELMaintenanceWindows";

class PolicyValidation : public services::DocumentTest {
protected:
    /* Demands that the document is wrong, with a message that has these words, and that everything tells the same. */
    void expectMistake(const std::string& document, const std::string& words, uint32_t line = anyLine,
                       uint32_t column = 0) {
        clearLogs();
        const Verdict verdict = validate(typeOf(document), document);
        const std::string message = verdict.mistake.message;
        EXPECT_NE(words, "");
        EXPECT_NE(message.find(words), message.npos) << message;
        const std::string lineText = std::to_string(verdict.mistake.line);
        const std::string columnText = std::to_string(verdict.mistake.column);
        expectRefused(verdict, -1437, {lineText, columnText, message.substr(0, 50)});
        if (line != anyLine) {
            EXPECT_EQ(verdict.mistake.line, line);
            EXPECT_EQ(verdict.mistake.column, column) << message;
        }
        const auto log = takeDiagnosticLog();
        ASSERT_FALSE(log.empty());
        EXPECT_EQ(log.back(), (LogRecord{PD_ERROR, "Validation Error at Line number: " + lineText +
                                                       " Column: " + columnText + " Message: " + message}));
    }
    void expectFailure(const char* type, std::string_view document, int32_t sqlcode,
                       const std::vector<std::string>& tokens, const std::vector<LogRecord>& log) {
        clearLogs();
        expectRefused(validate(type, document), sqlcode, tokens);
        EXPECT_EQ(takeDiagnosticLog(), log);
    }
};

/* --- what passes -------------------------------------------------------------------------------------------------- */

/* What the generator makes of a record that was filled by hand. */
template <class Policy, class Generate>
std::string generatedFrom(Policy policy, Generate generate) {
    std::vector<char> output(SQLPI_OLD_POLICY_SIZE);
    EXPECT_EQ(generate(policy, output.data()), SQLPI_CONFIG_OK);
    return output.data();
}

TEST_F(PolicyValidation, ASoundDocumentBecomesItsPolicy) {
    maintenanceOldPolicy windowPolicy = {};
    windowPolicy.onlinePresent = windowPolicy.offlinePresent = true;
    windowPolicy.online = {"0100010", "111111111111", {}, "", "T230000/T020000", "During"};
    std::memset(windowPolicy.online.dayOfMonthMask, '0', 62);
    for (const int position : {0, 14, 31}) windowPolicy.online.dayOfMonthMask[position] = '1';
    windowPolicy.offline = {"1111111", "100000000001", {}, "", "T000000/T235959", "Outside"};
    std::memset(windowPolicy.offline.dayOfMonthMask, '1', 62);
    const std::string windowDocument =
        windows(text({.attributes = "Occurrence='During' startTime='23:00:00' duration='3'",
                      .daysOfWeek = "Mon Fri",
                      .daysOfMonth = "1 15 -1"}) +
                text({.monthsOfYear = "Jan Dec"}, "OfflineWindow"));

    char one[] = "1", two[] = "2", three[] = "3", online[] = "Online", offline[] = "Offline", keep[] = "Keep";
    char options[] = "-v", no[] = "false", zero[] = "0", size[] = "52";
    backupPolicy backupRecord = {};
    backupRecord.mode = offline;
    backupRecord.numberOfFullBackups = one;
    backupRecord.timeSinceLastBackup = two;
    backupRecord.logSpaceConsumedSinceLastBackup = three;
    std::strcpy(backupRecord.path, "/lib/b.so");
    backupRecord.libOptions = options;
    backupRecord.vendorTarget = true;

    reorgPolicy reorgRecord = {keep, online, no, size, zero, two, "TABSCHEMA = 'S'"};
    runStatsPolicy runstatsRecord = {"TABNAME LIKE 'A%'"};

    struct Case {
        std::string document;
        std::string expected;
    };
    for (const Case& passing : std::vector<Case>{
             {windowDocument, generatedFrom(windowPolicy, sqlpiGenerateOldMWPolicy)},
             {backup(vendor("/lib/b.so", "-v"), "mode='Offline'"),
              generatedFrom(backupRecord, sqlpiGenerateOldBackupPolicy)},
             {reorg("indexReorgMode='Online' numInxPseudoEmptyPagesForVolatileTables='2'",
                    "maxOfflineReorgTableSize='52'", "TABSCHEMA = 'S'"),
              generatedFrom(reorgRecord, sqlpiGenerateOldReorgPolicy)},
             {runstats("TABNAME LIKE 'A%'"), generatedFrom(runstatsRecord, sqlpiGenerateOldRunsatsPolicy)},
         }) {
        SCOPED_TRACE(passing.document);
        clearLogs();
        const Verdict verdict = validate(typeOf(passing.document), passing.document);
        EXPECT_EQ(verdict.status, 0U);
        EXPECT_EQ(verdict.sqlcode, 0);
        EXPECT_EQ(verdict.output, passing.expected);
        EXPECT_EQ(verdict.mistake.line, 0U);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>{parsed});
    }
}

TEST_F(PolicyValidation, TheEntryAnswersWithoutAMistakeToFill) {
    char output[SQLPI_OLD_POLICY_SIZE] = "";
    sqlca ca = {};
    EXPECT_EQ(sqlpiValidateAutomaintPolicy("AUTO_RUNSTATS", runstats("f"), output, ca), 0U);
    EXPECT_NE(std::string(output).find("<Constant>f</Constant>"), std::string::npos);
    EXPECT_EQ(sqlpiValidateAutomaintPolicy("AUTO_RUNSTATS", "<x/>", output, ca), 0x90000002U);
    EXPECT_EQ(ca.sqlcode, -1437);
    EXPECT_NE(std::string(output).find("<Constant>f</Constant>"), std::string::npos) << "the output is unchanged";
}

/* --- what fails --------------------------------------------------------------------------------------------------- */

TEST_F(PolicyValidation, AnUnknownTypeHasNoSchema) {
    for (const char* type :
         {"", "AUTO_BACKUP ", "auto_backup", "AUTO", "AUTO_BACKUPS", "POLICY", static_cast<const char*>(nullptr)})
        expectFailure(type, runstats("f"), -1438, {}, {{PD_ERROR, "Schema source is null. "}});
}

TEST_F(PolicyValidation, WhatDoesNotBeginAsADocumentFailsAtTheFirstElement) {
    const std::vector<LogRecord> log = {{PD_ERROR, "Parse first element is failed. "}};
    for (const std::string& document :
         {std::string(), std::string("text"), std::string(" \n"), std::string("<?xml version='1.0'"),
          std::string("<!-- unterminated"),
          std::string("<?xml version=\"1.0\" encoding=\"no-such-encoding\"?>") + "<a/>",
          std::string("<!DOCTYPE a [<!ENTITY b>]>"), std::string("\0<a/>", 5), std::string("<a>\xC0\x80</a>"),
          std::string("<a>\xED\xA0\x80</a>"), std::string("<!-- \0 -->", 10)}) {
        SCOPED_TRACE(testing::PrintToString(document));
        expectFailure("AUTO_RUNSTATS", document, -1447, {"4"}, log);
        EXPECT_GT(validate("AUTO_RUNSTATS", document).mistake.line, 0U) << "the caller may know the place all the same";
        EXPECT_STRNE(validate("AUTO_RUNSTATS", document).mistake.message, "");
    }
}

/* Bytes are decoded some way ahead of the elements: in a short document before the first of them is judged. */
TEST_F(PolicyValidation, BytesThatAreNoUtf8AreRefused) {
    const std::vector<LogRecord> log = {{PD_ERROR, "Parse first element is failed. "}};
    for (const char* bytes : {"\xFF", "\xC0\x80", "\xED\xA0\x80", "\xE2\x82", "\xF4\x90\x80\x80", "\xF0\x8F\xBF\xBF",
                              "\xE0\x9F\xBF", "\x80"}) {
        SCOPED_TRACE(testing::PrintToString(bytes));
        expectFailure("AUTO_RUNSTATS", runstats(bytes), -1447, {"4"}, log);
        EXPECT_NE(std::string(validate("AUTO_RUNSTATS", runstats(bytes)).mistake.message).find("byte"),
                  std::string::npos);
        expectMistake(runstats("f<!--" + std::string(100'000, 'x') + "-->" + bytes), "byte");
    }
    expectMistake(runstats("\xF5\x80\x80\x80"), "byte");
}

TEST_F(PolicyValidation, MistakesAreToldWithTheirPlace) {
    const std::string head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    const std::string tooLong = oneWindow({.attributes = "duration='25'"});
    expectMistake(tooLong, "'25'", 2, static_cast<uint32_t>(tooLong.find("<DaysOfWeek") - tooLong.find('\n')));
    expectMistake(backup("<VLTBackupTarget numberOfSessions='1000'/>"), "'1000'");
    expectMistake(windows("<OnlineWindow>\n <DaysOfMonth>All</DaysOfMonth></OnlineWindow>"), "DaysOfMonth", 3, 47);
    expectMistake(runstats("a<b/>"), "'b'");
    expectMistake(head + "<x/>", "'x'", 2, 5);
    expectMistake(runstats("a") + "b", "expected");
    expectMistake(runstats("a") + runstats("b").substr(head.size()), "expected");
    expectMistake(runstats("&none;"), "none");
    expectMistake(runstats("&#0;"), "character");
    expectMistake(runstats("\x01"), "0x1");
    expectMistake(runstats("\xEF\xBF\xBF"), "0xFFFF");
    const std::string unclosed = runstats("a");
    expectMistake(unclosed.substr(0, unclosed.size() - 3), "KELAutoRunstatsPolic");
    expectMistake(oneWindow({.attributes = "duration='1' duration='2'"}), "already specified");
}

TEST_F(PolicyValidation, ALongMessageIsCutBetweenCharactersInTheTokenOnly) {
    std::string name = "x";
    for (int i = 0; i < 2000; ++i) name += "\xC3\xA9";
    Verdict verdict = validate("AUTO_RUNSTATS", "<" + name + "/>");
    ASSERT_EQ(verdict.tokens.size(), 3U);
    EXPECT_EQ(verdict.tokens[2].size(), 49U) << "the 50th byte is the first of two";
    EXPECT_GT(strlen(verdict.mistake.message), 4000U);
    name = "x";
    for (int i = 0; i < 2000; ++i) name += "\xE3\x81\x82";
    verdict = validate("AUTO_RUNSTATS", "<" + name + "/>");
    const size_t kept = strlen(verdict.mistake.message);
    EXPECT_LE(kept, 4095U);
    EXPECT_GT(kept, 4092U);
    EXPECT_EQ(std::string(verdict.mistake.message).substr(kept - 3), "\xE3\x81\x82");
}

TEST_F(PolicyValidation, TheLastMistakeIsPublished) {
    errLineNo = errColumnNo = 0;
    errMsgBuffer[0] = '\0';
    validate("AUTO_RUNSTATS", runstats("f"));
    EXPECT_EQ(errLineNo, 0U) << "a sound document leaves it alone";
    const Verdict verdict = validate("AUTO_RUNSTATS", "\n\n  <x/>");
    EXPECT_EQ(errLineNo, 3U);
    EXPECT_EQ(errColumnNo, 7U);
    EXPECT_STREQ(errMsgBuffer, verdict.mistake.message);
    validate("NO_SUCH_TYPE", "");
    EXPECT_EQ(errLineNo, 3U);
}

TEST_F(PolicyValidation, AWarningIsLoggedAndNoFailure) {
    const std::string document = "<?xml version=\"1.0\" encoding=\"UTF-16\"?>" + runstats("f").substr(39);
    clearLogs();
    // What is refused afterwards is the encoding, not what was warned of.
    expectRefused(validate("AUTO_RUNSTATS", document), -1447, {"5"});
    const auto log = takeDiagnosticLog();
    ASSERT_EQ(log.size(), 3U);
    EXPECT_EQ(log[0].importance, PD_WARNING);
    EXPECT_EQ(log[0].text.find("Validation Warning at Line number: 1 Column: 40 Message: "), 0U) << log[0].text;
    EXPECT_EQ(log[1], parsed);
    EXPECT_EQ(log[2], isNotUtf8);
}

TEST_F(PolicyValidation, OnlyUtf8IsTaken) {
    const std::vector<LogRecord> log = {parsed, isNotUtf8};
    const std::string body = runstats("f").substr(runstats("f").find("<KEL"));
    const auto declared = [&body](const std::string& encoding) {
        return "<?xml version=\"1.0\" encoding=\"" + encoding + "\"?>" + body;
    };
    for (const char* encoding : {"ISO-8859-1", "US-ASCII", "windows-1252", "UTF8", "KOI8-R"}) {
        SCOPED_TRACE(encoding);
        expectFailure("AUTO_RUNSTATS", declared(encoding), -1447, {"5"}, log);
    }
    for (const char* encoding : {"UTF-8", "utf-8", "Utf-8"})
        EXPECT_EQ(validate("AUTO_RUNSTATS", declared(encoding)).status, 0U) << encoding;
    EXPECT_EQ(validate("AUTO_RUNSTATS", body).status, 0U) << "none declared";
    EXPECT_EQ(validate("AUTO_RUNSTATS", "<?xml version=\"1.0\"?>" + body).status, 0U);
    EXPECT_EQ(validate("AUTO_RUNSTATS", "\xEF\xBB\xBF" + body).status, 0U) << "with a byte-order mark";

    const auto wide = [](const std::string& text, size_t width, bool bigEndian, const std::string& mark) {
        std::string bytes = mark;
        for (const char c : text)
            for (size_t i = 0; i < width; ++i) bytes += (i == (bigEndian ? width - 1 : 0)) ? c : '\0';
        return bytes;
    };
    const std::string undeclared = "<?xml version=\"1.0\"?>" + body;
    for (const std::string& document :
         {wide(undeclared, 2, false, "\xFF\xFE"), wide(undeclared, 2, true, "\xFE\xFF"), wide(undeclared, 2, false, ""),
          wide(declared("UTF-16"), 2, false, "\xFF\xFE"), wide(declared("UTF-32"), 4, false, {"\xFF\xFE\0\0", 4})})
        expectFailure("AUTO_RUNSTATS", document, -1447, {"5"}, log);
    // The bytes are UTF-8, the declaration says something else.
    const Verdict contradicting = validate("AUTO_RUNSTATS", declared("UTF-16"));
    expectRefused(contradicting, -1447, {"5"});
    // A document that is wrong in another encoding is wrong first of all.
    expectMistake("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><x/>", "'x'");
}

TEST_F(PolicyValidation, ANulIsRefusedWhereverItStands) {
    const auto at = [](const std::string& where, const std::string& instead) {
        std::string document = runstats("f");
        return document.replace(document.find(where), where.size(), instead);
    };
    using namespace std::string_literals;
    expectMistake(at(">f<", ">f\0<"s), "0x0");
    expectMistake(at("<RunstatsTableScope>", "<RunstatsTableScope>\0"s),
                  "input ended before all started tags were ended");
    expectMistake(at("<RunstatsTableScope>", "<RunstatsTableScope\0>"s), "unexpected end of input");
    const std::string document = runstats("f");
    expectMistake(document + "\0"s, "invalid character 0x0", 2,
                  static_cast<uint32_t>(document.size() - document.find('\n')));
    expectMistake(document + "\n \0</x>"s, "invalid character 0x0", 3, 2);
    expectMistake(document + "<!-- \0 -->"s, "unterminated comment");
}

TEST_F(PolicyValidation, EveryDiskLocationMustExist) {
    const std::string missing = "Backup image storage location does not exist. \n ";
    const services::TemporaryInstance instance;
    const std::string a = instance.get().path() + "/tmp";
    const std::string b = instance.get().path() + "/db";
    for (const std::string& path :
         {a, a + "," + b, a + "," + b + "," + a, a + ",", "," + a, a + ",,," + b, std::string("/"), std::string()}) {
        SCOPED_TRACE(path);
        const Verdict verdict = validate("AUTO_BACKUP", backup(disk(path)));
        EXPECT_EQ(verdict.status, 0U);
        EXPECT_EQ(verdict.output.find("Pathname") != std::string::npos, !path.empty());
    }
    for (const std::string& path :
         {a + "/none", a + "," + b + "/none", a + "/none," + b, a + ", " + b, std::string(","), std::string(",,"),
          std::string(" "), a + "," + std::string(1500, 'x')}) {
        SCOPED_TRACE(path);
        expectFailure("AUTO_BACKUP", backup(disk(path)), -1447, {"1"}, {parsed, {PD_ERROR, missing}});
    }
    EXPECT_EQ(validate("AUTO_BACKUP", backup(tape("/none"))).status, 0U) << "only disks are looked for";
    EXPECT_EQ(validate("AUTO_BACKUP", backup(vendor("/none", "o"))).status, 0U);
}

/* --- texts that are too long -------------------------------------------------------------------------------------- */

TEST_F(PolicyValidation, ATextBeyondItsRecordIsRefusedByTheReader) {
    expectFailure("AUTO_BACKUP", backup(tape(std::string(2048, 'p'))), -1447, {"6"},
                  {parsed, {PD_ERROR, "The path may be 2047 bytes long; this one is 2048 bytes long."}});
    EXPECT_EQ(validate("AUTO_BACKUP", backup(tape(std::string(2047, 'p')))).status, 0U);
    expectFailure("AUTO_RUNSTATS", runstats(std::string(4096, 'f')), -1447, {"6"},
                  {parsed, {PD_ERROR, "The filter condition may be 4095 bytes long; this one is 4096 bytes long."}});
}

TEST_F(PolicyValidation, ATextBeyondTheStoredFormIsRefusedWithWhatItMayBe) {
    struct Case {
        const char* type;
        std::string what;
        size_t size; /* of the stored form, with its terminator */
        std::function<std::string(size_t)> document;
    };
    for (const Case& one : std::vector<Case>{
             {"AUTO_REORG", "filter clause", SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) { return reorg("", "", std::string(length, 'f')); }},
             {"AUTO_REORG", "filter clause", SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) {
                  return reorg("reclaimExtentsSizeForMDCTables='100' numInxPseudoEmptyPagesForVolatileTables='20000'",
                               "maxOfflineReorgTableSize='3000000'", std::string(length, 'f'));
              }},
             {"AUTO_REORG", "maxOfflineReorgTableSize", SQLPI_OLD_REORG_POLICY_SIZE,
              [](size_t length) {
                  return reorg("", "maxOfflineReorgTableSize='" + std::string(length, '9') + "'", "f");
              }},
             {"AUTO_RUNSTATS", "filter condition", SQLPI_OLD_RUNSTATS_POLICY_SIZE,
              [](size_t length) { return runstats(std::string(length, 'f')); }},
             {"AUTO_BACKUP", "timeSinceLastBackup", SQLPI_OLD_BACKUP_POLICY_SIZE,
              [](size_t length) {
                  return backup(vendor(std::string(2047, 'l'), std::string(2047, 'o')), "",
                                "numberOfFullBackups='" + std::string(1000, '1') + "' timeSinceLastBackup='" +
                                    std::string(length, '9') + "' logSpaceConsumedSinceLastBackup='3'");
              }},
         }) {
        SCOPED_TRACE(one.what);
        const size_t shortLength = 10;
        const Verdict fitting = validate(one.type, one.document(shortLength));
        ASSERT_EQ(fitting.status, 0U);
        const size_t most = one.size - 1 - (fitting.output.size() - shortLength);
        EXPECT_EQ(validate(one.type, one.document(most)).output.size(), one.size - 1) << "fills it to the brim";
        expectFailure(one.type, one.document(most + 1), -1447, {"6"},
                      {parsed,
                       {PD_ERROR, "The " + one.what + " may be " + std::to_string(most) + " bytes long; this one is " +
                                      std::to_string(most + 1) + " bytes long."}});
    }
}

TEST_F(PolicyValidation, TwoTextsThatAreTooLongTogetherLeaveTheLongerOneNoRoom) {
    const std::string digits(4000, '1');
    expectFailure(
        "AUTO_REORG",
        reorg("reclaimExtentsSizeForMDCTables='" + digits + "'", "maxOfflineReorgTableSize='" + digits + "'", ""),
        -1447, {"6"},
        {parsed, {PD_ERROR, "The maxOfflineReorgTableSize may be 0 bytes long; this one is 4000 bytes long."}});
}

/* --- entities and other ways out of the document ------------------------------------------------------------------ */

TEST_F(PolicyValidation, InternalEntitiesAreSeen) {
    const Verdict inText =
        validate("AUTO_RUNSTATS", withDeclarations(runstats("a&b;d"), runstatsRoot, "<!ENTITY b 'B<!-- c -->C'>"));
    EXPECT_NE(inText.output.find("<Constant>aBCd</Constant>"), std::string::npos) << inText.mistake.message;
    const Verdict inAttribute =
        validate("MAINTENANCE_WINDOW",
                 withDeclarations(oneWindow({.attributes = "Occurrence='&o;'"}), windowsRoot, "<!ENTITY o 'During'>"));
    EXPECT_EQ(inAttribute.output.find("<Not>"), std::string::npos) << inAttribute.mistake.message;
    EXPECT_EQ(inAttribute.status, 0U);
    const std::string offline = text({.attributes = "duration='5'"}, "OfflineWindow");
    const Verdict elements = validate("MAINTENANCE_WINDOW", withDeclarations(windows(text({}) + "&w;"), windowsRoot,
                                                                             "<!ENTITY w \"" + offline + "\">"));
    EXPECT_NE(elements.output.find("T000000/T050000"), std::string::npos) << elements.mistake.message;
    const Verdict lists =
        validate("MAINTENANCE_WINDOW",
                 withDeclarations(windows("<OnlineWindow>&first;&second;</OnlineWindow>"), windowsRoot,
                                  "<!ENTITY first '<DaysOfWeek>Mon</DaysOfWeek> <DaysOfMonth>7</DaysOfMonth>'>"
                                  "<!ENTITY second '<MonthsOfYear>Feb</MonthsOfYear>'>"));
    EXPECT_NE(lists.output.find("<MonthOfYearMask>010000000000<"), std::string::npos) << lists.output;
    EXPECT_NE(lists.output.find("<DayOfMonthMask>0000001000"), std::string::npos) << lists.output;
    expectMistake(withDeclarations(windows(text({}) + "&w;"), windowsRoot, "<!ENTITY w '<Other/>'>"), "Other");
    expectMistake(withDeclarations(runstats("&b;"), runstatsRoot, "<!ENTITY b '<x>'>"), "x");
}

TEST_F(PolicyValidation, EntitiesCannotBlowADocumentUp) {
    const auto declared = [](const std::string& filter, const std::string& declarations) {
        return withDeclarations(runstats(filter), runstatsRoot, declarations);
    };
    std::string laughs = "<!ENTITY a0 'lol'>";
    for (int i = 1; i < 10; ++i) {
        laughs += "<!ENTITY a" + std::to_string(i) + " '";
        for (int j = 0; j < 10; ++j) laughs += "&a" + std::to_string(i - 1) + ";";
        laughs += "'>";
    }
    expectMistake(declared("&a9;", laughs), "refers to another one");
    expectMistake(withDeclarations(oneWindow({.attributes = "Occurrence='&a9;'"}), windowsRoot, laughs),
                  "refers to another one");
    expectMistake(declared("&b;", "<!ENTITY b '&b;'>"), "refers to another one");
    std::string manyReferences;
    for (int i = 0; i < 64; ++i) manyReferences += "&b;";
    EXPECT_EQ(validate("AUTO_RUNSTATS", declared(manyReferences, "<!ENTITY b 'x'>")).status, 0U);
    expectMistake(declared(manyReferences + "&b;", "<!ENTITY b 'x'>"), "64");
    expectMistake(declared(manyReferences, "<!ENTITY b '" + std::string(4000, 'x') + "'>"), "expand to more text");
    expectMistake(declared("&b;", "<!ENTITY b '" + std::string(5000, 'x') + "'>"), "longer entities");
    expectMistake(declared("x", "<!ENTITY % p ' '> %p;"), "parameter entity");
    std::string many;
    for (int i = 0; i < 3000; ++i) many += "<!ENTITY e" + std::to_string(i) + " ''>";
    expectMistake(declared("x", many), "declarations are longer");
    std::string nested(1500, 'b');
    for (size_t i = 0; i < 1500; ++i) nested.replace(3 * i, 1, "(b,");
    expectMistake(declared("x", "<!ELEMENT a " + nested + "b" + std::string(1500, ')') + ">"), "nested too deeply", 0,
                  0);
    // What needs no declaration is no expansion.
    std::string predefined;
    for (int i = 0; i < 200; ++i) predefined += "a &lt;&#32;b ";
    EXPECT_EQ(validate("AUTO_RUNSTATS", runstats(predefined)).status, 0U);
}

TEST_F(PolicyValidation, DeclaredAttributesAreRefused) {
    expectMistake(withDeclarations(oneWindow({}), windowsRoot, "<!ATTLIST OnlineWindow duration CDATA '7'>"),
                  "declares attributes of its own");
}

TEST_F(PolicyValidation, NothingOutsideTheDocumentIsRead) {
    const OutsideWorld outside("<!ENTITY x 'leaked'>");
    for (const std::string& where : outside.places()) {
        SCOPED_TRACE(where);
        const auto typed = [&where](const std::string& type) {
            std::string document = runstats("&x;");
            return document.insert(document.find("<KEL"), "<!DOCTYPE KELAutoRunstatsPolicy " + type);
        };
        expectMistake(typed("[<!ENTITY x SYSTEM '" + where + "'>]>"), "external entity, which is never read");
        expectMistake(typed("[<!ENTITY x PUBLIC 'x' '" + where + "'>]>"), "external entity, which is never read");
        expectMistake(typed("[<!ENTITY % p SYSTEM '" + where + "'> %p;]>"), "external entity, which is never read");
        expectMistake(typed("[<!NOTATION n SYSTEM 'n'><!ENTITY x SYSTEM '" + where + "' NDATA n>]>"),
                      "external entity, which is never read");
        expectMistake(typed("SYSTEM '" + where + "'>"), "external entity, which is never read");
        expectMistake(typed("PUBLIC 'x' '" + where + "' []>"), "external entity, which is never read");

        const std::string instanceNamespace = " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' ";
        std::string located = runstats("f");
        located.insert(located.find(" xmlns="), instanceNamespace + "xsi:schemaLocation='" SQLPI_CONFIG_NAMESPACE " " +
                                                    where + " urn:other " + where + "'");
        EXPECT_EQ(validate("AUTO_RUNSTATS", located).status, 0U) << "the schema is known";
        expectMistake("<x xmlns='urn:other'" + instanceNamespace + "xsi:schemaLocation='urn:other " + where + "'/>",
                      "'x'");
        expectMistake("<x" + instanceNamespace + "xsi:noNamespaceSchemaLocation='" + where + "'/>", "'x'");
        expectMistake(runstats("<i:include xmlns:i='http://www.w3.org/2001/XInclude' href='" + where + "'/>"),
                      "i:include");
        ASSERT_FALSE(outside.wasTouched());
    }
}

TEST_F(PolicyValidation, SchemaInstanceAttributesChangeNoRule) {
    const std::string instanceNamespace =
        "xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xmlns:k='" SQLPI_CONFIG_NAMESPACE
        "' xmlns:xs='http://www.w3.org/2001/XMLSchema' ";
    expectMistake(oneWindow({.attributes = instanceNamespace + "xsi:type='xs:string'"}), "xs:string");
    expectMistake(oneWindow({.attributes = instanceNamespace + "xsi:nil='true'"}), "nil");
    EXPECT_EQ(
        validate("MAINTENANCE_WINDOW", oneWindow({.attributes = instanceNamespace + "xsi:type='k:WindowType'"})).status,
        0U);
}

/* --- size --------------------------------------------------------------------------------------------------------- */

TEST_F(PolicyValidation, DocumentsOfTwoMegabytesAreJudgedLikeSmallOnes) {
    constexpr size_t size = size_t{2} << 20;
    const auto repeated = [](const std::string& piece) {
        std::string text;
        while (text.size() < size) text += piece;
        return text;
    };
    const std::string letters(size, 'x');
    EXPECT_EQ(validate("AUTO_RUNSTATS", runstats("f<!--" + letters + "-->")).status, 0U);
    EXPECT_EQ(validate("AUTO_RUNSTATS", runstats("f") + repeated(" \n")).status, 0U);
    EXPECT_EQ(validate("MAINTENANCE_WINDOW", oneWindow({.daysOfMonth = repeated("1 -1 ")})).status, 0U);
    EXPECT_EQ(validate("MAINTENANCE_WINDOW", oneWindow({.attributes = "duration='" + repeated("0") + "5'"})).status,
              0U);
    expectRefused(validate("AUTO_RUNSTATS", runstats(letters)), -1447, {"6"});
    expectRefused(validate("AUTO_RUNSTATS", runstats(repeated("<![CDATA[x]]><!---->"))), -1447, {"6"});
    expectRefused(validate("AUTO_BACKUP", backup(disk(letters))), -1447, {"6"});
    expectRefused(validate("AUTO_BACKUP", backup(disk(""), "",
                                                 "numberOfFullBackups='" + repeated("9") +
                                                     "' timeSinceLastBackup='1' "
                                                     "logSpaceConsumedSinceLastBackup='1'")),
                  -1447, {"6"});
    expectMistake(runstats(repeated("<x>")), "'x'");
    expectMistake("<x>" + repeated("<x>"), "'x'");
    expectMistake("<" + letters + "/>", "xxx");
    expectMistake("<x a='" + letters + "'/>", "'x'");
}

TEST_F(PolicyValidation, ManyAttributesAreRefusedInTime) {
    std::string attributes;
    for (int i = 0; attributes.size() < (size_t{2} << 20); ++i) attributes += " a" + std::to_string(i) + "='1'";
    expectMistake("<x" + attributes + "/>", "more attributes");
    std::string prefixes;
    for (int i = 0; prefixes.size() < (size_t{2} << 20); ++i)
        prefixes +=
            " xmlns:a" + std::to_string(i) + "='urn:" + std::to_string(i % 3) + "' a" + std::to_string(i) + ":b='1'";
    expectMistake("<x" + prefixes + "/>", "more namespaces");
    std::string few;
    for (int i = 0; i < 200; ++i) few += " xmlns:a" + std::to_string(i) + "='urn:" + std::to_string(i) + "'";
    std::string document = runstats("f");
    document.insert(document.find(" xmlns="), few);
    EXPECT_EQ(validate("AUTO_RUNSTATS", document).status, 0U);
}

TEST_F(PolicyValidation, EveryByteOfADocumentMayBeAnythingElse) {
    const std::string sound = windows(text({.attributes = "Occurrence='During' startTime='23:00:00' duration='3'",
                                            .daysOfWeek = "Mon Fri",
                                            .daysOfMonth = "1 15 -1"}) +
                                      text({}, "OfflineWindow"));
    for (size_t at = 0; at < sound.size(); ++at)
        for (const char other : {'\0', '<', '>', '&', '"', ' ', '\xFF', 'x'}) {
            std::string document = sound;
            document[at] = other;
            const Verdict verdict = validate("MAINTENANCE_WINDOW", document);
            if (verdict.status != 0) {
                ASSERT_EQ(verdict.output, untouched) << document;
            } else {
                ASSERT_NE(verdict.output.find("MaintenanceWindowCondition"), std::string::npos);
            }
            ASSERT_EQ(verdict.status != 0, verdict.sqlcode < 0) << document;
        }
    for (size_t length = 0; length < sound.size(); ++length)
        ASSERT_NE(validate("MAINTENANCE_WINDOW", sound.substr(0, length)).status, 0U) << length;
}

}  // namespace
