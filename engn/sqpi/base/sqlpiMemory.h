/* The engine's memory, and a note of each time that there was none. Internal.
 *
 * Where a policy is read, that for which there is no memory is left out and the rest is read on. Who must have the
 * whole watches for shortages meanwhile. */
#ifndef SQLPI_MEMORY_H
#define SQLPI_MEMORY_H

#include <cstddef>
#include <cstdint>

#include "memoryPool.h"

/* A block of `size` bytes of the pool (null: the default pool), or null when there is no memory, which is noted. `tag`
 * names the source file. */
void* sqlpiTakeMemory(SQLO_MEM_POOL* pool, size_t size, const char* tag, uint32_t line) noexcept;

/* The same from the engine's plain allocation. */
void* sqlpiTakePlainMemory(size_t size) noexcept;

/* Notes that memory ran out elsewhere. */
void sqlpiNoteMemoryShortage() noexcept;

/* Whether memory ran out on this thread since the watch began. */
class sqlpiMemoryWatch {
public:
    sqlpiMemoryWatch() noexcept;
    bool sawShortage() const noexcept;

private:
    uint64_t before_;
};

#endif
