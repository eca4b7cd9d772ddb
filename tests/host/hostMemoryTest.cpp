// The memory contract: blocks and their accounting.
#include "memoryPool.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "memoryCounts.h"

namespace {

constexpr const char* tag = "hostMemoryTest";

kelhost::MemoryCounts inUse(const std::string& name) {
    const auto counts = kelhost::memoryInUse();
    const auto found = counts.find(name);
    return found == counts.end() ? kelhost::MemoryCounts{} : found->second;
}

TEST(HostMemory, BlocksOfEverySizeAreAlignedAndWritable) {
    for (size_t size : {size_t{0}, size_t{1}, size_t{7}, size_t{8}, size_t{16}, size_t{17}, size_t{1024},
                        size_t{100'000}, size_t{5} << 20U}) {
        void* block = sqlogmblkEx(nullptr, size, tag, __LINE__);
        ASSERT_NE(block, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(max_align_t), 0U) << size;
        std::memset(block, 0xA5, size);
        sqlofmblkEx(block, tag, __LINE__);

        void* plain = _ossMemAlloc(size);
        ASSERT_NE(plain, nullptr) << size;
        EXPECT_EQ(reinterpret_cast<uintptr_t>(plain) % alignof(max_align_t), 0U) << size;
        std::memset(plain, 0xA5, size);
        _ossMemFree(plain);
    }
}

TEST(HostMemory, ASizeThatCannotBeHadGivesNull) {
    for (size_t size : {SIZE_MAX, SIZE_MAX - 8, SIZE_MAX - 16, SIZE_MAX / 2, SIZE_MAX / 2 + 1}) {
        EXPECT_EQ(sqlogmblkEx(nullptr, size, tag, __LINE__), nullptr) << size;
        EXPECT_EQ(_ossMemAlloc(size), nullptr) << size;
    }
    EXPECT_EQ(inUse(tag).blocks, 0);
}

TEST(HostMemory, NullIsFreedWithoutEffect) {
    sqlofmblkEx(nullptr, tag, __LINE__);
    _ossMemFree(nullptr);
    EXPECT_EQ(inUse(tag).blocks, 0);
}

TEST(HostMemory, BlocksAndBytesAreCountedByTheTagThatAsked) {
    const int64_t before = kelhost::memoryTotal().allocations;
    void* first = sqlogmblkEx(nullptr, 100, tag, __LINE__);
    void* second = sqlogmblkEx(nullptr, 23, tag, __LINE__);
    void* other = sqlogmblkEx(nullptr, 5, "hostMemoryTest other", __LINE__);
    void* plain = _ossMemAlloc(7);
    EXPECT_EQ(inUse(tag).blocks, 2);
    EXPECT_EQ(inUse(tag).bytes, 123);
    EXPECT_EQ(inUse("hostMemoryTest other").bytes, 5);
    EXPECT_EQ(inUse(kelhost::plainAllocationTag).bytes, 7);
    EXPECT_NE(kelhost::describeMemoryInUse().find("2 blocks, 123 bytes by hostMemoryTest;"), std::string::npos)
        << kelhost::describeMemoryInUse();
    sqlofmblkEx(first, "hostMemoryTest another tag than the block's", __LINE__);
    EXPECT_EQ(inUse(tag).bytes, 23);
    sqlofmblkEx(second, tag, __LINE__);
    sqlofmblkEx(other, tag, __LINE__);
    _ossMemFree(plain);
    EXPECT_EQ(inUse(tag).blocks, 0);
    EXPECT_EQ(kelhost::describeMemoryInUse(), "");
    EXPECT_EQ(kelhost::memoryTotal().allocations, before + 4);
}

TEST(HostMemory, ABlockMayBeFreedByAnotherThreadAlsoAfterItsOwnHasEnded) {
    std::vector<void*> blocks(1000);
    std::thread taker([&] {
        for (size_t i = 0; i < blocks.size(); ++i) blocks[i] = sqlogmblkEx(nullptr, i, tag, __LINE__);
    });
    taker.join();
    EXPECT_EQ(inUse(tag).blocks, 1000);
    EXPECT_EQ(inUse(tag).bytes, 999 * 1000 / 2);
    std::thread giver([&] {
        for (void* block : blocks) sqlofmblkEx(block, tag, __LINE__);
    });
    giver.join();
    EXPECT_EQ(inUse(tag).blocks, 0);
    EXPECT_EQ(inUse(tag).bytes, 0);
}

TEST(HostMemory, ManyTagsAreToldApart) {
    static std::vector<std::string> tags;  // a tag lives as long as the process
    for (int i = 0; i < 300; ++i) tags.push_back("hostMemoryTest tag " + std::to_string(i));
    std::vector<void*> blocks;
    for (const std::string& name : tags) blocks.push_back(sqlogmblkEx(nullptr, 10, name.c_str(), __LINE__));
    for (const std::string& name : tags) EXPECT_EQ(inUse(name).blocks, 1) << name;
    for (void* block : blocks) sqlofmblkEx(block, tag, __LINE__);
    EXPECT_EQ(kelhost::describeMemoryInUse(), "");
}

TEST(HostMemory, EightThreadsAtOnceKeepTheBalance) {
    const int64_t before = kelhost::memoryTotal().allocations;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([] {
            for (int round = 0; round < 2000; ++round) {
                void* block = sqlogmblkEx(nullptr, static_cast<size_t>(round), tag, __LINE__);
                ASSERT_NE(block, nullptr);
                sqlofmblkEx(block, tag, __LINE__);
                if (round % 500 == 0) {
                    EXPECT_GE(kelhost::memoryTotal().allocations, 1);
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(kelhost::memoryTotal().allocations, before + 8 * 2000);
    EXPECT_EQ(kelhost::describeMemoryInUse(), "");
}

}  // namespace
