// The call-level interface of statements over their handles.
#include "callLevel.h"

#include <cstring>
#include <string_view>
#include <type_traits>

#include "statementWork.h"

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

// Calls that ask about a statement that the database has.
template <class Call>
SQLRETURN onCompiled(SQLHSTMT handle, Call call) noexcept {
    return onStatement(handle, [&](Statement& statement) -> SQLRETURN {
        if (statement.compiled.prepared == nullptr) return fail(statement.outcome, "HY010", "nothing was executed");
        return call(statement);
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
                           SQLSMALLINT sqlType, SQLULEN /*columnSize*/, SQLSMALLINT /*decimals*/, SQLPOINTER value,
                           SQLLEN /*size*/, SQLLEN* indicator) {
    return onStatement(stmt, [&](Statement& statement) {
        return bindValue(statement, direction, {parameter, cType, sqlType, value, indicator});
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
    return onCompiled(stmt, [&](Statement& statement) { return kelhost::countColumns(statement, *count); });
}

SQLRETURN SQLDescribeCol(SQLHSTMT stmt, SQLUSMALLINT column, SQLCHAR* name, SQLSMALLINT size, SQLSMALLINT* nameLength,
                         SQLSMALLINT* sqlType, SQLULEN* columnSize, SQLSMALLINT* decimals, SQLSMALLINT* nullable) {
    return onCompiled(stmt, [&](Statement& statement) -> SQLRETURN {
        kelhost::ColumnDescription found;
        const SQLRETURN result = kelhost::describeColumn(statement, column, found);
        if (!SQL_SUCCEEDED(result)) return result;
        const auto set = [](auto* target, auto value) {
            if (target != nullptr) *target = static_cast<std::remove_pointer_t<decltype(target)>>(value);
        };
        set(nameLength, found.name.size());
        set(sqlType, found.sqlType);
        set(columnSize, found.size);
        set(decimals, found.decimals);
        set(nullable, found.mayBeNull ? SQL_NULLABLE : SQL_NO_NULLS);
        if (name == nullptr || size <= 0) return SQL_SUCCESS;
        const size_t kept = found.name.copy(reinterpret_cast<char*>(name), static_cast<size_t>(size) - 1);
        name[kept] = '\0';
        if (kept == found.name.size()) return SQL_SUCCESS;
        statement.outcome = kelhost::failure("01004", {});
        return SQL_SUCCESS_WITH_INFO;
    });
}

SQLRETURN SQLRowCount(SQLHSTMT stmt, SQLLEN* rows) {
    return onCompiled(stmt, [&](Statement& statement) -> SQLRETURN {
        *rows = static_cast<SQLLEN>(statement.rows);
        return SQL_SUCCESS;
    });
}

SQLRETURN SQLCloseCursor(SQLHSTMT stmt) {
    return onStatement(stmt, kelhost::closeResult);
}
