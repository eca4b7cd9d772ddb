// The call-level interface of statements. What the driver does well is passed on; here stands what a statement means
// inside an engine context, and what drivers answer in different ways.
#include "callLevel.h"

#include <cstring>
#include <string_view>

#include "driverManager.h"
#include "handles.h"
#include "parameterFiles.h"
#include "sqlText.h"

using kelhost::driverManager;
using kelhost::driverOutcome;
using kelhost::fail;
using kelhost::onObject;
using kelhost::Outcome;
using kelhost::SqlKind;
using kelhost::SqlPlace;
using kelhost::Statement;
using kelhost::statements;

namespace {

SQLRETURN take(Statement& statement, Outcome outcome) noexcept {
    statement.outcome = std::move(outcome);
    return statement.outcome.failed() ? SQL_ERROR : SQL_SUCCESS;
}

// Records what the driver said about a call that did not simply succeed.
SQLRETURN answer(Statement& statement, SQLRETURN result) {
    switch (result) {
        case SQL_SUCCESS:
            break;
        case SQL_NO_DATA:
            statement.outcome = kelhost::failure("02000", {});
            break;
        default:
            statement.outcome = driverOutcome(SQL_HANDLE_STMT, statement.driver.handle, statement.session->dialect());
            if (result != SQL_SUCCESS_WITH_INFO && !statement.outcome.failed()) statement.outcome.sqlcode = -99999;
    }
    return result == SQL_INVALID_HANDLE ? SQL_ERROR : result;
}

SQLRETURN requireDriver(Statement& statement) {
    if (statement.driver.handle != SQL_NULL_HSTMT) return SQL_SUCCESS;
    return take(statement, statement.session->allocate(statement.driver));
}

// False with the outcome set when the text must not run.
bool readText(Statement& statement, const SQLCHAR* given, SQLINTEGER length, std::string_view& text) {
    if (statement.openResult) return fail(statement.outcome, "24000", "the result set is still open") == SQL_SUCCESS;
    if (given == nullptr || (length < 0 && length != SQL_NTS)) {
        return fail(statement.outcome, "HY009", "there is no text") == SQL_SUCCESS;
    }
    const auto* chars = reinterpret_cast<const char*>(given);
    text = {chars, length == SQL_NTS ? std::strlen(chars) : static_cast<size_t>(length)};
    statement.prepared = false;
    return true;
}

bool scanText(Statement& statement, std::string_view text) {
    statement.scanned = kelhost::scanSql(text);
    if (statement.scanned.error != nullptr) {
        fail(statement.outcome, statement.scanned.error, statement.scanned.errorDetail.c_str());
    } else if (statement.scanned.kind == SqlKind::unitControl) {
        fail(statement.outcome, "2D000", "only who opened the engine context ends its unit of work");
    } else {
        return true;
    }
    return false;
}

bool isSpelledAnew(const Statement& statement) noexcept {
    for (const SqlPlace& place : statement.scanned.places) {
        if (place.meaning == SqlPlace::now) return true;
    }
    return false;
}

// Hands the text to the driver. A query that may be prepared for good is marked with its text.
SQLRETURN prepareInDriver(Statement& statement, std::string_view text) {
    if (requireDriver(statement) != SQL_SUCCESS) return SQL_ERROR;
    const kelhost::SqlText& scanned = statement.scanned;
    statement.driver.text.clear();
    std::string spelled;
    if (!scanned.places.empty()) {
        spelled = spellSql(text, scanned, statement.session->dialect(), kelhost::currentTimestamp());
        if (isSpelledAnew(statement)) statement.text = text;
        text = spelled;
    }
    const SQLRETURN result = driverManager().prepare(statement.driver.handle, kelhost::sqlChars(text.data()),
                                                     static_cast<SQLINTEGER>(text.size()));
    const bool reusable =
        scanned.kind == SqlKind::query && !scanned.hasStar && !scanned.hasParameters && scanned.places.empty();
    if (SQL_SUCCEEDED(result) && reusable) statement.driver.text = text;
    return answer(statement, result);
}

SQLRETURN executeInDriver(Statement& statement) {
    const kelhost::DriverManager& driver = driverManager();
    if (!isSpelledAnew(statement)) return driver.execute(statement.driver.handle);
    const std::string spelled =
        spellSql(statement.text, statement.scanned, statement.session->dialect(), kelhost::currentTimestamp());
    return driver.execDirect(statement.driver.handle, kelhost::sqlChars(spelled.c_str()), SQL_NTS);
}

void finishResult(Statement& statement, SQLRETURN& result) {
    if (statement.scanned.kind == SqlKind::query) {
        statement.openResult = SQL_SUCCEEDED(result);
        return;
    }
    SQLSMALLINT columns = 0;
    driverManager().numResultCols(statement.driver.handle, &columns);
    statement.openResult = columns > 0;
    if (statement.scanned.kind != SqlKind::change) return;
    SQLLEN rows = 0;
    driverManager().rowCount(statement.driver.handle, &rows);
    if (rows == 0 && result == SQL_SUCCESS && columns == 0) {
        result = SQL_NO_DATA;  // some drivers call it a success
        statement.outcome = kelhost::failure("02000", {});
    }
    statement.outcome.rows = rows;
}

SQLRETURN executePrepared(Statement& statement) {
    kelhost::Session& session = *statement.session;
    const SqlKind kind = statement.scanned.kind;
    if (kind == SqlKind::installObjects) return take(statement, session.installObjects(statement.scanned.arguments));
    if (kelhost::readParameterFiles(statement) != SQL_SUCCESS) return SQL_ERROR;
    Outcome begun = session.begin(kind);
    if (begun.failed()) return take(statement, std::move(begun));
    SQLRETURN result = answer(statement, executeInDriver(statement));
    if (SQL_SUCCEEDED(result) || result == SQL_NO_DATA) {
        finishResult(statement, result);
    } else {
        statement.driver.text.clear();
    }
    session.settle(statement.outcome);
    kelhost::dropParameterFiles(statement);
    return result;
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
        return answer(statement, call(statement));
    });
}

}  // namespace

SQLRETURN SQLPrepare(SQLHSTMT stmt, SQLCHAR* given, SQLINTEGER length) {
    return onStatement(stmt, [&](Statement& statement) -> SQLRETURN {
        std::string_view text;
        if (!readText(statement, given, length, text) || !scanText(statement, text)) return SQL_ERROR;
        const bool install = statement.scanned.kind == SqlKind::installObjects;
        const SQLRETURN result = install ? SQL_SUCCESS : prepareInDriver(statement, text);
        statement.prepared = SQL_SUCCEEDED(result);
        return result;
    });
}

SQLRETURN SQLExecute(SQLHSTMT stmt) {
    return onStatement(stmt, [](Statement& statement) -> SQLRETURN {
        if (!statement.prepared) return fail(statement.outcome, "HY010", "nothing was prepared");
        if (statement.openResult) return fail(statement.outcome, "24000", "the result set is still open");
        return executePrepared(statement);
    });
}

SQLRETURN SQLExecDirect(SQLHSTMT stmt, SQLCHAR* given, SQLINTEGER length) {
    return onStatement(stmt, [&](Statement& statement) -> SQLRETURN {
        std::string_view text;
        if (!readText(statement, given, length, text)) return SQL_ERROR;
        if (statement.driver.handle == SQL_NULL_HSTMT) {
            if (auto known = statement.session->takePrepared(text)) {
                statement.driver = std::move(*known);
                statement.scanned = {.kind = SqlKind::query};
                return executePrepared(statement);
            }
        }
        if (!scanText(statement, text)) return SQL_ERROR;
        if (statement.scanned.kind != SqlKind::installObjects) {
            const SQLRETURN result = prepareInDriver(statement, text);
            if (!SQL_SUCCEEDED(result)) return result;
        }
        return executePrepared(statement);
    });
}

SQLRETURN SQLBindParameter(SQLHSTMT stmt, SQLUSMALLINT parameter, SQLSMALLINT direction, SQLSMALLINT cType,
                           SQLSMALLINT sqlType, SQLULEN columnSize, SQLSMALLINT decimals, SQLPOINTER value, SQLLEN size,
                           SQLLEN* indicator) {
    return onStatement(stmt, [&](Statement& statement) -> SQLRETURN {
        if (requireDriver(statement) != SQL_SUCCESS) return SQL_ERROR;
        statement.bound = true;
        kelhost::forgetParameterFile(statement, parameter);
        static char empty = '\0';  // a value of no bytes has no address of its own
        if (value == nullptr && indicator != nullptr) value = &empty;
        return answer(statement, driverManager().bindParameter(statement.driver.handle, parameter, direction, cType,
                                                               sqlType, columnSize, decimals, value, size, indicator));
    });
}

SQLRETURN SQLFetch(SQLHSTMT stmt) {
    return onStatement(stmt, [](Statement& statement) -> SQLRETURN {
        if (!statement.openResult) return fail(statement.outcome, "24000", "there is no open result set");
        return answer(statement, driverManager().fetch(statement.driver.handle));
    });
}

SQLRETURN SQLGetData(SQLHSTMT stmt, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                     SQLLEN* indicator) {
    return onStatement(stmt, [&](Statement& statement) -> SQLRETURN {
        if (!statement.openResult) return fail(statement.outcome, "24000", "there is no open result set");
        const SQLRETURN result =
            driverManager().getData(statement.driver.handle, column, cType, value, size, indicator);
        // Asked for the length only, drivers differ in when they say that the value did not fit.
        if (size == 0 && indicator != nullptr && SQL_SUCCEEDED(result)) {
            if (*indicator <= 0) return SQL_SUCCESS;
            statement.outcome = kelhost::failure("01004", {});
            return SQL_SUCCESS_WITH_INFO;
        }
        return answer(statement, result);
    });
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
    return onStatement(stmt, [](Statement& statement) -> SQLRETURN {
        if (!statement.openResult) return fail(statement.outcome, "24000", "there is no open result set");
        statement.openResult = false;
        return answer(statement, driverManager().freeStmt(statement.driver.handle, SQL_CLOSE));
    });
}
