// The call-level interface of statements over their handles.
#include "callLevel.h"

#include <cstring>
#include <string_view>

#include "driverManager.h"
#include "statementWork.h"

using kelhost::driverManager;
using kelhost::fail;
using kelhost::onObject;
using kelhost::Statement;
using kelhost::statements;

namespace {

// False with the outcome set when the text must not run.
bool readText(Statement& statement, const SQLCHAR* given, SQLINTEGER length, std::string_view& text) {
    if (statement.openResult) return fail(statement.outcome, "24000", "the result set is still open") == SQL_SUCCESS;
    if (given == nullptr || (length < 0 && length != SQL_NTS)) {
        return fail(statement.outcome, "HY009", "there is no text") == SQL_SUCCESS;
    }
    const auto* chars = reinterpret_cast<const char*>(given);
    text = {chars, length == SQL_NTS ? std::strlen(chars) : static_cast<size_t>(length)};
    return true;
}

template <class Call>
SQLRETURN onStatement(SQLHSTMT handle, Call call) noexcept {
    return onObject(statements.find(handle), call);
}

// Calls that ask the driver about a statement that it has.
template <class Call>
SQLRETURN onDriver(SQLHSTMT handle, Call call) noexcept {
    return onStatement(handle, [&](Statement& statement) -> SQLRETURN {
        if (statement.driver.handle == SQL_NULL_HSTMT) return fail(statement.outcome, "HY010", "nothing was executed");
        return kelhost::answer(statement, call(statement));
    });
}

}  // namespace

SQLRETURN SQLPrepare(SQLHSTMT stmt, SQLCHAR* given, SQLINTEGER length) {
    return onStatement(stmt, [&](Statement& statement) -> SQLRETURN {
        std::string_view text;
        return readText(statement, given, length, text) ? prepareStatement(statement, text) : SQLRETURN{SQL_ERROR};
    });
}

SQLRETURN SQLExecute(SQLHSTMT stmt) {
    return onStatement(stmt, kelhost::executeStatement);
}

SQLRETURN SQLExecDirect(SQLHSTMT stmt, SQLCHAR* given, SQLINTEGER length) {
    return onStatement(stmt, [&](Statement& statement) -> SQLRETURN {
        std::string_view text;
        return readText(statement, given, length, text) ? executeText(statement, text) : SQLRETURN{SQL_ERROR};
    });
}

SQLRETURN SQLBindParameter(SQLHSTMT stmt, SQLUSMALLINT parameter, SQLSMALLINT direction, SQLSMALLINT cType,
                           SQLSMALLINT sqlType, SQLULEN columnSize, SQLSMALLINT decimals, SQLPOINTER value, SQLLEN size,
                           SQLLEN* indicator) {
    return onStatement(stmt, [&](Statement& statement) {
        return bindValue(statement, parameter, direction, cType, sqlType, columnSize, decimals, value, size, indicator);
    });
}

SQLRETURN SQLFetch(SQLHSTMT stmt) {
    return onStatement(stmt, kelhost::fetchRow);
}

SQLRETURN SQLGetData(SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                     SQLLEN* indicator) {
    return onStatement(
        stmt, [&](Statement& statement) { return getValue(statement, column, cType, value, size, indicator); });
}

SQLRETURN SQLNumResultCols(SQLHSTMT stmt, SQLSMALLINT* count) {
    return onDriver(
        stmt, [&](Statement& statement) { return driverManager().numResultCols(statement.driver.handle, count); });
}

SQLRETURN SQLDescribeCol(SQLHSTMT stmt, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* nameLength,
                         SQLSMALLINT* sqlType, SQLULEN* columnSize, SQLSMALLINT* decimals, SQLSMALLINT* nullable) {
    return onDriver(stmt, [&](Statement& statement) {
        return driverManager().describeCol(statement.driver.handle, column, name, size, nameLength, sqlType, columnSize,
                                           decimals, nullable);
    });
}

SQLRETURN SQLRowCount(SQLHSTMT stmt, SQLLEN* rows) {
    return onDriver(stmt,
                    [&](Statement& statement) { return driverManager().rowCount(statement.driver.handle, rows); });
}

SQLRETURN SQLCloseCursor(SQLHSTMT stmt) {
    return onStatement(stmt, kelhost::closeResult);
}
