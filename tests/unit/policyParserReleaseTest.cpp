/* What a parse takes from its engine: how much, under which tags, and in which order it goes back. */
#include <map>
#include <string>
#include <utility>
#include <vector>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "document/sqlpiParserMemory.h"
#include "memoryPool.h"
#include "parserSupport.h"

namespace {

/* The companions that were taken, by the order of taking, and given back. */
std::map<void*, std::string> taken;
std::vector<std::string> released;

void noteRelease(void* block) {
    const auto found = taken.find(block);
    if (found == taken.end()) return;
    released.push_back(found->second);
    taken.erase(found);
}

/* The XML library's own memory; the source is the first block of a source's size. */
class NotingGlobalMemory : public xercesc::MemoryManager {
public:
    NotingGlobalMemory() { xercesc::XMLPlatformUtils::fgMemoryManager = this; }
    ~NotingGlobalMemory() override { xercesc::XMLPlatformUtils::fgMemoryManager = real_; }
    void* allocate(XMLSize_t size) override {
        const auto* inForce = dynamic_cast<sqlpi_panic_handler*>(xercesc::XMLPlatformUtils::fgUserPanicHandler);
        EXPECT_EQ(inForce, nullptr) << "a parse does not install its panic handler";
        void* block = real_->allocate(size);
        if (size >= sizeof(sqlpi_document_source) && size <= sizeof(sqlpi_document_source) + 2 * sizeof(void*))
            taken.try_emplace(block, "source");
        return block;
    }
    void deallocate(void* block) override {
        noteRelease(block);
        real_->deallocate(block);
    }
    xercesc::MemoryManager* getExceptionMemoryManager() override { return real_; }

private:
    xercesc::MemoryManager* real_ = xercesc::XMLPlatformUtils::fgMemoryManager;
};

/* Blocks of the pool, by tag: taken and given back under it, and the bytes asked for. */
struct PoolCounts {
    int64_t taken = 0;
    int64_t given = 0;
    uint64_t bytes = 0;
};
std::map<std::string, PoolCounts> pool;
bool awaitsParser = false; /* it lives in the first block from the pool */

}  // namespace

// NOLINTBEGIN(bugprone-reserved-identifier): the linker's names
extern "C" {
void* __real__ossMemAlloc(size_t size);
void __real__ossMemFree(void* block);
void* __wrap__ossMemAlloc(size_t size);
void __wrap__ossMemFree(void* block);

void* __wrap__ossMemAlloc(size_t size) {
    static constexpr const char* names[] = {"memory manager", "panic handler", "document handler", "error handler"};
    static size_t count = 0;
    void* block = __real__ossMemAlloc(size);
    taken[block] = names[count++ % std::size(names)];
    return block;
}
void __wrap__ossMemFree(void* block) {
    noteRelease(block);
    __real__ossMemFree(block);
}

void* __real_sqlogmblkEx(SQLO_MEM_POOL* from, size_t size, const char* tag, uint32_t line);
void __real_sqlofmblkEx(void* block, const char* tag, uint32_t line);
void* __wrap_sqlogmblkEx(SQLO_MEM_POOL* from, size_t size, const char* tag, uint32_t line);
void __wrap_sqlofmblkEx(void* block, const char* tag, uint32_t line);

void* __wrap_sqlogmblkEx(SQLO_MEM_POOL* from, size_t size, const char* tag, uint32_t line) {
    ++pool[tag].taken;
    pool[tag].bytes += size;
    void* block = __real_sqlogmblkEx(from, size, tag, line);
    if (std::exchange(awaitsParser, false)) taken[block] = "parser";
    return block;
}
void __wrap_sqlofmblkEx(void* block, const char* tag, uint32_t line) {
    if (block != nullptr) ++pool[tag].given;
    noteRelease(block);
    __real_sqlofmblkEx(block, tag, line);
}
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class ParserRelease : public ParserTest {};

TEST_F(ParserRelease, CompanionsGoInTheirOrder) {
    for (const char* document :
         {"<PolicyDocument><And a='b'/>text</PolicyDocument>", "<PolicyDocument><And>", "<other/>"}) {
        SCOPED_TRACE(document);
        released.clear();
        awaitsParser = true;
        {
            const NotingGlobalMemory memory;
            parseTree(document);
        }
        EXPECT_EQ(released, (std::vector<std::string>{"error handler", "document handler", "parser", "memory manager",
                                                      "panic handler", "source"}));
        EXPECT_TRUE(taken.empty());
    }
}

TEST_F(ParserRelease, BlocksGoBackUnderTheTagTheyWereTakenWith) {
    parseTree("<PolicyDocument/>");
    pool.clear();
    {
        const Tree tree = parseTree(
            "<PolicyDocument>text<And>a<Or/>b</And><kel:StatsProfiling profileGeneration='x'/></PolicyDocument>");
        ASSERT_NE(tree, nullptr);
        tree->appendText("more");
        delete new SQLPIListElement;
        delete new SQLPIList;
        sqlpi_free_mem_debug(sqlpi_alloc_mem_debug(nullptr, 1));
    }
    std::vector<std::string> tags;
    for (const auto& [tag, counts] : pool) {
        tags.push_back(tag);
        EXPECT_GT(counts.taken, 1) << tag;
        EXPECT_EQ(counts.taken, counts.given) << tag;
    }
    EXPECT_EQ(tags, (std::vector<std::string>{"sqlpiPolicyBase", "sqlpiPolicyCommonParser", "sqlpiStatsProf"}));
}

/* Documents of every shape: eight times the document takes about eight times the memory. */
TEST_F(ParserRelease, WhatIsTakenGrowsWithTheDocument) {
    const struct {
        const char* name;
        std::string (*ofSize)(size_t);
    } shapes[] = {
        {"elements beside each other", [](size_t size) { return repeated("<And/>", size); }},
        {"elements in each other", [](size_t size) { return repeated("<And>", size) + repeated("</And>", size); }},
        {"one text", [](size_t size) { return std::string(100 * size, 't'); }},
        {"text in pieces", [](size_t size) { return repeated("text<And/>", size); }},
        {"text in pieces on every level",
         [](size_t size) { return repeated("a<And>", size) + repeated("</And>b", size); }},
        {"characters by number", [](size_t size) { return repeated("&#65;", 10 * size); }},
        {"attributes", [](size_t size) { return repeated("<kel:DBBackup mode='offline' other='x'/>", size); }},
        {"names", [](size_t size) {
             std::string names;
             for (size_t i = 0; i < size; ++i) names += "<e" + std::to_string(i) + "/>";
             return names;
         }}};
    for (const auto& shape : shapes) {
        const auto takenFor = [&shape](size_t size) {
            pool.clear();
            EXPECT_NE(parseTree(inDocument(shape.ofSize(size))), nullptr) << shape.name;
            PoolCounts sum;
            for (const auto& [tag, counts] : pool) {
                sum.taken += counts.taken;
                sum.bytes += counts.bytes;
            }
            return sum;
        };
        const PoolCounts small = takenFor(2000);
        const PoolCounts large = takenFor(16000);
        EXPECT_LE(large.taken, 9 * small.taken) << shape.name << ": blocks";
        EXPECT_LE(large.bytes, 16 * small.bytes) << shape.name << ": bytes; what doubles may just have done so";
    }
}

}  // namespace
