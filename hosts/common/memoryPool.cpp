// The default pool: blocks of a fast allocator, each with a head that remembers what the accounting needs when the
// block comes back.
#include "memoryPool.h"

#include <dlfcn.h>

#include <atomic>
#include <cstdlib>
#include <mutex>

#include "memoryAccounts.h"
#include "memoryCounts.h"

namespace {

struct alignas(alignof(max_align_t)) BlockHead {
    const char* tag;
    size_t size;  // as asked for
};

using Allocate = void* (*)(size_t);
using Release = void (*)(void*);

#ifdef KELHOST_PLAIN_HEAP

void* allocateRaw(size_t size) noexcept {
    return std::malloc(size);
}

void releaseRaw(void* block) noexcept {
    std::free(block);
}

#else

// mimalloc's shared library also defines malloc and free. Linked, it would replace the whole process's heap, and the
// engine's process is not ours to change: so it is loaded beside it. Without it the plain heap serves.
void* loadAndAllocate(size_t size);

constinit std::atomic<Allocate> allocate{&loadAndAllocate};
constinit std::atomic<Release> release{&std::free};

void* loadAndAllocate(size_t size) {
    static std::once_flag once;
    std::call_once(once, [] {
        void* library = ::dlopen("libmimalloc.so.2", RTLD_NOW | RTLD_LOCAL);
        void* fastAllocate = library == nullptr ? nullptr : ::dlsym(library, "mi_malloc");
        void* fastRelease = library == nullptr ? nullptr : ::dlsym(library, "mi_free");
        const bool complete = fastAllocate != nullptr && fastRelease != nullptr;
        if (complete) release.store(reinterpret_cast<Release>(fastRelease), std::memory_order_relaxed);
        allocate.store(complete ? reinterpret_cast<Allocate>(fastAllocate) : &std::malloc, std::memory_order_release);
    });
    return allocate.load(std::memory_order_acquire)(size);
}

void* allocateRaw(size_t size) noexcept {
    return allocate.load(std::memory_order_acquire)(size);
}

void releaseRaw(void* block) noexcept {
    release.load(std::memory_order_relaxed)(block);
}

#endif

void* takeBlock(size_t size, const char* tag) noexcept {
    if (size > PTRDIFF_MAX - sizeof(BlockHead)) return nullptr;
    auto* head = static_cast<BlockHead*>(allocateRaw(sizeof(BlockHead) + size));
    if (head == nullptr) return nullptr;
    *head = {tag, size};
    kelhost::countMemory(tag, 1, static_cast<int64_t>(size));
    return head + 1;
}

void giveBlock(void* block) noexcept {
    if (block == nullptr) return;
    BlockHead* head = static_cast<BlockHead*>(block) - 1;
    kelhost::countMemory(head->tag, -1, -static_cast<int64_t>(head->size));
    releaseRaw(head);
}

}  // namespace

void* sqlogmblkEx(SQLO_MEM_POOL* pool, size_t size, const char* tag, uint32_t /*line*/) {
    if (pool != nullptr) return nullptr;  // this host has the default pool only
    return takeBlock(size, tag);
}

void sqlofmblkEx(void* block, const char* /*tag*/, uint32_t /*line*/) {
    giveBlock(block);
}

void* _ossMemAlloc(size_t size) {
    return takeBlock(size, kelhost::plainAllocationTag);
}

void _ossMemFree(void* block) {
    giveBlock(block);
}
