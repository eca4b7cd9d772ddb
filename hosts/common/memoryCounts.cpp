#include "memoryCounts.h"

#include <mutex>
#include <new>

#include "forkSafe.h"
#include "memoryAccounts.h"

namespace kelhost {

constinit thread_local MemoryAccounts* accountsOfThread = nullptr;

namespace {

constexpr size_t mostTags = 512;

struct Totals {
    const char* tag = nullptr;
    int64_t blocks = 0;
    int64_t bytes = 0;
    int64_t allocations = 0;
};

// Counting must work while other static objects are constructed and destroyed, and must not allocate from the pool it
// counts: plain data with static storage.
constinit std::mutex guard;
const int isKept = keepAcrossForks<guard>();
constinit MemoryAccounts* firstThread = nullptr;
constinit Totals endedThreads[mostTags] = {};
constinit Totals untagged = {"(other tags)", 0, 0, 0};

Totals& totalsOf(const char* tag) noexcept {
    for (Totals& totals : endedThreads) {
        if (totals.tag == nullptr) totals.tag = tag;
        if (totals.tag == tag) return totals;
    }
    return untagged;
}

void addTo(Totals& totals, const MemoryAccount& account) noexcept {
    totals.blocks += account.blocks.load(std::memory_order_relaxed);
    totals.bytes += account.bytes.load(std::memory_order_relaxed);
    totals.allocations += account.allocations.load(std::memory_order_relaxed);
}

// Moves the thread's counts to the ended threads' when the thread ends.
class ThreadEnd {
public:
    ThreadEnd() = default;
    ThreadEnd(const ThreadEnd&) = delete;
    ThreadEnd& operator=(const ThreadEnd&) = delete;
    ~ThreadEnd() {
        MemoryAccounts* own = accountsOfThread;
        ended = true;
        accountsOfThread = nullptr;
        if (own == nullptr) return;
        {
            const std::lock_guard lock(guard);
            for (const MemoryAccount& account : own->accounts) {
                const char* tag = account.tag.load(std::memory_order_relaxed);
                if (tag != nullptr) addTo(totalsOf(tag), account);
            }
            if (own->previous != nullptr) own->previous->next = own->next;
            if (own->next != nullptr) own->next->previous = own->previous;
            if (firstThread == own) firstThread = own->next;
        }
        delete own;
    }
    void arm() noexcept {}

    static constinit thread_local bool ended;
};
constinit thread_local bool ThreadEnd::ended = false;
thread_local ThreadEnd threadEnd;

MemoryAccounts* openAccounts() noexcept {
    if (ThreadEnd::ended) return nullptr;
    auto* own = new (std::nothrow) MemoryAccounts;
    if (own == nullptr) return nullptr;
    threadEnd.arm();
    const std::lock_guard lock(guard);
    own->next = firstThread;
    if (firstThread != nullptr) firstThread->previous = own;
    firstThread = own;
    accountsOfThread = own;
    return own;
}

template <class Visit>
void visitAll(Visit visit) {
    const std::lock_guard lock(guard);
    for (const Totals& totals : endedThreads) {
        if (totals.tag != nullptr) visit(totals);
    }
    visit(untagged);
    for (const MemoryAccounts* thread = firstThread; thread != nullptr; thread = thread->next) {
        for (const MemoryAccount& account : thread->accounts) {
            const char* tag = account.tag.load(std::memory_order_acquire);
            if (tag == nullptr) continue;
            Totals totals{tag, 0, 0, 0};
            addTo(totals, account);
            visit(totals);
        }
    }
}

}  // namespace

MemoryAccount* findMemoryAccount(const char* tag) noexcept {
    MemoryAccounts* own = accountsOfThread;
    if (own == nullptr) own = openAccounts();
    if (own == nullptr) return nullptr;
    for (size_t step = 0; step < MemoryAccounts::size; ++step) {
        MemoryAccount& account = own->accounts[(memoryAccountPlace(tag) + step) % MemoryAccounts::size];
        const char* owner = account.tag.load(std::memory_order_relaxed);
        if (owner == nullptr) account.tag.store(tag, std::memory_order_release);
        if (owner == nullptr || owner == tag) return &account;
    }
    return nullptr;
}

void countWithoutAccount(const char* tag, int64_t blocks, int64_t bytes) noexcept {
    const std::lock_guard lock(guard);
    Totals& totals = totalsOf(tag);
    totals.blocks += blocks;
    totals.bytes += bytes;
    if (blocks > 0) totals.allocations += blocks;
}

std::map<std::string, MemoryCounts> memoryInUse() {
    std::map<std::string, MemoryCounts> counts;
    visitAll([&](const Totals& totals) {
        MemoryCounts& sum = counts[totals.tag];
        sum.blocks += totals.blocks;
        sum.bytes += totals.bytes;
        sum.allocations += totals.allocations;
    });
    std::erase_if(counts, [](const auto& entry) { return entry.second.blocks == 0 && entry.second.bytes == 0; });
    return counts;
}

MemoryCounts memoryTotal() {
    MemoryCounts sum;
    visitAll([&](const Totals& totals) {
        sum.blocks += totals.blocks;
        sum.bytes += totals.bytes;
        sum.allocations += totals.allocations;
    });
    return sum;
}

std::string describeMemoryInUse() {
    std::string text;
    for (const auto& [tag, counts] : memoryInUse()) {
        if (!text.empty()) text += "; ";
        text += std::to_string(counts.blocks) + " blocks, " + std::to_string(counts.bytes) + " bytes by " + tag;
    }
    return text;
}

}  // namespace kelhost
