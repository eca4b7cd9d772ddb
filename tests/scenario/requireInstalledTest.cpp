// A test that misses a program is skipped, or fails where everything should be installed; one that misses a terminal is
// skipped.
#include <gtest/gtest-spi.h>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cstdlib>

#include "scenario.h"

namespace scenario {
namespace {

/* What a test would report that requires something. */
template <class Require>
std::string reportOf(Require require, bool& goesOn) {
    ::testing::TestPartResultArray results;
    {
        ::testing::ScopedFakeTestPartResultReporter reporter(&results);
        goesOn = require();
    }
    std::string report;
    for (int i = 0; i < results.size(); ++i) {
        const ::testing::TestPartResult& result = results.GetTestPartResult(i);
        report += result.fatally_failed() ? "failed: " : result.skipped() ? "skipped: " : "other: ";
        report += result.message();
    }
    return report;
}

TEST(RequireInstalled, saysWhatIsMissing) {
    const struct {
        const char* allInstalled; /* null: not set */
        std::string report;
    } cases[] = {
        {nullptr, "skipped"},
        {"", "skipped"},
        {"1", "failed"},
    };
    const char* const before = std::getenv("KELPOLICY_ALL_INSTALLED");
    const std::string kept = before == nullptr ? "" : before;
    for (const auto& one : cases) {
        one.allInstalled == nullptr ? ::unsetenv("KELPOLICY_ALL_INSTALLED")
                                    : ::setenv("KELPOLICY_ALL_INSTALLED", one.allInstalled, 1);
        bool goesOn = true;
        const std::string report = reportOf([] { return requireInstalled("/nonexistent/program"); }, goesOn);
        EXPECT_EQ(report.substr(0, report.find(':')), one.report) << report;
        EXPECT_NE(report.find("/nonexistent/program is not installed"), std::string::npos) << report;
        EXPECT_FALSE(goesOn);
        EXPECT_EQ(reportOf([] { return requireInstalled("/bin/sh"); }, goesOn), "");
        EXPECT_TRUE(goesOn);
    }
    ::setenv("KELPOLICY_ALL_INSTALLED", kept.c_str(), 1);
}

/* Takes /dev/pts from this process; false when it has no right to. */
bool hideTerminals() {
    return (::unshare(CLONE_NEWNS) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0) &&
           ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           ::mount("none", "/dev/pts", "tmpfs", 0, nullptr) == 0;
}

TEST(RequireTerminals, saysThatThereAreNone) {
    constexpr int noRight = 77;
    const auto inChild = [] {
        if (!hideTerminals()) ::_exit(noRight);
        ::setenv("KELPOLICY_ALL_INSTALLED", "1", 1);
        bool goesOn = true;
        const std::string report = reportOf(requireTerminals, goesOn);
        ::_exit(!goesOn && report.starts_with("skipped: there are no terminals: ") ? 0 : 1);
    };
    bool hasRight = true;
    const auto isRight = [&hasRight](int status) {
        hasRight = !WIFEXITED(status) || WEXITSTATUS(status) != noRight;
        return WIFEXITED(status) && (WEXITSTATUS(status) == 0 || !hasRight);
    };
    EXPECT_EXIT(inChild(), isRight, "");
    if (!hasRight) GTEST_SKIP() << "there is no right to hide /dev/pts";
}

}  // namespace
}  // namespace scenario
