// A test that misses a program is skipped, or fails where everything should be installed.
#include <gtest/gtest-spi.h>

#include <cstdlib>

#include "scenario.h"

namespace scenario {
namespace {

/* What a test would report that needs the program. */
std::string reportOf(const std::string& path, bool& goesOn) {
    ::testing::TestPartResultArray results;
    {
        ::testing::ScopedFakeTestPartResultReporter reporter(&results);
        goesOn = requireInstalled(path);
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
        const std::string report = reportOf("/nonexistent/program", goesOn);
        EXPECT_EQ(report.substr(0, report.find(':')), one.report) << report;
        EXPECT_NE(report.find("/nonexistent/program is not installed"), std::string::npos) << report;
        EXPECT_FALSE(goesOn);
        EXPECT_EQ(reportOf("/bin/sh", goesOn), "");
        EXPECT_TRUE(goesOn);
    }
    ::setenv("KELPOLICY_ALL_INSTALLED", kept.c_str(), 1);
}

}  // namespace
}  // namespace scenario
