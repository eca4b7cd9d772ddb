// The clock contract.
#include "clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>

namespace {

class HostClock : public ::testing::Test {
protected:
    void SetUp() override {
        const char* zone = std::getenv("TZ");
        if (zone != nullptr) before_ = zone;
        hadZone_ = zone != nullptr;
    }
    void TearDown() override {
        hadZone_ ? ::setenv("TZ", before_.c_str(), 1) : ::unsetenv("TZ");
        ::tzset();
    }
    static std::string local(const char* zone, int64_t seconds) {
        ::setenv("TZ", zone, 1);
        ::tzset();
        tm broken{};
        if (sqlo_localtime(&seconds, &broken) != 0) return "failed";
        char text[64] = "";
        std::strftime(text, sizeof text, "%Y-%m-%d-%H.%M.%S", &broken);
        return text;
    }

private:
    std::string before_;
    bool hadZone_ = false;
};

TEST_F(HostClock, BreaksDownInTheProcesssZone) {
    EXPECT_EQ(local("UTC", 0), "1970-01-01-00.00.00");
    EXPECT_EQ(local("UTC", -1), "1969-12-31-23.59.59");
    EXPECT_EQ(local("UTC", 1709251200), "2024-03-01-00.00.00");
    EXPECT_EQ(local("Europe/Berlin", 1711846799), "2024-03-31-01.59.59");
    EXPECT_EQ(local("Europe/Berlin", 1711846800), "2024-03-31-03.00.00");
    EXPECT_EQ(local("UTC", 4102444800), "2100-01-01-00.00.00");
}

TEST_F(HostClock, AYearThatDoesNotFitFailsWithAClearedResult) {
    for (int64_t seconds : {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min()}) {
        tm broken{};
        broken.tm_year = 7;
        broken.tm_hour = 7;
        EXPECT_EQ(sqlo_localtime(&seconds, &broken), -1);
        EXPECT_EQ(broken.tm_year, 0);
        EXPECT_EQ(broken.tm_hour, 0);
    }
}

}  // namespace
