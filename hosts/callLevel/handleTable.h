/* Handles that may be checked at any time: a handle names a place and the use it was made for, so one that was freed,
 * or never was one, is told from one that is open. Internal. */
#ifndef KELHOST_HANDLE_TABLE_H
#define KELHOST_HANDLE_TABLE_H

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include "forkSafe.h"

namespace kelhost {

inline constinit std::mutex handleTablesGuard;
inline const int areHandleTablesKept = keepAcrossForks<handleTablesGuard>();

/* `Kind` is 1..15 and differs between tables. Objects are default-constructed once and reused; the owner clears them.
 * Every function may be called by any thread; an object is used by one thread at a time. */
template <class Object, unsigned Kind>
class HandleTable {
public:
    /* A new handle and its object. Throws std::bad_alloc; the handle is null when the table is full. */
    void* open(Object*& object) {
        const std::lock_guard lock(handleTablesGuard);
        uint32_t index = freeSlot_;
        if (index != none) {
            freeSlot_ = slot(index).nextFree;
        } else {
            if (used_ == chunkSize * chunkCount) return nullptr;
            if (used_ % chunkSize == 0) chunks_[used_ / chunkSize].store(new Chunk, std::memory_order_release);
            index = used_++;
        }
        Slot& place = slot(index);
        const uint64_t use = place.use.load(std::memory_order_relaxed) + 1;  // odd: open
        place.use.store(use, std::memory_order_release);
        open_.fetch_add(1, std::memory_order_relaxed);
        object = &place.object;
        return toHandle(use, index);
    }

    /* The object of an open handle, else null. */
    Object* find(const void* handle) noexcept {
        const auto value = reinterpret_cast<uintptr_t>(handle);
        const auto index = static_cast<uint32_t>(value >> kindBits) & (chunkSize * chunkCount - 1);
        const uint64_t use = value >> (kindBits + indexBits);
        if ((value & kindMask) != Kind || use % 2 == 0) return nullptr;
        Chunk* chunk = chunks_[index / chunkSize].load(std::memory_order_acquire);
        if (chunk == nullptr) return nullptr;
        Slot& place = chunk->at(index % chunkSize);
        return (place.use.load(std::memory_order_acquire) & useMask) == use ? &place.object : nullptr;
    }

    /* Makes an open handle invalid. False when it was not open. */
    bool close(const void* handle) noexcept {
        if (find(handle) == nullptr) return false;
        const std::lock_guard lock(handleTablesGuard);
        const auto index =
            static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle) >> kindBits) & (chunkSize * chunkCount - 1);
        Slot& place = slot(index);
        place.use.store(place.use.load(std::memory_order_relaxed) + 1, std::memory_order_release);
        place.nextFree = freeSlot_;
        freeSlot_ = index;
        open_.fetch_sub(1, std::memory_order_relaxed);
        return true;
    }

    int64_t openCount() const noexcept { return open_.load(std::memory_order_relaxed); }

private:
    static constexpr unsigned kindBits = 4;
    static constexpr unsigned indexBits = 20;
    static constexpr uintptr_t kindMask = (uintptr_t{1} << kindBits) - 1;
    static constexpr uint64_t useMask = (uint64_t{1} << (64U - kindBits - indexBits)) - 1;
    static constexpr uint32_t chunkSize = 256;
    static constexpr uint32_t chunkCount = 4096;
    static constexpr uint32_t none = UINT32_MAX;
    static_assert(sizeof(void*) == 8, "a handle holds kind, place and use");
    static_assert(chunkSize * chunkCount == 1U << indexBits);
    static_assert(Kind > 0 && Kind <= kindMask);

    struct Slot {
        std::atomic<uint64_t> use{0};
        uint32_t nextFree = none;
        Object object{};
    };
    using Chunk = std::array<Slot, chunkSize>;

    static void* toHandle(uint64_t use, uint32_t index) noexcept {
        // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is a number, never followed as an address
        return reinterpret_cast<void*>(((use & useMask) << (kindBits + indexBits)) | (uintptr_t{index} << kindBits) |
                                       Kind);
    }

    Slot& slot(uint32_t index) noexcept {
        return chunks_[index / chunkSize].load(std::memory_order_relaxed)->at(index % chunkSize);
    }

    std::array<std::atomic<Chunk*>, chunkCount> chunks_{};
    uint32_t used_ = 0;
    uint32_t freeSlot_ = none;
    std::atomic<int64_t> open_{0};
};

}  // namespace kelhost

#endif
