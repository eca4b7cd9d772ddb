// The engine-state contract.
#include "engineState.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"

namespace {

class HostEngineState : public hosttest::ContextTest {};

TEST_F(HostEngineState, TheLibrariesAreLoaded) {
    EXPECT_EQ(isSharedLibInitSuccess(), 1);
}

TEST_F(HostEngineState, OneTimeInitialisationMayBeAskedForByAllThreads) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back(ossOneTimeOnly);
    for (std::thread& thread : threads) thread.join();
    ossOneTimeOnly();
}

TEST_F(HostEngineState, TheDefaultBackupPathIsBelowTheInstance) {
    char path[2048] = "?";
    sqlca ca{};
    sqlpiGetDefaultAutoBackupPath(path, sizeof path, &ca);
    EXPECT_EQ(ca.sqlcode, 0);
    EXPECT_EQ(path, instancePath() + "/backup");
    EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(HostEngineState, APathThatDoesNotFitIsAFailureNotACutPath) {
    std::vector<char> path(instancePath().size() + 7, '?');
    sqlca ca{};
    sqlpiGetDefaultAutoBackupPath(path.data(), static_cast<int32_t>(path.size()), &ca);
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_EQ(path[0], '\0');
    char untouched = '?';
    sqlpiGetDefaultAutoBackupPath(&untouched, 0, &ca);
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_EQ(untouched, '?');
    sqlpiGetDefaultAutoBackupPath(&untouched, -5, &ca);
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_EQ(untouched, '?');
}

TEST_F(HostEngineState, WithoutAContextTheBackupPathIsUnknown) {
    context().unbind();
    char path[2048] = "?";
    sqlca ca{};
    sqlpiGetDefaultAutoBackupPath(path, sizeof path, &ca);
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_EQ(hosttest::stateOf(ca), "08003");
    EXPECT_STREQ(path, "");
}

}  // namespace
