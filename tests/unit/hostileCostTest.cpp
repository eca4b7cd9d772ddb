/* What documents that are made to be slow cost, in processor time of an ordinary document of their size that is parsed
 * beside them: a ratio of the best of some tries each, so that neither the machine nor who else works on it matters. */
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <random>

#include "document/sqlpiXmlBounds.h"
#include "host/wholeFile.h"
#include "parserSupport.h"
#include "unit/parserSupport.h"
#include "unit/validateSupport.h"

namespace {

constexpr size_t twoMegabytes = size_t{2} << 20;

std::string filledWith(const std::string& piece) {
    return repeated(piece, twoMegabytes / piece.size());
}

std::string ordinaryDocument() {
    const std::string one = hosttest::readWhole(KELPOLICY_TEST_DATA "/backup-1.7kb.xml");
    const size_t begin = one.find(" <PolicySection");
    const std::string section = one.substr(begin, one.find("</PolicyDocument>") - begin);
    return one.substr(0, begin) + filledWith(section) + "</PolicyDocument>";
}

int64_t nanoseconds(const std::function<void()>& work) {
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &begin);
    work();
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    return (end.tv_sec - begin.tv_sec) * 1000000000 + end.tv_nsec - begin.tv_nsec;
}

std::string schemaLocations(const std::string& document, bool areDistinct) {
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789";
    std::string pairs;
    for (size_t i = 0; pairs.size() < twoMegabytes; ++i) {
        if (areDistinct)
            for (const size_t place : {i, i / 62, i / 62 / 62}) pairs += letters[place % letters.size()];
        else
            pairs += 'a';
        pairs += " b ";
    }
    std::string changed = document;
    changed.insert(changed.find(" xmlns="),
                   " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance' xsi:schemaLocation='" + pairs + "'");
    return changed;
}

std::string manyAttributes() {
    std::string tag = "<x";
    for (size_t i = 0; i < 1000; ++i) tag += " " + collidingName(i, 10) + "=''";
    return filledWith(tag + "/>");
}

class HostileCost : public services::DocumentTest {
protected:
    void SetUp() override {
#if !defined(NDEBUG) || defined(__SANITIZE_THREAD__)
        GTEST_SKIP() << "the ratios are those of optimised code";
#endif
        const std::string document = ordinaryDocument();
        for (int i = 0; i < 5; ++i)
            ordinary_ = std::min(ordinary_, nanoseconds([&] { EXPECT_NE(parseTree(document), nullptr); }));
    }
    /* Demands that the work takes at most so many times what the ordinary document does. */
    void expectWithin(double most, const std::string& what, const std::function<void()>& work) {
        double least = 1e9;
        constexpr int mostTries = 8;
        for (int i = 0; i < mostTries && least > most; ++i)
            least = std::min(least, static_cast<double>(nanoseconds(work)) / static_cast<double>(ordinary_));
        EXPECT_LE(least, most) << what;
        if (least < highest_) return;
        highest_ = least;
        RecordProperty("percent", std::to_string(std::lround(least * 100)));
        RecordProperty("costliest", what);
    }

private:
    int64_t ordinary_ = INT64_MAX;
    double highest_ = 0;
};

TEST_F(HostileCost, OfPolicies) {
    std::string attributes;
    for (int i = 0; i < 127; ++i) attributes += " a" + std::to_string(i) + " CDATA #IMPLIED";
    std::string names;
    for (int i = 0; names.size() < twoMegabytes; ++i) names += "<n" + std::to_string(i) + "/>";
    const std::pair<const char*, std::string> shapes[] = {
        {"definitions for every tag", withDeclarations("<!ATTLIST x" + attributes + ">", filledWith("<x/>"))},
        {"texts between instructions", inDocument(filledWith("x<?a?>"))},
        {"attributes whose names collide", inDocument(manyAttributes())},
        {"names", inDocument(names)},
        {"open elements", "<PolicyDocument>" + repeated("<a>", 690000)},
        {"open elements that are known", "<PolicyDocument>" + filledWith("<Or>")},
        {"open elements behind declarations",
         "<!DOCTYPE PolicyDocument [<!ENTITY e 'x'>]><PolicyDocument>" + filledWith("<a>")},
        {"levels", inDocument(repeated("<a>", twoMegabytes / 7) + repeated("</a>", twoMegabytes / 7))},
        {"elements", inDocument(filledWith("<a/>"))},
    };
    for (const auto& [name, document] : shapes) expectWithin(6, name, [&document = document] { parseTree(document); });
}

TEST_F(HostileCost, OfConfigurations) {
    for (const config::Type& type : config::types) {
        const std::string sound = config::soundDocument(type.name);
        const size_t end = sound.rfind("</");
        for (const bool areDistinct : {false, true}) {
            const std::string document = schemaLocations(sound, areDistinct);
            expectWithin(6, std::string("schema locations of ") + type.name,
                         [&] { EXPECT_EQ(validated::validate(type.name, document).status, 0U); });
        }
        for (const std::string& piece : {std::string(" <?a?>"), std::string("x<?a?>"), manyAttributes()}) {
            std::string document = sound;
            document.insert(end, piece.size() > 100 ? piece : filledWith(piece));
            expectWithin(6, piece.substr(0, 20) + " in " + type.name,
                         [&] { validated::validate(type.name, document); });
        }
    }
    for (const char* piece : {"x<?a?>", "x<!---->", "x<![CDATA[y]]>", "&#65;"})
        expectWithin(6, std::string("filter of ") + piece, [document = validated::runstats(filledWith(piece))] {
            EXPECT_EQ(validated::validate("AUTO_RUNSTATS", document).sqlcode, -1447);
        });
}

/* The XML library judges the children of a text of simple type at its end. */
TEST_F(HostileCost, OfElementsInATextOfSimpleType) {
    expectWithin(6, "elements", [document = validated::oneWindow({.daysOfMonth = filledWith("<a/>&amp;")})] {
        EXPECT_STREQ(validated::validate("MAINTENANCE_WINDOW", document).mistake.message,
                     "The document has more elements than a policy may have.");
    });
}

/* Valid to the end, and wrong at the end. */
TEST_F(HostileCost, OfLongLists) {
    for (const auto& [list, piece] : {std::pair(&validated::Window::daysOfMonth, "-12 "),
                                      {&validated::Window::daysOfMonth, "1 15 -1 "},
                                      {&validated::Window::daysOfMonth, "1 "},
                                      {&validated::Window::daysOfMonth, "+031\n"},
                                      {&validated::Window::daysOfWeek, "Sun "},
                                      {&validated::Window::monthsOfYear, "Dec "}})
        for (const char* end : {"", "0"}) {
            validated::Window window;
            window.*list = filledWith(piece) + end;
            const bool isValid = *end == '\0';
            expectWithin(6, std::string("list of ") + piece + end, [document = validated::oneWindow(window), isValid] {
                EXPECT_EQ(validated::validate("MAINTENANCE_WINDOW", document).status == 0, isValid);
            });
        }
}

/* Looks for worse ones: a few pieces drawn together, over and over, somewhere in a policy or a configuration. */
TEST_F(HostileCost, OfDocumentsDrawnAtRandom) {
    const char* text = std::getenv("KELPOLICY_HOSTILE_DOCUMENTS");
    const int documents = text == nullptr ? 4 : std::atoi(text);
    const std::string pieces[] = {"x",
                                  " ",
                                  "&#65;",
                                  "&amp;",
                                  "\n",
                                  "<?a?>",
                                  "<!---->",
                                  "<![CDATA[y]]>",
                                  "<a>",
                                  "</a>",
                                  "<a/>",
                                  "<b c='d'/>",
                                  "<And>",
                                  "</And>",
                                  "<x xmlns='u'/>",
                                  "<x xmlns:p='v' p:a='1'/>",
                                  "<kel:DBBackup mode='offline'/>",
                                  "-12 ",
                                  "01 ",
                                  "Mon ",
                                  "\xC3\xA4",
                                  "<x a='' b='' c='' d='' e='' f='' g='' h=''/>",
                                  "<x xml:space='preserve'> </x>",
                                  "<x a='&#10;&#9;  '/>",
                                  "]]&gt;",
                                  "&e;"};
    std::mt19937 random(20261122);
    const auto below = [&random](size_t count) { return random() % count; };
    for (int i = 0; i < documents && !HasFailure(); ++i) {
        std::string together;
        for (size_t count = 1 + below(4); count > 0; --count) together += pieces[below(std::size(pieces))];
        const std::string filling = filledWith(together);
        const std::string policy = below(2) == 0 ? inDocument(filling) : withDeclarations("<!ENTITY e 'x'>", filling);
        expectWithin(6, "policy of " + together, [&] { parseTree(policy); });
        for (const std::string& document :
             {validated::oneWindow({.daysOfMonth = filling}), validated::oneWindow({.daysOfWeek = filling}),
              validated::reorg("", "", filling), validated::backup(validated::disk(filling)),
              config::root("KELAutoBackupPolicy", filling)})
            expectWithin(6, "configuration of " + together,
                         [&] { validated::validate(validated::typeOf(document), document); });
        clearLogs();
    }
}

TEST_F(HostileCost, ADocumentHasSoManyElementNames) {
    const auto named = [](size_t count) {
        std::string names;
        for (size_t i = 0; i < count; ++i) names += "<n" + std::to_string(i) + "/>";
        return inDocument(names);
    };
    EXPECT_NE(parseTree(named(sqlpiXmlBounds::mostElementNames - 1)), nullptr) << "and the root's";
    int32_t status = 0;
    const int64_t before = kelhost::memoryTotal().bytes;
    EXPECT_EQ(parseTree(named(sqlpiXmlBounds::mostElementNames), &status), nullptr);
    EXPECT_EQ(status, 3);
    EXPECT_EQ(kelhost::memoryTotal().bytes, before);
}

}  // namespace
