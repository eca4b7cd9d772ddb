// The call-level contract: handles, and joining the thread's unit of work.
#include <thread>

#include "host/callLevelClient.h"
#include "host/hostFixture.h"

namespace {

using hosttest::chars;
using hosttest::Client;
using hosttest::connectToContext;
using hosttest::ContextTest;
using hosttest::HostContext;
using hosttest::stateOf;
using hosttest::tokensOf;

class HostCallLevel : public ContextTest {};

std::string stateOfConnection(SQLHENV env, SQLHDBC dbc) {
    sqlca ca{};
    EXPECT_EQ(SQLGetSQLCA(env, dbc, SQL_NULL_HSTMT, &ca), SQL_SUCCESS);
    return stateOf(ca);
}

TEST_F(HostCallLevel, WithoutAContextNothingIsConnected) {
    context().unbind();
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_SUCCESS);
    EXPECT_EQ(connectToContext(dbc), SQL_ERROR);
    sqlca ca{};
    EXPECT_EQ(SQLGetSQLCA(env, dbc, SQL_NULL_HSTMT, &ca), SQL_SUCCESS);
    EXPECT_EQ(stateOf(ca), "08003");
    EXPECT_LT(ca.sqlcode, 0);
    EXPECT_NE(tokensOf(ca).find("context"), std::string::npos) << tokensOf(ca);
    SQLHSTMT stmt = dbc;
    EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt), SQL_ERROR);
    EXPECT_EQ(stmt, nullptr);
    EXPECT_EQ(SQLDisconnect(dbc), SQL_ERROR);
    EXPECT_EQ(stateOfConnection(env, dbc), "08003");
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_SUCCESS);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, env), SQL_SUCCESS);
}

TEST_F(HostCallLevel, AContextBelongsToItsThread) {
    std::thread([] {
        SQLHENV env = SQL_NULL_HENV;
        SQLHDBC dbc = SQL_NULL_HDBC;
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_SUCCESS);
        EXPECT_EQ(connectToContext(dbc), SQL_ERROR);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_SUCCESS);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, env), SQL_SUCCESS);
    }).join();
}

TEST_F(HostCallLevel, OnlyTheContextsDatabaseCanBeConnectedTo) {
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_SUCCESS);
    EXPECT_EQ(SQLConnect(dbc, chars("OTHER"), SQL_NTS, nullptr, SQL_NTS, nullptr, SQL_NTS), SQL_ERROR);
    EXPECT_EQ(stateOfConnection(env, dbc), "08001");
    EXPECT_EQ(SQLConnect(dbc, nullptr, SQL_NTS, chars("user"), 4, nullptr, SQL_NTS), SQL_ERROR);
    EXPECT_EQ(SQLConnect(dbc, chars(""), SQL_NTS, chars("x"), 0, nullptr, 0), SQL_SUCCESS) << "empty names";
    EXPECT_EQ(connectToContext(dbc), SQL_ERROR) << "it is open already";
    EXPECT_EQ(stateOfConnection(env, dbc), "08002");
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_ERROR) << "it is still open";
    EXPECT_EQ(stateOfConnection(env, dbc), "HY010");
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, env), SQL_ERROR) << "it still has a connection";
    EXPECT_EQ(SQLDisconnect(dbc), SQL_SUCCESS);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_SUCCESS);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, env), SQL_SUCCESS);
}

TEST_F(HostCallLevel, JoiningAndLeavingNeitherCommitsNorRollsBack) {
    Client outer;
    ASSERT_EQ(outer.createPolicyTable(), SQL_SUCCESS);
    context().commit();
    {
        Client inner;
        ASSERT_EQ(inner.insert("inner", "<x/>"), SQL_SUCCESS);
    }
    EXPECT_EQ(outer.document("inner"), "<x/>") << "leaving rolled back";
    const auto other = makeContext();
    context().unbind();
    other->bind();
    {
        Client stranger;
        EXPECT_EQ(stranger.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'").size(), 0U) << "leaving committed";
    }
    other->unbind();
    context().bind();
    context().rollback();
    EXPECT_EQ(outer.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'").size(), 0U);
}

TEST_F(HostCallLevel, CommitAndRollbackBelongToTheContext) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    ASSERT_EQ(client.insert("kept", "<x/>"), SQL_SUCCESS);
    context().commit();
    ASSERT_EQ(client.insert("dropped", "<x/>"), SQL_SUCCESS);
    context().rollback();
    EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE MED='M'"), std::vector<std::string>{"kept"});
    context().commit();
    context().rollback();
    for (const char* text : {"COMMIT", "commit work", "ROLLBACK", " rollback", "BEGIN", "START TRANSACTION", "END"}) {
        ASSERT_EQ(client.insert("mine", "<x/>"), SQL_SUCCESS);
        EXPECT_EQ(client.run(text), SQL_ERROR) << text;
        EXPECT_EQ(client.state(), "2D000") << text;
        context().rollback();
        EXPECT_EQ(client.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE NAME='mine'").size(), 0U) << text;
    }
}

TEST_F(HostCallLevel, TheUnitOfWorkMayBeJoinedSeveralTimes) {
    Client first;
    ASSERT_EQ(first.createPolicyTable(), SQL_SUCCESS);
    Client second;
    ASSERT_EQ(second.insert("shared", "<x/>"), SQL_SUCCESS);
    {
        Client third;
        EXPECT_EQ(third.document("shared"), "<x/>");
    }
    EXPECT_EQ(first.document("shared"), "<x/>");
}

TEST_F(HostCallLevel, AutomaticCommitTurnedOffInsideIsRememberedAndChangesNothingOutside) {
    Client outer;
    ASSERT_EQ(outer.createPolicyTable(), SQL_SUCCESS);
    context().commit();
    SQLHDBC dbc = SQL_NULL_HDBC;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, outer.env, &dbc), SQL_SUCCESS);
    const auto automaticCommit = [](SQLHDBC handle) {
        SQLUINTEGER value = 77;
        EXPECT_EQ(SQLGetConnectAttr(handle, SQL_ATTR_AUTOCOMMIT, &value, sizeof value, nullptr), SQL_SUCCESS);
        return value;
    };
    EXPECT_EQ(automaticCommit(dbc), SQLUINTEGER{SQL_AUTOCOMMIT_ON});
    EXPECT_EQ(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, nullptr, 0), SQL_SUCCESS) << "before connecting";
    EXPECT_EQ(connectToContext(dbc), SQL_SUCCESS);
    EXPECT_EQ(automaticCommit(dbc), SQLUINTEGER{SQL_AUTOCOMMIT_OFF});
    EXPECT_EQ(automaticCommit(outer.dbc), SQLUINTEGER{SQL_AUTOCOMMIT_ON});
    ASSERT_EQ(outer.insert("outer", "<x/>"), SQL_SUCCESS);
    EXPECT_EQ(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(SQL_AUTOCOMMIT_ON), 0),
              SQL_SUCCESS)
        << "turning it on commits nothing that belongs to the context";
    EXPECT_EQ(SQLDisconnect(dbc), SQL_SUCCESS);
    context().rollback();
    EXPECT_EQ(outer.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE NAME='outer'").size(), 0U);
    EXPECT_EQ(SQLSetConnectAttr(dbc, SQL_ATTR_AUTOCOMMIT, reinterpret_cast<SQLPOINTER>(7), 0), SQL_ERROR);
    EXPECT_EQ(stateOfConnection(outer.env, dbc), "HY024");
    EXPECT_EQ(SQLSetConnectAttr(dbc, SQL_ATTR_LOGIN_TIMEOUT, nullptr, 0), SQL_ERROR);
    EXPECT_EQ(stateOfConnection(outer.env, dbc), "HYC00");
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_SUCCESS);
}

TEST_F(HostCallLevel, HandlesThatAreNoneAreRefusedByEveryFunction) {
    Client client;
    SQLHSTMT freed = SQL_NULL_HSTMT;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, client.dbc, &freed), SQL_SUCCESS);
    ASSERT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, freed), SQL_SUCCESS);
    int local = 0;
    const std::vector<SQLHANDLE> none = {SQL_NULL_HANDLE,
                                         freed,
                                         &local,
                                         client.env,
                                         reinterpret_cast<SQLHANDLE>(uintptr_t{1}),
                                         reinterpret_cast<SQLHANDLE>(uintptr_t{3}),
                                         reinterpret_cast<SQLHANDLE>(~uintptr_t{0}),
                                         reinterpret_cast<SQLHANDLE>(0x7F3)};
    for (const SQLHANDLE handle : none) {
        SQLHANDLE out = SQL_NULL_HANDLE;
        SQLSMALLINT small = 0;
        SQLLEN length = 0;
        char buffer[8] = "";
        sqlca ca{};
        EXPECT_EQ(SQLPrepare(handle, chars("SELECT 1"), SQL_NTS), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLExecute(handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLExecDirect(handle, chars("SELECT 1"), SQL_NTS), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLBindParameter(handle, 1, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_VARCHAR, 1, 0, buffer, 1, &length),
                  SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLBindFileToParam(handle, 1, SQL_LONGVARBINARY, nullptr, nullptr, nullptr, 1, nullptr),
                  SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLFetch(handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLGetData(handle, 1, SQL_C_CHAR, buffer, sizeof buffer, &length), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLNumResultCols(handle, &small), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLRowCount(handle, &length), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLCloseCursor(handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(connectToContext(handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLDisconnect(handle), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLSetConnectAttr(handle, SQL_ATTR_AUTOCOMMIT, nullptr, 0), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, handle, &out), SQL_INVALID_HANDLE);
        if (handle == client.env) continue;
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, handle, &out), SQL_INVALID_HANDLE);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, handle), SQL_INVALID_HANDLE);
        if (handle == SQL_NULL_HANDLE) continue;
        EXPECT_EQ(SQLGetSQLCA(client.env, client.dbc, handle, &ca), SQL_INVALID_HANDLE);
        EXPECT_EQ(ca.sqlcode, -99999);
        EXPECT_EQ(stateOf(ca), "58005");
        EXPECT_EQ(SQLGetSQLCA(handle, SQL_NULL_HDBC, SQL_NULL_HSTMT, &ca), SQL_INVALID_HANDLE);
    }
    EXPECT_EQ(SQLFreeHandle(77, client.stmt), SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, nullptr), SQL_ERROR);
    SQLHANDLE out = client.env;
    EXPECT_EQ(SQLAllocHandle(77, client.env, &out), SQL_ERROR);
    EXPECT_EQ(out, nullptr);
}

TEST_F(HostCallLevel, TheOutcomeIsThatOfTheMostSpecificHandlesLastCall) {
    sqlca ca{};
    EXPECT_EQ(SQLGetSQLCA(SQL_NULL_HENV, SQL_NULL_HDBC, SQL_NULL_HSTMT, &ca), SQL_SUCCESS);
    EXPECT_EQ(ca.sqlcode, -99999);
    EXPECT_EQ(stateOf(ca), "58005");
    Client client;
    EXPECT_EQ(client.run("SELEC"), SQL_ERROR);
    EXPECT_EQ(client.state(), "42601");
    EXPECT_EQ(stateOfConnection(client.env, client.dbc), "00000") << "the connection's own last call succeeded";
    EXPECT_EQ(client.run("SELECT 1"), SQL_SUCCESS);
    EXPECT_EQ(client.ca().sqlcode, 0);
    EXPECT_EQ(client.state(), "00000");
}

TEST_F(HostCallLevel, TheDiagnosticRecordHasTheDriversWholeText) {
    Client client;
    const std::string name = "schema_with_a_long_name." + std::string(60, 'n');
    EXPECT_EQ(client.run("SELECT x FROM " + name), SQL_ERROR);
    EXPECT_EQ(client.state(), "42704");
    SQLCHAR state[6] = "";
    SQLCHAR message[512] = "";
    SQLINTEGER code = 0;
    SQLSMALLINT length = 0;
    EXPECT_EQ(SQLGetDiagRec(SQL_HANDLE_STMT, client.stmt, 1, state, &code, message, sizeof message, &length),
              SQL_SUCCESS);
    EXPECT_STREQ(reinterpret_cast<const char*>(state), "42704");
    EXPECT_EQ(code, -204);
    EXPECT_NE(std::string(reinterpret_cast<const char*>(message)).find(name), std::string::npos);
    EXPECT_EQ(static_cast<size_t>(length), std::strlen(reinterpret_cast<const char*>(message)));
    EXPECT_EQ(SQLGetDiagRec(SQL_HANDLE_STMT, client.stmt, 1, state, &code, message, 10, &length),
              SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(std::strlen(reinterpret_cast<const char*>(message)), 9U);
    EXPECT_EQ(SQLGetDiagRec(SQL_HANDLE_STMT, client.stmt, 2, state, &code, message, sizeof message, &length),
              SQL_NO_DATA);
    EXPECT_EQ(SQLGetDiagRec(SQL_HANDLE_DBC, client.dbc, 1, state, &code, message, sizeof message, &length),
              SQL_NO_DATA);
    EXPECT_EQ(SQLGetDiagRec(SQL_HANDLE_STMT, client.dbc, 1, state, &code, message, sizeof message, &length),
              SQL_INVALID_HANDLE);
}

TEST_F(HostCallLevel, AnOpenResultOutlivesItsConnection) {
    {
        Client client;
        ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    }
    context().commit();
    EXPECT_TRUE(context().openResults().empty());
    {
        Client routine;
        ASSERT_EQ(routine.run("SELECT NAME FROM SYSTOOLS.POLICY ORDER BY NAME"), SQL_SUCCESS);
        EXPECT_TRUE(context().openResults().empty()) << "its connection is still there";
        routine.stmt = SQL_NULL_HSTMT;  // left open for the caller
    }
    const std::vector<SQLHSTMT> results = context().openResults();
    ASSERT_EQ(results.size(), 1U);
    std::vector<std::string> names;
    while (SQLFetch(results[0]) == SQL_SUCCESS) {
        char name[129] = "";
        SQLLEN length = 0;
        EXPECT_EQ(SQLGetData(results[0], 1, SQL_C_CHAR, name, sizeof name, &length), SQL_SUCCESS);
        names.emplace_back(name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"CommonPolicy", "DBBackupPolicy", "StatsProfilePolicy",
                                               "TableReorgPolicy", "TableRunstatsPolicy"}));
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, results[0]), SQL_SUCCESS);
    EXPECT_TRUE(context().openResults().empty());
    EXPECT_EQ(SQLFetch(results[0]), SQL_INVALID_HANDLE);
}

TEST_F(HostCallLevel, AResultThatTheCallerStopsReadingEarlyIsClosed) {
    Client client;
    ASSERT_EQ(client.createPolicyTable(), SQL_SUCCESS);
    context().commit();
    SQLHSTMT left = SQL_NULL_HSTMT;
    {
        Client routine;
        ASSERT_EQ(routine.run("SELECT NAME FROM SYSTOOLS.POLICY"), SQL_SUCCESS);
        left = std::exchange(routine.stmt, nullptr);
    }
    EXPECT_EQ(SQLFetch(left), SQL_SUCCESS);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, left), SQL_SUCCESS);
    EXPECT_EQ(client.insert("after", "<x/>"), SQL_SUCCESS) << "nothing is locked";
    context().commit();
}

TEST_F(HostCallLevel, AClosingContextTakesItsHandlesWithIt) {
    context().unbind();
    auto closing = makeContext();
    closing->bind();
    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_SUCCESS);
    ASSERT_EQ(connectToContext(dbc), SQL_SUCCESS);
    ASSERT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt), SQL_SUCCESS);
    ASSERT_EQ(SQLExecDirect(stmt, chars("SELECT 1"), SQL_NTS), SQL_SUCCESS);
    closing->unbind();
    closing.reset();
    EXPECT_EQ(SQLFetch(stmt), SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, stmt), SQL_INVALID_HANDLE);
    EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt), SQL_ERROR) << "no longer connected";
    EXPECT_EQ(stateOfConnection(env, dbc), "08003");
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_SUCCESS);
    EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, env), SQL_SUCCESS);
    context().bind();
}

TEST_F(HostCallLevel, ContextsNestOnAThread) {
    {
        Client outer;
        ASSERT_EQ(outer.createPolicyTable(), SQL_SUCCESS);
    }
    context().commit();
    const auto inner = makeContext();
    inner->bind();
    {
        Client client;
        ASSERT_EQ(client.insert("inner", "<x/>"), SQL_SUCCESS);
    }
    inner->unbind();
    Client outer;
    EXPECT_EQ(outer.rows("SELECT NAME FROM SYSTOOLS.POLICY WHERE NAME='inner'").size(), 0U) << "not committed yet";
    inner->commit();
    EXPECT_EQ(outer.document("inner"), "<x/>") << "what another unit of work committed is seen";
}

}  // namespace
