/* In which order a parse gives back what it is made of. */
#include <map>
#include <string>
#include <vector>
#include <xercesc/framework/MemoryManager.hpp>
#include <xercesc/util/PlatformUtils.hpp>

#include "memoryPool.h"
#include "parserSupport.h"
#include "sqlpiParserMemory.h"

namespace {

/* What was taken, by the order of taking, and what was given back. */
std::map<void*, std::string> taken;
std::vector<std::string> released;

void noteRelease(void* block) {
    const auto found = taken.find(block);
    if (found == taken.end()) return;
    released.push_back(found->second);
    taken.erase(found);
}

/* The XML library's own memory; the parser is the first block, the source the first of a source's size. */
class NotingGlobalMemory : public xercesc::MemoryManager {
public:
    NotingGlobalMemory() { xercesc::XMLPlatformUtils::fgMemoryManager = this; }
    ~NotingGlobalMemory() override { xercesc::XMLPlatformUtils::fgMemoryManager = real_; }
    void* allocate(XMLSize_t size) override {
        void* block = real_->allocate(size);
        if (!parserTaken_) taken[block] = "parser";
        parserTaken_ = true;
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
    bool parserTaken_ = false;
};

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
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

class ParserRelease : public ParserTest {};

TEST_F(ParserRelease, CompanionsGoInTheirOrder) {
    for (const char* document :
         {"<PolicyDocument><And a='b'/>text</PolicyDocument>", "<PolicyDocument><And>", "<other/>"}) {
        SCOPED_TRACE(document);
        released.clear();
        {
            const NotingGlobalMemory memory;
            parseTree(document);
        }
        EXPECT_EQ(released, (std::vector<std::string>{"error handler", "document handler", "parser", "memory manager",
                                                      "panic handler", "source"}));
        EXPECT_TRUE(taken.empty());
    }
}

}  // namespace
