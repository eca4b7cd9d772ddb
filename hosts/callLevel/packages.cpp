// How a section of a bound package runs.
#include "packages.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "driverManager.h"
#include "hostText.h"

namespace kelhost {
namespace {

struct Value {
    std::string bytes{};
    bool isNull = false;
};

// A column's value, whole.
SQLRETURN readValue(Statement& statement, SQLUSMALLINT column, SQLSMALLINT cType, Value& value) {
    SQLLEN length = 0;
    char none = '\0';
    SQLRETURN result = getValue(statement, column, cType, &none, 0, &length);
    value = {{}, length == SQL_NULL_DATA};
    if (!SQL_SUCCEEDED(result) || length <= 0) return result;
    statement.outcome.clear();
    const size_t terminator = cType == SQL_C_CHAR ? 1 : 0;
    value.bytes.resize(static_cast<size_t>(length) + terminator);
    result = getValue(statement, column, cType, value.bytes.data(), static_cast<SQLLEN>(value.bytes.size()), &length);
    value.bytes.resize(value.bytes.size() - terminator);
    return result;
}

std::string systemUser() {
    std::array<char, 4096> texts{};
    passwd entry{};
    passwd* found = nullptr;
    const uid_t user = ::geteuid();
    if (::getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr) return found->pw_name;
    return "uid " + std::to_string(user);
}

// What every kind of value has in common. True when there is a value to take.
bool takeLength(Statement& statement, const sqlaVariable& variable, bool isNull, size_t length) {
    if (variable.valueLength != nullptr) *variable.valueLength = static_cast<uint32_t>(isNull ? 0 : length);
    if (variable.nullIndicator != nullptr) {
        *variable.nullIndicator = isNull ? -1 : 0;
    } else if (isNull) {
        statement.outcome = failure("22002", "a null value was fetched into a variable without an indicator");
    }
    return !isNull;
}

// Each takes one column and says whether the value had to be cut; failures are in the statement's outcome.
bool takeText(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    Value value;
    if (!SQL_SUCCEEDED(readValue(statement, column, SQL_C_CHAR, value))) return false;
    const std::string_view kept = cutText(value.bytes, std::max<uint32_t>(variable.length, 1) - 1);
    if (variable.length > 0) {
        auto* const room = static_cast<char*>(variable.data);
        room[kept.copy(room, kept.size())] = '\0';
    }
    return takeLength(statement, variable, value.isNull, value.bytes.size()) && kept.size() < value.bytes.size();
}

bool takeBytes(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    SQLLEN length = 0;
    char none = '\0';
    void* room = variable.length == 0 ? &none : variable.data;
    if (!SQL_SUCCEEDED(getValue(statement, column, SQL_C_BINARY, room, variable.length, &length))) return false;
    return takeLength(statement, variable, length == SQL_NULL_DATA, static_cast<size_t>(length)) &&
           length > SQLLEN{variable.length};
}

void takeNumber(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    int32_t number = 0;
    SQLLEN length = 0;
    if (!SQL_SUCCEEDED(getValue(statement, column, SQL_C_SLONG, &number, sizeof number, &length))) return;
    if (!takeLength(statement, variable, length == SQL_NULL_DATA, sizeof number)) number = 0;
    std::memcpy(variable.data, &number, sizeof number);
}

bool takeColumn(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    if (variable.sqlType == SQL_VARCHAR) return takeText(statement, column, variable);
    if (variable.sqlType == SQL_LONGVARBINARY) return takeBytes(statement, column, variable);
    takeNumber(statement, column, variable);
    return false;
}

Outcome takeRow(Statement& statement, const Variables& outputs) {
    bool cut = false;
    for (size_t i = 0; i < outputs.size(); ++i) {
        statement.outcome.clear();
        cut = takeColumn(statement, static_cast<SQLUSMALLINT>(i + 1), outputs[i]) || cut;
        if (statement.outcome.failed()) return statement.outcome;
    }
    return cut ? failure("01004", {}) : Outcome{};
}

SQLRETURN bindVariable(Statement& statement, SQLUSMALLINT parameter, const sqlaVariable& variable, SQLLEN& indicator) {
    const bool isNull = variable.nullIndicator != nullptr && *variable.nullIndicator < 0;
    indicator = isNull ? SQLLEN{SQL_NULL_DATA} : SQLLEN{variable.length};
    SQLSMALLINT cType = SQL_C_CHAR;
    if (variable.sqlType == SQL_LONGVARBINARY) cType = SQL_C_BINARY;
    if (variable.sqlType == SQL_INTEGER) cType = SQL_C_SLONG;
    return bindValue(statement, parameter, SQL_PARAM_INPUT, cType, variable.sqlType,
                     std::max<uint32_t>(variable.length, 1), 0, variable.data, variable.length, &indicator);
}

// The first row's fields; 100 when there is no row.
Outcome readRow(Session& session, const std::string& query, const Variables& inputs, SQLSMALLINT cType,
                std::vector<Value>& fields) {
    OwnStatement statement(session);
    std::vector<SQLLEN> indicators(inputs.size());
    SQLRETURN result = prepareStatement(statement, query);
    for (size_t i = 0; i < inputs.size() && SQL_SUCCEEDED(result); ++i) {
        result = bindVariable(statement, static_cast<SQLUSMALLINT>(i + 1), inputs[i], indicators[i]);
    }
    if (SQL_SUCCEEDED(result)) result = executeStatement(statement);
    if (SQL_SUCCEEDED(result)) result = fetchRow(statement);
    for (size_t i = 0; i < fields.size() && SQL_SUCCEEDED(result); ++i) {
        statement.outcome.clear();
        result = readValue(statement, static_cast<SQLUSMALLINT>(i + 1), cType, fields[i]);
    }
    return SQL_SUCCEEDED(result) ? Outcome{} : statement.outcome;
}

Outcome notFound(const SectionId& id) {
    return failure("51002", id.collection + "." + id.package);
}

Outcome wrongSection(const SectionId& id) {
    return failure("58004", "section " + std::to_string(id.section) + " of the package is of another kind");
}

constexpr const char* rowOfPackage = " FROM SYSTOOLS.PACKAGE WHERE COLLECTION = ? AND NAME = ?";

Variables keyOf(const SectionId& id) {
    return {textValue(id.collection), textValue(id.package)};
}

bool isFound(const Outcome& outcome) noexcept {
    return outcome.sqlcode == 0;
}

}  // namespace

Outcome Packages::execute(const SectionId& id, const Variables& inputs) {
    const auto found = running_.find(id);
    if (found != running_.end() && found->second.isDynamic) {
        Statement& statement = found->second.statement;
        if (statement.openResult) return failure("24506", "the cursor of the statement is open");
        Outcome outcome = run(found->second, inputs);
        if (statement.openResult) closeResult(statement);
        return outcome;
    }
    const BindSection* section = nullptr;
    Outcome outcome = findSection(id, section);
    if (section == nullptr) return outcome;
    if (section->kind == SectionKind::dynamic) return failure("07003", "the statement is not prepared");
    if (section->kind != SectionKind::statement) return wrongSection(id);
    return runOnce(section->text, inputs);
}

Outcome Packages::prepare(const SectionId& id, const std::string& text) {
    const BindSection* section = nullptr;
    Outcome outcome = findSection(id, section);
    if (section == nullptr) return outcome;
    if (section->kind != SectionKind::dynamic) return wrongSection(id);
    Running& running = running_.try_emplace(id, session_).first->second;
    if (running.statement.openResult) return failure("24506", "the cursor of the statement is open");
    running.isDynamic = true;
    outcome = prepareWhole(running, text);
    if (outcome.failed()) running_.erase(id);
    return outcome;
}

Outcome Packages::open(const SectionId& id, const Variables& inputs) {
    Running& running = running_.try_emplace(id, session_).first->second;
    if (running.statement.openResult) return failure("24502", "the cursor is open already");
    Outcome outcome = running.isDynamic ? Outcome{} : prepareCursor(id, running);
    if (isFound(outcome) && running.columns == 0) outcome = failure("07005", "the cursor's statement is no query");
    if (isFound(outcome)) outcome = run(running, inputs);
    if (outcome.failed() && !running.isDynamic) running_.erase(id);
    return outcome;
}

Outcome Packages::prepareCursor(const SectionId& id, Running& running) {
    const BindSection* section = nullptr;
    Outcome outcome = findSection(id, section);
    if (section == nullptr) return outcome;
    if (section->kind == SectionKind::dynamic) return failure("26501", "the cursor's statement is not prepared");
    if (section->kind != SectionKind::cursor) return wrongSection(id);
    return prepareText(running, section->text);
}

Outcome Packages::fetch(const SectionId& id, const Variables& outputs) {
    const auto found = running_.find(id);
    if (found == running_.end() || !found->second.statement.openResult)
        return failure("24000", "the cursor is not open");
    if (static_cast<size_t>(found->second.columns) != outputs.size()) {
        return failure("07002", "as many host variables as the query has columns are needed");
    }
    Statement& statement = found->second.statement;
    statement.outcome.clear();
    return SQL_SUCCEEDED(fetchRow(statement)) ? takeRow(statement, outputs) : statement.outcome;
}

Outcome Packages::close(const SectionId& id) {
    const auto found = running_.find(id);
    if (found == running_.end() || !found->second.statement.openResult)
        return failure("24000", "the cursor is not open");
    Statement& statement = found->second.statement;
    statement.outcome.clear();
    closeResult(statement);
    return statement.outcome;
}

// The database itself says each time which package is bound and who may run it; only a session that could not store
// the package takes its own.
Outcome Packages::authorise(const SectionId& id) {
    if (isKept_ && knownToken_ == id.token && known_.collection == id.collection && known_.package == id.package)
        return {};
    if (!isPackageName(id.collection) || !isPackageName(id.package)) return notFound(id);
    std::vector<Value> row(3);
    Outcome outcome =
        readRow(session_, std::string("SELECT TOKEN, GRANTED, BINDER") + rowOfPackage, keyOf(id), SQL_C_CHAR, row);
    const bool noTable = std::string_view(outcome.sqlstate) == "42704";
    if (noTable || outcome.sqlcode == 100) return notFound(id);
    if (outcome.failed()) return outcome;
    if (row[0].bytes != tokenText(id.token)) return failure("51003", id.collection + "." + id.package);
    if (row[1].bytes == "1") return {};
    std::string user;
    outcome = readUser(user);
    if (outcome.failed() || user == row[2].bytes) return outcome;
    return failure("42501", user + " may not run the package " + id.collection + "." + id.package);
}

Outcome Packages::findSection(const SectionId& id, const BindSection*& section) {
    Outcome outcome = authorise(id);
    if (!isFound(outcome)) return outcome;
    if (known_.sections.empty() || knownToken_ != id.token) {
        std::vector<Value> row(1);
        outcome = readRow(session_, std::string("SELECT CONTENT") + rowOfPackage, keyOf(id), SQL_C_BINARY, row);
        if (outcome.sqlcode == 100) return notFound(id);  // it was there a moment ago
        if (!isFound(outcome)) return outcome;
        BindFile file;
        std::string error;
        // A package that cannot be read is as good as none: binding repairs it.
        if (!readBindFile(row[0].bytes, file, error) || consistencyTokenOf(file.sections) != id.token)
            return notFound(id);
        known_ = std::move(file);
        knownToken_ = id.token;
        isKept_ = false;
    }
    if (id.section == 0 || id.section > known_.sections.size()) return notFound(id);
    section = &known_.sections[id.section - 1];
    return {};
}

Outcome Packages::prepareText(Running& running, std::string_view text) {
    Statement& statement = running.statement;
    statement.outcome.clear();
    running.columns = 0;
    if (!SQL_SUCCEEDED(prepareStatement(statement, text))) return statement.outcome;
    if (statement.scanned.kind == SqlKind::installObjects) return {};
    // Drivers that put the preparation off do it when they are asked for the columns.
    return session_.asStatement(SqlKind::query, [&] {
        const SQLRETURN asked = driverManager().numResultCols(statement.driver.handle, &running.columns);
        return SQL_SUCCEEDED(asked) ? Outcome{}
                                    : driverOutcome(SQL_HANDLE_STMT, statement.driver.handle, session_.dialect());
    });
}

// All that is wrong with the text comes out, whatever the driver puts off to its first run.
Outcome Packages::prepareWhole(Running& running, const std::string& text) {
    Outcome outcome = prepareText(running, text);
    const char* compile = session_.dialect().compile;
    const SqlKind kind = running.statement.scanned.kind;
    const bool isCompiled =
        compile == nullptr || kind == SqlKind::query || kind == SqlKind::installObjects || text == compiled_;
    if (outcome.failed() || isCompiled) return outcome;
    Running compiled(session_);
    outcome = prepareText(compiled, compile + text);
    if (!outcome.failed()) compiled_ = text;
    return outcome;
}

Outcome Packages::run(Running& running, const Variables& inputs) {
    Statement& statement = running.statement;
    statement.outcome.clear();
    if (inputs.size() != statement.scanned.parameters) {
        return failure("07002", "as many host variables as the statement has parameters are needed");
    }
    std::vector<SQLLEN> indicators(inputs.size());
    SQLRETURN result = SQL_SUCCESS;
    for (size_t i = 0; i < inputs.size() && SQL_SUCCEEDED(result); ++i) {
        result = bindVariable(statement, static_cast<SQLUSMALLINT>(i + 1), inputs[i], indicators[i]);
    }
    if (SQL_SUCCEEDED(result)) executeStatement(statement);
    // The driver must not keep the addresses: what they point to may be gone before it runs again.
    if (statement.bound) driverManager().freeStmt(statement.driver.handle, SQL_RESET_PARAMS);
    statement.bound = false;
    return statement.outcome;
}

Outcome Packages::runOnce(const std::string& text, const Variables& inputs) {
    Running once(session_);
    Outcome outcome = prepareText(once, text);
    return outcome.failed() ? outcome : run(once, inputs);
}

Outcome Packages::readUser(std::string& user) {
    const char* query = session_.dialect().currentUser;
    if (query == nullptr) {
        user = systemUser();
        return {};
    }
    std::vector<Value> row(1);
    Outcome outcome = readRow(session_, query, {}, SQL_C_CHAR, row);
    user = row[0].bytes;
    return outcome;
}

}  // namespace kelhost
