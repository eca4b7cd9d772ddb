// How a section of a bound package runs.
#include "packages.h"

#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "hostText.h"

namespace kelhost {
namespace {

std::string systemUser() {
    std::array<char, 4096> texts{};
    passwd entry{};
    passwd* found = nullptr;
    const uid_t user = ::geteuid();
    if (::getpwuid_r(user, &entry, texts.data(), texts.size(), &found) == 0 && found != nullptr) return found->pw_name;
    return "uid " + std::to_string(user);
}

// What every kind of value has in common. True when there is a value to take.
bool takeLength(Statement& statement, const sqlaVariable& variable, const OutputValue& value, size_t length) {
    if (variable.valueLength != nullptr) *variable.valueLength = static_cast<uint32_t>(value.isNull ? 0 : length);
    if (variable.nullIndicator != nullptr) {
        *variable.nullIndicator = value.isNull ? -1 : 0;
    } else if (value.isNull) {
        statement.outcome = failure("22002", "a null value was fetched into a variable without an indicator");
    }
    return !value.isNull;
}

// Each takes one column and says whether the value had to be cut; failures are in the statement's outcome.
bool takeText(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    OutputValue value;
    if (!SQL_SUCCEEDED(readWhole(statement, column, ValueForm::text, value))) return false;
    const std::string_view kept = cutText(value.content, std::max<uint32_t>(variable.length, 1) - 1);
    if (variable.length > 0) {
        auto* const room = static_cast<char*>(variable.data);
        room[kept.copy(room, kept.size())] = '\0';
    }
    return takeLength(statement, variable, value, value.content.size()) && kept.size() < value.content.size();
}

bool takeBytes(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    OutputValue value;
    if (!SQL_SUCCEEDED(readWhole(statement, column, ValueForm::bytes, value))) return false;
    if (variable.length > 0) value.content.copy(static_cast<char*>(variable.data), variable.length);
    return takeLength(statement, variable, value, value.content.size()) && value.content.size() > variable.length;
}

void takeNumber(Statement& statement, SQLUSMALLINT column, const sqlaVariable& variable) {
    int32_t number = 0;
    SQLLEN length = 0;
    if (!SQL_SUCCEEDED(getValue(statement, column, SQL_C_SLONG, &number, sizeof number, &length))) return;
    if (!takeLength(statement, variable, {.isNull = length == SQL_NULL_DATA}, sizeof number)) number = 0;
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

// Each indicator has its place while the statement runs.
SQLRETURN bindVariables(Statement& statement, const Variables& inputs, std::vector<SQLLEN>& indicators) {
    indicators.resize(inputs.size());
    SQLRETURN result = SQL_SUCCESS;
    for (size_t i = 0; i < inputs.size() && SQL_SUCCEEDED(result); ++i) {
        const sqlaVariable& variable = inputs[i];
        const bool isNull = variable.nullIndicator != nullptr && *variable.nullIndicator < 0;
        indicators[i] = isNull ? SQLLEN{SQL_NULL_DATA} : SQLLEN{variable.length};
        SQLSMALLINT cType = SQL_C_CHAR;
        if (variable.sqlType == SQL_LONGVARBINARY) cType = SQL_C_BINARY;
        if (variable.sqlType == SQL_INTEGER) cType = SQL_C_SLONG;
        result = bindValue(statement, SQL_PARAM_INPUT,
                           {static_cast<SQLUSMALLINT>(i + 1), cType, variable.sqlType, variable.data, &indicators[i]});
    }
    return result;
}

// The first row's fields; 100 when there is no row.
Outcome readRow(Session& session, const std::string& query, const Variables& inputs, ValueForm form,
                std::vector<std::string>& fields) {
    OwnStatement statement(session);
    std::vector<SQLLEN> indicators;
    SQLRETURN result = prepareStatement(statement, query);
    if (SQL_SUCCEEDED(result)) result = bindVariables(statement, inputs, indicators);
    if (SQL_SUCCEEDED(result)) result = executeStatement(statement);
    if (SQL_SUCCEEDED(result)) result = fetchRow(statement);
    for (size_t i = 0; i < fields.size() && SQL_SUCCEEDED(result); ++i) {
        OutputValue value;
        statement.outcome.clear();
        result = readWhole(statement, static_cast<SQLUSMALLINT>(i + 1), form, value);
        fields[i] = value.content;
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
    if (outcome.found() && running.columns == 0) outcome = failure("07005", "the cursor's statement is no query");
    if (outcome.found()) outcome = run(running, inputs);
    if (outcome.failed() && !running.isDynamic) running_.erase(id);
    return outcome;
}

Outcome Packages::prepareCursor(const SectionId& id, Running& running) {
    const BindSection* section = nullptr;
    Outcome outcome = findSection(id, section);
    if (section == nullptr) return outcome;
    if (section->kind == SectionKind::dynamic) return failure("26501", "the cursor's statement is not prepared");
    if (section->kind != SectionKind::cursor) return wrongSection(id);
    return prepareWhole(running, section->text);
}

Outcome Packages::fetch(const SectionId& id, const Variables& outputs) {
    const auto found = running_.find(id);
    if (found == running_.end() || !found->second.statement.openResult)
        return failure("24000", "the cursor is not open");
    if (found->second.columns != outputs.size()) {
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
    std::vector<std::string> row(3);
    Outcome outcome =
        readRow(session_, std::string("SELECT TOKEN, GRANTED, BINDER") + rowOfPackage, keyOf(id), ValueForm::text, row);
    const bool noTable = outcome.state() == "42704";
    if (noTable || outcome.sqlcode == 100) return notFound(id);
    if (outcome.failed()) return outcome;
    if (row[0] != tokenText(id.token)) return failure("51003", id.collection + "." + id.package);
    if (row[1] == "1") return {};
    std::string user;
    outcome = readUser(user);
    if (outcome.failed() || user == row[2]) return outcome;
    return failure("42501", user + " may not run the package " + id.collection + "." + id.package);
}

Outcome Packages::findSection(const SectionId& id, const BindSection*& section) {
    Outcome outcome = authorise(id);
    if (!outcome.found()) return outcome;
    if (known_.sections.empty() || knownToken_ != id.token) {
        std::vector<std::string> row(1);
        outcome = readRow(session_, std::string("SELECT CONTENT") + rowOfPackage, keyOf(id), ValueForm::bytes, row);
        if (outcome.sqlcode == 100) return notFound(id);  // it was there a moment ago
        if (!outcome.found()) return outcome;
        BindFile file;
        std::string error;
        // A package that cannot be read is as good as none: binding repairs it.
        if (!readBindFile(row[0], file, error) || consistencyTokenOf(file.sections) != id.token) return notFound(id);
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
    prepareStatement(statement, text);
    return statement.outcome;
}

// All that is wrong with the text comes out, whatever the database puts off to the first run.
Outcome Packages::prepareWhole(Running& running, std::string_view text) {
    Outcome outcome = prepareText(running, text);
    if (outcome.failed()) return outcome;
    compileStatement(running.statement, running.columns);
    return running.statement.outcome;
}

Outcome Packages::run(Running& running, const Variables& inputs) {
    Statement& statement = running.statement;
    statement.outcome.clear();
    if (inputs.size() != statement.scanned.parameters) {
        return failure("07002", "as many host variables as the statement has parameters are needed");
    }
    std::vector<SQLLEN> indicators;
    if (SQL_SUCCEEDED(bindVariables(statement, inputs, indicators))) executeStatement(statement);
    statement.values.clear();  // what they point to may be gone before it runs again
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
    std::vector<std::string> row(1);
    Outcome outcome = readRow(session_, query, {}, ValueForm::text, row);
    user = row[0];
    return outcome;
}

}  // namespace kelhost
