/* The schemas: what the texts are, and which documents they let pass. */
#include "sqlpiPolicySchemas.h"

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/sax/SAXParseException.hpp>

#include "base/sqlpiUtf8.h"
#include "document/sqlpiXmlPlatform.h"
#include "unit/validateSupport.h"

namespace {

using namespace validated;

struct Schema {
    const char* name;
    const char* text;
    size_t length;
    size_t longest; /* a schema that is longer does not pass for version 1.0 */
};
const Schema schemas[] = {
    {"SQLPI_MWP_V1", SQLPI_MWP_V1, SQLPI_MWP_V1_LENGTH, SIZE_MAX},
    {"SQLPI_AUTO_BACKUP_V1", SQLPI_AUTO_BACKUP_V1, SQLPI_AUTO_BACKUP_V1_LENGTH, 7543},
    {"SQLPI_AUTO_REORG_V1", SQLPI_AUTO_REORG_V1, SQLPI_AUTO_REORG_V1_LENGTH, 4520},
    {"SQLPI_AUTO_RUNSTATS_V1", SQLPI_AUTO_RUNSTATS_V1, SQLPI_AUTO_RUNSTATS_V1_LENGTH, 1779},
};

TEST(PolicySchemas, AreTextsOfExactLengthThatBeginWithTheirVersion) {
    for (const Schema& schema : schemas) {
        SCOPED_TRACE(schema.name);
        const std::string text = schema.text;
        EXPECT_EQ(text.size(), schema.length);
        EXPECT_LT(schema.length, schema.longest);
        const size_t version = text.find("<xs:documentation>Version 1.0<");
        const size_t note = text.find("DO NOT EDIT");
        ASSERT_NE(version, text.npos);
        EXPECT_LT(version, note);
        EXPECT_LT(note, text.find("<xs:element"));
        EXPECT_EQ(text.find("<xs:annotation>"), text.find("<xs:", text.find("<xs:schema") + 1)) << "comes first";
        EXPECT_NE(text.find("targetNamespace=\"" SQLPI_CONFIG_NAMESPACE "\""), text.npos);
        EXPECT_NE(text.find("elementFormDefault=\"qualified\""), text.npos);
        EXPECT_NE(text.find("attributeFormDefault=\"unqualified\""), text.npos);
    }
    EXPECT_NE(std::string(SQLPI_MWP_V1).find("<xs:group name=\"PoilcyWindowGroup\">"), std::string::npos);
    EXPECT_TRUE(std::string(SQLPI_CONFIG_NAMESPACE).ends_with("/xmlns/prod/kel/autonomic/config"));
}

class Complaints : public xercesc::ErrorHandler {
public:
    void warning(const xercesc::SAXParseException& /*exception*/) override { ++count; }
    void error(const xercesc::SAXParseException& /*exception*/) override { ++count; }
    void fatalError(const xercesc::SAXParseException& /*exception*/) override { ++count; }
    void resetErrors() override {}
    int count = 0;
};

TEST(PolicySchemas, AreSchemasUnderFullChecking) {
    ASSERT_TRUE(sqlpiHoldXmlPlatform());
    for (const Schema& schema : schemas) {
        SCOPED_TRACE(schema.name);
        xercesc::XercesDOMParser parser;
        Complaints complaints;
        parser.setErrorHandler(&complaints);
        parser.setDoNamespaces(true);
        parser.setDoSchema(true);
        parser.setValidationSchemaFullChecking(true);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(schema.text), schema.length, "schema");
        EXPECT_NE(parser.loadGrammar(source, xercesc::Grammar::SchemaGrammarType, false), nullptr);
        EXPECT_EQ(complaints.count, 0);
    }
}

/* --- what passes and what does not -------------------------------------------------------------------------------- */

class PolicySchemaRules : public services::DocumentTest {
protected:
    struct Case {
        std::string name;
        std::string document;
    };
    static void expectSound(const std::vector<Case>& cases) {
        for (const Case& one : cases) {
            SCOPED_TRACE(one.name);
            const Verdict verdict = validate(typeOf(one.document), one.document);
            EXPECT_EQ(verdict.status, 0U) << verdict.mistake.message;
        }
    }
    static void expectInvalid(const std::vector<Case>& cases) {
        for (const Case& one : cases) {
            SCOPED_TRACE(one.name);
            const Verdict verdict = validate(typeOf(one.document), one.document);
            EXPECT_EQ(verdict.status, 0x90000002U);
            EXPECT_EQ(verdict.sqlcode, -1437);
            EXPECT_EQ(verdict.output, untouched);
        }
    }
    /* The root's children one after the other, without the one at `left` and with the one at `twice` repeated. */
    static std::string children(const std::vector<std::string>& all, size_t left, size_t twice) {
        std::string text;
        for (size_t i = 0; i < all.size(); ++i)
            if (i != left) text += all[i] + (i == twice ? all[i] : "");
        return text;
    }
    /* Demands that each of a sequence's elements is there once and in its place. */
    template <class Make>
    static void expectSequence(const std::vector<std::string>& all, Make make) {
        expectSound({{"as it is", make(children(all, SIZE_MAX, SIZE_MAX))}});
        for (size_t i = 0; i < all.size(); ++i)
            expectInvalid({{"without " + all[i], make(children(all, i, SIZE_MAX))},
                           {"twice " + all[i], make(children(all, SIZE_MAX, i))}});
        for (size_t i = 1; i < all.size(); ++i) {
            std::vector<std::string> swapped = all;
            std::swap(swapped[i - 1], swapped[i]);
            expectInvalid({{all[i] + " too early", make(children(swapped, SIZE_MAX, SIZE_MAX))}});
        }
        expectInvalid({{"another behind", make(children(all, SIZE_MAX, SIZE_MAX) + "<Other/>")}});
    }
};

TEST_F(PolicySchemaRules, WindowsComeOnlineFirst) {
    const std::string online = text({});
    const std::string offline = text({}, "OfflineWindow");
    expectSound({{"online", windows(online)}, {"online, offline", windows(online + offline)}});
    expectInvalid(
        {{"none", windows("")},
         {"offline only", windows(offline)},
         {"offline, online", windows(offline + online)},
         {"two online", windows(online + online)},
         {"two offline", windows(online + offline + offline)},
         {"another", windows(online + "<Other/>")},
         {"text between", windows(online + "text")},
         {"an attribute of the root", config::root("KELMaintenanceWindows a='1'", online)},
         {"another attribute", oneWindow({.attributes = "Other='1'"})},
         {"a qualified attribute", oneWindow({.attributes = "xmlns:k='" SQLPI_CONFIG_NAMESPACE "' k:duration='1'"})},
         {"a window as root", config::root("OnlineWindow", "")}});
}

TEST_F(PolicySchemaRules, AWindowHasItsListsInOrder) {
    expectSequence(
        {"<DaysOfWeek>All</DaysOfWeek>", "<DaysOfMonth>All</DaysOfMonth>", "<MonthsOfYear>All</MonthsOfYear>"},
        [](const std::string& lists) { return windows("<OnlineWindow>" + lists + "</OnlineWindow>"); });
}

TEST_F(PolicySchemaRules, ListsHoldTheirNamesOnly) {
    for (const char* day : {"Mon", "Tue", "Wed", "Thu", "Fri", "Sat", "Sun"})
        expectSound(
            {{day, oneWindow({.daysOfWeek = day})}, {day, oneWindow({.daysOfWeek = std::string("Sun ") + day})}});
    for (const char* month : {"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"})
        expectSound({{month, oneWindow({.monthsOfYear = month})},
                     {month, oneWindow({.monthsOfYear = std::string("Dec\n ") + month})}});
    for (const char* bad :
         {"mon", "MON", "Monday", "Mon,Tue", "MonTue", "All Mon", "Mon All", "All All", "all", "Jan", "1"})
        expectInvalid({{bad, oneWindow({.daysOfWeek = bad})}});
    for (const char* bad : {"jan", "January", "Jan,Feb", "All Jan", "Sept", "Mon", "1"})
        expectInvalid({{bad, oneWindow({.monthsOfYear = bad})}});
    expectInvalid({{"an element in a list", oneWindow({.daysOfWeek = "Mon<DaysOfWeek/>"})}});
}

TEST_F(PolicySchemaRules, DaysOfTheMonthCountFromBothEnds) {
    for (int day = -33; day <= 33; ++day) {
        const std::string text = std::to_string(day);
        const std::string document = oneWindow({.daysOfMonth = "15 " + text});
        if (day != 0 && day >= -31 && day <= 31)
            expectSound({{text, document}});
        else
            expectInvalid({{text, document}});
    }
    expectSound({{"signs and zeros", oneWindow({.daysOfMonth = "+1 02 -003"})}});
    for (const char* bad :
         {"All 1", "1 All", "all", "1,2", "1-2", "1.0", "x", "0", "-0", "1 0", "99999999999999999999"})
        expectInvalid({{bad, oneWindow({.daysOfMonth = bad})}});
}

/* The XML library alone, with the schema as it is published. */
class PublishedSchema {
public:
    PublishedSchema() {
        parser_.setErrorHandler(&reporter_);
        parser_.setDoNamespaces(true);
        parser_.setDoSchema(true);
        parser_.setValidationScheme(xercesc::XercesDOMParser::Val_Always);
        parser_.setExitOnFirstFatalError(true);
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(SQLPI_MWP_V1), SQLPI_MWP_V1_LENGTH,
                                                "schema");
        EXPECT_NE(parser_.loadGrammar(source, xercesc::Grammar::SchemaGrammarType, true), nullptr);
        parser_.useCachedGrammarInParse(true);
    }
    /* What is wrong with the document first; nothing where it is valid. */
    std::string judge(const std::string& document) {
        const xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(document.data()), document.size(),
                                                "document");
        reporter_.first.clear();
        parser_.parse(source);
        return reporter_.first;
    }

private:
    struct FirstMistake : xercesc::HandlerBase {
        void error(const xercesc::SAXParseException& exception) override {
            if (first.empty()) first = sqlpiUtf8Text(exception.getMessage()).text();
        }
        void fatalError(const xercesc::SAXParseException& exception) override { error(exception); }
        std::string first{};
    };

    FirstMistake reporter_;
    xercesc::XercesDOMParser parser_;
};

/* Days of the month are judged on a shorter way than the schema's. */
TEST_F(PolicySchemaRules, EachDayOfTheMonthIsJudgedAsThePublishedSchemaDoes) {
    ASSERT_TRUE(sqlpiHoldXmlPlatform());
    const std::string pieces[] = {"+", "-", "0", "1",        "2",        "3",  "4",  "9",
                                  ".", "a", " ", "\xC2\xB2", "\xD9\xA3", "31", "-31"};
    std::vector<std::string> texts = {"",
                                      "All",
                                      "all",
                                      "All 1",
                                      "1 All",
                                      "\t1\n2\r\n-1 ",
                                      "000000000000000000000000031",
                                      "-0000000000000000000000000032",
                                      "1e1",
                                      "99999999999999999999999",
                                      "0x1"};
    for (const std::string& first : pieces)
        for (const std::string& second : pieces) {
            texts.push_back(first + second);
            for (const std::string& third : pieces) {
                texts.push_back(first + second + third);
                texts.push_back("7 " + first + second + third + " -01");
            }
        }
    for (int day = -40; day <= 40; ++day)
        for (const char* before : {"", "0", "00", "+", "+0"}) texts.push_back(before + std::to_string(day));
    PublishedSchema schema;
    size_t valid = 0;
    for (const std::string& text : texts) {
        SCOPED_TRACE(text);
        const std::string document = oneWindow({.daysOfMonth = text});
        const Verdict verdict = validate("MAINTENANCE_WINDOW", document);
        EXPECT_STREQ(verdict.mistake.message, schema.judge(document).c_str());
        EXPECT_EQ(verdict.status == 0, verdict.mistake.message[0] == '\0');
        valid += verdict.status == 0 ? 1 : 0;
    }
    EXPECT_GT(valid, 200U);
    EXPECT_GT(texts.size(), 2 * valid) << "both kinds are tried";
}

TEST_F(PolicySchemaRules, AttributesOfAWindow) {
    const auto with = [](const char* attribute, const std::string& value) {
        return PolicySchemaRules::Case{attribute + ("=" + value),
                                       oneWindow({.attributes = attribute + ("='" + value + "'")})};
    };
    for (const char* good : {"During", "Outside"}) expectSound({with("Occurrence", good)});
    for (const char* bad : {"during", "Inside", "", " During", "DuringOutside"})
        expectInvalid({with("Occurrence", bad)});
    for (const char* good : {"1", "24", "+24", "007", " 5 "}) expectSound({with("duration", good)});
    for (const char* bad : {"0", "25", "-1", "1.0", "1.5", "", "x", "1 2", "99999999999999999999"})
        expectInvalid({with("duration", bad)});
    for (const char* good : {"00:00:00", "23:59:59", "24:00:00", "01:02:03.5", "01:02:03Z", "01:02:03+14:00"})
        expectSound({with("startTime", good)});
    for (const char* bad : {"1:00:00", "25:00:00", "24:00:01", "12:60:00", "12:00:61", "12:00", "120000", "", "noon",
                            "-01:00:00", "01:00:00.", "01:00:00+15:00"})
        expectInvalid({with("startTime", bad)});
}

TEST_F(PolicySchemaRules, BackupPolicy) {
    const std::string options = "<BackupOptions><BackupTarget>" + disk("") + "</BackupTarget></BackupOptions>";
    const std::string criteria = "<BackupCriteria " + goodCriteria + "/>";
    expectSequence({options, criteria},
                   [](const std::string& content) { return config::root("KELAutoBackupPolicy", content); });
    expectInvalid(
        {{"no target", backup("")},
         {"no element for the target", config::root("KELAutoBackupPolicy", "<BackupOptions/>" + criteria)},
         {"two targets", backup(disk("") + disk(""))},
         {"two kinds of target", backup(disk("") + tape("/t"))},
         {"another target", backup("<Other/>")},
         {"two target elements", backup(disk("") + "</BackupTarget><BackupTarget>" + disk(""))},
         {"content in the criteria",
          config::root("KELAutoBackupPolicy", options + "<BackupCriteria " + goodCriteria + ">x</BackupCriteria>")}});
    for (const char* good : {"Online", "Offline"})
        expectSound({{good, backup(disk(""), "mode='" + std::string(good) + "'")}});
    for (const char* bad : {"online", "", "Default", "Online "})
        expectInvalid({{bad, backup(disk(""), "mode='" + std::string(bad) + "'")}});

    const char* const names[] = {"numberOfFullBackups", "timeSinceLastBackup", "logSpaceConsumedSinceLastBackup"};
    for (const std::string name : names) {
        const auto criteriaWith = [&](const std::string& attribute) {
            std::string all = attribute;
            for (const std::string other : names)
                if (other != name) all += " " + other + "='1'";
            return backup(disk(""), "", all);
        };
        expectInvalid({{"without " + name, criteriaWith("")}});
        for (const char* good : {"1", "+1", "001", "4294967296", "99999999999999999999999"})
            expectSound({{name + "=" + good, criteriaWith(name + "='" + good + "'")}});
        for (const char* bad : {"0", "-1", "1.0", "", "many", "1 2"})
            expectInvalid({{name + "=" + bad, criteriaWith(name + "='" + bad + "'")}});
    }
}

TEST_F(PolicySchemaRules, BackupTargets) {
    expectSound({{"disk, default", backup(disk(""))},
                 {"disk", backup(disk("/"))},
                 {"tape", backup(tape("t"))},
                 {"vendor", backup(vendor("f", "o"))},
                 {"vendor without options", backup(vendor("f", ""))}});
    expectInvalid({{"disk without a path", backup("<DiskBackupTarget/>")},
                   {"disk with two paths", backup("<DiskBackupTarget><PathName/><PathName/></DiskBackupTarget>")},
                   {"disk with a file", backup("<DiskBackupTarget><LibFilename>f</LibFilename></DiskBackupTarget>")},
                   {"disk with an attribute", backup("<DiskBackupTarget a='1'><PathName/></DiskBackupTarget>")},
                   {"tape with an empty path", backup(tape(""))},
                   {"tape without a path", backup("<TapeBackupTarget/>")},
                   {"vendor with an empty file", backup(vendor("", "o"))}});
    expectSequence({"<LibFilename>f</LibFilename>", "<LibOptions>o</LibOptions>"}, [](const std::string& content) {
        return backup("<VendorLibBackupTarget>" + content + "</VendorLibBackupTarget>");
    });
    for (const std::string target : {"VLTBackupTarget", "XBSABackupTarget"}) {
        const auto with = [&target](const std::string& sessions) {
            return PolicySchemaRules::Case{target + " " + sessions,
                                           backup("<" + target + " numberOfSessions='" + sessions + "'/>")};
        };
        for (const char* good : {"1", "999", "0999"}) expectSound({with(good)});
        for (const char* bad : {"0", "1000", "-1", "", "x"}) expectInvalid({with(bad)});
        expectInvalid({{"no sessions", backup("<" + target + "/>")},
                       {"content", backup("<" + target + " numberOfSessions='1'><PathName/></" + target + ">")}});
    }
}

TEST_F(PolicySchemaRules, ReorgPolicy) {
    expectSequence({"<ReorgOptions/>", "<ReorgTableScope><FilterClause/></ReorgTableScope>"},
                   [](const std::string& content) { return config::root("KELAutoReorgPolicy", content); });
    const auto scoped = [](const std::string& content) {
        return config::root("KELAutoReorgPolicy", "<ReorgOptions/><ReorgTableScope>" + content + "</ReorgTableScope>");
    };
    expectInvalid({{"no filter", scoped("")},
                   {"two filters", scoped("<FilterClause/><FilterClause/>")},
                   {"the filter of another policy", scoped("<FilterCondition/>")},
                   {"content in the options", config::root("KELAutoReorgPolicy",
                                                           "<ReorgOptions>x</ReorgOptions>"
                                                           "<ReorgTableScope><FilterClause/>"
                                                           "</ReorgTableScope>")},
                   {"an element in the filter", reorg("", "", "a<b/>c")},
                   {"an attribute of the filter", scoped("<FilterClause a='1'/>")}});
    struct Attribute {
        std::string name;
        std::vector<std::string> good;
        std::vector<std::string> bad;
    };
    const std::vector<std::string> positive = {"1", "+1", "0001", "18446744073709551616"};
    const std::vector<std::string> notPositive = {"0", "-1", "", "x", "1.0"};
    for (const Attribute& attribute :
         std::vector<Attribute>{{"useSystemTempTableSpace", {"true", "false"}, {"1", "0", "TRUE", "yes", "", " true"}},
                                {"dictionaryOption", {"Keep", "Rebuild"}, {"keep", "", "Drop"}},
                                {"indexReorgMode", {"Online", "Offline"}, {"online", "", "read"}},
                                {"reclaimExtentsSizeForMDCTables", positive, notPositive},
                                {"numInxPseudoEmptyPagesForVolatileTables", positive, notPositive}}) {
        for (const std::string& value : attribute.good)
            expectSound({{attribute.name + "=" + value, reorg(attribute.name + "='" + value + "'", "", "")}});
        for (const std::string& value : attribute.bad)
            expectInvalid({{attribute.name + "=" + value, reorg(attribute.name + "='" + value + "'", "", "")}});
        expectInvalid(
            {{attribute.name + " in the scope", reorg("", attribute.name + "='" + attribute.good[0] + "'", "")}});
    }
    for (const std::string value : {"0", "1", "52428800", "00"})
        expectSound({{value, reorg("", "maxOfflineReorgTableSize='" + value + "'", "")}});
    for (const std::string value : {"-1", "", "x", "1.5"})
        expectInvalid({{value, reorg("", "maxOfflineReorgTableSize='" + value + "'", "")}});
}

TEST_F(PolicySchemaRules, RunstatsPolicy) {
    const auto with = [](const std::string& content) { return config::root("KELAutoRunstatsPolicy", content); };
    expectSound({{"a filter", runstats("f")}, {"an empty filter", runstats("")}});
    expectInvalid(
        {{"no scope", with("")},
         {"two scopes", with("<RunstatsTableScope><FilterCondition/></RunstatsTableScope>"
                             "<RunstatsTableScope><FilterCondition/></RunstatsTableScope>")},
         {"no filter", with("<RunstatsTableScope/>")},
         {"two filters", with("<RunstatsTableScope><FilterCondition/><FilterCondition/></RunstatsTableScope>")},
         {"the filter of another policy", with("<RunstatsTableScope><FilterClause/></RunstatsTableScope>")},
         {"an element in the filter", runstats("a<b/>c")},
         {"an attribute", with("<RunstatsTableScope a='1'><FilterCondition/></RunstatsTableScope>")}});
}

TEST_F(PolicySchemaRules, EachKindTakesItsOwnDocumentsOnly) {
    for (const config::Type& type : config::types)
        for (const config::Type& other : config::types) {
            SCOPED_TRACE(std::string(type.name) + " given " + other.name);
            const Verdict verdict = validate(type.name, config::soundDocument(other.name));
            EXPECT_EQ(verdict.sqlcode, &type == &other ? 0 : -1437);
        }
}

TEST_F(PolicySchemaRules, ElementsBelongToTheConfigurationNamespace) {
    const std::string sound = runstats("f");
    const std::string declaration = " xmlns=\"" SQLPI_CONFIG_NAMESPACE "\"";
    const auto replaced = [&](const std::string& with) {
        std::string document = sound;
        return document.replace(document.find(declaration), declaration.size(), with);
    };
    expectInvalid({{"no namespace", replaced("")},
                   {"another", replaced(" xmlns=\"urn:other\"")},
                   {"another case", replaced(" xmlns=\"HTTP" + declaration.substr(12))},
                   {"a child without", runstats("f</FilterCondition><FilterCondition xmlns=''>")}});
    const std::string prefixed =
        "<k:KELAutoRunstatsPolicy xmlns:k=\"" SQLPI_CONFIG_NAMESPACE
        "\"><k:RunstatsTableScope><k:FilterCondition>f</k:FilterCondition></k:RunstatsTableScope>"
        "</k:KELAutoRunstatsPolicy>";
    expectSound({{"any prefix", prefixed}});
}

}  // namespace
