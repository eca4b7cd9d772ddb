// The call-level interface up to the statement: environments, connections, and what they answer about their last call.
#include "callLevel.h"

#include <algorithm>
#include <cstring>

#include "engineContext.h"
#include "handles.h"
#include "hostError.h"

using kelhost::Connection;
using kelhost::connections;
using kelhost::EngineContext;
using kelhost::Environment;
using kelhost::environments;
using kelhost::fail;
using kelhost::onObject;
using kelhost::Outcome;
using kelhost::Session;
using kelhost::Statement;
using kelhost::statements;

namespace {

SQLRETURN allocateEnvironment(SQLHANDLE* output) noexcept {
    try {
        Environment* environment = nullptr;
        *output = environments.open(environment);
        return *output == SQL_NULL_HANDLE ? SQL_ERROR : SQL_SUCCESS;
    } catch (const std::bad_alloc&) {
        return SQL_ERROR;
    }
}

SQLRETURN allocateConnection(SQLHENV input, SQLHANDLE* output) noexcept {
    return onObject(environments.find(input), [&](Environment& environment) -> SQLRETURN {
        Connection* connection = nullptr;
        *output = connections.open(connection);
        if (*output == SQL_NULL_HANDLE) return fail(environment.outcome, "57011", "");
        connection->environment = input;
        ++environment.connections;
        return SQL_SUCCESS;
    });
}

SQLRETURN allocateStatement(SQLHDBC input, SQLHANDLE* output) noexcept {
    return onObject(connections.find(input), [&](Connection& connection) -> SQLRETURN {
        if (connection.session == nullptr) return fail(connection.outcome, "08003", "the connection is not open");
        Session& session = *connection.session;
        session.statements.reserve(session.statements.size() + 1);
        Statement* statement = nullptr;
        *output = statements.open(statement);
        if (*output == SQL_NULL_HANDLE) return fail(connection.outcome, "57011", "");
        statement->session = &session;
        statement->connection = input;
        session.statements.push_back(*output);
        return SQL_SUCCESS;
    });
}

SQLRETURN freeConnection(SQLHDBC handle) noexcept {
    return onObject(connections.find(handle), [&](Connection& connection) -> SQLRETURN {
        if (connection.session != nullptr) return fail(connection.outcome, "HY010", "the connection is still open");
        Environment* environment = environments.find(connection.environment);
        if (environment != nullptr) --environment->connections;
        connection = {};
        connections.close(handle);
        return SQL_SUCCESS;
    });
}

SQLRETURN freeEnvironment(SQLHENV handle) noexcept {
    return onObject(environments.find(handle), [&](Environment& environment) -> SQLRETURN {
        if (environment.connections > 0) return fail(environment.outcome, "HY010", "it still has connections");
        environment = {};
        environments.close(handle);
        return SQL_SUCCESS;
    });
}

bool isEmptyName(const SQLCHAR* name, SQLSMALLINT length) noexcept {
    return name == nullptr || length == 0 || (length == SQL_NTS && name[0] == '\0');
}

// The outcome of the most specific handle given; null with SQL_INVALID_HANDLE when one of them is none.
SQLRETURN findOutcome(SQLHENV env, SQLHDBC dbc, SQLHSTMT stmt, const Outcome*& outcome) noexcept {
    const Environment* environment = environments.find(env);
    const Connection* connection = connections.find(dbc);
    const Statement* statement = statements.find(stmt);
    outcome = nullptr;
    if ((env != SQL_NULL_HENV && environment == nullptr) || (dbc != SQL_NULL_HDBC && connection == nullptr) ||
        (stmt != SQL_NULL_HSTMT && statement == nullptr)) {
        return SQL_INVALID_HANDLE;
    }
    if (environment != nullptr) outcome = &environment->outcome;
    if (connection != nullptr) outcome = &connection->outcome;
    if (statement != nullptr) outcome = &statement->outcome;
    return SQL_SUCCESS;
}

}  // namespace

SQLRETURN SQLAllocHandle(SQLSMALLINT handleType, SQLHANDLE input, SQLHANDLE* output) {
    if (output == nullptr) return SQL_ERROR;
    *output = SQL_NULL_HANDLE;
    switch (handleType) {
        case SQL_HANDLE_ENV:
            return allocateEnvironment(output);
        case SQL_HANDLE_DBC:
            return allocateConnection(input, output);
        case SQL_HANDLE_STMT:
            return allocateStatement(input, output);
        default:
            return SQL_ERROR;
    }
}

SQLRETURN SQLFreeHandle(SQLSMALLINT handleType, SQLHANDLE handle) {
    switch (handleType) {
        case SQL_HANDLE_ENV:
            return freeEnvironment(handle);
        case SQL_HANDLE_DBC:
            return freeConnection(handle);
        case SQL_HANDLE_STMT: {
            Statement* statement = statements.find(handle);
            if (statement == nullptr) return SQL_INVALID_HANDLE;
            kelhost::freeStatement(handle, *statement);
            return SQL_SUCCESS;
        }
        default:
            return SQL_INVALID_HANDLE;
    }
}

SQLRETURN SQLSetConnectAttr(SQLHDBC dbc, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER /*length*/) {
    return onObject(connections.find(dbc), [&](Connection& connection) -> SQLRETURN {
        if (attribute != SQL_ATTR_AUTOCOMMIT) {
            return fail(connection.outcome, "HYC00", "the only connection attribute is automatic commit");
        }
        const auto wanted = reinterpret_cast<uintptr_t>(value);
        if (wanted != SQL_AUTOCOMMIT_ON && wanted != SQL_AUTOCOMMIT_OFF) {
            return fail(connection.outcome, "HY024", "automatic commit is either on or off");
        }
        connection.automaticCommit = wanted == SQL_AUTOCOMMIT_ON;
        return SQL_SUCCESS;
    });
}

SQLRETURN SQLGetConnectAttr(SQLHDBC dbc, SQLINTEGER attribute, SQLPOINTER value, SQLINTEGER /*size*/,
                            SQLINTEGER* length) {
    return onObject(connections.find(dbc), [&](Connection& connection) -> SQLRETURN {
        if (attribute != SQL_ATTR_AUTOCOMMIT || value == nullptr) {
            return fail(connection.outcome, "HYC00", "the only connection attribute is automatic commit");
        }
        const SQLUINTEGER answer = connection.automaticCommit ? SQL_AUTOCOMMIT_ON : SQL_AUTOCOMMIT_OFF;
        std::memcpy(value, &answer, sizeof answer);
        if (length != nullptr) *length = sizeof answer;
        return SQL_SUCCESS;
    });
}

SQLRETURN SQLConnect(SQLHDBC dbc, SQLCHAR* server, SQLSMALLINT serverLength, SQLCHAR* user, SQLSMALLINT userLength,
                     SQLCHAR* password, SQLSMALLINT passwordLength) {
    return onObject(connections.find(dbc), [&](Connection& connection) -> SQLRETURN {
        if (connection.session != nullptr) return fail(connection.outcome, "08002", "the connection is open already");
        if (!isEmptyName(server, serverLength) || !isEmptyName(user, userLength) ||
            !isEmptyName(password, passwordLength)) {
            return fail(connection.outcome, "08001", "only the database of the engine context can be connected to");
        }
        EngineContext* context = EngineContext::current();
        if (context == nullptr) return fail(connection.outcome, "08003", "the thread has no engine context");
        context->session().connections.push_back(dbc);
        connection.session = &context->session();
        return SQL_SUCCESS;
    });
}

SQLRETURN SQLDisconnect(SQLHDBC dbc) {
    return onObject(connections.find(dbc), [&](Connection& connection) -> SQLRETURN {
        if (connection.session == nullptr) return fail(connection.outcome, "08003", "the connection is not open");
        std::erase(connection.session->connections, dbc);
        connection.session = nullptr;
        return SQL_SUCCESS;
    });
}

SQLRETURN SQLGetSQLCA(SQLHENV env, SQLHDBC dbc, SQLHSTMT stmt, struct sqlca* ca) {
    const Outcome* outcome = nullptr;
    const SQLRETURN result = findOutcome(env, dbc, stmt, outcome);
    if (outcome != nullptr) {
        kelhost::fillSqlca(*ca, *outcome);
    } else {
        kelhost::fillSqlca(*ca, -99999, "58005", "");
    }
    return result;
}

SQLRETURN SQLGetDiagRec(SQLSMALLINT handleType, SQLHANDLE handle, SQLSMALLINT record, SQLCHAR* state,
                        SQLINTEGER* nativeCode, SQLCHAR* message, SQLSMALLINT size, SQLSMALLINT* length) {
    const Outcome* outcome = nullptr;
    findOutcome(handleType == SQL_HANDLE_ENV ? handle : SQL_NULL_HANDLE,
                handleType == SQL_HANDLE_DBC ? handle : SQL_NULL_HANDLE,
                handleType == SQL_HANDLE_STMT ? handle : SQL_NULL_HANDLE, outcome);
    if (outcome == nullptr) return SQL_INVALID_HANDLE;
    if (record < 1 || size < 0) return SQL_ERROR;
    if (record > 1 || (outcome->sqlcode == 0 && outcome->sqlstate[1] == '0')) return SQL_NO_DATA;
    if (state != nullptr) std::memcpy(state, outcome->sqlstate, sizeof outcome->sqlstate);
    if (nativeCode != nullptr) *nativeCode = outcome->sqlcode;
    const std::string& detail = outcome->detail;
    if (length != nullptr) *length = static_cast<SQLSMALLINT>(std::min<size_t>(detail.size(), INT16_MAX));
    if (message == nullptr || size == 0) return SQL_SUCCESS;
    const size_t kept = std::min(detail.size(), static_cast<size_t>(size) - 1);
    std::memcpy(message, detail.data(), kept);
    message[kept] = '\0';
    return kept == detail.size() ? SQL_SUCCESS : SQL_SUCCESS_WITH_INFO;
}
