/* Demands that a test gives back what it took from the engine's memory. */
#ifndef TESTS_UNIT_BALANCE_H
#define TESTS_UNIT_BALANCE_H

#include <gtest/gtest.h>

#include "memoryCounts.h"

class BalancedTest : public ::testing::Test {
public:
    // The base goes last, after the members of the test.
    ~BalancedTest() override {
        EXPECT_EQ(kelhost::memoryTotal().blocks, before_) << "left over: " << kelhost::describeMemoryInUse();
    }

private:
    int64_t before_ = kelhost::memoryTotal().blocks;
};

#endif
