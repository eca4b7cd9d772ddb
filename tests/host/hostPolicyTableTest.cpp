// The call-level contract: SYSINSTALLOBJECTS, and the policy table that it verifies and creates.
#include "host/callLevelClient.h"
#include "host/hostFixture.h"

namespace {

using hosttest::Client;
using hosttest::ContextTest;
using hosttest::lowerCase;
using hosttest::tokensOf;

class HostPolicyTable : public ContextTest {};

constexpr const char* allNames = "SELECT MED, DECISION, NAME FROM SYSTOOLS.POLICY ORDER BY MED, DECISION, NAME";

TEST_F(HostPolicyTable, AMissingTableFailsTheVerification) {
    Client client;
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(client.verifyPolicyTable(), SQL_ERROR);
        EXPECT_EQ(client.ca().sqlcode, -204);
        EXPECT_EQ(client.state(), "42704");
        EXPECT_NE(lowerCase(tokensOf(client.ca())).find("systools.policy"), std::string::npos) << tokensOf(client.ca());
    }
    EXPECT_EQ(client.run(allNames), SQL_ERROR) << "verifying creates nothing";
}

TEST_F(HostPolicyTable, CreatingStoresOneRowForEachOfTheFiveKeys) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS) << tokensOf(client.ca());
    EXPECT_EQ(client.verifyPolicyTable(), SQL_SUCCESS);
    EXPECT_EQ(client.ca().sqlcode, 0);
    EXPECT_EQ(client.rows(allNames),
              (std::vector<std::string>{"KELCommonMED|NOP|CommonPolicy",
                                        "KELDatabaseRecoveryMED|DBBackupDecision|DBBackupPolicy",
                                        "KELTableMaintenanceMED|StatsProfileDecision|StatsProfilePolicy",
                                        "KELTableMaintenanceMED|TableReorgDecision|TableReorgPolicy",
                                        "KELTableMaintenanceMED|TableRunstatsDecision|TableRunstatsPolicy"}));
    EXPECT_EQ(client
                  .rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE UPDATE_TIME > '2000-01-01-00.00.00.000000' AND "
                        "UPDATE_TIME <= CURRENT TIMESTAMP")
                  .size(),
              5U);
}

TEST_F(HostPolicyTable, TheCallIsReadWithoutRegardToCaseAndWhiteSpace) {
    Client client;
    for (const char* text :
         {"call SYSINSTALLOBJECTS('POLICY','C','','') ", "CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')",
          "Call sysproc . SysInstallObjects ( 'POLICY' , 'V' , '' , '' )",
          "\n CALL\tSYSINSTALLOBJECTS\n('POLICY','V','','')\n;",
          "CALL /* verify */ SYSINSTALLOBJECTS('POLICY','V','','') -- the table"}) {
        EXPECT_EQ(client.run(text), SQL_SUCCESS) << text;
        client.newStatement();
        EXPECT_EQ(SQLPrepare(client.stmt, hosttest::chars(text), SQL_NTS), SQL_SUCCESS) << text;
        EXPECT_EQ(SQLExecute(client.stmt), SQL_SUCCESS) << text;
        EXPECT_EQ(SQLExecute(client.stmt), SQL_SUCCESS) << text;
    }
}

TEST_F(HostPolicyTable, OtherArgumentsAreRefused) {
    Client client;
    for (const char* arguments : {"('OTHER','V','','')", "('POLICY','X','','')", "('POLICY','','','')",
                                  "('POLICY','C','TS','')", "('POLICY','C','','S')", "('policy','C','','')"}) {
        EXPECT_EQ(client.run(std::string("CALL SYSINSTALLOBJECTS") + arguments), SQL_ERROR) << arguments;
        EXPECT_EQ(client.ca().sqlcode, -171) << arguments;
    }
    for (const char* text : {"CALL SYSINSTALLOBJECTS('POLICY','C','')", "CALL SYSINSTALLOBJECTS('POLICY','C','','','')",
                             "CALL SYSINSTALLOBJECTS", "CALL SYSPROC.OTHER('POLICY','C','','')", "CALL"}) {
        EXPECT_EQ(client.run(text), SQL_ERROR) << text;
        EXPECT_LT(client.ca().sqlcode, 0) << text;
    }
    EXPECT_EQ(client.verifyPolicyTable(), SQL_ERROR) << "nothing was created";
}

TEST_F(HostPolicyTable, CreatingAgainLeavesTheRowsAsTheyAre) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    ASSERT_EQ(client.run("DELETE FROM SYSTOOLS.POLICY WHERE NAME='TableReorgPolicy'"), SQL_SUCCESS);
    ASSERT_EQ(client.run("UPDATE SYSTOOLS.POLICY SET POLICY='mine' WHERE NAME='DBBackupPolicy'"), SQL_SUCCESS);
    ASSERT_EQ(client.insert("extra", "<x/>"), SQL_SUCCESS);
    const auto before = client.rows("SELECT NAME, UPDATE_TIME FROM SYSTOOLS.POLICY ORDER BY NAME");
    EXPECT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    EXPECT_EQ(client.rows("SELECT NAME, UPDATE_TIME FROM SYSTOOLS.POLICY ORDER BY NAME"), before);
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE POLICY='mine'"),
              std::vector<std::string>{"DBBackupPolicy"});
}

TEST_F(HostPolicyTable, CreatingBelongsToTheUnitOfWork) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context().rollback();
    EXPECT_EQ(client.verifyPolicyTable(), SQL_ERROR);
    EXPECT_EQ(client.state(), "42704");
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context().commit();
    context().rollback();
    EXPECT_EQ(client.verifyPolicyTable(), SQL_SUCCESS);
}

TEST_F(HostPolicyTable, TheVerificationAsksTheDatabaseEachTime) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context().commit();
    EXPECT_EQ(client.verifyPolicyTable(), SQL_SUCCESS);
    context().commit();
    const auto other = makeContext();
    context().unbind();
    other->administer("DROP TABLE SYSTOOLS.POLICY");
    other->commit();
    context().bind();
    EXPECT_EQ(client.verifyPolicyTable(), SQL_ERROR) << "another unit of work has dropped it";
    EXPECT_EQ(client.state(), "42704");
}

TEST_F(HostPolicyTable, ATableOfAnotherShapeIsNeitherVerifiedNorReplaced) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context().administer("DROP TABLE SYSTOOLS.POLICY");
    context().administer("CREATE TABLE SYSTOOLS.POLICY (MED VARCHAR(128), DECISION VARCHAR(128))");
    ASSERT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY (MED) VALUES ('kept')"), SQL_SUCCESS);
    context().commit();
    EXPECT_EQ(client.verifyPolicyTable(), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -206);
    EXPECT_EQ(client.createPolicyTable(), SQL_ERROR);
    EXPECT_EQ(client.ca().sqlcode, -601);
    EXPECT_EQ(client.state(), "42710");
    EXPECT_EQ(client.rows("SELECT MED FROM SYSTOOLS.POLICY"), std::vector<std::string>{"kept"});
}

TEST_F(HostPolicyTable, NoColumnMayBeNull) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    const std::string row[] = {"'M'", "'D'", "'N'", "'2024-01-01-00.00.00.000000'", "'x'"};
    for (size_t null = 0; null < 5; ++null) {
        std::string values;
        for (size_t i = 0; i < 5; ++i) values += (i > 0 ? ", " : "") + (i == null ? "NULL" : row[i]);
        EXPECT_EQ(client.run("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES (" +
                             values + ")"),
                  SQL_ERROR)
            << values;
        EXPECT_EQ(client.state(), "23502") << values;
    }
}

}  // namespace
