// kelpolicy retrieve: rows of the policy table, through the engine's procedure.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <memory>

#include "archive/bytes.h"
#include "commands/command.h"
#include "commands/keyOptions.h"
#include "configuration/policyKinds.h"
#include "console/text.h"
#include "database/databaseSession.h"
#include "database/reportedFailure.h"
#include "database/sqlStatement.h"
#include "sqlpiPolicySp.h"

namespace kelpolicy {
namespace {

struct RetrieveOptions {
    KeyOptions keys{};
    bool documents = false;
};

struct RetrievedRow {
    RowKey key{};
    std::string document{};
    std::string updateTime{}; /* empty when the row has gone meanwhile */
};

struct FreeStatement {
    using pointer = SQLHSTMT;
    void operator()(SQLHSTMT statement) const { SQLFreeHandle(SQL_HANDLE_STMT, statement); }
};

constexpr const char* purpose = "cannot retrieve rows of the policy table";

/* The procedure puts keys into its statement as they are: an apostrophe must come doubled, or it would end the text. */
std::optional<std::string> escaped(const std::optional<std::string>& key) {
    if (!key.has_value()) return {};
    std::string text;
    for (const char byte : *key) text.append(byte == '\'' ? 2 : 1, byte);
    return text;
}

std::unique_ptr<void, FreeStatement> callRetrieve(const KeyOptions& keys) {
    const std::optional<std::string> given[] = {escaped(keys.med), escaped(keys.decision), escaped(keys.name)};
    int16_t nulls[3];
    const char* texts[3];
    for (size_t i = 0; i < 3; ++i) {
        nulls[i] = given[i].has_value() ? SQLUDF_NOT_NULL : SQLUDF_NULL;
        texts[i] = given[i].has_value() ? given[i]->c_str() : nullptr;
    }
    sqlca ca = {};
    kelPolicyRetrieve(texts[0], texts[1], texts[2], nulls, &ca);
    if (ca.sqlcode != 0) throw failureOf(purpose, ca);
    return std::unique_ptr<void, FreeStatement>(kelhost::EngineContext::current()->openResults().back());
}

/* The result set has no UPDATE_TIME: it is asked for beside it. */
std::vector<RetrievedRow> retrieve(const KeyOptions& keys) {
    std::vector<RetrievedRow> found;
    {
        const std::unique_ptr<void, FreeStatement> statement = callRetrieve(keys);
        Rows rows(purpose, statement.get());
        while (rows.fetch()) {
            RetrievedRow row = {{rows.bytes(1), rows.bytes(2), rows.bytes(3)}, rows.bytes(4)};
            // The procedure takes an empty key for none.
            const auto isWanted = [](const std::optional<std::string>& key, const std::string& value) {
                return !key.has_value() || *key == value;
            };
            if (isWanted(keys.med, row.key.med) && isWanted(keys.decision, row.key.decision) &&
                isWanted(keys.name, row.key.name))
                found.push_back(std::move(row));
        }
    }
    std::map<RowKey, std::string> times;
    for (ListedRow& row : listPolicyRows()) times[std::move(row.key)] = std::move(row.updateTime);
    for (RetrievedRow& row : found)
        if (const auto time = times.find(row.key); time != times.end()) row.updateTime = time->second;
    std::sort(found.begin(), found.end(),
              [](const RetrievedRow& left, const RetrievedRow& right) { return left.key < right.key; });
    return found;
}

Json rowObject(const RetrievedRow& row, bool withDocument) {
    Json object;
    putKey(object, row.key);
    object["updateTime"] = row.updateTime.empty() ? Json(nullptr) : Json(row.updateTime);
    object["bytes"] = row.document.size();
    const std::optional<Failure> problem = judgeRow(row.key, row.document).problem;
    object["parses"] = !problem.has_value();
    if (problem.has_value()) object["problem"] = errorObject(*problem);
    if (withDocument) putBytes(object, "document", row.document);
    return object;
}

std::string verdictOn(const RetrievedRow& row) {
    const std::optional<Failure> problem = judgeRow(row.key, row.document).problem;
    if (!problem.has_value()) return "parses";
    return problem->line == 0 ? std::string(problem->what())
                              : fmt::format("does not parse at line {}, column {}", problem->line, problem->column);
}

void writeRows(const std::vector<RetrievedRow>& rows, Output& output) {
    std::vector<std::vector<std::string>> table = {{"MED", "DECISION", "NAME", "UPDATE_TIME", "BYTES", "DOCUMENT"}};
    for (const RetrievedRow& row : rows)
        table.push_back({printable(row.key.med), printable(row.key.decision), printable(row.key.name),
                         printable(row.updateTime), std::to_string(row.document.size()), printable(verdictOn(row))});
    output.writeTable(table);
}

void writeDocuments(const std::vector<RetrievedRow>& rows, Output& output) {
    for (const RetrievedRow& row : rows) {
        if (rows.size() > 1)
            output.writeLine(output.styled(
                Style::heading, printable(fmt::format("== {}, {} bytes", shownKey(row.key), row.document.size()))));
        output.writeDocument(row.document, rows.size() > 1);
    }
}

int runRetrieve(const RetrieveOptions& options, const GlobalOptions& globals, Output& output) {
    DatabaseSession session(globals, output, Purpose::answer);
    const std::vector<RetrievedRow> rows = retrieve(options.keys);
    if (output.isJson()) {
        Json all = Json::array();
        for (const RetrievedRow& row : rows) all.push_back(rowObject(row, options.documents));
        output.writeJson(all);
    } else if (options.documents) {
        writeDocuments(rows, output);
    } else if (!rows.empty()) {
        writeRows(rows, output);
    }
    if (rows.empty()) output.note("no row has these keys");
    session.commit();
    return exitDone;
}

}  // namespace

void addRetrieve(Command parent) {
    Command command = parent.command("retrieve", "Show rows of the policy table, or their documents");
    const auto options = std::make_shared<RetrieveOptions>();
    addKeyOptions(command, options->keys, "Only rows with this MED", "Only rows with this DECISION",
                  "Only rows with this NAME");
    command.flag("--documents", options->documents,
                 "The documents themselves: of one row its bytes and nothing else, of more each with a heading");
    command.footer(example("kelpolicy retrieve --name DBBackupPolicy --documents > backup.xml"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runRetrieve(*options, globals, output); });
}

}  // namespace kelpolicy
