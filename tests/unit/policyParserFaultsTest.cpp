/* The parser and the model when memory runs out or the engine is not there. */
#include <malloc.h>

#include <cstring>
#include <map>
#include <set>
#include <xercesc/framework/XMLPScanToken.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/sax/HandlerBase.hpp>
#include <xercesc/util/XMLUni.hpp>

#include "base/sqlpiMemory.h"
#include "document/sqlpiParserMemory.h"
#include "document/sqlpiXmlConverters.h"
#include "failingGlobalMemory.h"
#include "logs.h"
#include "model/sqlpiPolicyCatalogue.h"
#include "parserSupport.h"

namespace {

using faulty::Duration;
using faulty::Service;
using kelhost::LogKind;

constexpr const char* outOfMemory = "Out of memory. Unable to allocate object.";

class ParserFaults : public BalancedTest {
protected:
    ParserFaults() {
        parseTree("<PolicyDocument/>");  // the XML library sets itself up only once
        faulty::reset();
        logs.clear();
    }
    ~ParserFaults() override { faulty::reset(); }

    /* Demands that the parse fails at the companion of that probe. */
    void expectFailedCompanion(uint32_t probe) {
        int32_t status = 0;
        const Tree tree = parseTree("<PolicyDocument/>", &status);
        EXPECT_EQ(status, -1219);
        EXPECT_EQ(tree, nullptr);
        const auto records = logs.records(LogKind::diagnostic);
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].text, outOfMemory);
        EXPECT_EQ(records[0].function, "sqlpi_policy_parse");
        EXPECT_EQ(records[0].probe, probe);
    }

    struct Parsed {
        Tree tree;
        int32_t status = -1;
        bool failed = false; /* whether a call was made to fail */
    };

    /* Parses with the first, the second, ... call of the service failing, until none is reached; hands over each
     * outcome, the last one with nothing failed. Returns how many failed. */
    template <class Look>
    uint64_t parseFailing(Service service, Duration duration, const std::string& document, Look look) {
        Parsed parsed{nullptr, -1, true};
        uint64_t call = 0;
        while (parsed.failed && !HasFatalFailure()) {
            SCOPED_TRACE(++call);
            logs.clear();
            faulty::reset();
            faulty::failCall(service, call, duration);
            parsed.tree = parseTree(document, &parsed.status);
            parsed.failed = faulty::failures(service) > 0;
            faulty::reset();
            look(parsed);
        }
        return call - 1;
    }
    /* The same for the XML library's own memory. */
    template <class Look>
    int parseFailingGlobally(const std::string& document, Look look) {
        Parsed parsed{nullptr, -1, true};
        int call = 0;
        while (parsed.failed && !HasFatalFailure()) {
            SCOPED_TRACE(++call);
            logs.clear();
            FailingGlobalMemory memory(call);
            parsed.tree = parseTree(document, &parsed.status);
            parsed.failed = memory.hasFailed;
            look(parsed);
        }
        return call - 1;
    }

    kelhost::LogCapture logs;
};

TEST_F(ParserFaults, WithoutTheEngineNothingParses) {
    faulty::failCall(Service::isSharedLibInitSuccess, 1);
    int32_t status = 0;
    EXPECT_EQ(parseTree("<PolicyDocument/>", &status), nullptr);
    EXPECT_EQ(status, 3);
    EXPECT_EQ(faulty::calls(Service::anyMemory), 0U);
    EXPECT_TRUE(logs.records().empty());
    char text[] = "<PolicyDocument/>";
    SQLPIPolicyElement* root = nullptr;
    sqlpiParseProblem problem;
    faulty::failCall(Service::isSharedLibInitSuccess, 1);
    EXPECT_EQ(sqlpiParsePolicyDocument(nullptr, sizeof text - 1, text, &root, &problem), 3);
    EXPECT_STREQ(problem.message, "The engine library is not initialised.");
    faulty::failCall(Service::isSharedLibInitSuccess, 1);
    EXPECT_EQ(parseTree("", &status), nullptr);
    EXPECT_EQ(status, 0) << "an empty document is asked about first";
}

TEST_F(ParserFaults, EachCompanionThatCannotBeMadeHasItsProbe) {
    const std::map<uint64_t, uint32_t> probeOfPlainAllocation = {{1, 20}, {2, 30}, {3, 50}, {4, 60}};
    for (const auto& [call, probe] : probeOfPlainAllocation) {
        SCOPED_TRACE(probe);
        logs.clear();
        faulty::reset();
        faulty::failCall(Service::ossMemAlloc, call);
        expectFailedCompanion(probe);
    }
    faulty::reset();
    logs.clear();
    faulty::failCall(Service::sqlogmblkEx, 1);
    expectFailedCompanion(40);
}

TEST_F(ParserFaults, TheParsersOwnMemoryComesFromTheGivenPool) {
    char noPoolOfThisHost[8] = {};
    char text[] = "<PolicyDocument/>";
    SQLPIPolicyElement* root = nullptr;
    EXPECT_EQ(sqlpi_policy_parse(reinterpret_cast<SQLO_MEM_POOL*>(noPoolOfThisHost), sizeof text - 1, text, &root),
              -1219);
    EXPECT_EQ(root, nullptr);
    const auto records = logs.records(LogKind::diagnostic);
    ASSERT_EQ(records.size(), 1U);
    EXPECT_EQ(records[0].probe, 40U);
}

/* How many blocks came (or went) meanwhile, by tag. */
template <class Work>
std::map<std::string, int64_t> allocationsOf(Work work) {
    std::map<std::string, int64_t> came;
    for (const auto& [tag, counts] : kelhost::memoryInUse()) came[tag] -= counts.blocks;
    work();
    for (const auto& [tag, counts] : kelhost::memoryInUse()) came[tag] += counts.blocks;
    std::erase_if(came, [](const auto& entry) { return entry.second == 0; });
    return came;
}

TEST_F(ParserFaults, BlocksAreTaggedByWhoTakesThem) {
    using Tags = std::map<std::string, int64_t>;
    void* block = nullptr;
    EXPECT_EQ(allocationsOf([&] { block = sqlpi_alloc_mem_debug(nullptr, 100); }),
              (Tags{{"sqlpiPolicyCommonParser", 1}}));
    ASSERT_NE(block, nullptr);
    std::memset(block, 'x', 100);
    EXPECT_EQ(allocationsOf([&] { sqlpi_free_mem_debug(block); }), (Tags{{"sqlpiPolicyCommonParser", -1}}));
    sqlpi_free_mem_debug(nullptr);
    faulty::failCall(Service::sqlogmblkEx, 1);
    EXPECT_EQ(sqlpi_alloc_mem_debug(nullptr, 100), nullptr);
    EXPECT_EQ(sqlpi_alloc_mem_debug(reinterpret_cast<SQLO_MEM_POOL*>(&block), 100), nullptr) << "no pool of this host";

    sqlpi_mem_manager manager(nullptr);
    EXPECT_EQ(allocationsOf([&] { block = manager.allocate(100); }), (Tags{{"sqlpiPolicyCommonParser", 1}}));
    manager.deallocate(block);

    Tree tree;
    EXPECT_EQ(allocationsOf([&] { tree = parseTree("<PolicyDocument><kel:StatsProfiling/>text</PolicyDocument>"); }),
              (Tags{{"sqlpiPolicyBase", 6}, {"sqlpiStatsProf", 1}}))
        << "two elements with their lists, one node, one text; one profile generation";
    EXPECT_EQ(allocationsOf([&] { tree.reset(); }), (Tags{{"sqlpiPolicyBase", -6}, {"sqlpiStatsProf", -1}}));
}

TEST_F(ParserFaults, TheSourceComesFromTheXmlLibrarysMemory) {
    std::set<uint32_t> probes;
    const int failures = parseFailingGlobally("<PolicyDocument/>", [&](const Parsed& parsed) {
        EXPECT_TRUE(parsed.status == 0 || parsed.status == 3 || parsed.status == -1219) << parsed.status;
        EXPECT_EQ(parsed.tree != nullptr, parsed.status == 0);
        if (!parsed.failed) {
            EXPECT_EQ(parsed.status, 0);
        }
        if (parsed.status == -1219) probes.insert(logs.records(LogKind::diagnostic).at(0).probe);
    });
    EXPECT_EQ(probes, (std::set<uint32_t>{70}));
    EXPECT_GE(failures, 1);
}

const char* const document =
    "<PolicyDocument><And>a<Or><Not/></Or>b<Scope>c</Scope></And><Nop/><kel:StatsProfiling "
    "profileGeneration='x'/></PolicyDocument>";
const char* const wholeOutline = "1(19'ab'(20(21) 16'c') 0 83)";

TEST_F(ParserFaults, EveryAllocationMayFailOnceOrForEver) {
    for (const Duration duration : {Duration::once, Duration::forEver}) {
        const uint64_t failures = parseFailing(Service::anyMemory, duration, document, [&](const Parsed& parsed) {
            ASSERT_TRUE(parsed.status == 0 || parsed.status == 3 || parsed.status == -1219) << parsed.status;
            if (parsed.status != 0) {
                ASSERT_EQ(parsed.tree, nullptr);
            }
            if (!parsed.failed) {
                ASSERT_NE(parsed.tree, nullptr);
                ASSERT_EQ(outline(parsed.tree.get()), wholeOutline);
            }
            if (parsed.status == -1219) {
                ASSERT_EQ(logs.texts(LogKind::diagnostic), std::vector<std::string>{outOfMemory});
            }
        });
        EXPECT_GE(failures, 20U) << "a parse makes at least so many allocations";
    }
}

/* Whatever runs out while an error is reported: the document is never taken for a sound one. */
TEST_F(ParserFaults, AMalformedDocumentNeverParses) {
    const std::string names[] = {"t", std::string(300, 't'), repeated("\xC3\xA4", 80),
                                 repeated("\xF0\x90\x80\x80", 80)};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const std::string malformed = "<?xml version='1.1'?>" + inDocument("<Scope a='b'>s</Scope><" + name + ">");
        const auto expectRefused = [&](const Parsed& parsed) {
            ASSERT_TRUE(parsed.status == 3 || (parsed.failed && parsed.status == -1219)) << parsed.status;
            ASSERT_EQ(parsed.tree, nullptr);
        };
        for (const Duration duration : {Duration::once, Duration::forEver})
            EXPECT_GT(parseFailing(Service::anyMemory, duration, malformed, expectRefused), 4U);
        EXPECT_GE(parseFailingGlobally(malformed,
                                       [&](const Parsed& parsed) {
                                           expectRefused(parsed);
                                           ASSERT_LE(logs.records(LogKind::diagnostic).size(), 1U)
                                               << "one report, or none of an exception";
                                       }),
                  2);
    }
}

TEST_F(ParserFaults, AnElementWithoutMemoryIsLeftOutAndItsSiblingsComeHigher) {
    std::set<std::string> outlines;
    std::set<uint32_t> probes;
    const std::string nested = "<PolicyDocument>t<And><Or/><Scope>s</Scope></And><Not/></PolicyDocument>";
    parseFailing(Service::sqlogmblkEx, Duration::once, nested, [&](const Parsed& parsed) {
        if (parsed.tree == nullptr) return;
        const std::string shape = outline(parsed.tree.get());
        outlines.insert(shape);
        const auto records = logs.records(LogKind::diagnostic);
        const bool whole = shape == "1't'(19(20 16's') 21)";
        const bool onlyTextLost = shape == "1(19(20 16's') 21)" || shape == "1't'(19(20 16) 21)";
        EXPECT_EQ(records.size(), whole || onlyTextLost ? 0U : 1U) << shape;
        EXPECT_TRUE(whole || parsed.failed) << shape;
        for (const kelhost::LogRecord& record : records) {
            EXPECT_EQ(record.text, outOfMemory);
            EXPECT_EQ(record.importance, PD_SEVERE);
            EXPECT_EQ(record.function, "sqlpi_sax_handler::setPolicyElement");
            probes.insert(record.probe);
        }
    });
    EXPECT_EQ(probes, (std::set<uint32_t>{10, 20})) << "the element, its place in the list";
    EXPECT_TRUE(outlines.contains("1't'(20 16's')"))
        << "without And: its children are the document's, and behind it nothing is";
    EXPECT_TRUE(outlines.contains("1't'(19 16's' 21)") || outlines.contains("1't'(19 16's')")) << "without Or";
    EXPECT_TRUE(outlines.contains("1't'(19(20 16's'))")) << "without Not";
    EXPECT_TRUE(outlines.contains("1(19(20 16's') 21)")) << "without the text";
}

TEST_F(ParserFaults, AttributesOfAFailedElementGoNowhere) {
    int left = 0;
    parseFailing(
        Service::sqlogmblkEx, Duration::once,
        "<PolicyDocument><kel:DBBackup><kel:TableReorg mode='offline'/></kel:DBBackup></PolicyDocument>",
        [&](const Parsed& parsed) {
            if (parsed.tree == nullptr) return;
            SQLPIPolicyElement* root = parsed.tree.get();
            if (auto* action = dynamic_cast<SQLPIBackupAction*>(root->findElement(root, SQLPI_ELEMENT_DB_BACKUP))) {
                EXPECT_EQ(action->mode, 2);
                left += action->children->getFirstElement() == nullptr;
            }
        });
    EXPECT_EQ(left, 3) << "the element's object, its list, and its place in the action's list";
}

TEST_F(ParserFaults, WithoutMemoryForTheRootThereIsNoTreeAndNoError) {
    uint64_t empty = 0;
    parseFailing(Service::sqlogmblkEx, Duration::once, "<PolicyDocument><And>text</And></PolicyDocument>",
                 [&](const Parsed& parsed) { empty += parsed.tree == nullptr && parsed.status == 0; });
    EXPECT_EQ(empty, 2U) << "the root's object and its list";
}

/* --- elements ----------------------------------------------------------------------------------------------------- */

TEST_F(ParserFaults, NewGivesNullInsteadOfThrowing) {
    for (uint32_t type = 0; type < SQLPI_ELEMENT_TYPES; ++type) {
        faulty::reset();
        faulty::failCall(Service::sqlogmblkEx, 1);
        EXPECT_EQ(sqlpiNewElement(static_cast<SQLPI_POL_ELEMENT_TYPE>(type)), nullptr) << type;
    }
    faulty::failCall(Service::sqlogmblkEx, 1);
    EXPECT_EQ(new SQLPIListElement, nullptr);
}

TEST_F(ParserFaults, AnElementWithoutItsListIsSafeToUseAndDestroy) {
    faulty::failCall(Service::sqlogmblkEx, 2);
    const Tree element(sqlpiNewElement(SQLPI_ELEMENT_AND));
    ASSERT_NE(element, nullptr);
    EXPECT_EQ(element->children, nullptr);
    EXPECT_EQ(element->findElement(element.get(), SQLPI_ELEMENT_AND), nullptr);
    EXPECT_EQ(element->findNextElement(element.get(), SQLPI_ELEMENT_AND), nullptr);
    element->resetAll();
}

TEST_F(ParserFaults, AppendedTextIsKeptOrLostWhole) {
    SQLPIPolicyElement element;
    element.appendText(nullptr);
    element.appendText(nullptr, 5);
    EXPECT_EQ(element.text, nullptr);
    faulty::failCall(Service::sqlogmblkEx, 1);
    element.appendText("lost");
    EXPECT_EQ(element.text, nullptr);
    element.appendText("");
    EXPECT_STREQ(element.text, "");
    element.appendText("old");
    faulty::failCall(Service::sqlogmblkEx, 1);
    element.appendText(" lost");
    EXPECT_STREQ(element.text, "old");
    element.appendText(" new");
    EXPECT_STREQ(element.text, "old new");
    faulty::reset();
    element.appendText("");
    EXPECT_EQ(faulty::calls(Service::sqlogmblkEx), 1U) << "an empty chunk is a chunk";
    EXPECT_STREQ(element.text, "old new");
}

TEST_F(ParserFaults, AProfileGenerationWithoutMemoryIsGone) {
    SQLPIStatsProfType element;
    faulty::failCall(Service::sqlogmblkEx, 1);
    element.setProfileGen("new");
    EXPECT_EQ(element.profileGeneration, nullptr);
    element.setProfileGen("again");
    EXPECT_STREQ(element.profileGeneration, "again");
}

/* --- the parser's memory ------------------------------------------------------------------------------------------ */

TEST_F(ParserFaults, TheMemoryManagerGivesNullAndTheCallMemoryThrows) {
    sqlpi_mem_manager manager(nullptr);
    faulty::failCall(Service::sqlogmblkEx, 1);
    EXPECT_EQ(manager.allocate(100), nullptr);
    manager.deallocate(manager.allocate(100));
    manager.deallocate(nullptr);
    EXPECT_EQ(manager.getExceptionMemoryManager(), xercesc::XMLPlatformUtils::fgMemoryManager)
        << "an exception may outlive the manager";

    sqlpi_call_memory memory(manager, 1 << 20);
    faulty::failCall(Service::sqlogmblkEx, 1);
    EXPECT_THROW(memory.allocate(100), xercesc::OutOfMemoryException);
    EXPECT_NE(memory.allocate(100), nullptr);
    EXPECT_THROW(memory.allocate(2 << 20), xercesc::OutOfMemoryException) << "past its bound";
    EXPECT_THROW(memory.allocate(SIZE_MAX), xercesc::OutOfMemoryException);
    EXPECT_NE(memory.allocate(512 << 10), nullptr);
    EXPECT_THROW(memory.allocate(600 << 10), xercesc::OutOfMemoryException);
}

/* Memory that is not the pool's is missed all the same by who needs the whole policy. */
TEST_F(ParserFaults, AParserThatCannotBeMadeIsAShortage) {
    parseTree("<PolicyDocument/>");
    const sqlpiMemoryWatch watch;
    FailingGlobalMemory memory(1, faulty::Duration::forEver);
    int32_t status = 0;
    EXPECT_EQ(parseTree("<PolicyDocument/>", &status), nullptr);
    EXPECT_EQ(status, -1219);
    EXPECT_TRUE(watch.sawShortage());
}

TEST_F(ParserFaults, TheCallMemoryTakesWholeChunks) {
    sqlpi_mem_manager manager(nullptr);
    const int64_t before = kelhost::memoryTotal().bytes;
    sqlpi_call_memory memory(manager, 1 << 20);
    memory.allocate(8);
    EXPECT_EQ(kelhost::memoryTotal().bytes - before, int64_t{sqlpi_call_memory::defaultChunk});
}

/* Takes a block on every level. */
[[gnu::noinline]] size_t recurse(sqlpi_call_memory& memory, size_t levels) {
    volatile char frame[1024] = {};
    static_cast<void>(frame[0]);
    memory.allocate(8);
    return levels == 0 ? 0 : 1 + recurse(memory, levels - 1) + static_cast<size_t>(frame[1]);
}

TEST_F(ParserFaults, TheCallMemoryEndsARecursion) {
    sqlpi_mem_manager manager(nullptr);
    sqlpi_call_memory memory(manager, 1 << 20);
    EXPECT_EQ(recurse(memory, 100), 100U) << "no bound";
    memory.boundStack(32 << 10);
    EXPECT_EQ(recurse(memory, 10), 10U);
    EXPECT_FALSE(memory.passedStackBound());
    EXPECT_THROW(recurse(memory, 100), xercesc::OutOfMemoryException);
    EXPECT_TRUE(memory.passedStackBound());
    EXPECT_NE(memory.allocate(8), nullptr);
    EXPECT_TRUE(memory.passedStackBound()) << "it is remembered";
}

TEST_F(ParserFaults, TheCallMemoryServesEverySizeAndReusesWhatComesBack) {
    sqlpi_mem_manager manager(nullptr);
    sqlpi_call_memory memory(manager, 64 << 20);
    std::vector<std::pair<char*, size_t>> blocks;
    for (int round = 0; round < 3; ++round) {
        for (size_t size = 0; size < 3000; size += 7) {
            auto* block = static_cast<char*>(memory.allocate(size));
            ASSERT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(std::max_align_t), 0U);
            std::memset(block, static_cast<int>(size % 251), size);
            blocks.emplace_back(block, size);
        }
        for (const auto& [block, size] : blocks)
            for (size_t i = 0; i < size; ++i) ASSERT_EQ(static_cast<unsigned char>(block[i]), size % 251);
        if (round == 1) {
            const int64_t before = kelhost::memoryTotal().bytes;
            for (const auto& [block, size] : blocks) memory.deallocate(block);
            memory.deallocate(nullptr);
            EXPECT_LT(kelhost::memoryTotal().bytes, before) << "large blocks go back at once";
            blocks.clear();
        }
    }
    const int64_t held = kelhost::memoryTotal().bytes;
    for (int i = 0; i < 100000; ++i) memory.deallocate(memory.allocate(static_cast<size_t>(i) % 1024));
    EXPECT_LT(kelhost::memoryTotal().bytes - held, 64 << 10) << "small blocks are used again";
}

/* Fails at one allocation, counted from 1; 0: at none. */
class FailingCallMemory : public sqlpi_call_memory {
public:
    FailingCallMemory(xercesc::MemoryManager& source, int64_t call)
        : sqlpi_call_memory(source, size_t{64} << 20), left_(call) {}
    void* allocate(XMLSize_t size) override { return sqlpi_call_memory::allocate(--left_ == 0 ? SIZE_MAX : size); }
    bool hasFailed() const { return left_ <= 0; }

private:
    int64_t left_;
};

/* Works with memory that fails at the first, the second, ... allocation, until none is left; how many failed. */
template <class Work>
int64_t withEveryAllocationFailing(Work work) {
    sqlpi_mem_manager pool(nullptr);
    int64_t failed = 0;
    for (int64_t call = 1;; ++call) {
        FailingCallMemory memory(pool, call);
        try {
            work(memory);
        } catch (const xercesc::OutOfMemoryException&) {
            ++failed;
        } catch (const xercesc::SAXException&) {
            // what is wrong with the document
        }
        if (!memory.hasFailed()) return failed;
    }
}

const char* const documentsOfAllKinds[] = {
    "<PolicyDocument/>",
    "<!DOCTYPE PolicyDocument [<!ENTITY e 'x'><!ATTLIST And a CDATA '1'>]>"
    "<PolicyDocument xmlns='u'><And>&e;&amp;</And><!-- c --><?p i?></PolicyDocument>",
    "<!DOCTYPE PolicyDocument [<!ELEMENT a (b,(c|d)*)><!ENTITY % p ''><!NOTATION n SYSTEM 'n'>%p;<!ENTITY e '<b/>'>]>"
    "<PolicyDocument><a>&e;<c q='&lt;'/></a>&e;</PolicyDocument>",
    "<?xml version='1.1' encoding='UTF-8' standalone='yes'?><PolicyDocument><![CDATA[x]]></PolicyDocument>",
    "<?xml version='1.0' encoding='ISO-8859-1'?><PolicyDocument>\xE4</PolicyDocument>",
    "<!DOCTYPE PolicyDocument [<!ENTITY e SYSTEM 'x'>]><PolicyDocument>&e;</PolicyDocument>",
    "<PolicyDocument><a></b></PolicyDocument>",
    "<PolicyDocument a='1' a='2'>",
    "<?xml version='1.0' encoding='none'?><PolicyDocument/>",
    "<?xml version='1.0' encoding='GB18030'?><PolicyDocument>\x81\x30\x81\x30</PolicyDocument>",
};

/* As the policies' parser is made and ends: in the memory, and with it. */
TEST_F(ParserFaults, TheXmlLibrarySurvivesEveryAllocationThatFails) {
    for (const std::string_view text : documentsOfAllKinds) {
        const int64_t failed = withEveryAllocationFailing([&](sqlpi_call_memory& memory) {
            const sqlpiConverterLoans converters(memory);
            sqlpi_sax_handler handler;
            sqlpi_error_handler errors;
            auto& parser = *new (&memory) sqlpiBoundedParser<xercesc::SAXParser>(text.size(), nullptr, &memory);
            parser.useScanner(xercesc::XMLUni::fgDGXMLScanner);
            parser.setDocumentHandler(&handler);
            parser.setDTDHandler(&handler);
            parser.setErrorHandler(&errors);
            parser.setValidationScheme(xercesc::SAXParser::Val_Never);
            const sqlpi_document_source input(text, memory, u"p", &parser);
            parser.parse(input);
        });
        EXPECT_GT(failed, 100) << text;
    }
}

TEST_F(ParserFaults, TheXmlLibrarysTreeSurvivesEveryAllocationThatFails) {
    for (const std::string_view text : documentsOfAllKinds) {
        const int64_t failed = withEveryAllocationFailing([&](sqlpi_call_memory& memory) {
            const sqlpiConverterLoans converters(memory);
            xercesc::HandlerBase errors;
            auto& parser = *new (&memory) sqlpiBoundedParser<xercesc::XercesDOMParser>(text.size(), nullptr, &memory);
            parser.setDoNamespaces(true);
            parser.setDoSchema(true);
            parser.setErrorHandler(&errors);
            const sqlpi_document_source input(text, memory, u"p", &parser);
            xercesc::XMLPScanToken place;
            if (parser.parseFirst(input, place))
                while (parser.parseNext(place)) {
                }
        });
        EXPECT_GT(failed, 100) << text;
    }
}

/* A converter of an encoding that the XML library has from elsewhere is no memory of the call. */
TEST_F(ParserFaults, NoConverterIsLost) {
    const std::string declared = "<?xml version='1.0' encoding='GB18030'?>";
    const std::string whole = declared + inDocument("<Scope>\x81\x30\x81\x30</Scope>");
    const Tree tree = parseTree(whole);
    ASSERT_NE(tree, nullptr);
    EXPECT_EQ(outline(tree.get()), "1(16'\xC2\x80')");
    for (const std::string& text :
         {whole, declared + "<PolicyDocument><a></b>", declared + "<!DOCTYPE a [<!ENTITY % b ''>"}) {
        const auto parse = [&text](sqlpi_call_memory& memory) {
            const sqlpiConverterLoans converters(memory);
            sqlpi_sax_handler handler;
            xercesc::HandlerBase errors;
            auto& parser = *new (&memory) sqlpiBoundedParser<xercesc::SAXParser>(text.size(), nullptr, &memory);
            parser.setDocumentHandler(&handler);
            parser.setDTDHandler(&handler);
            parser.setErrorHandler(&errors);
            const sqlpi_document_source input(text, memory, u"p", &parser);
            xercesc::XMLPScanToken place;
            if (parser.parseFirst(input, place)) parser.parseNext(place);
        };
        EXPECT_GT(withEveryAllocationFailing(parse), 100) << text;
        const size_t before = mallinfo2().uordblks;
        withEveryAllocationFailing(parse);
        constexpr size_t fewConverters = 1000;
        EXPECT_LT(mallinfo2().uordblks, before + fewConverters) << text;
    }
}

/* The parser with memory in pieces so small that every one of its allocations is one of ours, and may fail. */
TEST_F(ParserFaults, TheXmlLibrarySurvivesEveryPieceThatIsMissing) {
    class Counting : public xercesc::MemoryManager {
    public:
        void* allocate(XMLSize_t size) override { return --left == 0 ? nullptr : real.allocate(size); }
        void deallocate(void* block) override { real.deallocate(block); }
        xercesc::MemoryManager* getExceptionMemoryManager() override { return real.getExceptionMemoryManager(); }
        sqlpi_mem_manager real{nullptr};
        int64_t left = 0;
    } source;
    int64_t survived = 0;
    for (int64_t call = 1; source.left <= 0; ++call) {
        source.left = call;
        sqlpi_call_memory memory(source, 64 << 20, 1);
        sqlpi_sax_handler handler;
        try {
            xercesc::SAXParser parser(nullptr, &memory, nullptr);
            parser.setDocumentHandler(&handler);
            const std::string text =
                "<!DOCTYPE PolicyDocument [<!ENTITY e 'x'><!ATTLIST And a CDATA '1'>]>"
                "<PolicyDocument xmlns='u'><And>&e;&amp;</And><!-- c --><?p i?></PolicyDocument>";
            const sqlpi_document_source input(text, memory);
            parser.parse(input);
        } catch (const xercesc::OutOfMemoryException&) {
            ++survived;
        }
    }
    EXPECT_GT(survived, 100);
}

}  // namespace
