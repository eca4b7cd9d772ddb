/* What a configuration document declares of itself, before its root: no declaration takes the schema's place, and none
 * is taken for a lack of memory. */
#include "unit/validateSupport.h"

namespace {

using namespace validated;
using services::LogRecord;

class PolicyDeclarations : public services::DocumentTest {
protected:
    void expectMistake(const char* type, const std::string& document, const std::string& message, uint32_t line,
                       uint32_t column) {
        SCOPED_TRACE(document);
        const Verdict verdict = validate(type, document);
        EXPECT_EQ(verdict.mistake.message, message);
        EXPECT_EQ(verdict.mistake.line, line);
        EXPECT_EQ(verdict.mistake.column, column);
        expectRefused(verdict, -1437, {std::to_string(line), std::to_string(column), message.substr(0, 50)});
    }
    void expectUnparsed(const std::string& document, const std::string& words) {
        SCOPED_TRACE(testing::PrintToString(document));
        clearLogs();
        const Verdict verdict = validate("AUTO_RUNSTATS", document);
        expectRefused(verdict, -1447, {"4"});
        EXPECT_NE(std::string(verdict.mistake.message).find(words), std::string::npos) << verdict.mistake.message;
        EXPECT_GT(verdict.mistake.line, 0U);
        EXPECT_EQ(takeDiagnosticLog(), std::vector<LogRecord>({{PD_ERROR, "Parse first element is failed. "}}));
    }
    static bool isSound(const std::string& document) { return validate(typeOf(document), document).status == 0; }
};

const std::string body = runstats("f").substr(runstats("f").find("<KEL"));

/* Elements that a document declares would be judged by what it says about them: of those in no namespace anything would
 * be let pass. */
TEST_F(PolicyDeclarations, ElementsOfItsOwnAreRefused) {
    const std::string message = "The document declares elements of its own, which no policy has.";
    const std::string anyRoot = "<!DOCTYPE x [<!ELEMENT x ANY>]>";
    for (const config::Type& type : config::types) expectMistake(type.name, anyRoot + "<x/>", message, 1, 30);
    const std::string window =
        "<OnlineWindow duration='99'><DaysOfWeek>All</DaysOfWeek><DaysOfMonth>99</DaysOfMonth><MonthsOfYear/>"
        "</OnlineWindow>";
    expectMistake(
        "MAINTENANCE_WINDOW",
        "<!DOCTYPE KELMaintenanceWindows [\n<!ELEMENT KELMaintenanceWindows ANY>"
        "<!ELEMENT OnlineWindow ANY><!ELEMENT DaysOfWeek ANY><!ELEMENT DaysOfMonth ANY><!ELEMENT MonthsOfYear "
        "EMPTY>]><KELMaintenanceWindows>" +
            window + "</KELMaintenanceWindows>",
        message, 2, 37);
    expectMistake("AUTO_RUNSTATS",
                  "<!DOCTYPE KELAutoRunstatsPolicy [<!ELEMENT KELAutoRunstatsPolicy (RunstatsTableScope)>"
                  "<!ELEMENT RunstatsTableScope (FilterCondition)><!ELEMENT FilterCondition (#PCDATA)>]>"
                  "<KELAutoRunstatsPolicy><RunstatsTableScope><FilterCondition>f</FilterCondition>"
                  "</RunstatsTableScope></KELAutoRunstatsPolicy>",
                  message, 1, 87);
    // The same for a document that would be sound without.
    expectMistake("AUTO_RUNSTATS", "<!DOCTYPE KELAutoRunstatsPolicy [<!ELEMENT KELAutoRunstatsPolicy ANY>]>" + body,
                  message, 1, 70);
}

TEST_F(PolicyDeclarations, ARootWithoutNamespaceIsNoPolicyWhateverTheDocumentType) {
    std::string bare = body;
    const std::string declaration = " xmlns=\"" SQLPI_CONFIG_NAMESPACE "\"";
    bare.erase(bare.find(declaration), declaration.size());
    for (const std::string& type : {std::string(), std::string("<!DOCTYPE KELAutoRunstatsPolicy>"),
                                    std::string("<!DOCTYPE KELAutoRunstatsPolicy []>"),
                                    std::string("<!DOCTYPE KELAutoRunstatsPolicy [<!ENTITY e 'f'>]>")}) {
        SCOPED_TRACE(type);
        const Verdict verdict = validate("AUTO_RUNSTATS", type + bare);
        EXPECT_EQ(verdict.sqlcode, -1437);
        EXPECT_STREQ(verdict.mistake.message, "no declaration found for element 'KELAutoRunstatsPolicy'");
    }
    EXPECT_TRUE(isSound("<!DOCTYPE KELAutoRunstatsPolicy []>" + body));
    EXPECT_TRUE(isSound("<!DOCTYPE KELAutoRunstatsPolicy [<!NOTATION n SYSTEM 'n'><!-- c --><?p i?>]>" + body));
}

/* Later versions allow characters that the stored document, which is 1.0, cannot hold. */
TEST_F(PolicyDeclarations, TheVersionIsTheFirst) {
    const auto versioned = [](const std::string& version, const std::string& document = body) {
        return "<?xml version=\"" + version + "\"?>" + document;
    };
    EXPECT_TRUE(isSound(versioned("1.0")));
    const std::string message = "The document is not of XML version 1.0.";
    for (const std::string version : {"1.1", "1.2", "1.", "1.0.0", "1.00"})
        expectMistake("AUTO_RUNSTATS", versioned(version), message, 1, static_cast<uint32_t>(19 + version.size()));
    const std::string control = runstats("&#1;").substr(runstats("").find("<KEL"));
    expectMistake("AUTO_RUNSTATS", versioned("1.1", control), message, 1, 22);
    for (const char* version : {"2.0", "0.9", "1", "", "x", "01.0"})
        expectUnparsed(versioned(version), "unsupported XML version");
}

TEST_F(PolicyDeclarations, WhatCannotBeDecodedCannotBeParsed) {
    for (const std::string& declaration :
         {std::string("<?xml version=\"1.0\" encoding=\"UTF-\xFF\"?>"), std::string("<?xml version=\"1.0\xC3\xA9\"?>"),
          "<?xml version=\"1.0\" encoding=\"" + std::string(100000, 'a') + "\"?>"})
        expectUnparsed(declaration + body, "unable to decode first line");
    for (const char* encoding : {"X-UTF-8", "UTF-8X", "NO-SUCH"})
        expectUnparsed("<?xml version=\"1.0\" encoding=\"" + std::string(encoding) + "\"?>" + body, encoding);
    expectUnparsed("<?xml version=\"1.0\" standalone=\"maybe\"?>" + body, "standalone");
    EXPECT_TRUE(isSound("<?xml version='1.0' encoding='UTF-8' standalone='yes'?>" + body));
}

/* A document without a root never gets as far as to be read. */
TEST_F(PolicyDeclarations, ADocumentWithoutARootCannotBeParsed) {
    for (const char* document : {"", " ", "<?xml version='1.0'?>", "<!-- no -->", "<?no root?>\n", "<!DOCTYPE x>",
                                 "<!DOCTYPE x []>\n<?no root?><!-- -->", "\xEF\xBB\xBF"})
        expectUnparsed(document, "invalid document structure");
}

}  // namespace
