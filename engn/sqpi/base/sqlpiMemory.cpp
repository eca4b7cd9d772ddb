#include "base/sqlpiMemory.h"

namespace {
thread_local uint64_t shortages = 0;
}

void sqlpiNoteMemoryShortage() noexcept {
    ++shortages;
}

void* sqlpiTakeMemory(SQLO_MEM_POOL* pool, size_t size, const char* tag, uint32_t line) noexcept {
    void* const block = sqlogmblkEx(pool, size, tag, line);
    if (block == nullptr) sqlpiNoteMemoryShortage();
    return block;
}

void* sqlpiTakePlainMemory(size_t size) noexcept {
    void* const block = _ossMemAlloc(size);
    if (block == nullptr) sqlpiNoteMemoryShortage();
    return block;
}

sqlpiMemoryWatch::sqlpiMemoryWatch() noexcept : before_(shortages) {}

bool sqlpiMemoryWatch::sawShortage() const noexcept {
    return shortages != before_;
}
