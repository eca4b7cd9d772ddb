/* Handles of the SQL call level, given back at the end of the scope. Internal. */
#ifndef SQLPI_CLI_HANDLES_H
#define SQLPI_CLI_HANDLES_H

#include "callLevel.h"

template <SQLSMALLINT Type>
class sqlpiCliHandle {
public:
    sqlpiCliHandle() = default;
    ~sqlpiCliHandle() {
        if (handle_ != nullptr) SQLFreeHandle(Type, handle_);
    }
    sqlpiCliHandle(const sqlpiCliHandle&) = delete;
    sqlpiCliHandle& operator=(const sqlpiCliHandle&) = delete;

    /* REQUIRES: nothing has been allocated yet. */
    SQLRETURN allocate(SQLHANDLE parent) noexcept {
        const SQLRETURN status = SQLAllocHandle(Type, parent, &handle_);
        if (!SQL_SUCCEEDED(status)) handle_ = nullptr;
        return status;
    }
    SQLHANDLE get() const noexcept { return handle_; }

    /* Leaves the handle to somebody else. */
    void leave() noexcept { handle_ = nullptr; }

private:
    SQLHANDLE handle_ = nullptr;
};

/* A connection's part in the unit of work of the current engine context; left at the end of the scope. */
class sqlpiCliSession {
public:
    sqlpiCliSession() = default;
    ~sqlpiCliSession() {
        if (connection_ != nullptr) SQLDisconnect(connection_);
    }
    sqlpiCliSession(const sqlpiCliSession&) = delete;
    sqlpiCliSession& operator=(const sqlpiCliSession&) = delete;

    SQLRETURN connect(SQLHDBC connection) noexcept {
        const SQLRETURN status = SQLConnect(connection, nullptr, SQL_NTS, nullptr, SQL_NTS, nullptr, SQL_NTS);
        if (SQL_SUCCEEDED(status)) connection_ = connection;
        return status;
    }

private:
    SQLHDBC connection_ = nullptr;
};

/* The interface takes its texts without const, and only reads them. */
inline SQLCHAR* sqlpiCliText(const char* text) noexcept {
    return reinterpret_cast<SQLCHAR*>(const_cast<char*>(text));
}

/* All that one statement needs, in the order in which it is acquired; released in the reverse order. */
struct sqlpiCliHandles {
    sqlpiCliHandle<SQL_HANDLE_ENV> environment;
    sqlpiCliHandle<SQL_HANDLE_DBC> connection;
    sqlpiCliSession session;
    sqlpiCliHandle<SQL_HANDLE_STMT> statement;

    /* The outcome of the last call on the innermost handle that exists. */
    void takeSqlca(sqlca& ca) const noexcept { takeSqlca(ca, statement.get()); }

    /* The same with another statement of this connection, or none yet. */
    void takeSqlca(sqlca& ca, SQLHANDLE ofStatement) const noexcept {
        SQLGetSQLCA(environment.get(), connection.get(), ofStatement, &ca);
    }

    SQLRETURN execute(const char* text) const noexcept {
        return SQLExecDirect(statement.get(), sqlpiCliText(text), SQL_NTS);
    }
};

#endif
