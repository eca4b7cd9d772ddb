/* The parser: what becomes of documents, sound ones and others. */
#include <pthread.h>

#include <clocale>
#include <filesystem>
#include <fstream>
#include <thread>
#include <xercesc/sax/SAXParseException.hpp>

#include "attributes.h"
#include "balance.h"
#include "hostLogs.h"
#include "logs.h"
#include "sqlpiPolicyParserHooks.h"
#include "sqlpiXmlPlatform.h"
#include "trees.h"

namespace {

using kelhost::LogKind;

class PolicyParser : public BalancedTest {
protected:
    PolicyParser() { sqlpiHoldXmlPlatform(); }  // messages are transcoded also where nothing was parsed yet

    /* Parses what must not parse; returns the diagnostic records. */
    std::vector<kelhost::LogRecord> refused(const std::string& document) {
        logs.clear();
        int32_t status = 0;
        const Tree tree = parseTree(document, &status);
        EXPECT_EQ(status, 3) << document.substr(0, 200);
        EXPECT_EQ(tree, nullptr);
        return logs.records(LogKind::diagnostic);
    }
    sqlpiParseProblem problemOf(const std::string& document) {
        SQLPIPolicyElement* root = nullptr;
        sqlpiParseProblem problem;
        sqlpiParsePolicyDocument(nullptr, static_cast<int32_t>(document.size()), document.data(), &root, &problem);
        EXPECT_EQ(root, nullptr);
        return problem;
    }

    kelhost::LogCapture logs;
};

std::string inDocument(const std::string& inside) {
    return "<PolicyDocument>" + inside + "</PolicyDocument>";
}

std::string repeated(const std::string& text, size_t times) {
    std::string result;
    result.reserve(text.size() * times);
    for (size_t i = 0; i < times; ++i) result += text;
    return result;
}

std::string textOf(const std::string& document) {
    const Tree tree = parseTree(document);
    return tree == nullptr ? "no tree" : tree->text == nullptr ? "no text" : tree->text;
}

/* --- documents that are none -------------------------------------------------------------------------------------- */

TEST_F(PolicyParser, AnEmptyDocumentIsNoErrorAndNoTree) {
    char document[] = "<PolicyDocument/>";
    SQLPIPolicyElement untouched;
    SQLPIPolicyElement* root = &untouched;
    EXPECT_EQ(sqlpi_policy_parse(nullptr, 0, document, &root), 0);
    EXPECT_EQ(root, nullptr);
    root = &untouched;
    EXPECT_EQ(sqlpi_policy_parse(nullptr, 10, nullptr, &root), 0);
    EXPECT_EQ(root, nullptr);
    EXPECT_TRUE(logs.records().empty());
}

TEST_F(PolicyParser, ANegativeLengthIsRefused) {
    char document[] = "<PolicyDocument/>";
    SQLPIPolicyElement* root = nullptr;
    EXPECT_EQ(sqlpi_policy_parse(nullptr, -1, document, &root), 3);
    EXPECT_EQ(sqlpi_policy_parse(nullptr, INT32_MIN, document, &root), 3);
    EXPECT_EQ(root, nullptr);
}

TEST_F(PolicyParser, AFailureReleasesAndClearsWhatTheResultPointsTo) {
    char document[] = "<PolicyDocument>";
    SQLPIPolicyElement* root = parseTree("<PolicyDocument><Scope/></PolicyDocument>").release();
    EXPECT_EQ(sqlpi_policy_parse(nullptr, sizeof document - 1, document, &root), 3);
    EXPECT_EQ(root, nullptr);
}

TEST_F(PolicyParser, OnlyTheBytesGivenAreRead) {
    std::string document = "<PolicyDocument/><garbage";
    SQLPIPolicyElement* root = nullptr;
    EXPECT_EQ(sqlpi_policy_parse(nullptr, 17, document.data(), &root), 0);
    delete root;
    EXPECT_EQ(document, "<PolicyDocument/><garbage");
}

TEST_F(PolicyParser, AnUnclosedTagIsReportedOnce) {
    const auto records = refused("<PolicyDocument><PolicySection></PolicyDocument>");
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text, "XMLRD Panic: expected end of tag 'PolicySection'");
    EXPECT_EQ(records[0].importance, PD_ERROR);
}

TEST_F(PolicyParser, WhatIsNotWellFormedIsRefused) {
    for (const char* document :
         {"<PolicyDocument>", "<PolicyDocument", "PolicyDocument", "<", "</PolicyDocument>", " ", "\n",
          "<PolicyDocument><a><b></a></b></PolicyDocument>", "<PolicyDocument/><PolicyDocument/>", "<PolicyDocument a='1' a='2'/>",
          "<PolicyDocument a=1/>", "<PolicyDocument>&unknown;</PolicyDocument>",
          "<PolicyDocument>&#0;</PolicyDocument>", "<PolicyDocument>\xFF\xFE</PolicyDocument>",
          "<PolicyDocument>\xED\xA0\x80</PolicyDocument>", "<PolicyDocument>\xC3</PolicyDocument>",
          "<PolicyDocument>]]></PolicyDocument>", "<?xml version='1.0' encoding='nonesuch'?><PolicyDocument/>",
          "<!-- <PolicyDocument/>"}) {
        SCOPED_TRACE(document);
        EXPECT_FALSE(refused(document).empty());
        EXPECT_EQ(logs.texts(LogKind::diagnostic)[0].substr(0, 13), "XMLRD Panic: ");
    }
    refused(std::string("<PolicyDocument>\0</PolicyDocument>", 34));
    refused(std::string(100, '\0'));
}

TEST_F(PolicyParser, EveryPrefixOfADocumentIsRefused) {
    const std::string document =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<PolicyDocument a='b'><!-- c "
        "--><Scope>t&amp;</Scope></PolicyDocument>";
    for (size_t length = 1; length < document.size(); ++length) refused(document.substr(0, length));
    EXPECT_NE(parseTree(document), nullptr);
}

TEST_F(PolicyParser, AnotherDocumentElementEndsTheParse) {
    for (const char* document :
         {"<policyDocument/>", "<AC_Policy><PolicyDocument/></AC_Policy>", "<kel:KELPolicyDocument/>",
          "<kel:KELPolicyDocument><PolicyDocument/></kel:KELPolicyDocument>", "<a mode='online'/>"}) {
        SCOPED_TRACE(document);
        EXPECT_TRUE(refused(document).empty()) << "an exception out of the parse is not logged";
        EXPECT_STREQ(problemOf(document).message, "The document element is not \"PolicyDocument\".");
    }
}

TEST_F(PolicyParser, AWarningIsLoggedAndTheDocumentParses) {
    int32_t status = -1;
    const Tree tree = parseTree("<?xml version='1.0' encoding='UTF-16'?><PolicyDocument/>", &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(tree, nullptr);
    const auto records = logs.records(LogKind::diagnostic);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].text.substr(0, 15), "XMLRD Warning: ");
    EXPECT_EQ(records[0].importance, PD_WARNING);
}

TEST_F(PolicyParser, ProblemsNameTheirPlace) {
    sqlpiParseProblem problem = problemOf("<PolicyDocument>\n  <Scope>\n </PolicyDocument>");
    EXPECT_EQ(problem.line, 3U);
    EXPECT_GT(problem.column, 1U);
    EXPECT_STREQ(problem.message, "expected end of tag 'Scope'");
    problem = problemOf("\n\n  <Other/>");
    EXPECT_EQ(problem.line, 3U);
    EXPECT_GT(problem.column, 2U);
}

/* --- trees -------------------------------------------------------------------------------------------------------- */

TEST_F(PolicyParser, TheTreeHasTheShapeOfTheDocument) {
    EXPECT_EQ(outline(parseTree("<PolicyDocument><PolicySection><AC_Policy/><other><Scope/></other></PolicySection>"
                                "<Metadata/></PolicyDocument>")
                          .get()),
              "1(6(15 0(16)) 2)");
}

TEST_F(PolicyParser, ParentsAndListsAreLinked) {
    const Tree tree = parseTree("<PolicyDocument><And><Scope/></And><Or/></PolicyDocument>");
    EXPECT_EQ(tree->parent, nullptr);
    SQLPIListElement* node = tree->children->getFirstElement();
    auto* first = static_cast<SQLPIPolicyElement*>(node->data);
    EXPECT_EQ(node->getLength(), 8U);
    EXPECT_EQ(first->parent, tree.get());
    EXPECT_EQ(static_cast<SQLPIPolicyElement*>(first->children->getFirstElement()->data)->parent, first);
    EXPECT_EQ(static_cast<SQLPIPolicyElement*>(node->getNext()->data)->parent, tree.get());
}

TEST_F(PolicyParser, ASensorIsTypedByItsNameAndHoldsItsText) {
    const Tree tree =
        parseTree(inDocument("<Equals>\n  <kel:TableReorgSensors>ReorgChk_Flag</kel:TableReorgSensors>\n  "
                             "<Constant>true</Constant>\n</Equals>"));
    SQLPIPolicyElement* sensor = tree->findElement(tree.get(), SQLPI_ELEMENT_TABLE_REORG_SENSORS);
    ASSERT_NE(sensor, nullptr);
    EXPECT_EQ(sensor->elementType, 71U);
    EXPECT_STREQ(sensor->text, "ReorgChk_Flag");
    EXPECT_EQ(sensor->parent->elementType, 24U);
    EXPECT_STREQ(sensor->parent->text, "\n  \n  \n");
}

TEST_F(PolicyParser, NamesAreMatchedAsWritten) {
    EXPECT_EQ(
        outline(
            parseTree("<PolicyDocument xmlns:kel='urn:a' xmlns:k='urn:a'><k:Sensors/><kel:Sensors/></PolicyDocument>")
                .get()),
        "1(0 61)");
}

TEST_F(PolicyParser, TextIsAllThatStandsDirectlyInside) {
    EXPECT_EQ(outline(parseTree("<PolicyDocument> a<Scope>b<And>c</And>d</Scope>e<Or/>f </PolicyDocument>").get()),
              "1' aef '(16'bd'(19'c') 20)");
    EXPECT_EQ(textOf("<PolicyDocument/>"), "no text");
    EXPECT_EQ(textOf("<PolicyDocument></PolicyDocument>"), "no text");
    EXPECT_EQ(textOf("<PolicyDocument>a<!-- b -->c<?d e?>f<![CDATA[<g>]]>&lt;&#104;&#x69;</PolicyDocument>"),
              "acf<g><hi");
    EXPECT_EQ(textOf("<PolicyDocument>a\r\nb\rc</PolicyDocument>"), "a\nb\nc");
}

TEST_F(PolicyParser, TextOfAnyLengthArrivesWhole) {
    for (const size_t length : {1000U, 4095U, 4096U, 4097U, 16383U, 16384U, 16385U, 100000U, 2000000U}) {
        std::string text(length, 'x');
        for (size_t i = 0; i < length; i += 97) text[i] = static_cast<char>('a' + i % 26);
        EXPECT_EQ(textOf(inDocument(text)), text) << length;
    }
}

TEST_F(PolicyParser, TextOutsideAsciiArrivesAsUtf8WhereverItIsCut) {
    for (const char* character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"})
        for (const size_t lead : {0U, 1U, 2U, 3U}) {
            const std::string text = std::string(lead, '.') + repeated(character, 40000) + "end";
            EXPECT_EQ(textOf(inDocument(text)), text) << character << " behind " << lead;
        }
    EXPECT_EQ(textOf("<?xml version='1.0' encoding='ISO-8859-1'?><PolicyDocument>\xE4</PolicyDocument>"), "\xC3\xA4");
    EXPECT_EQ(textOf("<PolicyDocument>&#x1F600;&#228;</PolicyDocument>"), "\xF0\x9F\x98\x80\xC3\xA4");
}

TEST_F(PolicyParser, AByteOrderMarkIsNotText) {
    EXPECT_EQ(textOf("\xEF\xBB\xBF<PolicyDocument>a</PolicyDocument>"), "a");
}

TEST_F(PolicyParser, ANestedDocumentIsHandedBackAndFreesTheOneAroundIt) {
    Tree tree = parseTree(
        "<PolicyDocument>outer<And><PolicyDocument>inner<Scope/></PolicyDocument><Or/></And></PolicyDocument>");
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(outline(tree.get()), "1'inner'(16)");
    ASSERT_NE(tree->parent, nullptr);
    EXPECT_EQ(tree->parent->elementType, SQLPI_ELEMENT_AND);
    EXPECT_STREQ(tree->parent->parent->text, "outer");
    EXPECT_NE(dynamic_cast<SQLPIPolicyDocument*>(tree.get()), nullptr);
    EXPECT_NE(tree->findNextElement(tree.get(), SQLPI_ELEMENT_OR), nullptr) << "its ancestors are searched on";
    tree->parent = nullptr;  // as the maintenance window walk does; the whole must still be freed
}

TEST_F(PolicyParser, OfSeveralNestedDocumentsTheLastBegunIsHandedBack) {
    EXPECT_EQ(textOf("<PolicyDocument>1<PolicyDocument>2<PolicyDocument>3</PolicyDocument></PolicyDocument>"
                     "<PolicyDocument>4</PolicyDocument></PolicyDocument>"),
              "4");
    EXPECT_EQ(
        textOf(
            "<PolicyDocument>1<PolicyDocument>2<PolicyDocument>3</PolicyDocument></PolicyDocument></PolicyDocument>"),
        "3");
    refused("<PolicyDocument>1<PolicyDocument>2</PolicyDocument>");
}

TEST_F(PolicyParser, TheLocaleDoesNotMatter) {
    const std::string before = setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "C.UTF-8", "POSIX"}) {
        ASSERT_NE(setlocale(LC_ALL, locale), nullptr) << locale;
        const Tree tree =
            parseTree(inDocument("<kel:StatsProfiling profileGeneration='\xC3\xA4'>\xC3\xB6</kel:StatsProfiling>"));
        auto* element = static_cast<SQLPIPolicyElement*>(tree->children->getFirstElement()->data);
        EXPECT_STREQ(dynamic_cast<SQLPIStatsProfType*>(element)->profileGeneration, "\xC3\xA4") << locale;
        EXPECT_STREQ(element->text, "\xC3\xB6") << locale;
    }
    setlocale(LC_ALL, before.c_str());
}

/* --- documents that mean harm ------------------------------------------------------------------------------------- */

TEST_F(PolicyParser, AHarmlessInternalSubsetParses) {
    EXPECT_EQ(textOf("<!DOCTYPE PolicyDocument [<!ENTITY a 'text'><!ELEMENT PolicyDocument ANY>"
                     "<!ATTLIST PolicyDocument mode CDATA 'online'>]><PolicyDocument>&a; and &a;</PolicyDocument>"),
              "text and text");
    EXPECT_EQ(outline(parseTree("<!DOCTYPE PolicyDocument [<!ENTITY a '<Scope>in</Scope>'>]>"
                                "<PolicyDocument>&a;</PolicyDocument>")
                          .get()),
              "1(16'in')");
}

TEST_F(PolicyParser, NothingOutsideTheDocumentIsRead) {
    const auto file = std::filesystem::temp_directory_path() / ("kelpolicy-external-" + std::to_string(getpid()));
    std::ofstream(file) << "<!ENTITY leak 'leaked'>";
    const std::string uri = file.string();
    for (const std::string& subset :
         {"[<!ENTITY a SYSTEM '" + uri + "'>]", "SYSTEM '" + uri + "'", "PUBLIC '-//x' '" + uri + "'",
          "[<!ENTITY % a SYSTEM '" + uri + "'> %a;]", "SYSTEM 'file://" + uri + "'",
          "[<!ENTITY a SYSTEM 'file://" + uri + "'>]", std::string("SYSTEM 'http://127.0.0.1:9/x.dtd'"),
          std::string("[<!ENTITY a SYSTEM 'http://127.0.0.1:9/x'>]"),
          "[<!NOTATION n SYSTEM 'n'><!ENTITY a SYSTEM '" + uri + "' NDATA n>]"}) {
        SCOPED_TRACE(subset);
        refused("<!DOCTYPE PolicyDocument " + subset + "><PolicyDocument>&a;</PolicyDocument>");
        refused("<!DOCTYPE PolicyDocument " + subset + "><PolicyDocument/>");
        refused("<!DOCTYPE PolicyDocument " + subset + "><PolicyDocument>&leak;</PolicyDocument>");
    }
    std::filesystem::remove(file);
}

TEST_F(PolicyParser, EntitiesExpandWithinBounds) {
    std::string laughs = "<!DOCTYPE PolicyDocument [<!ENTITY a0 'lol'>";
    for (int i = 1; i < 20; ++i)
        laughs += "<!ENTITY a" + std::to_string(i) + " '" + repeated("&a" + std::to_string(i - 1) + ";", 10) + "'>";
    refused(laughs + "]><PolicyDocument>&a19;</PolicyDocument>");
    refused(laughs + "]><PolicyDocument mode='&a19;'/>");

    const std::string one = "<!DOCTYPE PolicyDocument [<!ENTITY b '" + std::string(1500000, 'b') + "'>]>";
    refused(one + "<PolicyDocument>" + repeated("&b;", 100000) + "</PolicyDocument>");
    refused(one + "<PolicyDocument mode='" + repeated("&b;", 60) + "'/>");
    refused("<!DOCTYPE PolicyDocument [<!ENTITY b '" + repeated("<x/>", 200000) + "'>]><PolicyDocument>" +
            repeated("&b;", 60) + "</PolicyDocument>");

    std::string defaults;
    for (int i = 0; i < 3000; ++i) defaults += " d" + std::to_string(i) + " CDATA ''";
    refused("<!DOCTYPE PolicyDocument [<!ATTLIST x" + defaults + ">]>" + inDocument(repeated("<x/>", 100000)));

    const std::string many = repeated("&c;", 64);
    EXPECT_EQ(textOf("<!DOCTYPE PolicyDocument [<!ENTITY c 'c'>]>" + inDocument(many)), std::string(64, 'c'));
    refused("<!DOCTYPE PolicyDocument [<!ENTITY c 'c'>]>" + inDocument(many + "&c;"));
    EXPECT_EQ(textOf(inDocument(repeated("&amp;&#65;", 100000))), repeated("&A", 100000))
        << "characters are no entities";
}

/* Runs on a thread whose stack is as small as an engine's agents may have. */
template <class Work>
void onSmallStack(Work work) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 64 * 1024), 0);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<Work*>(argument))();
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &work), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

TEST_F(PolicyParser, AMillionLevelsNeedNoStack) {
    constexpr size_t levels = 1000000;
    const std::string document =
        inDocument(repeated("<And>", levels) + "<Scope>deep</Scope>" + repeated("</And>", levels));
    std::string found;
    parseTree("<PolicyDocument/>");  // the XML library sets itself up on the main thread's stack
    onSmallStack([&] {
        const Tree tree = parseTree(document);
        if (tree == nullptr) return;
        tree->resetAll();
        SQLPIPolicyElement* scope = tree->findElement(tree.get(), SQLPI_ELEMENT_SCOPE);
        if (scope == nullptr || tree->findNextElement(scope, SQLPI_ELEMENT_SCOPE) != nullptr) return;
        found = scope->text;
        tree->resetAll();
    });
    EXPECT_EQ(found, "deep");
    refused("<PolicyDocument>" + repeated("<And>", levels));
}

TEST_F(PolicyParser, LargeDocumentsOfEveryShapeParse) {
    EXPECT_NE(parseTree(inDocument(repeated(" t <And/>\n", 200000))), nullptr);
    std::string names, attributes;
    for (int i = 0; i < 150000; ++i) names += "<e" + std::to_string(i) + "/>";
    for (int i = 0; i < 100000; ++i) attributes += " a" + std::to_string(i) + "=''";
    EXPECT_NE(parseTree(inDocument(names)), nullptr);
    EXPECT_NE(parseTree("<PolicyDocument" + attributes + "/>"), nullptr);
    const std::string longName(1000000, 'n');
    EXPECT_NE(parseTree(inDocument("<" + longName + "/>")), nullptr);
    EXPECT_NE(parseTree("<PolicyDocument " + longName + "='" + longName + "'/>"), nullptr);
    EXPECT_NE(parseTree(inDocument("<!--" + longName + "--><![CDATA[" + longName + "]]><?p " + longName + "?>")),
              nullptr);
}

/* --- threads ------------------------------------------------------------------------------------------------------ */

TEST_F(PolicyParser, AnyNumberOfThreadsParseAtOnce) {
    std::vector<std::thread> threads;
    std::atomic<int> good = 0;
    for (int t = 0; t < 8; ++t)
        threads.emplace_back([&good, t] {
            for (int i = 0; i < 100; ++i) {
                const std::string text = std::to_string(t * 1000 + i);
                good += textOf(inDocument(text + "\xC3\xA4")) == text + "\xC3\xA4";
                int32_t status = 0;
                parseTree("<PolicyDocument><a>" + text, &status);
                good += status == 3;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(good, 1600);
}

/* --- companions --------------------------------------------------------------------------------------------------- */

TEST_F(PolicyParser, ThePanicHandlerLogsAndRethrows) {
    sqlpi_panic_handler handler;
    const auto panicInFlight = [&] {
        try {
            throw std::runtime_error("in flight");
        } catch (...) {
            handler.panic(xercesc::PanicHandler::Panic_NoTransService);
        }
    };
    EXPECT_THROW(panicInFlight(), std::runtime_error);
    EXPECT_EQ(
        logs.texts(LogKind::diagnostic),
        std::vector<std::string>{std::string("XMLRD Panic: ") + xercesc::PanicHandler::getPanicReasonString(
                                                                    xercesc::PanicHandler::Panic_NoTransService)});
}

TEST_F(PolicyParser, TheEntityResolverHasNothingToGive) {
    sqlpi_entity_resolver resolver;
    EXPECT_FALSE(resolver.wasAsked);
    EXPECT_EQ(resolver.resolveEntity(u"p", u"s"), nullptr);
    EXPECT_TRUE(resolver.wasAsked);
}

TEST_F(PolicyParser, TheErrorHandlerForgetsOnReset) {
    sqlpi_error_handler handler;
    const xercesc::SAXParseException exception(u"m\u00E4ssage", u"", u"", 4, 7);
    handler.warning(exception);
    EXPECT_EQ(handler.errorFlag, 0U);
    handler.error(exception);
    EXPECT_EQ(handler.errorFlag, 1U);
    EXPECT_EQ(handler.problem.line, 4U);
    EXPECT_EQ(handler.problem.column, 7U);
    handler.resetErrors();
    EXPECT_EQ(handler.errorFlag, 0U);
    handler.fatalError(exception);
    EXPECT_EQ(handler.errorFlag, 1U);
    EXPECT_EQ(logs.texts(LogKind::diagnostic),
              (std::vector<std::string>{"XMLRD Warning: m\xC3\xA4ssage", "XMLRD Panic: m\xC3\xA4ssage",
                                        "XMLRD Panic: m\xC3\xA4ssage"}));
}

TEST_F(PolicyParser, TheHandlerKeepsTrackOfTags) {
    sqlpi_sax_handler handler(1000, 0);
    handler.startDocument();
    Attributes attributes({});
    handler.startElement(u"PolicyDocument", attributes);
    EXPECT_EQ(handler.attributes, &attributes);
    handler.startElement(u"And", attributes);
    EXPECT_EQ(handler.currentType, SQLPI_ELEMENT_AND);
    EXPECT_EQ(handler.previousType, SQLPI_ELEMENT_POLICY_DOCUMENT);
    EXPECT_EQ(handler.lastAction, 0);
    EXPECT_EQ(handler.current->parent, handler.parentOfCurrent);
    handler.characters(nullptr, 5);
    handler.characters(u"", 0);
    handler.endElement(u"And");
    EXPECT_EQ(handler.lastAction, 1);
    EXPECT_EQ(handler.previousAction, 0);
    EXPECT_EQ(handler.current, handler.root);
    handler.endElement(u"PolicyDocument");
    EXPECT_EQ(handler.previousAction, 1);
    EXPECT_EQ(handler.current, nullptr);
    handler.endElement(u"Stray");
    handler.characters(u"nowhere", 7);
    handler.startElement(u"Or", attributes);
    EXPECT_EQ(handler.current, nullptr) << "an element with nothing around it is dropped";
    const Tree tree(handler.takeRoot());
    EXPECT_EQ(outline(tree.get()), "1(19)");
}

}  // namespace
