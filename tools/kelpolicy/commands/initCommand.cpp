// kelpolicy init
#include <fmt/format.h>

#include <set>

#include "commands/command.h"
#include "configuration/changeReport.h"
#include "configuration/policyKinds.h"
#include "configuration/procedures.h"
#include "console/text.h"
#include "database/databaseSession.h"
#include "database/policyRow.h"
#include "defaultPolicies.h"

namespace kelpolicy {
namespace {

std::string stateOf(bool isNew) {
    return isNew ? "made" : "was there";
}

/* The default rows of policies that have none. */
std::set<RowKey> restoreMissingRows() {
    std::set<RowKey> restored;
    for (const kelhost::DefaultPolicy& policy : kelhost::defaultPolicies) {
        const RowKey key = {std::string(policy.med), std::string(policy.decision), std::string(policy.name)};
        if (readPolicyRow(key).has_value()) continue;
        try {
            installPolicy(InstallAction::insert, key, std::string(policy.document), "");
            restored.insert(key);
        } catch (const Failure&) {
            if (!readPolicyRow(key).has_value()) throw;  // else another program was faster
        }
    }
    return restored;
}

int runInit(const GlobalOptions& options, Output& output) {
    DatabaseSession session(options, output, Purpose::change);
    if (session.bindFailure().has_value()) throw Failure(*session.bindFailure());
    const std::set<RowKey> restored = restoreMissingRows();
    const Made& made = session.made();
    Json policies = Json::array();
    std::vector<Failure> problems;
    std::vector<std::vector<std::string>> rows = {
        {"Instance", stateOf(made.instance), printable(session.instance().path())},
        {"Database", stateOf(made.database), printable(session.databaseName())},
        {"Policy table", stateOf(made.policyTable), "SYSTOOLS.POLICY"}};
    for (const PolicyKind* kind : policyKinds) {
        const std::optional<PolicyRow> row = readPolicyRow(kind->key);
        const bool isNew = made.policyTable || restored.contains(keyOf(kind->key));
        const char* state = !row.has_value() ? "missing" : isNew ? "made" : "was there";
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
    for (const RowKey& key : restored)
        reportChange("kelpolicy init", key, session.databaseName(), {"insert", "", describeRow(key)});

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

void addInit(Command parent) {
    Command command =
        parent.command("init", "Make the instance directory, the database, the policy table and the default policies");
    command.footer(
        example("kelpolicy --instance /var/lib/kelpolicy init") +
        "\n\nWhat is there already stays as it is. Commands that only answer make nothing and ask for this one.");
    command.runs(runInit);
}

}  // namespace kelpolicy
