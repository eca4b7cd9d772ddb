/* What a document may not make of itself: no document holds up or breaks the process. */
#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/RefHashTableOf.hpp>
#include <xercesc/util/XMLString.hpp>

#include "document/sqlpiNameSpread.h"
#include "document/sqlpiXmlBounds.h"
#include "outsideWorld.h"
#include "parserSupport.h"

namespace {

class ParserBounds : public ParserTest {};

/* --- documents that mean harm ------------------------------------------------------------------------------------- */

TEST_F(ParserBounds, AHarmlessInternalSubsetParses) {
    EXPECT_EQ(textOf("<!DOCTYPE PolicyDocument [<!ENTITY a 'text'><!ELEMENT PolicyDocument ANY>"
                     "<!ATTLIST PolicyDocument mode CDATA 'online'>]><PolicyDocument>&a; and &a;</PolicyDocument>"),
              "text and text");
    EXPECT_EQ(outline(parseTree("<!DOCTYPE PolicyDocument [<!ENTITY a '<Scope>in</Scope>'>]>"
                                "<PolicyDocument>&a;</PolicyDocument>")
                          .get()),
              "1(16'in')");
}

/* What the next test relies on. */
TEST(OutsideWorldItself, SeesWhoeverTouchesIt) {
    const auto touched = [](auto touch) {
        const OutsideWorld outside("text");
        EXPECT_FALSE(outside.wasTouched());
        touch(outside);
        return outside.wasTouched();
    };
    EXPECT_FALSE(touched([](const OutsideWorld&) {}));
    EXPECT_TRUE(touched([](const OutsideWorld& outside) { close(open(outside.file.c_str(), O_RDONLY)); }));
    EXPECT_TRUE(touched([](const OutsideWorld& outside) { close(open(outside.pipe.c_str(), O_RDONLY)); }));
    EXPECT_TRUE(touched([](const OutsideWorld& outside) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<uint16_t>(std::stoi(outside.url.substr(outside.url.rfind(':') + 1))));
        const int client = socket(AF_INET, SOCK_STREAM, 0);
        EXPECT_EQ(connect(client, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        close(client);
    }));
}

TEST_F(ParserBounds, NothingOutsideTheDocumentIsRead) {
    const OutsideWorld outside("<!ENTITY leak 'leaked'>");
    for (const std::string& where : outside.places()) {
        const std::string uri = "SYSTEM '" + where + "'";
        for (const std::string& subset :
             {"[<!ENTITY a " + uri + ">]", uri, "PUBLIC '-//x' '" + where + "'", "[<!ENTITY % a " + uri + "> %a;]",
              "[<!NOTATION n SYSTEM 'n'><!ENTITY a " + uri + " NDATA n>]"}) {
            SCOPED_TRACE(subset);
            for (const char* content : {"&a;", "", "&leak;"})
                refused("<!DOCTYPE PolicyDocument " + subset + ">" + inDocument(content));
            ASSERT_FALSE(outside.wasTouched());
        }
    }
}

const char* const refersToAnother = "The document declares an entity that refers to another one.";
const char* const isParameter = "The document declares a parameter entity, which is never expanded.";
const char* const tooLong = "The document's declarations are longer than a policy may have.";
const char* const tooWide = "An element has more attributes than a policy may have.";
const char* const tooDeep = "The document's declarations are nested too deeply.";

/* Every one of these took the XML library hours, seconds or the stack. */
TEST_F(ParserBounds, DeclarationsThatMeanHarmEndTheParse) {
    std::string inDefault = "<!ENTITY a0 ''>";
    std::string inSubset = "<!ENTITY % p0 ''>";
    for (int i = 1; i < 20; ++i) {
        const std::string before = std::to_string(i - 1);
        inDefault += "<!ENTITY a" + std::to_string(i) + " '" + repeated("&a" + before + ";", 10) + "'>";
        inSubset += "<!ENTITY % p" + std::to_string(i) + " '" + repeated("&#37;p" + before + ";", 10) + "'>";
    }
    const struct {
        const char* name;
        std::string declarations;
        const char* message;
    } cases[] = {
        {"nested in a default", inDefault + "<!ATTLIST PolicyDocument mode CDATA '&a19;'>", refersToAnother},
        {"nested parameters", inSubset + "%p19;", isParameter},
        {"nested by characters", "<!ENTITY a ''><!ENTITY b '&#38;a;'>", refersToAnother},
        {"to itself", "<!ENTITY a '&a;'>", refersToAnother},
        {"declared again", "<!ENTITY a ''><!ENTITY a '&b;'>", refersToAnother},
        {"flat in a default", "<!ENTITY p ''><!ATTLIST PolicyDocument mode CDATA '" + repeated("&p;", 100000) + "'>",
         tooLong},
        {"flat parameters", "<!ENTITY % p ''>" + repeated("%p;", 100000), isParameter},
        {"long and flat parameters", "<!ENTITY % p '" + std::string(4096, ' ') + "'>" + repeated("%p;", 600000),
         isParameter},
        {"empty entities", repeated("<!ENTITY e ''>", 100000), tooLong},
        {"one long comment", "<!--" + std::string(100000, 'c') + "-->", tooLong},
        {"a long content model", "<!ELEMENT x (a" + repeated(",a", 100000) + ")>", tooLong},
        {"a long enumeration", "<!ATTLIST x m (a" + repeated("|a", 100000) + ") #IMPLIED>", tooLong},
        {"long entities", "<!ENTITY a '" + std::string(4097, 'a') + "'>",
         "The document declares longer entities than a policy may have."},
        {"long entities together",
         "<!ENTITY a '" + std::string(2048, 'a') + "'><!ENTITY b '" + std::string(2049, 'b') + "'>",
         "The document declares longer entities than a policy may have."},
        {"an external entity", "<!ENTITY a SYSTEM 'a'>",
         "The document declares an external entity, which is never read."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string document = withDeclarations(c.declarations, "");
        EXPECT_EQ(textsOf(refused(document)), std::vector{std::string("XMLRD Panic: ") + c.message});
        const sqlpiParseProblem problem = problemOf(document);
        EXPECT_STREQ(problem.message, c.message);
        EXPECT_EQ(problem.line, 1U);
        EXPECT_GT(problem.column, 20U);
    }
}

TEST_F(ParserBounds, DeclarationsWithinBoundsParse) {
    std::string attributes;
    for (size_t i = 0; i < sqlpiXmlBounds::mostAttributeDefinitions; ++i)
        attributes += " a" + std::to_string(i) + " CDATA #IMPLIED";
    for (const std::string& declarations :
         {std::string("<!ENTITY a '&amp;&lt;&gt;&quot;&apos;&#65;&#38;#65;'>"), std::string("<!ENTITY lt '&#38;#60;'>"),
          "<!ENTITY a '" + std::string(sqlpiXmlBounds::mostEntityText, 'a') + "'>", "<!ATTLIST x" + attributes + ">",
          "<!--" + std::string(sqlpiXmlBounds::mostDeclarations - 100, 'c') + "-->",
          "<!ELEMENT x (a" + repeated(",a", 4000) + ")>",
          "<!ELEMENT x " + repeated("(", 4000) + "a" + repeated(")", 4000) + ">",
          "<!ENTITY a 'b'><!ATTLIST PolicyDocument mode CDATA '" + repeated("&a;", 1000) + "'>"}) {
        SCOPED_TRACE(declarations.substr(0, 60));
        EXPECT_NE(parseTree(withDeclarations(declarations, "<x/>")), nullptr);
    }
    EXPECT_EQ(textOf(withDeclarations("<!ENTITY a '&#38;amp;&#65;&lt;'>", "&a;")), "&A<");
    EXPECT_STREQ(problemOf(withDeclarations("<!ATTLIST x" + attributes + " more CDATA #IMPLIED>", "")).message,
                 "The document declares more attributes than a policy may have.");
}

TEST_F(ParserBounds, EntitiesExpandWithinBounds) {
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

/* --- size and depth ------------------------------------------------------------------------------------------------
 */

TEST_F(ParserBounds, AMillionLevelsNeedNoStack) {
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

/* A document of nothing but start tags is refused where no ends can follow any more, before its elements are all made;
 * one whose ends just fit is read. */
TEST_F(ParserBounds, ElementsThatCannotAllEndAreNotAllMade) {
    constexpr size_t tags = 690000;
    for (const std::string declarations : {"", "<!DOCTYPE PolicyDocument [<!ENTITY e 'x'>]>"}) {
        const std::string document = declarations + "<PolicyDocument>" + repeated("<a>", tags);
        const int64_t before = kelhost::memoryTotal().allocations;
        const sqlpiParseProblem problem = problemOf(document);
        EXPECT_STREQ(problem.message, "The document is too short for the ends of the elements that it begins.");
        EXPECT_EQ(problem.line, 1U);
        EXPECT_LT(problem.column, document.size() / 2);
        EXPECT_LT(kelhost::memoryTotal().allocations - before, tags * 3 / 2) << "an element takes up to three";
    }
    EXPECT_STRNE(problemOf("<PolicyDocument>" + repeated("<a>", 1000)).message,
                 "The document is too short for the ends of the elements that it begins.")
        << "what has been read is judged by what is wrong with it";
}

TEST_F(ParserBounds, ElementsWhoseEndsJustFitAreRead) {
    for (const size_t levels : {1U, 4000U, 8000U, 16000U, 17000U, 33000U, 100000U, 400000U}) {
        SCOPED_TRACE(levels);
        const std::string nested = inDocument(repeated("<a>", levels) + repeated("</a>", levels));
        const std::string inEntity = repeated("<a>", 580) + repeated("</a>", 580);
        std::string wide = "\xFF\xFE";
        for (const char character : nested) wide += {character, '\0'};
        for (const std::string& document :
             {nested, inDocument(repeated("<a/>", levels) + repeated("<a>", levels) + repeated("</a>", levels)), wide,
              withDeclarations(
                  "<!ENTITY e '" + inEntity + "'>",
                  repeated("<a>", levels) + repeated("&e;", 64) + repeated("</a>", levels) + repeated("<a/>", levels)),
              "<?xml version='1.0' encoding='ISO-8859-1'?>" + nested})
            EXPECT_NE(parseTree(document), nullptr) << document.substr(0, 40);
    }
}

/* So many parentheses that the XML library would need a call on the stack for each. */
std::string contentModel(size_t levels) {
    return "<!ELEMENT x " + repeated("(a,", levels) + "b" + repeated(")", levels) + ">";
}

TEST_F(ParserBounds, DeclarationsNeedLittleStack) {
    parseTree(inDocument(""));  // the XML library sets itself up on the main thread's stack
    for (const size_t levels : {10U, 100U, 600U, 800U, 1000U, 1001U, 1500U, 3000U})
        for (const bool isComplete : {true, false}) {
            SCOPED_TRACE(levels);
            const std::string model = contentModel(levels);
            const std::string document = withDeclarations(isComplete ? model : model.substr(0, model.size() / 2), "");
            sqlpiParseProblem problem;
            int32_t status = -1;
            onSmallStack([&] {
                SQLPIPolicyElement* root = nullptr;
                status = sqlpiParsePolicyDocument(nullptr, static_cast<int32_t>(document.size()), document.data(),
                                                  &root, &problem);
                delete root;
            });
            EXPECT_EQ(status, levels <= 100 && isComplete ? 0 : 3);
            if (levels >= 600) {
                EXPECT_STREQ(problem.message, tooDeep);
            }
        }
}

TEST_F(ParserBounds, AnErrorAndAHarmlessSubsetNeedLittleStack) {
    parseTree(inDocument(""));
    std::vector<kelhost::LogRecord> records;
    std::string text;
    onSmallStack([&] {
        records = refused(inDocument("<" + std::string(3000, 'n') + ">"));
        text =
            textOf(withDeclarations("<!ENTITY a 'b'><!ELEMENT PolicyDocument (#PCDATA|Scope)*>"
                                    "<!ATTLIST PolicyDocument mode CDATA '&a;'>",
                                    "&a;\xE2\x82\xAC"));
    });
    EXPECT_EQ(records.size(), 1U);
    EXPECT_EQ(text, "b\xE2\x82\xAC");
}

TEST_F(ParserBounds, LargeDocumentsOfEveryShapeParse) {
    EXPECT_NE(parseTree(inDocument(repeated(" t <And/>\n", 200000))), nullptr);
    std::string names, attributes;
    for (int i = 0; i < 60000; ++i) names += "<e" + std::to_string(i) + "/>";
    for (int i = 0; i < 1000; ++i) attributes += " a" + std::to_string(i) + "=''";
    EXPECT_NE(parseTree(inDocument(names)), nullptr);
    EXPECT_NE(parseTree(inDocument(repeated("<x" + attributes + "/>", 200))), nullptr);
    const std::string longName(1000000, 'n');
    EXPECT_NE(parseTree(inDocument("<" + longName + "/>")), nullptr);
    EXPECT_NE(parseTree("<PolicyDocument " + longName + "='" + longName + "'/>"), nullptr);
    EXPECT_NE(parseTree(inDocument("<!--" + longName + "--><![CDATA[" + longName + "]]><?p " + longName + "?>")),
              nullptr);
}

/* --- names that the XML library is slow to tell apart ------------------------------------------------------------- */

TEST_F(ParserBounds, NamesThatCollideEndTheParse) {
    const auto elements = [](size_t count) {
        std::string tags;
        for (size_t i = 0; i < count; ++i) tags += "<" + collidingName(i, 16) + "/>";
        return inDocument(tags);
    };
    std::string plainNames;
    for (int i = 0; i < 50000; ++i) plainNames += "<n" + std::to_string(i) + "/>";
    EXPECT_NE(parseTree(inDocument(plainNames)), nullptr);
    refused(elements(50000));
    EXPECT_STREQ(problemOf(elements(50000)).message, "The document's element names are made to be slow to tell apart.");
    EXPECT_NE(parseTree(elements(sqlpiNameSpread::mostInBucket)), nullptr);
    const auto someMore = [](size_t begin, size_t end) {
        std::string tags;
        for (size_t i = begin; i < end; ++i) tags += "<" + collidingName(i, 16) + "/>";
        return tags;
    };
    // The first names are not counted, as they are few; later ones stay counted when the table grows.
    const size_t most = sqlpiNameSpread::mostInBucket;
    const std::string few = plainNames.substr(0, plainNames.find("<n100/>"));
    EXPECT_NE(parseTree(inDocument(few + someMore(0, most / 2) + plainNames)), nullptr);
    refused(inDocument(few + someMore(0, most / 2) + plainNames + someMore(most / 2, most + 1)));
    EXPECT_NE(parseTree(inDocument(repeated("<" + collidingName(1, 16) + "/>", 50000))), nullptr) << "one name";
}

TEST_F(ParserBounds, AnElementHasSoManyAttributes) {
    const auto attributes = [](size_t count, bool doCollide) {
        std::string text;
        for (size_t i = 0; i < count; ++i)
            text += " " + (doCollide ? collidingName(i, 16) : "a" + std::to_string(i)) + "=''";
        return text;
    };
    for (const bool doCollide : {false, true})
        for (const size_t count : {size_t{1001}, size_t{50000}}) {
            EXPECT_EQ(textsOf(refused("<PolicyDocument" + attributes(count, doCollide) + "/>")),
                      std::vector{std::string("XMLRD Panic: ") + tooWide});
            EXPECT_STREQ(problemOf("<PolicyDocument" + attributes(count, doCollide) + "/>").message, tooWide);
        }
    EXPECT_STREQ(problemOf("<PolicyDocument" + attributes(50000, true)).message, tooWide) << "before the tag ends";
    EXPECT_NE(parseTree(inDocument("<And" + attributes(1000, true) + "/>")), nullptr);
}

/* Notes into how many buckets the XML library's own table spreads. */
struct NotingHasher {
    XMLSize_t getHashVal(const void* key, XMLSize_t buckets) const {
        *lastBuckets = buckets;
        return xercesc::XMLString::hash(static_cast<const XMLCh*>(key), buckets);
    }
    bool equals(const void* a, const void* b) const {
        return xercesc::XMLString::equals(static_cast<const XMLCh*>(a), static_cast<const XMLCh*>(b));
    }
    XMLSize_t* lastBuckets = nullptr;
};

TEST_F(ParserBounds, TheSpreadFollowsTheXmlLibrarysTable) {
    xercesc::MemoryManager* memory = xercesc::XMLPlatformUtils::fgMemoryManager;
    XMLSize_t buckets = 0;
    xercesc::RefHashTableOf<int, NotingHasher> table(29, false, NotingHasher{&buckets}, memory);
    sqlpiNameSpread spread(memory);
    std::vector<std::u16string> names;
    for (int i = 0; i < 20000; ++i) {
        const std::string name = "e" + std::to_string(i);
        names.emplace_back(name.begin(), name.end());
    }
    for (std::u16string& name : names) {
        table.put(name.data(), nullptr);
        ASSERT_TRUE(spread.add(name.c_str()));
        ASSERT_EQ(spread.buckets(), buckets);
    }
}

TEST_F(ParserBounds, NamesInAnySequenceSpread) {
    const struct {
        const char* name;
        std::string (*nameOf)(int);
    } sequences[] = {
        {"numbers", [](int i) { return "e" + std::to_string(i); }},
        {"thousands", [](int i) { return "c" + std::to_string(i) + "000"; }},
        {"multiples", [](int i) { return "c" + std::to_string(i * 38); }},
        {"behind", [](int i) { return "e" + std::to_string(i) + "x"; }},
        {"two numbers", [](int i) { return "c" + std::to_string(i / 500) + ":r" + std::to_string(i % 500); }},
        {"letters",
         [](int i) {
             std::string name = "n";
             for (; i > 0; i /= 26) name += static_cast<char>('a' + i % 26);
             return name;
         }},
    };
    for (const auto& sequence : sequences) {
        SCOPED_TRACE(sequence.name);
        sqlpiNameSpread spread(xercesc::XMLPlatformUtils::fgMemoryManager);
        for (int i = 0; i < 150000; ++i) {
            const std::string name = sequence.nameOf(i);
            ASSERT_TRUE(spread.add(std::u16string(name.begin(), name.end()).c_str())) << i;
        }
    }
}

}  // namespace
