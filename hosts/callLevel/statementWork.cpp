// What drivers do well is passed on; here stands what a statement means inside an engine context, and what drivers
// answer in different ways.
#include "statementWork.h"

#include <utility>

#include "driverManager.h"
#include "parameterFiles.h"
#include "sqlGate.h"
#include "sqlText.h"

namespace kelhost {
namespace {

SQLRETURN take(Statement& statement, Outcome outcome) noexcept {
    statement.outcome = std::move(outcome);
    return statement.outcome.failed() ? SQL_ERROR : SQL_SUCCESS;
}

SQLRETURN requireDriver(Statement& statement) {
    if (statement.driver.handle != SQL_NULL_HSTMT) return SQL_SUCCESS;
    return take(statement, statement.session->allocate(statement.driver));
}

bool scanText(Statement& statement, std::string_view text) {
    statement.scanned = scanSql(text, statement.session->dialect());
    if (statement.scanned.error != nullptr) {
        fail(statement.outcome, statement.scanned.error, statement.scanned.errorDetail.c_str());
    } else if (statement.scanned.kind == SqlKind::unitControl) {
        fail(statement.outcome, "2D000", "only who opened the engine context ends its unit of work");
    } else if (statement.scanned.kind != SqlKind::installObjects) {
        statement.outcome = passGate(text, statement.session->dialect());
    }
    return !statement.outcome.failed();
}

bool isSpelledAnew(const Statement& statement) noexcept {
    for (const SqlPlace& place : statement.scanned.places) {
        if (place.meaning == SqlPlace::now) return true;
    }
    return false;
}

// A query that was prepared for exactly this text before need not be prepared again.
bool isPreparedInDriver(Statement& statement, std::string_view text) {
    Session& session = *statement.session;
    if (statement.scanned.kind != SqlKind::query || !session.dialect().keepsPreparedQueries) return false;
    if (statement.driver.handle == SQL_NULL_HSTMT) {
        if (auto known = session.takePrepared(text)) statement.driver = std::move(*known);
    }
    return statement.driver.handle != SQL_NULL_HSTMT && statement.driver.text == text;
}

// Hands the text to the driver. A query that may be prepared for good is marked with its text.
SQLRETURN prepareInDriver(Statement& statement, std::string_view text) {
    if (isPreparedInDriver(statement, text)) return SQL_SUCCESS;
    if (requireDriver(statement) != SQL_SUCCESS) return SQL_ERROR;
    const SqlText& scanned = statement.scanned;
    statement.driver.text.clear();
    std::string spelled;
    if (!scanned.places.empty()) {
        spelled = spellSql(text, scanned, statement.session->dialect(), currentTimestamp());
        if (isSpelledAnew(statement)) statement.text = text;
        text = spelled;
    }
    const SQLRETURN result =
        driverManager().prepare(statement.driver.handle, sqlChars(text.data()), static_cast<SQLINTEGER>(text.size()));
    const bool reusable = scanned.kind == SqlKind::query && !scanned.hasStar && scanned.places.empty();
    if (SQL_SUCCEEDED(result) && reusable) statement.driver.text = text;
    return answer(statement, result);
}

// Always of a prepared statement: what is executed directly some drivers hand over as it is, and the database would
// take several statements.
SQLRETURN executeInDriver(Statement& statement) {
    const DriverManager& driver = driverManager();
    if (isSpelledAnew(statement)) {
        const std::string spelled =
            spellSql(statement.text, statement.scanned, statement.session->dialect(), currentTimestamp());
        const SQLRETURN prepared = driver.prepare(statement.driver.handle, sqlChars(spelled.c_str()), SQL_NTS);
        if (!SQL_SUCCEEDED(prepared)) return prepared;
    }
    return driver.execute(statement.driver.handle);
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
        statement.outcome = failure("02000", {});
    }
    statement.outcome.rows = rows;
}

SQLRETURN executePrepared(Statement& statement) {
    Session& session = *statement.session;
    const SqlKind kind = statement.scanned.kind;
    if (kind == SqlKind::installObjects) return take(statement, session.installObjects(statement.scanned.arguments));
    if (readParameterFiles(statement) != SQL_SUCCESS) return SQL_ERROR;
    SQLRETURN result = SQL_ERROR;
    statement.outcome = session.asStatement(kind, [&] {
        result = answer(statement, executeInDriver(statement));
        if (SQL_SUCCEEDED(result) || result == SQL_NO_DATA) {
            finishResult(statement, result);
        } else {
            statement.driver.text.clear();
        }
        return std::move(statement.outcome);
    });
    dropParameterFiles(statement);
    return result;
}

}  // namespace

SQLRETURN answer(Statement& statement, SQLRETURN result) {
    switch (result) {
        case SQL_SUCCESS:
            break;
        case SQL_NO_DATA:
            statement.outcome = failure("02000", {});
            break;
        case SQL_SUCCESS_WITH_INFO:
            statement.outcome =
                driverInformation(SQL_HANDLE_STMT, statement.driver.handle, statement.session->dialect());
            break;
        default:
            statement.outcome = driverOutcome(SQL_HANDLE_STMT, statement.driver.handle, statement.session->dialect());
    }
    return result == SQL_INVALID_HANDLE ? SQL_ERROR : result;
}

SQLRETURN prepareStatement(Statement& statement, std::string_view text) {
    statement.prepared = false;
    if (!scanText(statement, text)) return SQL_ERROR;
    const bool install = statement.scanned.kind == SqlKind::installObjects;
    const SQLRETURN result = install ? SQL_SUCCESS : prepareInDriver(statement, text);
    statement.prepared = SQL_SUCCEEDED(result);
    return result;
}

SQLRETURN executeStatement(Statement& statement) {
    if (!statement.prepared) return fail(statement.outcome, "HY010", "nothing was prepared");
    if (statement.openResult) return fail(statement.outcome, "24000", "the result set is still open");
    return executePrepared(statement);
}

SQLRETURN executeText(Statement& statement, std::string_view text) {
    statement.prepared = false;
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
}

SQLRETURN bindValue(Statement& statement, SQLUSMALLINT parameter, SQLSMALLINT direction, SQLSMALLINT cType,
                    SQLSMALLINT sqlType, SQLULEN columnSize, SQLSMALLINT decimals, SQLPOINTER value, SQLLEN size,
                    SQLLEN* indicator) {
    if (requireDriver(statement) != SQL_SUCCESS) return SQL_ERROR;
    statement.bound = true;
    forgetParameterFile(statement, parameter);
    static char empty = '\0';  // a value of no bytes has no address of its own
    if (value == nullptr && indicator != nullptr) value = &empty;
    return answer(statement, driverManager().bindParameter(statement.driver.handle, parameter, direction, cType,
                                                           sqlType, columnSize, decimals, value, size, indicator));
}

SQLRETURN fetchRow(Statement& statement) {
    if (!statement.openResult) return fail(statement.outcome, "24000", "there is no open result set");
    return answer(statement, driverManager().fetch(statement.driver.handle));
}

SQLRETURN getValue(Statement& statement, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                   SQLLEN* indicator) {
    if (!statement.openResult) return fail(statement.outcome, "24000", "there is no open result set");
    const SQLRETURN result = driverManager().getData(statement.driver.handle, column, cType, value, size, indicator);
    // A caller would take it for no value, or an empty one.
    if (SQL_SUCCEEDED(result) && indicator != nullptr && *indicator == SQL_NO_TOTAL) {
        return fail(statement.outcome, "58004", "the driver does not tell how long a value is");
    }
    // Asked for the length only, drivers differ in when they say that the value did not fit.
    if (size == 0 && indicator != nullptr && SQL_SUCCEEDED(result)) {
        if (*indicator <= 0) return SQL_SUCCESS;
        statement.outcome = failure("01004", {});
        return SQL_SUCCESS_WITH_INFO;
    }
    return answer(statement, result);
}

SQLRETURN closeResult(Statement& statement) {
    if (!statement.openResult) return fail(statement.outcome, "24000", "there is no open result set");
    statement.openResult = false;
    return answer(statement, driverManager().freeStmt(statement.driver.handle, SQL_CLOSE));
}

void endStatement(Statement& statement) noexcept {
    if (statement.session != nullptr && statement.driver.handle != SQL_NULL_HSTMT) {
        if (statement.outcome.failed()) statement.driver.text.clear();
        if (statement.bound) driverManager().freeStmt(statement.driver.handle, SQL_RESET_PARAMS);
        statement.session->giveBack(std::move(statement.driver));
    }
    statement = {};
}

}  // namespace kelhost
