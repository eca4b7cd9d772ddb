// kelpolicy init
#include <fmt/format.h>

#include "commandLine.h"
#include "databaseSession.h"
#include "policyKinds.h"
#include "policyRow.h"
#include "text.h"

namespace kelpolicy {
namespace {

std::string stateOf(bool isNew) {
    return isNew ? "made" : "was there";
}

int runInit(const GlobalOptions& options, Output& output) {
    DatabaseSession session(options, output);
    const Made& made = session.made();
    Json policies = Json::array();
    std::vector<Failure> problems;
    std::vector<std::vector<std::string>> rows = {
        {"Instance", stateOf(made.instance), printable(session.instance().path())},
        {"Database", stateOf(made.database), printable(session.databaseName())},
        {"Policy table", stateOf(made.policyTable), "SYSTOOLS.POLICY"}};
    for (const PolicyKind* kind : policyKinds) {
        const std::optional<PolicyRow> row = readPolicyRow(kind->key);
        const char* state = !row.has_value() ? "missing" : made.policyTable ? "made" : "was there";
        rows.push_back({"Policy", state,
                        row.has_value()
                            ? fmt::format("{}, stored {}", kind->key.name, printable(row->updateTime))
                            : fmt::format("{}: no row, the built-in defaults are in force", kind->key.name)});
        Json policy = {
            {"name", kind->key.name}, {"med", kind->key.med}, {"decision", kind->key.decision}, {"state", state}};
        if (row.has_value()) policy["updateTime"] = row->updateTime;
        policies.push_back(std::move(policy));
        if (!row.has_value()) continue;
        DocumentVerdict verdict = judgeStoredDocument(*kind, row->document);
        if (verdict.problem.has_value()) problems.push_back(*std::move(verdict.problem));
    }
    session.commit();

    if (output.isJson())
        output.writeJson({{"instance", {{"path", session.instance().path()}, {"state", stateOf(made.instance)}}},
                          {"database", {{"name", session.databaseName()}, {"state", stateOf(made.database)}}},
                          {"table", {{"name", "SYSTOOLS.POLICY"}, {"state", stateOf(made.policyTable)}}},
                          {"policies", policies}});
    else
        output.writeTable(rows);
    for (const Failure& problem : problems) output.report(problem);
    return problems.empty() ? exitDone : exitFailed;
}

}  // namespace

void addInit(CLI::App& parent, RunCommand& chosen) {
    CLI::App* command = parent.add_subcommand(
        "init", "Make the instance directory, the database, the policy table and the default policies");
    command->footer(example("kelpolicy --instance /var/lib/kelpolicy init") +
                    "\n\nWhat is there already stays as it is. Every other command does the same on first use.");
    command->callback([&chosen] { chosen = runInit; });
}

}  // namespace kelpolicy
