/* A policy table that others made, whose rows hold more than a policy may have. */
#include "unit/configSupport.h"

namespace {

class PolicyLongRow : public config::ProceduresTest {
protected:
    PolicyLongRow() {
        services::administer("DROP TABLE SYSTOOLS.POLICY");
        services::administer(
            "CREATE TABLE SYSTOOLS.POLICY (MED VARCHAR(128), DECISION VARCHAR(128), NAME VARCHAR(128), "
            "UPDATE_TIME CHAR(26), POLICY BLOB)");
    }
};

TEST_F(PolicyLongRow, IsRefusedAndNotReadCut) {
    const std::string sound = services::document("");
    services::store(SQLPI_RUNSTATS_KEY, sound + std::string(SQLUDF_LARGEST_LOB - sound.size(), ' '));
    EXPECT_TRUE(config::getDocument("AUTO_RUNSTATS").isDone());
    services::store(SQLPI_RUNSTATS_KEY, sound + std::string(SQLUDF_LARGEST_LOB + 1 - sound.size(), ' '));
    const config::Outcome outcome = config::getDocument("AUTO_RUNSTATS");
    EXPECT_EQ(outcome.status, SQLPI_CONFIG_FAILED);
    EXPECT_EQ(outcome.sqlcode, -433);
    EXPECT_EQ(outcome.tokens, std::vector<std::string>{"POLICY"});
    EXPECT_EQ(outcome.document, "");
}

}  // namespace
