// kelpolicy install insert, update, delete: single rows of the policy table, through the engine's procedure.
#include <fmt/format.h>

#include <set>

#include "archive/bytes.h"
#include "commands/command.h"
#include "commands/keyOptions.h"
#include "configuration/changeReport.h"
#include "configuration/documentLint.h"
#include "configuration/installCheck.h"
#include "configuration/policyKinds.h"
#include "configuration/procedures.h"
#include "console/terminal.h"
#include "console/text.h"
#include "database/databaseSession.h"
#include "document/documentFile.h"

namespace kelpolicy {
namespace {

struct InstallOptions {
    KeyOptions keys{};
    std::string document{};
    std::string serverFile{};
    bool force = false;
    bool yes = false;

    RowKey key() const {
        return {keys.med.value(), keys.decision.value_or("NOP"), keys.name.value_or("SYSTOOLS.POLICY")};
    }
};

/* What a row holds now. */
Json rowObject(const char* action, const RowKey& key, const PolicyRow& row) {
    Json object = {{"action", action}};
    putKey(object, key);
    object["updateTime"] = row.updateTime;
    object["bytes"] = row.document.size();
    return object;
}

std::string list(const std::set<std::string>& keys) {
    constexpr size_t most = 10;
    std::string text;
    size_t shown = 0;
    for (const std::string& key : keys) {
        if (shown == most) return text + fmt::format(" and {} more", keys.size() - most);
        text += fmt::format("{}\"{}\"", shown++ == 0 ? "" : ", ", key);
    }
    return text;
}

/* Which part of the key meets no row, and what stands there instead. */
Failure noRow(const InstallOptions& options) {
    const RowKey key = options.key();
    std::set<std::string> meds;
    std::set<std::string> decisions;
    std::set<std::string> names;
    for (const ListedRow& row : listPolicyRows()) {
        meds.insert(row.key.med);
        if (row.key.med == key.med) decisions.insert(row.key.decision);
        if (row.key.med == key.med && row.key.decision == key.decision) names.insert(row.key.name);
    }
    std::string why = fmt::format("with this MED and DECISION there is only NAME {}", list(names));
    if (meds.empty())
        why = "the table is empty";
    else if (decisions.empty())
        why = fmt::format("there is only MED {}", list(meds));
    else if (names.empty())
        why = fmt::format("with this MED there is only DECISION {}", list(decisions));
    std::string defaults;
    if (!options.keys.decision.has_value()) defaults += " Without --decision it is \"NOP\".";
    if (!options.keys.name.has_value()) defaults += " Without --name it is \"SYSTOOLS.POLICY\".";
    return {fmt::format("no row has {}: {}; nothing was changed", shownKey(key), why),
            "\"kelpolicy retrieve\" shows all rows." + defaults, 100, "02000"};
}

Failure rowIsThere(const RowKey& key) {
    return {fmt::format("there is a row {} already", shownKey(key)), "\"install update\" replaces it.", -803, "23505"};
}

/* A file of the engine's as it is now; nothing when it cannot be told. */
std::optional<std::string> serverFileContents(const std::string& name, const kelhost::Instance& instance) {
    const std::string directory = instance.path();
    return peekAtServerFile(directory, name.starts_with(directory + "/") ? name.substr(directory.size() + 1) : name);
}

void noteDefects(const RowKey& key, const PolicyRow& row, Output& output) {
    const PolicyKind* kind = findPolicyKind(key);
    const DocumentVerdict verdict = judgeRow(key, row.document);
    if (verdict.problem.has_value())
        output.note(fmt::format("{}. {}", verdict.problem->what(), verdict.problem->hint));
    else if (!verdict.isFit())
        output.note(noteOfMisfit(*kind, verdict, "the document"));
    else if (kind != nullptr)
        noteFindings(lintDocument(*kind, row.document), output);
}

/* The row as it stands after an insert or update. */
PolicyRow storedRow(const char* action, const RowKey& key) {
    std::optional<PolicyRow> row = readPolicyRow(key);
    if (row.has_value()) return *std::move(row);
    throw Failure(fmt::format("the row {} is not there after the {}", shownKey(key), action),
                  "Look for triggers of the database that undo it; nothing was changed.", defectCode, defectState);
}

void writeRow(const char* action, const RowKey& key, const PolicyRow& row, Output& output) {
    output.writeLine(printable(
        fmt::format("{}: {}, {} bytes, stored {}", action, shownKey(key), row.document.size(), row.updateTime)));
}

void writeStored(const char* action, const RowKey& key, const PolicyRow& row, const std::optional<std::string>& given,
                 const InstallCheck& check, Output& output) {
    if (output.isJson()) {
        Json object = rowObject(action, key, row);
        object["asGiven"] = given.has_value() ? Json(row.document == *given) : Json(nullptr);
        object["parses"] = !judgeRow(key, row.document).problem.has_value();
        output.writeJson(object);
    } else {
        writeRow(action, key, row, output);
    }
    if (given.has_value() && row.document != *given) output.note(check.whyReplaced(*given));
    noteDefects(key, row, output);
}

int runStore(InstallAction action, const InstallOptions& options, const GlobalOptions& globals, Output& output) {
    const bool isUpdate = action == InstallAction::update;
    std::optional<std::string> given;
    if (!options.document.empty()) given = readDocument(options.document);
    DatabaseSession session(globals, output, Purpose::change);
    const RowKey key = options.key();
    if (isUpdate && !holdPolicyRow(key)) throw noRow(options);
    if (!isUpdate && readPolicyRow(key).has_value()) throw rowIsThere(key);
    const InstallCheck check(action, key);
    if (given.has_value() && !options.force) check.requireFit(*given, documentName(options.document));
    try {
        installPolicy(action, key, given, options.serverFile);
    } catch (const Failure&) {
        if (isUpdate || !readPolicyRow(key).has_value()) throw;
        throw rowIsThere(key);  // since the look
    }
    if (!given.has_value()) given = serverFileContents(options.serverFile, session.instance());
    const char* name = isUpdate ? "update" : "insert";
    const PolicyRow row = storedRow(name, key);
    if (!options.force) check.requireKept(given, row.document);
    const RowChange change = {name, "", isUpdate ? "" : describeRow(key)};
    session.commit();
    if (!isUpdate) reportChange("kelpolicy install", key, session.databaseName(), change);
    writeStored(name, key, row, given, check, output);
    return exitDone;
}

void confirm(const RowKey& key, const PolicyRow& row) {
    const std::string effect =
        findPolicyKind(key) == nullptr ? "" : ", so that the engine works with its built-in defaults for this policy";
    if (!ask(printable(fmt::format("Delete {}, stored {}, {} bytes{}?", shownKey(key), row.updateTime,
                                   row.document.size(), effect))))
        throw Failure("nothing was deleted", "Answer \"y\" to delete the row.", interruptedCode, interruptedState);
}

int runDelete(const InstallOptions& options, const GlobalOptions& globals, Output& output) {
    if (!options.yes && !canAsk())
        throw Failure("nobody can be asked whether the row is to be deleted", "Say --yes in a script.", interruptedCode,
                      interruptedState);
    DatabaseSession session(globals, output, Purpose::change);
    const RowKey key = options.key();
    std::optional<PolicyRow> row = readPolicyRow(key);
    if (!row.has_value()) throw noRow(options);
    if (!options.yes) {
        confirm(key, *row);  // nothing is held meanwhile: others may work as long as the answer takes
        const bool isThere = holdPolicyRow(key);
        const std::optional<PolicyRow> now = isThere ? readPolicyRow(key) : std::nullopt;
        if (!now.has_value() || now->document != row->document)
            throw Failure("the row was changed while you were asked: nothing was deleted",
                          "\"kelpolicy retrieve\" shows it; run the command again.", -911, "40001");
    } else if (!holdPolicyRow(key)) {
        throw noRow(options);
    }
    row = readPolicyRow(key);
    const RowChange change = {"delete", describeRow(key)};
    installPolicy(InstallAction::remove, key, {}, "");
    session.commit();
    reportChange("kelpolicy install", key, session.databaseName(), change);
    if (output.isJson())
        output.writeJson(rowObject("delete", key, *row));
    else
        writeRow("delete", key, *row, output);
    return exitDone;
}

Command addAction(Command group, const char* name, const char* help, InstallOptions& options) {
    Command command = group.command(name, help);
    addKeyOptions(command, options.keys, "Key MED of the row", "Key DECISION of the row (default: NOP)",
                  "Key NAME of the row (default: SYSTOOLS.POLICY)")
        .required();
    return command;
}

void addStore(Command group, InstallAction action, const char* name, const char* help) {
    const auto options = std::make_shared<InstallOptions>();
    Command command = addAction(group, name, help, *options);
    const Option policy = command.option("--policy", options->document, "The document's file; \"-\" is standard input")
                              .type("PATH")
                              .notEmpty();
    command
        .option("--policy-file", options->serverFile,
                "Have the engine read the document from this file below the instance directory")
        .type("SERVERFILE")
        .notEmpty()
        .excludes(policy);
    command.flag("--force", options->force, "Store what the engine would not read as it is given, too");
    const std::string shown = fmt::format(
        "kelpolicy install {} --med KELDatabaseRecoveryMED --decision DBBackupDecision --name DBBackupPolicy "
        "--policy samples/backup-to-disk.xml",
        name);
    command.footer(example(shown.c_str()));
    command.runs([options, action](const GlobalOptions& globals,
                                   Output& output) { return runStore(action, *options, globals, output); },
                 [options] {
                     if (options->document.empty() && options->serverFile.empty())
                         throw UsageError("--policy",
                                          "say from where: --policy PATH, \"-\" for standard input, or "
                                          "--policy-file");
                 });
}

void addDelete(Command group) {
    const auto options = std::make_shared<InstallOptions>();
    Command command = addAction(group, "delete", "Delete a row of the policy table", *options);
    command.flag("--yes", options->yes, "Do not ask");
    command.footer(example("kelpolicy install delete --med MyMED --name MyPolicy --yes"));
    command.runs(
        [options](const GlobalOptions& globals, Output& output) { return runDelete(*options, globals, output); });
}

}  // namespace

void addInstall(Command parent) {
    Command group = parent.command("install", "Insert, update or delete a row of the policy table as it is given");
    group.requireCommand();
    group.footer(example("kelpolicy install update --med KELCommonMED --name CommonPolicy --policy windows.xml"));
    addStore(group, InstallAction::insert, "insert", "Insert a row into the policy table");
    addStore(group, InstallAction::update, "update", "Replace the document of a row of the policy table");
    addDelete(group);
}

}  // namespace kelpolicy
