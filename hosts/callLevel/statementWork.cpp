// What a statement means inside an engine context; the database behind it only prepares, binds, runs and reads.
#include "statementWork.h"

#include <algorithm>
#include <charconv>
#include <cstring>
#include <utility>

#include "parameterFiles.h"
#include "sqlGate.h"
#include "sqlText.h"

namespace kelhost {
namespace {

SQLRETURN take(Statement& statement, Outcome outcome) noexcept {
    statement.outcome = std::move(outcome);
    if (statement.outcome.failed()) return SQL_ERROR;
    if (statement.outcome.sqlcode == 100) return SQL_NO_DATA;
    return statement.outcome.state().starts_with("01") ? SQL_SUCCESS_WITH_INFO : SQL_SUCCESS;
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
    const auto& places = statement.scanned.places;
    return std::any_of(places.begin(), places.end(),
                       [](const SqlPlace& place) { return place.meaning == SqlPlace::now; });
}

void giveBack(Statement& statement) noexcept {
    if (statement.compiled.prepared == nullptr) return;
    bool isUsable = !statement.outcome.failed();
    try {
        isUsable = !statement.compiled.prepared->reset().failed() && isUsable;
    } catch (const std::exception&) {
        isUsable = false;
    }
    if (isUsable) statement.session->kept().giveBack(std::move(statement.compiled));
    statement.compiled = {};
}

// A statement that was prepared for exactly this text before need not be looked at again.
bool takeKept(Statement& statement, std::string_view text) {
    if (statement.compiled.prepared == nullptr || statement.compiled.text != text) {
        giveBack(statement);
        if (!statement.session->kept().take(text, statement.compiled)) return false;
    }
    statement.scanned = {.kind = statement.compiled.kind, .parameters = statement.compiled.parameters};
    statement.text.clear();
    return true;
}

Outcome prepareSpelled(Statement& statement, std::string_view text) {
    Session& session = *statement.session;
    const SqlText& scanned = statement.scanned;
    if (scanned.places.empty()) return session.database().prepare(text, Authority::client, statement.compiled.prepared);
    return session.database().prepare(spellSql(text, scanned, session.dialect(), currentTimestamp()), Authority::client,
                                      statement.compiled.prepared);
}

SQLRETURN prepareText(Statement& statement, std::string_view text) {
    const SqlText& scanned = statement.scanned;
    statement.text = isSpelledAnew(statement) ? text : std::string_view();
    const SQLRETURN result = take(statement, prepareSpelled(statement, text));
    if (!SQL_SUCCEEDED(result)) {
        statement.compiled = {};
        return result;
    }
    const bool isKept = statement.session->dialect().keepsPrepared && !scanned.hasStar && scanned.places.empty();
    statement.compiled.text = isKept ? text : std::string_view();
    statement.compiled.kind = scanned.kind;
    statement.compiled.parameters = scanned.parameters;
    return result;
}

// The value of a parameter; a failure when it is no value, or one of another kind than was announced.
Outcome inputOf(const BoundValue& bound, InputValue& input) {
    const SQLLEN length = bound.indicator == nullptr ? SQLLEN{SQL_NTS} : *bound.indicator;
    const bool isBinary =
        bound.sqlType == SQL_BINARY || bound.sqlType == SQL_VARBINARY || bound.sqlType == SQL_LONGVARBINARY;
    input = {.kind = isBinary ? ValueKind::bytes : ValueKind::text, .isNull = length == SQL_NULL_DATA};
    if (bound.cType == SQL_C_SLONG || bound.cType == SQL_C_LONG) input.kind = ValueKind::number;
    if (input.isNull) return {};
    if (input.kind == ValueKind::number) {
        int32_t number = 0;
        if (bound.value == nullptr) return failure("HY009", "there is no value");
        std::memcpy(&number, bound.value, sizeof number);
        input.number = number;
        return {};
    }
    if ((bound.cType == SQL_C_BINARY) != isBinary) return failure("07006", "bytes are bound to bytes, text to text");
    const bool isTerminated = length == SQL_NTS && !isBinary;
    if ((length < 0 && !isTerminated) || (bound.value == nullptr && length != 0))
        return failure("HY090", "the length of a value is none");
    const auto* const bytes = static_cast<const char*>(bound.value);
    input.content = {bytes, isTerminated ? std::strlen(bytes) : static_cast<size_t>(length)};
    return {};
}

bool isUsed(const Statement& statement, SQLUSMALLINT parameter) noexcept {
    return parameter <= statement.scanned.parameters;
}

Outcome bindAll(Statement& statement) {
    PreparedStatement& prepared = *statement.compiled.prepared;
    Outcome outcome;
    size_t bound = 0;
    for (const BoundValue& value : statement.values) {
        if (!isUsed(statement, value.number)) continue;
        InputValue input;
        outcome = inputOf(value, input);
        if (!outcome.failed()) outcome = prepared.bind(value.number, input);
        if (outcome.failed()) return outcome;
        ++bound;
    }
    for (const FileParameter& file : statement.files) {
        if (!isUsed(statement, file.number)) continue;
        outcome =
            prepared.bind(file.number, {.kind = ValueKind::bytes, .isNull = isNullFile(file), .content = file.content});
        if (outcome.failed()) return outcome;
        ++bound;
    }
    return bound < statement.scanned.parameters ? failure("07002", "a parameter has no value") : outcome;
}

Outcome executeCompiled(Statement& statement) {
    Outcome outcome;
    if (!statement.text.empty()) outcome = prepareSpelled(statement, statement.text);
    if (!outcome.failed()) outcome = bindAll(statement);
    if (!outcome.failed()) outcome = statement.compiled.prepared->execute(statement.columns);
    if (outcome.failed()) return outcome;
    statement.openResult = statement.columns > 0;
    statement.readSoFar = {};
    if (statement.scanned.kind != SqlKind::change) {
        outcome.rows = -1;
    } else if (outcome.rows == 0 && !statement.openResult) {
        outcome = failure("02000", {});
        outcome.rows = 0;
    }
    statement.rows = outcome.rows;
    return outcome;
}

SQLRETURN executePrepared(Statement& statement) {
    Session& session = *statement.session;
    if (statement.scanned.kind == SqlKind::installObjects)
        return take(statement, session.policyTable().installObjects(statement.scanned.arguments));
    Outcome outcome = readParameterFiles(statement);
    if (!outcome.failed())
        outcome = session.unit().asStatement(statement.scanned.kind, [&] { return executeCompiled(statement); });
    for (FileParameter& file : statement.files) file.content = {};
    if (outcome.failed()) statement.compiled.text.clear();
    return take(statement, std::move(outcome));
}

SQLRETURN giveNumber(Statement& statement, std::string_view text, SQLPOINTER value) {
    int32_t number = 0;
    const auto [end, reason] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (reason == std::errc::result_out_of_range) return fail(statement.outcome, "22003", "the number is too large");
    if (reason != std::errc() || end != text.data() + text.size())
        return fail(statement.outcome, "22018", "the value is no number");
    std::memcpy(value, &number, sizeof number);
    return SQL_SUCCESS;
}

// The next piece of a text or of bytes; a text always gets its terminator.
SQLRETURN givePiece(Statement& statement, std::string_view whole, bool isText, SQLPOINTER value, SQLLEN size) {
    ReadSoFar& read = statement.readSoFar;
    const std::string_view rest = whole.substr(std::min(read.bytes, whole.size()));
    const size_t terminator = isText ? 1 : 0;
    const size_t room = static_cast<size_t>(size) - terminator;
    const size_t given = rest.copy(static_cast<char*>(value), room);
    if (isText) static_cast<char*>(value)[given] = '\0';
    read.bytes += given;
    read.isWhole = given == rest.size();
    return read.isWhole ? SQL_SUCCESS : take(statement, failure("01004", {}));
}

SQLRETURN noResult(Statement& statement) {
    return fail(statement.outcome, "24000", "there is no open result set");
}

}  // namespace

SQLRETURN prepareStatement(Statement& statement, std::string_view text) {
    statement.isPrepared = false;
    SQLRETURN result = SQL_SUCCESS;
    if (!takeKept(statement, text)) {
        if (!scanText(statement, text)) return SQL_ERROR;
        if (statement.scanned.kind != SqlKind::installObjects) result = prepareText(statement, text);
    }
    statement.isPrepared = SQL_SUCCEEDED(result);
    return result;
}

SQLRETURN executeStatement(Statement& statement) {
    if (!statement.isPrepared) return fail(statement.outcome, "HY010", "nothing was prepared");
    if (statement.openResult) return fail(statement.outcome, "24000", "the result set is still open");
    return executePrepared(statement);
}

SQLRETURN executeText(Statement& statement, std::string_view text) {
    const SQLRETURN result = prepareStatement(statement, text);
    statement.isPrepared = false;
    statement.text.clear();  // it was spelled just now, and runs once
    return SQL_SUCCEEDED(result) ? executePrepared(statement) : result;
}

SQLRETURN compileStatement(Statement& statement, unsigned& columns) {
    columns = 0;
    if (statement.scanned.kind == SqlKind::installObjects) return SQL_SUCCESS;
    return take(statement, statement.session->unit().asStatement(
                               SqlKind::query, [&] { return statement.compiled.prepared->compile(columns); }));
}

SQLRETURN bindValue(Statement& statement, SQLSMALLINT direction, const BoundValue& bound) {
    if (direction != SQL_PARAM_INPUT) return fail(statement.outcome, "HY105", "parameters are for input");
    if (bound.number == 0) return fail(statement.outcome, "07009", "parameters are counted from 1");
    const bool isKnown = bound.cType == SQL_C_CHAR || bound.cType == SQL_C_BINARY || bound.cType == SQL_C_SLONG ||
                         bound.cType == SQL_C_LONG;
    if (!isKnown) return fail(statement.outcome, "HY003", "values are texts, bytes or numbers of 32 bits");
    forgetParameter(statement, bound.number);
    statement.values.push_back(bound);
    return SQL_SUCCESS;
}

SQLRETURN fetchRow(Statement& statement) {
    if (!statement.openResult) return noResult(statement);
    statement.readSoFar = {};
    return take(statement, statement.compiled.prepared->fetch());
}

SQLRETURN readWhole(Statement& statement, SQLUSMALLINT column, ValueForm form, OutputValue& value) {
    if (!statement.openResult) return noResult(statement);
    if (column == 0 || column > statement.columns) return fail(statement.outcome, "07009", "there is no such column");
    return take(statement, statement.compiled.prepared->read(column, form, value));
}

SQLRETURN getValue(Statement& statement, SQLUSMALLINT column, SQLSMALLINT cType, SQLPOINTER value, SQLLEN size,
                   SQLLEN* indicator) {
    const bool isNumber = cType == SQL_C_SLONG || cType == SQL_C_LONG;
    const bool isText = cType == SQL_C_CHAR;
    if (!isNumber && !isText && cType != SQL_C_BINARY)
        return fail(statement.outcome, "HY003", "values are read as text, bytes or numbers of 32 bits");
    if (size < 0) return fail(statement.outcome, "HY090", "the room for a value is none");
    OutputValue found;
    const SQLRETURN result =
        readWhole(statement, column, cType == SQL_C_BINARY ? ValueForm::bytes : ValueForm::text, found);
    if (!SQL_SUCCEEDED(result)) return result;
    ReadSoFar& read = statement.readSoFar;
    if (read.column != column) read = {.column = column};
    if (read.isWhole && size > 0) return take(statement, failure("02000", {}));
    if (found.isNull) {
        if (indicator == nullptr) return fail(statement.outcome, "22002", "a null value needs an indicator");
        *indicator = SQL_NULL_DATA;
        read.isWhole = size > 0;
        return SQL_SUCCESS;
    }
    const size_t rest = found.content.size() - std::min(read.bytes, found.content.size());
    if (indicator != nullptr) *indicator = static_cast<SQLLEN>(isNumber ? sizeof(int32_t) : rest);
    if (isNumber) return giveNumber(statement, found.content, value);
    if (size == 0) return rest == 0 ? SQL_SUCCESS : take(statement, failure("01004", {}));  // only the length is wanted
    if (value == nullptr) return fail(statement.outcome, "HY009", "there is no room for the value");
    return givePiece(statement, found.content, isText, value, size);
}

SQLRETURN closeResult(Statement& statement) {
    if (!statement.openResult) return noResult(statement);
    statement.openResult = false;
    return take(statement, statement.compiled.prepared->reset());
}

SQLRETURN countColumns(Statement& statement, SQLSMALLINT& count) {
    SQLRETURN result = SQL_SUCCESS;
    if (!statement.openResult) result = compileStatement(statement, statement.columns);
    if (SQL_SUCCEEDED(result)) count = static_cast<SQLSMALLINT>(statement.columns);
    return result;
}

SQLRETURN describeColumn(Statement& statement, SQLUSMALLINT column, ColumnDescription& description) {
    SQLSMALLINT columns = 0;
    const SQLRETURN result = countColumns(statement, columns);
    if (!SQL_SUCCEEDED(result)) return result;
    if (column == 0 || column > columns) return fail(statement.outcome, "07009", "there is no such column");
    return take(statement, statement.compiled.prepared->describe(column, description));
}

void endStatement(Statement& statement) noexcept {
    if (statement.session != nullptr) giveBack(statement);
    statement = {};
}

}  // namespace kelhost
