/* Two megabytes of anything: each reader of documents answers, and what it took comes back. How long it took is told to
 * whoever measures. */
#include <algorithm>
#include <ctime>

#include "document/sqlpiXmlBounds.h"
#include "parserSupport.h"
#include "unit/parserSupport.h"
#include "unit/validateSupport.h"

namespace {

constexpr size_t twoMegabytes = size_t{2} << 20;

struct Shape {
    const char* name;
    std::string content; /* of the root */
    std::string attributes{};
    std::string declarations{};
};

std::string numbered(const char* before, const char* behind) {
    std::string text;
    for (int i = 0; text.size() < twoMegabytes; ++i) text += before + std::to_string(i) + behind;
    return text;
}

std::string collidingAttributes() {
    std::string text;
    for (size_t i = 0; text.size() < twoMegabytes - 100; ++i) text += " " + collidingName(i, 16) + "=''";
    return text;
}

std::vector<Shape> shapes() {
    const std::string entities = "<!ENTITY a '" + std::string(4096, 'a') + "'>";
    return {
        {"a million levels", repeated("<a>", 1000000) + repeated("</a>", 1000000)},
        {"text", std::string(twoMegabytes, 't')},
        {"characters by number", repeated("&#65;", twoMegabytes / 5)},
        {"entities that are used", repeated("&a;", twoMegabytes / 3), "", entities},
        {"entities that are declared", "", "", numbered("<!ENTITY e", " 'e'>")},
        {"attributes", "", numbered(" a", "=''")},
        {"attributes whose names collide", "", collidingAttributes()},
        {"one long attribute", "", " a='" + std::string(twoMegabytes, 'a') + "'"},
        {"elements with attributes", repeated("<x a='1' b='2' c='3'/>", twoMegabytes / 22)},
        {"names", numbered("<n", "/>")},
        {"one long name", "<" + std::string(twoMegabytes, 'n') + "/>"},
        {"namespaces", numbered("<x xmlns='u", "'/>")},
        {"a comment", "<!--" + std::string(twoMegabytes, 'c') + "-->"},
        {"comments", repeated("<!--c-->", twoMegabytes / 8)},
        {"instructions", repeated("<?p q?>", twoMegabytes / 7)},
        {"open elements", repeated("<a>", twoMegabytes / 3)},
    };
}

std::string document(const std::string& root, const Shape& shape) {
    const std::string type = shape.declarations.empty() ? "" : "<!DOCTYPE " + root + " [" + shape.declarations + "]>";
    return type + "<" + root + " xmlns='" SQLPI_CONFIG_NAMESPACE "'" + shape.attributes + ">" + shape.content + "</" +
           root + ">";
}

class HostileDocuments : public services::DocumentTest {
protected:
    /* Tells the milliseconds of the processor for each two megabytes. */
    template <class Read>
    void measure(const std::string& what, size_t size, Read read) {
        const int64_t blocks = kelhost::memoryTotal().blocks;
        const std::clock_t start = std::clock();  // of the processor: others may be at work
        read();
        const auto taken = static_cast<int64_t>(static_cast<double>(std::clock() - start) * 1000 / CLOCKS_PER_SEC *
                                                twoMegabytes / static_cast<double>(std::max(size, twoMegabytes)));
        EXPECT_EQ(kelhost::memoryTotal().blocks, blocks) << what << ": " << kelhost::describeMemoryInUse();
        if (taken < slowest_) return;
        slowest_ = taken;
        RecordProperty("milliseconds", std::to_string(taken));
        RecordProperty("slowest", what);
    }

private:
    int64_t slowest_ = 0;
};

TEST_F(HostileDocuments, AreReadOrRefusedAsPolicies) {
    parseTree("<PolicyDocument/>");
    for (const Shape& shape : shapes()) {
        const std::string text = document("PolicyDocument", shape);
        measure(shape.name, text.size(), [&] {
            int32_t status = -1;
            const Tree tree = parseTree(text, &status);
            EXPECT_TRUE(status == 0 || status == 3) << shape.name << " " << status;
        });
    }
}

/* Each attribute of an element that no schema knows is a mistake, and so is the element: one after the other the XML
 * library took seconds for them, where their names collide. */
TEST_F(HostileDocuments, AThousandMistakesEndTheParse) {
    const auto messageOf = [](size_t count) {
        std::string attributes;
        for (size_t i = 0; i < count; ++i) attributes += " " + collidingName(i, 16) + "=''";
        const validated::Verdict verdict = validated::validate("AUTO_RUNSTATS", "<x" + attributes + "/>");
        EXPECT_EQ(verdict.sqlcode, -1437);
        return std::string(verdict.mistake.message);
    };
    const std::string tooMany = "An element has more attributes than a policy may have.";
    const size_t most = sqlpiXmlBounds::mostAttributes;
    EXPECT_NE(messageOf(most - 1), tooMany);
    EXPECT_EQ(messageOf(most), tooMany);
    EXPECT_EQ(messageOf(most + 1), tooMany);
}

TEST_F(HostileDocuments, AreRefusedAsConfigurations) {
    const std::pair<const char*, const char*> roots[] = {{"MAINTENANCE_WINDOW", "KELMaintenanceWindows"},
                                                         {"AUTO_BACKUP", "KELAutoBackupPolicy"},
                                                         {"AUTO_REORG", "KELAutoReorgPolicy"},
                                                         {"AUTO_RUNSTATS", "KELAutoRunstatsPolicy"}};
    for (const auto& [type, root] : roots) {
        validated::validate(type, "<x/>");  // its schema is built once
        for (const Shape& shape : shapes()) {
            const std::string text = document(root, shape);
            const std::string what = std::string(shape.name) + " in " + root;
            measure(what, text.size(), [&] { EXPECT_NE(validated::validate(type, text).status, 0U) << what; });
            clearLogs();
        }
    }
}

}  // namespace
