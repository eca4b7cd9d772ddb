/* Memory of one XML parse. Internal. */
#ifndef SQLPI_PARSER_MEMORY_H
#define SQLPI_PARSER_MEMORY_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/framework/MemoryManager.hpp>

#include "document/sqlpiXmlBounds.h"
#include "memoryPool.h"

/* One block of `pool`, or null. */
void* sqlpi_alloc_mem_debug(SQLO_MEM_POOL* pool, unsigned long size) noexcept;
void sqlpi_free_mem_debug(void* block) noexcept;

/* The engine's pool as the XML library's kind of memory manager; gives null when there is no memory. */
class sqlpi_mem_manager : public xercesc::MemoryManager {
public:
    explicit sqlpi_mem_manager(SQLO_MEM_POOL* pool) noexcept : pool_(pool) {}

    void* allocate(XMLSize_t size) override;
    void deallocate(void* block) override;
    xercesc::MemoryManager* getExceptionMemoryManager() override;

private:
    SQLO_MEM_POOL* pool_;
};

/* What the parser is handed: memory in chunks from another manager, all given back by the destructor, whatever the
 * XML library forgets. When there is no memory, or the bound is passed, it throws the XML library's own out-of-memory
 * exception, because that library does not survive a null block. From then on what comes back is left as it is until
 * the end: where an allocation fails, that library may own an object twice, and end it twice.
 * Parsers are made in it and never destroyed, as some of that library's destructors allocate: a parser holds nothing
 * else. Used by one thread. */
class sqlpi_call_memory : public xercesc::MemoryManager {
public:
    static constexpr size_t defaultChunk = size_t{32} * 1024;

    /* `bound`: the most bytes it takes from `source`. */
    sqlpi_call_memory(xercesc::MemoryManager& source, size_t bound, size_t chunk = defaultChunk) noexcept
        : source_(source), bound_(bound), chunk_(chunk) {}
    ~sqlpi_call_memory() override;
    sqlpi_call_memory(const sqlpi_call_memory&) = delete;
    sqlpi_call_memory& operator=(const sqlpi_call_memory&) = delete;

    /* From now on it also throws where the stack has grown by `bound` bytes beyond the caller's frame: a library that
     * recurses over a document takes a block on each level. For a manager that only this thread uses. */
    [[gnu::noinline]] void boundStack(size_t bound) noexcept {
        lowestStack_ = reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) - bound;
    }
    bool passedStackBound() const noexcept { return passedStackBound_; }

    void* allocate(XMLSize_t size) override;
    void deallocate(void* block) override;
    xercesc::MemoryManager* getExceptionMemoryManager() override;

private:
    /* Stands before each block that was given out; keeps blocks aligned for any type. */
    struct alignas(std::max_align_t) Header {
        size_t size; /* bytes of the block behind it */
    };
    /* Stands before each piece of memory from the source. */
    struct alignas(std::max_align_t) Piece {
        Piece* previous;
        Piece* next;
        size_t size;
    };
    struct FreeBlock {
        FreeBlock* next;
    };

    static constexpr size_t granule = alignof(std::max_align_t);
    static constexpr size_t largestSmall = 1024; /* larger blocks are pieces of their own */

    [[noreturn]] void fail();
    Piece* take(size_t size);
    void giveBack(Piece* piece) noexcept;

    xercesc::MemoryManager& source_;
    size_t bound_;
    size_t chunk_;
    size_t taken_ = 0;
    uintptr_t lowestStack_ = 0; /* stacks grow downwards */
    bool passedStackBound_ = false;
    bool hasFailed_ = false;
    Piece* pieces_ = nullptr;
    char* free_ = nullptr; /* the unused rest of the newest chunk */
    size_t freeSize_ = 0;
    std::array<FreeBlock*, largestSmall / granule + 1> returned_{}; /* by size in granules */
};

/* A document in memory whose stream belongs to the call's memory: the XML library loses the stream when it runs out of
 * memory at the wrong moment. The document is neither copied nor freed. `watcher`, when there is one, is asked before
 * every piece of it. */
class sqlpi_document_source : public xercesc::MemBufInputSource {
public:
    static constexpr size_t piece = size_t{16} << 10;

    sqlpi_document_source(std::string_view document, sqlpi_call_memory& memory, const XMLCh* systemId = u"policyMB",
                          sqlpiReadWatcher* watcher = nullptr);
    xercesc::BinInputStream* makeStream() const override;

private:
    std::string_view document_;
    sqlpi_call_memory& memory_;
    sqlpiReadWatcher* watcher_;
};

#endif
