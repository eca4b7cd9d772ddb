/* The call-level interface with the handles a caller has, so that a test reads as what it is about. */
#ifndef TESTS_HOST_CALL_LEVEL_CLIENT_H
#define TESTS_HOST_CALL_LEVEL_CLIENT_H

#include <gtest/gtest.h>

#include <cctype>
#include <cstring>
#include <string>
#include <vector>

#include "callLevel.h"

namespace hosttest {

inline SQLCHAR* chars(const std::string& text) {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text.c_str()));
}

inline std::string stateOf(const sqlca& ca) {
    return {ca.sqlstate, SQLCA_STATE_LENGTH};
}

inline std::string tokensOf(const sqlca& ca) {
    return {ca.sqlerrmc, static_cast<size_t>(ca.sqlerrml)};
}

/* Databases differ in how they write an undefined name. */
inline std::string lowerCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

inline SQLRETURN connectToContext(SQLHDBC dbc) {
    return SQLConnect(dbc, nullptr, SQL_NTS, nullptr, SQL_NTS, nullptr, SQL_NTS);
}

/* One connection joined to the thread's engine context, and one statement. */
class Client {
public:
    Client() {
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_ENV, SQL_NULL_HANDLE, &env), SQL_SUCCESS);
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_DBC, env, &dbc), SQL_SUCCESS);
        EXPECT_EQ(connectToContext(dbc), SQL_SUCCESS);
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt), SQL_SUCCESS);
    }
    ~Client() {
        if (stmt != SQL_NULL_HSTMT) {
            EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, stmt), SQL_SUCCESS);
        }
        EXPECT_EQ(SQLDisconnect(dbc), SQL_SUCCESS);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_DBC, dbc), SQL_SUCCESS);
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_ENV, env), SQL_SUCCESS);
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void newStatement() {
        EXPECT_EQ(SQLFreeHandle(SQL_HANDLE_STMT, stmt), SQL_SUCCESS);
        EXPECT_EQ(SQLAllocHandle(SQL_HANDLE_STMT, dbc, &stmt), SQL_SUCCESS);
    }

    /* On a new statement handle. */
    SQLRETURN run(const std::string& text) {
        newStatement();
        return SQLExecDirect(stmt, chars(text), SQL_NTS);
    }

    sqlca ca() const {
        sqlca area{};
        EXPECT_EQ(SQLGetSQLCA(env, dbc, stmt, &area), SQL_SUCCESS);
        return area;
    }
    std::string state() const { return stateOf(ca()); }

    /* All rows of a query, fields separated by '|', "NULL" for none. */
    std::vector<std::string> rows(const std::string& query) {
        std::vector<std::string> all;
        EXPECT_EQ(run(query), SQL_SUCCESS) << query << ": " << tokensOf(ca());
        SQLSMALLINT columns = 0;
        EXPECT_EQ(SQLNumResultCols(stmt, &columns), SQL_SUCCESS);
        SQLRETURN result = SQL_SUCCESS;
        while ((result = SQLFetch(stmt)) == SQL_SUCCESS) {
            std::string row;
            for (SQLSMALLINT column = 1; column <= columns; ++column) {
                char field[4096] = "";
                SQLLEN length = 0;
                EXPECT_EQ(SQLGetData(stmt, static_cast<SQLUSMALLINT>(column), SQL_C_CHAR, field, sizeof field, &length),
                          SQL_SUCCESS);
                row += (column > 1 ? "|" : "") + std::string(length == SQL_NULL_DATA ? "NULL" : field);
            }
            all.push_back(row);
        }
        EXPECT_EQ(result, SQL_NO_DATA) << tokensOf(ca());
        return all;
    }

    SQLRETURN createPolicyTable() { return run("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','C','','')"); }
    SQLRETURN verifyPolicyTable() { return run("CALL SYSPROC.SYSINSTALLOBJECTS('POLICY','V','','')"); }

    /* Stores a document under a key ('M','D',name). */
    SQLRETURN insert(const std::string& name, const std::string& document) {
        newStatement();
        const SQLRETURN prepared = SQLPrepare(
            stmt,
            chars("INSERT INTO SYSTOOLS.POLICY (MED, DECISION, NAME, UPDATE_TIME, POLICY) VALUES ('M', 'D', '" + name +
                  "', CURRENT TIMESTAMP, ?) "),
            SQL_NTS);
        return prepared == SQL_SUCCESS ? bindAndExecute(document) : prepared;
    }

    SQLRETURN bindAndExecute(const std::string& document) {
        auto length = static_cast<SQLLEN>(document.size());
        const SQLRETURN bound = SQLBindParameter(stmt, 1, SQL_PARAM_INPUT, SQL_C_BINARY, SQL_LONGVARBINARY, 2097152, 0,
                                                 const_cast<char*>(document.data()), length, &length);
        return bound == SQL_SUCCESS ? SQLExecute(stmt) : bound;
    }

    /* The document stored under ('M','D',name), read as the library reads it: length first, then the bytes. */
    std::string document(const std::string& name) {
        EXPECT_EQ(run("SELECT POLICY FROM SYSTOOLS.POLICY WHERE MED='M' AND DECISION='D' AND NAME='" + name + "' "),
                  SQL_SUCCESS);
        EXPECT_EQ(SQLFetch(stmt), SQL_SUCCESS) << name;
        char probe[4] = "";
        SQLLEN length = 0;
        const SQLRETURN probed = SQLGetData(stmt, 1, SQL_C_BINARY, probe, 0, &length);
        EXPECT_EQ(probed, length > 0 ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS) << length;
        EXPECT_GE(length, 0);
        std::string bytes(static_cast<size_t>(length) + 1, '#');
        EXPECT_EQ(SQLGetData(stmt, 1, SQL_C_BINARY, bytes.data(), length, &length), SQL_SUCCESS);
        EXPECT_EQ(bytes.back(), '#') << "a byte too many was written";
        bytes.pop_back();
        EXPECT_EQ(static_cast<size_t>(length), bytes.size());
        return bytes;
    }

    SQLHENV env = SQL_NULL_HENV;
    SQLHDBC dbc = SQL_NULL_HDBC;
    SQLHSTMT stmt = SQL_NULL_HSTMT;
};

}  // namespace hosttest

#endif
