/* Counting without contention: each thread counts for itself, who asks adds up. Internal. */
#ifndef KELHOST_MEMORY_ACCOUNTS_H
#define KELHOST_MEMORY_ACCOUNTS_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace kelhost {

/* Counters of one tag in one thread. One thread writes, any may read. A block freed by another thread than the one that
 * took it leaves one thread's counter above and the other's below zero; the sum is right. */
struct MemoryAccount {
    std::atomic<const char*> tag{nullptr};
    std::atomic<int64_t> blocks{0};
    std::atomic<int64_t> bytes{0};
    std::atomic<int64_t> allocations{0};

    void add(int64_t blockCount, int64_t byteCount) noexcept {
        increase(blocks, blockCount);
        increase(bytes, byteCount);
        if (blockCount > 0) increase(allocations, blockCount);
    }

private:
    static void increase(std::atomic<int64_t>& counter, int64_t by) noexcept {
        counter.store(counter.load(std::memory_order_relaxed) + by, std::memory_order_relaxed);
    }
};

/* One thread's accounts, found by the tag's address. */
struct MemoryAccounts {
    static constexpr size_t size = 128;  // power of two; the library uses about thirty tags

    std::array<MemoryAccount, size> accounts;
    MemoryAccounts* next = nullptr;
    MemoryAccounts* previous = nullptr;
};

extern thread_local constinit MemoryAccounts* accountsOfThread;

/* The thread's account of the tag when it has none at its usual place: looks on, or makes one. Null when there is no
 * room or the thread is ending. */
MemoryAccount* findMemoryAccount(const char* tag) noexcept;

/* Counts where the thread has no account. */
void countWithoutAccount(const char* tag, int64_t blocks, int64_t bytes) noexcept;

inline size_t memoryAccountPlace(const char* tag) noexcept {
    return (reinterpret_cast<uintptr_t>(tag) * 0x9E3779B97F4A7C15U) >> 57U;  // 7 bits: 0..127
}

inline void countMemory(const char* tag, int64_t blocks, int64_t bytes) noexcept {
    MemoryAccounts* own = accountsOfThread;
    if (own != nullptr) {
        MemoryAccount& account = own->accounts[memoryAccountPlace(tag)];
        if (account.tag.load(std::memory_order_relaxed) == tag) return account.add(blocks, bytes);
    }
    MemoryAccount* account = findMemoryAccount(tag);
    if (account != nullptr) return account->add(blocks, bytes);
    countWithoutAccount(tag, blocks, bytes);
}

}  // namespace kelhost

#endif
