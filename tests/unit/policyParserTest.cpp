/* The parser: what becomes of documents, sound ones and others. */
#include <clocale>
#include <thread>

#include "logs.h"
#include "parserSupport.h"

namespace {

class PolicyParser : public ParserTest {};

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
    sqlpiParseProblem problem;
    EXPECT_EQ(sqlpiParsePolicyDocument(nullptr, -1, document, &root, &problem), 3);
    EXPECT_STREQ(problem.message, "The document's length is negative.");
    EXPECT_TRUE(logs.records().empty());
}

TEST_F(PolicyParser, WithNowhereToPutTheRootEveryDocumentIsRefused) {
    char document[] = "<PolicyDocument/>";
    EXPECT_EQ(sqlpi_policy_parse(nullptr, sizeof document - 1, document, nullptr), 3);
    EXPECT_EQ(sqlpi_policy_parse(nullptr, 5, document, nullptr), 3);
    EXPECT_EQ(sqlpi_policy_parse(nullptr, 0, document, nullptr), 3);
    EXPECT_EQ(sqlpi_policy_parse(nullptr, -1, document, nullptr), 3);
    EXPECT_EQ(sqlpi_policy_parse(nullptr, 10, nullptr, nullptr), 3);
    EXPECT_TRUE(logs.records().empty());
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
          "<PolicyDocument><a><b></a></b></PolicyDocument>", "<PolicyDocument/><PolicyDocument/>",
          "<PolicyDocument a='1' a='2'/>", "<PolicyDocument a=1/>", "<PolicyDocument>&unknown;</PolicyDocument>",
          "<PolicyDocument>&#0;</PolicyDocument>", "<PolicyDocument>\xFF\xFE</PolicyDocument>",
          "<PolicyDocument>\xED\xA0\x80</PolicyDocument>", "<PolicyDocument>\xC3</PolicyDocument>",
          "<PolicyDocument>]]></PolicyDocument>", "<?xml version='1.0' encoding='nonesuch'?><PolicyDocument/>",
          "<!-- <PolicyDocument/>"}) {
        SCOPED_TRACE(document);
        EXPECT_FALSE(refused(document).empty());
        EXPECT_EQ(logs.texts(kelhost::LogKind::diagnostic)[0].substr(0, 13), "XMLRD Panic: ");
    }
    refused(std::string("<PolicyDocument>\0</PolicyDocument>", 34));
    refused(std::string(100, '\0'));
}

/* UTF-16 text, low byte first, with its mark. */
std::string utf16(std::u16string_view text) {
    std::string bytes = "\xFF\xFE";
    for (const char16_t unit : text) {
        bytes += static_cast<char>(unit & 0xFFU);
        bytes += static_cast<char>(unit >> 8U);
    }
    return bytes;
}

TEST_F(PolicyParser, HalfOfASurrogatePairIsRefusedWhereverItStands) {
    EXPECT_EQ(textOf(utf16(u"<PolicyDocument>\U0001F600</PolicyDocument>")), "\xF0\x9F\x98\x80");
    for (const char16_t half : {u'\xD83D', u'\xDE00'})
        for (const std::u16string_view before :
             {u"<PolicyDocument>", u"<PolicyDocument><a", u"<PolicyDocument a", u"<PolicyDocument a='",
              u"<PolicyDocument>&", u"<PolicyDocument><?", u"<PolicyDocument><?p ", u"<PolicyDocument><!--",
              u"<PolicyDocument><![CDATA["}) {
            SCOPED_TRACE(std::string(before.begin(), before.end()));
            std::u16string document(before);
            document += half;
            for (const std::u16string_view behind :
                 {u"</PolicyDocument>", u"", u"/>", u"='b'/>", u"'/>", u";</PolicyDocument>", u"?></PolicyDocument>",
                  u"--></PolicyDocument>", u"]]></PolicyDocument>"})
                EXPECT_LE(refused(utf16(document + std::u16string(behind))).size(), 1U);
        }
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
        const auto records = refused(document);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].text, "XMLRD Panic: The document element is not \"PolicyDocument\".");
        EXPECT_STREQ(problemOf(document).message, "The document element is not \"PolicyDocument\".");
    }
}

/* The XML library returns without an exception from an error that it reports; the report must not get lost. */
TEST_F(PolicyParser, AnErrorOfAnyTextIsReportedOnceAndEndsTheParse) {
    const std::string name = "a" + repeated("\xF0\x90\x80\x80", 1500);
    const auto records =
        refused("<?xml version='1.1'?><PolicyDocument><Scope>s</Scope><" + name + "></PolicyDocument>");
    ASSERT_EQ(records.size(), 1U);
    const std::string before = "XMLRD Panic: expected end of tag 'a";
    EXPECT_EQ(records[0].text.substr(0, before.size() + 4), before + "\xF0\x90\x80\x80");
    EXPECT_GT(records[0].text.size(), 3000U);
    EXPECT_LE(records[0].text.size(), size_t{PD_RECORD_SIZE});
    for (size_t length = 1; length < 600; length += 7) {
        SCOPED_TRACE(length);
        const std::string tag(length, 't');
        const auto one = refused(inDocument("<" + tag + ">"));
        ASSERT_EQ(one.size(), 1U);
        EXPECT_EQ(one[0].text, "XMLRD Panic: expected end of tag '" + tag + "'") << "the log has it whole";
        EXPECT_EQ(std::string(problemOf(inDocument("<" + tag + ">")).message),
                  ("expected end of tag '" + tag + "'").substr(0, 511));
    }
}

TEST_F(PolicyParser, AWarningIsLoggedAndTheDocumentParses) {
    int32_t status = -1;
    const Tree tree = parseTree("<?xml version='1.0' encoding='UTF-16'?><PolicyDocument/>", &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(tree, nullptr);
    const auto records = logs.records(kelhost::LogKind::diagnostic);
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
    // The XML library hands text over in parts of a megabyte, and parts a pair that lies on the border.
    for (size_t lead = (1U << 20) - 3; lead <= 1U << 20; ++lead) {
        const std::string text = std::string(lead, '.') + "\xF0\x9F\x98\x80" + "end";
        EXPECT_TRUE(textOf(inDocument(text)) == text) << lead;
    }
    EXPECT_EQ(textOf("<?xml version='1.0' encoding='ISO-8859-1'?><PolicyDocument>\xE4</PolicyDocument>"), "\xC3\xA4");
    EXPECT_EQ(textOf("<PolicyDocument>&#x1F600;&#228;</PolicyDocument>"), "\xF0\x9F\x98\x80\xC3\xA4");
}

TEST_F(PolicyParser, TextBeforeALongerOneInsideIsKept) {
    for (const size_t length : {10U, 1000U, 100000U}) {
        const std::string inner(length, 'x');
        const Tree tree = parseTree(inDocument("before<And>between<Scope>" + inner + "</Scope>behind</And>after"));
        ASSERT_NE(tree, nullptr);
        EXPECT_TRUE(outline(tree.get()) == "1'beforeafter'(19'betweenbehind'(16'" + inner + "'))") << length;
    }
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

}  // namespace
