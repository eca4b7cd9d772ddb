/* The parser and the model when memory runs out or the engine is not there. */
#include <cstring>
#include <map>
#include <set>
#include <thread>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/parsers/SAXParser.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "balance.h"
#include "faulty.h"
#include "hostLogs.h"
#include "logs.h"
#include "sqlpiParserMemory.h"
#include "sqlpiPolicyParserHooks.h"
#include "trace.h"
#include "trees.h"

namespace {

using faulty::Duration;
using faulty::Service;
using kelhost::LogKind;
using LogEvent = kelhost::LogRecord::Event;

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

    kelhost::LogCapture logs;
};

TEST_F(ParserFaults, WithoutTheEngineNothingParses) {
    faulty::failCall(Service::isSharedLibInitSuccess, 1);
    int32_t status = 0;
    EXPECT_EQ(parseTree("<PolicyDocument/>", &status), nullptr);
    EXPECT_EQ(status, 3);
    EXPECT_EQ(faulty::calls(Service::anyMemory), 0U);
    EXPECT_TRUE(logs.records().empty());
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

/* The XML library's own memory, failing at one call. */
class FailingGlobalMemory : public xercesc::MemoryManager {
public:
    explicit FailingGlobalMemory(int call) : left_(call) { xercesc::XMLPlatformUtils::fgMemoryManager = this; }
    ~FailingGlobalMemory() override { xercesc::XMLPlatformUtils::fgMemoryManager = real_; }
    void* allocate(XMLSize_t size) override {
        if (--left_ == 0) throw xercesc::OutOfMemoryException();
        return real_->allocate(size);
    }
    void deallocate(void* block) override { real_->deallocate(block); }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return real_; }

private:
    xercesc::MemoryManager* real_ = xercesc::XMLPlatformUtils::fgMemoryManager;
    int left_;
};

TEST_F(ParserFaults, TheParserAndTheSourceComeFromTheXmlLibrarysMemory) {
    {
        const FailingGlobalMemory first(1);
        expectFailedCompanion(40);
    }
    std::set<uint32_t> probes;
    for (int call = 2; call < 20; ++call) {
        logs.clear();
        const FailingGlobalMemory memory(call);
        int32_t status = 0;
        const Tree tree = parseTree("<PolicyDocument/>", &status);
        EXPECT_TRUE(status == 0 || status == 3 || status == -1219) << status;
        EXPECT_EQ(tree != nullptr, status == 0);
        if (status == -1219) probes.insert(logs.records(LogKind::diagnostic).at(0).probe);
    }
    EXPECT_TRUE(probes.contains(70));
}

const char* const document =
    "<PolicyDocument><And>a<Or><Not/></Or>b<Scope>c</Scope></And><Nop/><kel:StatsProfiling "
    "profileGeneration='x'/></PolicyDocument>";
const char* const wholeOutline = "1(19'ab'(20(21) 16'c') 0 83)";

TEST_F(ParserFaults, EveryAllocationMayFailOnceOrForEver) {
    for (const Duration duration : {Duration::once, Duration::forEver}) {
        uint64_t call = 1;
        for (bool failed = true; failed; ++call) {
            SCOPED_TRACE(call);
            faulty::reset();
            logs.clear();
            faulty::failCall(Service::anyMemory, call, duration);
            int32_t status = 0;
            const Tree tree = parseTree(document, &status);
            failed = faulty::failures(Service::anyMemory) > 0;
            faulty::reset();
            ASSERT_TRUE(status == 0 || status == 3 || status == -1219) << status;
            if (status != 0) {
                ASSERT_EQ(tree, nullptr);
            }
            const bool whole = tree != nullptr && outline(tree.get()) == wholeOutline;
            if (!failed) {
                ASSERT_TRUE(whole);
            }
            const auto texts = logs.texts(LogKind::diagnostic);
            if (status == -1219) {
                ASSERT_EQ(texts, std::vector<std::string>{outOfMemory});
            }
        }
        EXPECT_GT(call, 20U) << "a parse makes at least so many allocations";
    }
}

TEST_F(ParserFaults, AnElementWithoutMemoryIsLeftOutAndItsSiblingsComeHigher) {
    std::set<std::string> outlines;
    for (uint64_t call = 1; call < 40; ++call) {
        faulty::reset();
        logs.clear();
        faulty::failCall(Service::sqlogmblkEx, call);
        const Tree tree = parseTree("<PolicyDocument>t<And><Or/><Scope>s</Scope></And><Not/></PolicyDocument>");
        faulty::reset();
        if (tree == nullptr) continue;
        const std::string shape = outline(tree.get());
        outlines.insert(shape);
        const auto texts = logs.texts(LogKind::diagnostic);
        const bool whole = shape == "1't'(19(20 16's') 21)";
        const bool onlyTextLost = shape == "1(19(20 16's') 21)" || shape == "1't'(19(20 16) 21)";
        EXPECT_EQ(texts.size(), whole || onlyTextLost ? 0U : 1U) << shape;
        if (!texts.empty()) {
            EXPECT_EQ(texts[0], outOfMemory);
        }
    }
    EXPECT_TRUE(outlines.contains("1't'(20 16's')"))
        << "without And: its children are the document's, and behind it nothing is";
    EXPECT_TRUE(outlines.contains("1't'(19 16's' 21)") || outlines.contains("1't'(19 16's')")) << "without Or";
    EXPECT_TRUE(outlines.contains("1't'(19(20 16's'))")) << "without Not";
    EXPECT_TRUE(outlines.contains("1(19(20 16's') 21)")) << "without the text";
}

TEST_F(ParserFaults, AttributesOfAFailedElementGoNowhere) {
    for (uint64_t call = 1; call < 30; ++call) {
        faulty::reset();
        faulty::failCall(Service::sqlogmblkEx, call);
        const Tree tree =
            parseTree("<PolicyDocument><kel:DBBackup><kel:TableReorg mode='offline'/></kel:DBBackup></PolicyDocument>");
        faulty::reset();
        if (tree == nullptr) continue;
        if (auto* action = dynamic_cast<SQLPIBackupAction*>(tree->findElement(tree.get(), SQLPI_ELEMENT_DB_BACKUP))) {
            EXPECT_EQ(action->mode, 2) << call;
        }
    }
}

TEST_F(ParserFaults, WithoutMemoryForTheRootThereIsNoTreeAndNoError) {
    uint64_t empty = 0;
    for (uint64_t call = 1; call < 40; ++call) {
        faulty::reset();
        faulty::failCall(Service::sqlogmblkEx, call);
        int32_t status = -1;
        const Tree tree = parseTree("<PolicyDocument><And>text</And></PolicyDocument>", &status);
        empty += tree == nullptr && status == 0;
    }
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

    sqlpi_call_memory memory(manager, 1 << 20);
    faulty::failCall(Service::sqlogmblkEx, 1);
    EXPECT_THROW(memory.allocate(100), xercesc::OutOfMemoryException);
    EXPECT_NE(memory.allocate(100), nullptr);
    EXPECT_THROW(memory.allocate(2 << 20), xercesc::OutOfMemoryException) << "past its bound";
    EXPECT_THROW(memory.allocate(SIZE_MAX), xercesc::OutOfMemoryException);
    EXPECT_NE(memory.allocate(512 << 10), nullptr);
    EXPECT_THROW(memory.allocate(600 << 10), xercesc::OutOfMemoryException);
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

/* The parser with memory in pieces so small that every one of its allocations is one of ours, and may fail. */
TEST_F(ParserFaults, TheXmlLibrarySurvivesEveryAllocationThatFails) {
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
        sqlpi_sax_handler handler(1000, 100);
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

/* --- trace -------------------------------------------------------------------------------------------------------- */

TEST_F(ParserFaults, TheTraceFollowsItsFlags) {
    for (uint32_t flags = 0; flags < 8; ++flags) {
        SCOPED_TRACE(flags);
        logs.clear();
        kelhost::setTraceFlags(flags);
        parseTree("<PolicyDocument><And>");
        kelhost::setTraceFlags(0);
        std::map<LogEvent, int> seen;
        for (const auto& record : logs.records(LogKind::trace)) {
            ++seen[record.event];
            if (record.event == LogEvent::exit) {
                EXPECT_EQ(record.code, 3);
            }
        }
        EXPECT_EQ(seen[LogEvent::entry], (flags & PDT_FLAG_ENTRY) != 0 ? 1 : 0);
        EXPECT_EQ(seen[LogEvent::exit], (flags & PDT_FLAG_EXIT) != 0 ? 1 : 0);
        EXPECT_EQ(seen[LogEvent::data], (flags & PDT_FLAG_DATA) != 0 ? 2 : 0);
    }
}

}  // namespace
